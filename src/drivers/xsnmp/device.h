#pragma once

#include <string>

#include "drivers/xsnmp/config.h"
#include "runtime/typed_device.h"

struct snmp_pdu;

namespace xsnmp {

class sport;

/// One agent: a session of the SNMP library, and one exchange for each due parameter. A failed exchange only counts;
/// a parameter whose object id isn't understood, or that the agent doesn't know, is off until the next start.
class sdev : public TypedDevice<csdev, sparam> {
 public:
    /// Raises as DevBase, and an xExceptionf without a parameter of this driver. No session yet.
    sdev(sport* port_object, csdev* node);
    ~sdev() override;

    void Poll(long long now) override;
    using DevBase::poll_param;
    /// One exchange, which lasts up to the device's `rto` times one and the library's retries, and its publication.
    /// True for a value.
    bool poll_param(sparam* param);

    /// Opens the session and reads the object ids; true if anything can be polled.
    bool ssn_open();
    /// The session is good, or could be opened anew.
    bool ssn_check();
    void ssn_close();
    /// What went wrong in the last exchange; empty if nothing did.
    std::string ssn_get_error() const;

    /// The value in the answer; empty, and told, when there is none. `status` is that of the library's exchange.
    std::string parse_result(sparam* param, int status, snmp_pdu* response);
    /// The value in the text that the library prints for a variable; empty, and told, when there is none.
    static std::string parse_value(sparam* param, std::string const& text);

    static void init(std::string const& name);

 private:
    bool open_session();
    bool find_address(sparam& param);
    bool goes_on() override;
    bool ask(CParam& param) override;
    int get_response(sparam const& param, snmp_pdu*& response);
    bool is_stream() const;
    bool is_lost() const;

    sport* sport_;
    bool good_ = false;
    void* session_ = nullptr;
};

}  // namespace xsnmp
