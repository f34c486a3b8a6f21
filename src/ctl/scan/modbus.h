#pragma once

#include "ctl/scan/protocol.h"

namespace scanner {

/// Modbus slaves: asked for input register 0, and by what else they have when they refuse that.
std::unique_ptr<Protocol> scan_modbus_rtu();
std::unique_ptr<Protocol> scan_modbus_tcp();

}  // namespace scanner
