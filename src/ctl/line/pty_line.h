#pragma once

#include <string>

/// How a serial line is set, read back from the terminal. A pseudo-terminal keeps no byte size and no parity.
struct LineSettings {
    unsigned int baudrate = 0;
    int stop_bits = 0;  ///< 1 or 2
    bool software_flow = false;
    bool hardware_flow = false;

    bool operator==(LineSettings const&) const = default;
};

/// A pseudo-terminal in raw mode, whose line end is a link of a chosen name. A simulated device holds the master side;
/// whoever polls it opens the link as a serial line. It can be pulled out and come back under the same name, as an
/// adapter on USB does.
class PtyLine {
 public:
    /// Plugged in from the start. Raises std::system_error.
    explicit PtyLine(std::string path);
    ~PtyLine() { unplug(); }
    PtyLine(PtyLine const&) = delete;
    PtyLine& operator=(PtyLine const&) = delete;

    /// A new terminal under the same path. A link that is already there is replaced, anything else in its place isn't.
    void plug();
    /// The far side closes: whoever has the line open sees a hang-up, and the path is gone, if it is still this
    /// terminal's.
    void unplug();

    /// -1 while it is unplugged.
    int master() const { return master_; }
    std::string const& path() const { return path_; }
    /// The terminal behind the link, "/dev/pts/3"; empty while it is unplugged.
    std::string const& device() const { return device_; }
    /// As the last one who opened the line has set it.
    LineSettings settings() const;

 private:
    PtyLine() = default;

    std::string path_;
    std::string device_;
    int master_ = -1;
    /// Kept open, so that the master sees no hang-up while nobody polls.
    int slave_ = -1;
};
