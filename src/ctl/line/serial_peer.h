#pragma once

#include <filesystem>
#include <string>

#include "ctl/line/pty_line.h"
#include "ctl/line/responder.h"

/// A scripted device at the far end of a serial line. What it is asked to hang up is pulled out like by unplug(); bytes
/// that go out just before it are awaited by half a second at most, as a hang-up throws away what wasn't read.
class SerialPeer : public Responder {
 public:
    /// The line is opened under `path`, a name in the test's own folder.
    explicit SerialPeer(std::string const& path);
    ~SerialPeer() { unplug(); }
    SerialPeer(SerialPeer const&) = delete;
    SerialPeer& operator=(SerialPeer const&) = delete;

    /// Plugged in from the start. A second plug() is a new terminal under the same path.
    void plug();
    void unplug();
    bool is_plugged() const { return std::filesystem::is_symlink(path()); }
    /// Bytes that nobody asked for, hexadecimal.
    void send(std::string const& frame);

    std::string const& path() const { return line_.path(); }
    /// The terminal behind the path, as it stands among a process's open files.
    std::string device() const { return line_.device(); }
    LineSettings settings() const { return line_.settings(); }

 private:
    void work(std::stop_token const& stop);
    void wait_until_read();

    PtyLine line_;
};
