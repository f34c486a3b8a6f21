#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "ctl/scan/protocol.h"
#include "ctl/scan/scan_line.h"

namespace scanner {

/// What is asked, and where.
struct ScanOptions {
    std::string tty;  ///< or tcp
    std::string tcp;
    std::vector<unsigned int> baudrates = {9600};
    std::vector<std::string> parities = {"none"};
    std::vector<int> bytesizes = {8};
    std::vector<double> stopbits = {1};
    std::vector<std::string> protocols = {"all"};
    std::vector<std::string> addresses = {"1-247"};  ///< numbers and ranges
    int timeout_ms = 200;
    bool rtu_only = false;     ///< behind TCP: no frames of Modbus TCP
    bool no_checksum = false;  ///< of DCON
    bool is_forced = false;
};

/// A device, and where it answers.
struct Found {
    std::string protocol;
    Asker::Address address = 0;
    std::string line;  ///< its settings, as shown
    xserial::xco settings;
    Protocol::Device device;
};

struct ScanResult {
    std::vector<Found> found;  ///< each device once, whatever settings it answers at
    bool is_whole = true;      ///< false: the line was gone or held, or echoes
};

/// "1-10,20" in order, each once. Raises std::invalid_argument.
std::vector<Asker::Address> addresses_of(std::vector<std::string> const& ranges);
/// Each combination of the serial settings; a single one for TCP.
std::vector<xserial::xco> settings_of(ScanOptions const& options);

/// Asks all that the options tell. A line about each device goes to `out` as soon as it is found, what there is to say
/// about the line to `notes`; the progress is shown on standard error. `wants_end` is looked at all the time. Raises a
/// LineHeld when the line is another's from the start, and the reason when it can't be opened then.
ScanResult scan(ScanOptions const& options, ScanLine& line, std::ostream& out, std::ostream& notes,
                std::function<bool()> const& wants_end);

/// The devices as a table.
std::string table_of(std::vector<Found> const& found);
/// A configuration in the plain shape by which the daemon polls them. The line has the settings of the first; devices
/// with others have personal ones.
Json::Value configuration_of(ScanOptions const& options, std::vector<Found> const& found);

}  // namespace scanner
