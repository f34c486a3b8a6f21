#pragma once

#include <memory>
#include <string>

#include "support/child_process.h"
#include "support/free_port.h"
#include "support/temp_folder.h"

/// A real mosquitto of the test's own on the loopback address: anonymous, keeps nothing on disk, drops no message of a
/// queue. The port stays the same over every stop and start.
class Broker {
 public:
    enum class At { once, later };

    /// Starts it, unless told to wait for start().
    explicit Broker(At when = At::once);

    /// Lines of its listener from the next start on, in place of anonymous access. A second one, plain and anonymous,
    /// stands at open_port() then; `common` are lines for both.
    void configure(std::string listener, std::string common = "persistence false\n");
    /// Waits until it takes connections. Raises std::runtime_error when it doesn't.
    void start();
    /// Ends it in order; sessions and retained messages are gone with it.
    void stop();
    void restart();
    /// Holds it as it is (SIGSTOP): connections stand and nothing moves.
    void stall();
    void resume();

    int port() const { return port_.number(); }
    int open_port() const { return open_port_.number(); }
    TempFolder const& folder() const { return folder_; }
    /// What it has written about itself, for the message of a failed test.
    std::string log() const;

 private:
    std::string configuration() const;

    FreePort port_;
    FreePort open_port_;
    TempFolder folder_;
    std::string listener_ = "allow_anonymous true\n";
    std::string common_ = "persistence false\n";
    bool is_open_too_ = false;
    std::unique_ptr<ChildProcess> process_;
};
