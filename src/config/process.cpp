#include "config/process.h"

#include "foundation/xlog.h"
#include "foundation/xmisc.h"

bool PH::IsPrintHex = false;
std::string cfg_name;

int touch_configuration() {
    if (cfg_name.empty()) {
        return -1;
    }
    return xCommon::xSystem::Touch(cfg_name) ? 0 : 1;
}

void trace_hex(xCommon::LogItem const& port, void const* data, int length, std::string const& title) {
    if (PH::IsPrintHex && xCommon::xLog::gv != nullptr) {
        xCommon::xLog::gv->PrintHex(data, length, title, &port.name);
    }
}
