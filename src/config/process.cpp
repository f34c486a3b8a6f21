#include "config/process.h"

#include "foundation/xlog.h"
#include "foundation/xmisc.h"

bool PH::IsPrintHex = false;
std::string cfg_name;

int touch_configuration() {
    if (cfg_name.empty()) {
        return -1;
    }
    // Quoted, so that a path with a blank is one file for the shell too.
    std::string const quoted = "'" + xCommon::xString::Replace(cfg_name, "'", "'\\''") + "'";
    return xCommon::xSystem::Exec(xCommon::xString::Format("touch %s", quoted));
}

void trace_hex(void const* data, int length, std::string const& title) {
    if (PH::IsPrintHex && xCommon::xLog::gv != nullptr) {
        xCommon::xLog::gv->PrintHex(data, length, title);
    }
}
