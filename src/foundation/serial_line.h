#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/value.h>

namespace xserial {

enum class bytesize_t : int { invalid = 0, five = 5, six = 6, seven = 7, eight = 8 };
enum class parity_t : int { invalid = -1, none, odd, even, mark, space };
enum class stopbits_t : int { invalid = 0, one = 1, one_and_half = 3, two = 2 };
enum class flowcontrol_t : int { invalid = -1, none, software, hardware };

/// Settings of a serial line, a plain value.
struct xco {
    xco() = default;
    /// Reads the object `rs` of a port or device node: `path`, `baudrate` (9600), `bytesize` (5 to 8, 8), `parity`
    /// ("none", "odd", "even", "mark", "space"), `stopbits` (1, 1.5, 2), `flowcontrol` ("none", "software",
    /// "hardware"). Never raises: what can't be used makes the settings invalid.
    explicit xco(Json::Value const& node);

    /// True when the settings are equal.
    bool compare(xco const& other) const;
    /// True when a line can be opened with them.
    bool validate() const;

    bool present = false;  ///< the node had `rs`
    std::string path;
    unsigned int baudrate = 9600;  ///< 0 is invalid
    bytesize_t bytesize = bytesize_t::eight;
    parity_t parity = parity_t::none;
    stopbits_t stopbits = stopbits_t::one;
    flowcontrol_t flowcontrol = flowcontrol_t::none;
};

/// Time-outs in milliseconds: a read of n bytes may take `read_constant` + n * `read_multiplier`, a write likewise.
/// An inter-byte time-out of -1 means none, and no other is supported.
struct Timeout {
    int inter_byte = -1;
    int read_constant = 0;
    int read_multiplier = 0;
    int write_constant = 0;
    int write_multiplier = 0;
};

/// A line that another process holds.
class LineHeld : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/// One serial line over termios. Used by one thread at a time. Only open() raises; a hard error or a hang-up of the
/// line in any other call closes it, so that isOpen() tells.
/// While it is open it is locked for others (flock), together with whoever else only shares it.
class xrs {
 public:
    /// How lines are locked. The daemon shares them, never waits and is never refused; a tool beside it asks for a line
    /// of its own, unless it is told to force its way.
    enum class Lock { shared, own };
    /// For the whole process, set before the first line is opened.
    static Lock lock;

    /// Keeps the settings, doesn't open.
    xrs(std::string const& path, unsigned int baudrate, Timeout const& timeout, bytesize_t bytesize, parity_t parity,
        stopbits_t stopbits, flowcontrol_t flowcontrol);
    ~xrs();
    xrs(xrs const&) = delete;
    xrs& operator=(xrs const&) = delete;

    /// Raises an xExceptionf with the path and the reason, and a LineHeld, with nothing on the line changed, for one
    /// that was to be this process's own. A single setting that the line doesn't take over exactly is no failure: a
    /// pseudo-terminal keeps no byte size and no parity.
    void open();
    void close();
    bool isOpen() const { return fd_ >= 0; }
    /// Somebody else had the line for himself when it was opened.
    bool isHeld() const { return is_held_; }
    /// Collects until `count` bytes are there or the read time-out has passed since the call, whatever the pauses
    /// between bytes. Gives what came, 0 for nothing.
    unsigned int read(unsigned char* buffer, unsigned int count);
    /// What the first arrival within the read time-out brings, `count` bytes at most; 0 for nothing.
    unsigned int readSome(unsigned char* buffer, unsigned int count);
    /// Gives the number of bytes that went out within the write time-out.
    unsigned int write(unsigned char const* buffer, unsigned int count);
    unsigned int write(std::vector<unsigned char> const& bytes);
    /// Drops what has come in.
    void flushInput();
    /// Lets out what was written before, for the write time-out at most, and drops the rest.
    void flushOutput();
    void setTimeout(Timeout const& timeout) { timeout_ = timeout; }

 private:
    void configure();
    unsigned int collect(unsigned char* buffer, unsigned int count, bool whole);

    std::string path_;
    unsigned int baudrate_;
    Timeout timeout_;
    bytesize_t bytesize_;
    parity_t parity_;
    stopbits_t stopbits_;
    flowcontrol_t flowcontrol_;
    int fd_ = -1;
    bool is_held_ = false;
};

}  // namespace xserial
