#pragma once

#include <string>

namespace xCommon {
class LogItem;
}

/// Values of the whole process, written by main before any worker starts and only read from then on.
struct PH {
    /// Option -h: the drivers print each frame through xLog::PrintHex.
    static bool IsPrintHex;
};

/// Where templates are looked for; a tool may change it before it loads a configuration.
std::string& templates_folder();

/// Path of the configuration file in force; empty until it is known.
extern std::string cfg_name;

/// The last resort of a driver that met what it can't explain: touches the configuration file, so that the file watch
/// replaces the whole process. Gives 0, or 1 where the file couldn't be touched; -1, and nothing done, while no file is
/// known.
int touch_configuration();

/// xLog::PrintHex under the name of the port whose line it is, if option -h is set.
void trace_hex(xCommon::LogItem const& port, void const* data, int length, std::string const& title);
