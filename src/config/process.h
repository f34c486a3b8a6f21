#pragma once

#include <string>

/// Values of the whole process, written by main before any worker starts and only read from then on.
struct PH {
    /// Option -h: the drivers print each frame through xLog::PrintHex.
    static bool IsPrintHex;
};

/// Path of the configuration file in force; empty until it is known.
extern std::string cfg_name;

/// The last resort of a driver that met what it can't explain: touches the configuration file, so that the file watch
/// replaces the whole process. Gives the exit status of the command; -1, and nothing done, while no file is known.
int touch_configuration();

/// xLog::PrintHex, if option -h is set.
void trace_hex(void const* data, int length, std::string const& title);
