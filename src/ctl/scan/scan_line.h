#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "foundation/byte_list.h"
#include "foundation/serial_line.h"

namespace scanner {

/// What a scan asks on. Used by one thread.
class ScanLine {
 public:
    ScanLine() = default;
    virtual ~ScanLine() = default;
    ScanLine(ScanLine const&) = delete;
    ScanLine& operator=(ScanLine const&) = delete;

    /// Opens it, anew if it is open. Raises a LineHeld, and an exception with the reason when it can't be opened.
    virtual void open(xserial::xco const& settings) = 0;
    /// False when the line is gone.
    virtual bool send(xCommon::ByteList const& request) = 0;
    /// What the first arrival brings; 0 when there is none, or none will come.
    virtual size_t receive(std::span<unsigned char> buffer, int wait_ms) = 0;
    virtual bool is_open() const = 0;
    /// Drops what has come in.
    virtual void flush() = 0;
    /// How long so many bytes are under way.
    virtual int transfer_ms(size_t bytes) const = 0;
    /// "9600 8N1".
    virtual std::string name() const = 0;
};

std::unique_ptr<ScanLine> serial_scan_line(bool is_forced);
/// Raises std::invalid_argument for what isn't HOST:PORT.
std::unique_ptr<ScanLine> tcp_scan_line(std::string const& peer);

/// "9600 8N1".
std::string settings_text(xserial::xco const& settings);

/// Host and port; raises std::invalid_argument.
struct HostPort {
    explicit HostPort(std::string const& text);
    std::string host;
    int port = 0;
};

}  // namespace scanner
