#pragma once

#include <functional>

#include "drivers/xdlms/dport.h"

namespace xdlms {

/// Meters on a serial line, each at a MAC that is made of its serial number. Two link disciplines: "dlms.rs" sends a
/// frame and reads a frame; "dlms.rs.old" announces the request with a select frame, asks for a status until it tells
/// the size of the answer, and acknowledges each step.
class dport_rs : public dport, public PortFromNode<dport_rs> {
 public:
    using PortFromNode<dport_rs>::create;
    dport_rs(IBase* parent, CPort* node);
    ~dport_rs() override { end(); }

    dlms_reply get_response(xCommon::ByteList& request, cddev* dev, dparam* param) override;

    /// Reads the answer that the status has announced, of the old exchange. Raises an xException when it doesn't come.
    virtual dlms_reply get_fout(xCommon::ByteList& request, cddev* dev, CBase* log);
    /// Asks for the status until it announces an answer. Raises an xException when there is none.
    virtual dlms_reply get_ats(xCommon::ByteList& request, cddev* dev, CBase* log);

    /// Appends the six bytes of a meter's MAC: 0x02 and the low 40 bits of the serial number without its first two
    /// characters, the letters of the model. False for an empty number; raises what substr() and std::stoll raise.
    static bool mac_from_sn(std::string const& sn, xCommon::ByteList& mac);

    /// Gives the devices their MACs too. Once: a MAC grows by each call. Raises what mac_from_sn() raises.
    bool poll_devices() override;

 private:
    dlms_reply get_response_alt(xCommon::ByteList& request, cddev& dev, CBase& log);
    dlms_reply get_response_old(xCommon::ByteList& request, cddev& dev, CBase& log);
    /// Bytes that `from_line` has read into the port's buffer. `word` names the read in the log.
    int read(char const* word, CBase& log, std::function<int()> const& from_line);
    /// `count` bytes into the port's buffer, or none.
    bool read_all(int count, CBase& log);
    /// Reads and drops what arrives until the line has been silent for a while, for one read time-out of the port at
    /// most.
    void drop_input();
    bool send_all(xCommon::ByteList& frame);
    bool send_sel(xCommon::ByteList const& mac, int size, uint16_t control);
    bool send_frame(cddev const* dev, xCommon::ByteList const& data);
    /// The select frame, its pause, and the request.
    void send_request(cddev const& dev, xCommon::ByteList const& request);
    /// Raises an xException for a packet number that was taken before.
    void check_seq(uint8_t seq, CBase& log);
    /// Reads the answer, of `size` bytes, and leaves `pos` at its data. Gives the control word for the meter.
    uint16_t read_answer(cddev const& dev, int size, int& pos, CBase& log);

    uint8_t last_ats_ = 0;  ///< packet number of the last status taken, whichever device it came from
    int retries_ = 0;
    int frame_delay_;  ///< ms between a select frame and its request
};

}  // namespace xdlms
