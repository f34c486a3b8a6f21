#include "config/process.h"

#include <cerrno>
#include <cstring>

#include "config/constants.h"
#include "foundation/xlog.h"
#include "foundation/xmisc.h"

bool PH::IsPrintHex = false;
std::string cfg_name;

std::string& templates_folder() {
    static auto* const folder = new std::string(path_templates);
    return *folder;
}

int touch_configuration() {
    if (cfg_name.empty()) {
        return -1;
    }
    if (xCommon::xSystem::Touch(cfg_name)) {
        return 0;
    }
    xCommon::global_logf(xCommon::lmtError, "touch : %s : %s.", cfg_name, std::strerror(errno));
    return 1;
}

void trace_hex(xCommon::LogItem const& port, void const* data, int length, std::string const& title) {
    if (PH::IsPrintHex && xCommon::xLog::gv != nullptr) {
        xCommon::LogExchange::fail();  // frames have been asked for: with all that belongs to them
        xCommon::xLog::gv->PrintHex(data, length, title, &port.name);
    }
}
