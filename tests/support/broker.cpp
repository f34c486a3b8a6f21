#include "support/broker.h"

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include "ctl/line/wait_until.h"
#include "support/process_info.h"

using std::chrono::seconds;

namespace {

std::string find_mosquitto() {
    // It stands in /usr/sbin, which isn't in everybody's PATH.
    for (char const* path : {"/usr/sbin/mosquitto", "/usr/local/sbin/mosquitto", "/usr/bin/mosquitto"}) {
        if (access(path, X_OK) == 0) {
            return path;
        }
    }
    throw std::runtime_error("mosquitto is not installed");
}

}  // namespace

Broker::Broker(At when) {
    if (when == At::once) {
        start();
    }
}

void Broker::configure(std::string listener, std::string common) {
    listener_ = std::move(listener);
    common_ = std::move(common);
    is_open_too_ = true;
}

/// The log goes into a file: to standard output it would write through a buffer.
std::string Broker::configuration() const {
    std::ostringstream text;
    text << "per_listener_settings true\n"
         << "max_queued_messages 0\n"
         << "set_tcp_nodelay true\n"
         << "log_dest file " << folder_.file("mosquitto.log") << "\n"
         << "log_type all\n"
         << (geteuid() == 0 ? "user root\n" : "") << common_ << "listener " << port() << " 127.0.0.1\n"
         << listener_;
    if (is_open_too_) {
        text << "listener " << open_port() << " 127.0.0.1\nallow_anonymous true\n";
    }
    return text.str();
}

void Broker::start() {
    if (process_) {
        return;
    }
    std::string const path = folder_.write("mosquitto.conf", configuration());
    int const output = open(folder_.file("mosquitto.out").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    process_ = std::make_unique<ChildProcess>(ChildProcess::Launch{{find_mosquitto(), "-c", path}, {}, output});
    close(output);
    bool const ready = wait_until([this] { return accepts_connections(port()) || !process_->running(); }, seconds(10));
    if (!ready || !process_->running()) {
        process_.reset();
        throw std::runtime_error("mosquitto does not run :\n" + log());
    }
}

void Broker::stop() {
    if (process_) {
        resume();
        process_->signal(SIGTERM);
        process_->wait_exit(seconds(5));
        process_.reset();
    }
}

void Broker::restart() {
    stop();
    start();
}

void Broker::stall() {
    if (process_) {
        process_->signal(SIGSTOP);
        wait_until([this] { return process_info::state(process_->pid()) == 'T'; }, seconds(5));
    }
}

void Broker::resume() {
    if (process_) {
        process_->signal(SIGCONT);
    }
}

std::string Broker::log() const {
    std::ostringstream text;
    for (char const* name : {"mosquitto.out", "mosquitto.log"}) {
        std::ifstream file(folder_.file(name));
        text << std::string(std::istreambuf_iterator(file), {});
    }
    return text.str();
}
