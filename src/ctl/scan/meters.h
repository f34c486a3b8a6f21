#pragma once

#include "ctl/scan/protocol.h"

namespace scanner {

/// Devices with the CRC of Modbus and frames of their own. Mercury, Milur and VKT-7 are proven without a session; one
/// is opened then, once, as their drivers do it, to see that a value comes, and closed where the protocol can.
std::unique_ptr<Protocol> scan_set4tm();
std::unique_ptr<Protocol> scan_mercury();
std::unique_ptr<Protocol> scan_milur();
std::unique_ptr<Protocol> scan_vkt7();

}  // namespace scanner
