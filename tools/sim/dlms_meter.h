#pragma once

#include <map>
#include <string>

#include "sim/device.h"

namespace sim {

/// A DLMS meter on a serial line, of the plain ("dlms.rs") or the older exchange ("dlms.rs.old") and with a serial
/// number of digits behind two letters; or a concentrator on TCP ("dlms.tcp") with two meters, SIM0001 at address 17
/// and SIM0002 at 18.
///
/// Objects (attribute 2 each)       moves
///   1.0.1.8.0.255   u32  energy, Wh      + 3 a second
///   1.0.32.7.0.255  u16  voltage, 0.1 V  2200 to 2400
///   0.0.1.0.0.255   structure of the two
///   any other       what was last written to it, refused until then
class DlmsMeter : public Device {
 public:
    DlmsMeter(std::string const& kind, std::string const& number);

    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    Bytes link_frame(std::span<uint8_t const> request, double seconds);
    Bytes status_of(std::span<uint8_t const> frame);
    Bytes unwrap(std::span<uint8_t const> request, double seconds);
    Bytes respond(std::span<uint8_t const> request, double seconds);

    bool on_tcp_;
    bool older_;
    Bytes mac_;
    std::map<Bytes, Bytes> written_;
    Bytes waiting_;  ///< the answer that the status announces
    uint8_t packet_ = 0;
};

}  // namespace sim
