#include "ctl/scan/scan_line.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "ctl/language/phrase.h"
#include "foundation/wsock.h"

namespace scanner {

namespace {

using xserial::xrs;

/// Far above what a request takes.
constexpr int send_limit_ms = 2000;

/// Bits that a byte takes on the line: start, data, parity, stop.
int bits_of(xserial::xco const& settings) {
    int const stop_bits = settings.stopbits == xserial::stopbits_t::one ? 1 : 2;
    return 1 + static_cast<int>(settings.bytesize) + (settings.parity == xserial::parity_t::none ? 0 : 1) + stop_bits;
}

class SerialScanLine : public ScanLine {
 public:
    explicit SerialScanLine(bool is_forced) { xrs::lock = is_forced ? xrs::Lock::shared : xrs::Lock::own; }
    ~SerialScanLine() override { xrs::lock = xrs::Lock::shared; }

    void open(xserial::xco const& settings) override {
        line_.reset();
        settings_ = settings;
        line_ = std::make_unique<xrs>(settings.path, settings.baudrate, timeout(0), settings.bytesize, settings.parity,
                                      settings.stopbits, settings.flowcontrol);
        line_->open();
    }
    bool send(xCommon::ByteList const& request) override {
        auto const size = static_cast<unsigned int>(request.size());
        line_->setTimeout(timeout(0));
        return line_->write(request.data(), size) == size;
    }
    size_t receive(std::span<unsigned char> buffer, int wait_ms) override {
        line_->setTimeout(timeout(wait_ms));
        return line_->readSome(buffer.data(), static_cast<unsigned int>(buffer.size()));
    }
    bool is_open() const override { return line_ && line_->isOpen(); }
    void flush() override { line_->flushInput(); }
    int transfer_ms(size_t bytes) const override {
        auto const bits = 1000 * bytes * static_cast<size_t>(bits_of(settings_));
        return static_cast<int>(bits / std::max(settings_.baudrate, 1U)) + 1;
    }
    std::string name() const override { return settings_text(settings_); }

 private:
    static xserial::Timeout timeout(int read_ms) { return {.read_constant = read_ms, .write_constant = send_limit_ms}; }

    xserial::xco settings_;
    std::unique_ptr<xrs> line_;
};

class TcpScanLine : public ScanLine {
 public:
    explicit TcpScanLine(std::string const& peer) : name_(peer), peer_(peer) {}

    void open(xserial::xco const& /*settings*/) override {
        if (!connect()) {
            throw std::runtime_error(say("%s: no connection", name_));
        }
    }
    /// A peer may close behind what it doesn't understand.
    bool send(xCommon::ByteList const& request) override {
        int const size = static_cast<int>(request.size());
        return (is_open() || connect()) && socket_->SendAll(request.data(), size);
    }
    size_t receive(std::span<unsigned char> buffer, int wait_ms) override {
        socket_->set_timeout(wait_ms, send_limit_ms);
        return static_cast<size_t>(std::max(socket_->Recv(buffer.data(), static_cast<int>(buffer.size())), 0));
    }
    bool is_open() const override { return socket_ && socket_->connected; }
    void flush() override {
        if (is_open()) {
            socket_->flush_input();
        }
    }
    int transfer_ms(size_t /*bytes*/) const override { return 0; }
    std::string name() const override { return name_; }

 private:
    bool connect() {
        socket_ = std::make_unique<xsock::wsock>(name_, peer_.host, peer_.port, 0, send_limit_ms);
        return socket_->Open();
    }

    std::string name_;
    HostPort peer_;
    std::unique_ptr<xsock::wsock> socket_;
};

}  // namespace

std::unique_ptr<ScanLine> serial_scan_line(bool is_forced) {
    return std::make_unique<SerialScanLine>(is_forced);
}

std::unique_ptr<ScanLine> tcp_scan_line(std::string const& peer) {
    return std::make_unique<TcpScanLine>(peer);
}

std::string settings_text(xserial::xco const& settings) {
    char const parity = "NOEMS"[static_cast<size_t>(settings.parity)];
    std::string const stop_bits = settings.stopbits == xserial::stopbits_t::one_and_half
                                      ? "1.5"
                                      : std::to_string(static_cast<int>(settings.stopbits));
    return xCommon::xString::Format("%u %d%c%s", settings.baudrate, static_cast<int>(settings.bytesize), parity,
                                    stop_bits);
}

HostPort::HostPort(std::string const& text) {
    constexpr int highest_port = 65535;
    size_t const colon = text.rfind(':');
    host = text.substr(0, colon);
    char const* const end = text.data() + text.size();
    char const* const number = colon == std::string::npos ? end : text.data() + colon + 1;
    auto const read = std::from_chars(number, end, port);
    if (host.empty() || read.ec != std::errc() || read.ptr != end || port < 1 || port > highest_port) {
        throw std::invalid_argument(say("%s: not HOST:PORT", text));
    }
}

}  // namespace scanner
