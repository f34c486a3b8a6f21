#include "config/process.h"

#include "foundation/xlog.h"
#include "foundation/xmisc.h"

bool PH::IsPrintHex = false;
std::string cfg_name;

void touch_configuration() {
    if (!cfg_name.empty()) {
        xCommon::xSystem::Exec(xCommon::xString::Format("touch %s", cfg_name));
    }
}

void trace_hex(void const* data, int length, std::string const& title) {
    if (PH::IsPrintHex && xCommon::xLog::gv != nullptr) {
        xCommon::xLog::gv->PrintHex(data, length, title);
    }
}
