#include "support/daemon.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/writer.h>
#include <sys/mman.h>
#include <unistd.h>

#include "support/process_info.h"

namespace {

constexpr char real_log_folder[] = "/var/log/ostrand";

/// Words by which a sanitizer's report begins.
constexpr char const* report_words[] = {"AddressSanitizer", "LeakSanitizer", "ThreadSanitizer", "runtime error:"};

std::string unique_log_name() {
    static int number = 0;
    return "test-" + std::to_string(getpid()) + "-" + std::to_string(++number);
}

std::atomic<long long>* map_clock(std::string const& path) {
    int const fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    bool const sized = ftruncate(fd, sizeof(long long)) == 0;
    void* memory = mmap(nullptr, sizeof(long long), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (!sized || memory == MAP_FAILED) {
        throw std::runtime_error("no clock file");
    }
    return static_cast<std::atomic<long long>*>(memory);
}

}  // namespace

Daemon::Daemon(Image image) : image_(image), log_name_(unique_log_name()) {
    for (char const* name : {"etc", "log", "templates"}) {
        std::filesystem::create_directories(folder_.file(name));
    }
    if (image_ == Image::testable) {
        clock_ = map_clock(folder_.file("clock"));
    }
}

Daemon::~Daemon() {
    if (process_) {
        if (!running() && !end_expected_) {
            ADD_FAILURE() << "the daemon has ended by itself :\n" << log_.raw();
        }
        stop();
        check_output();
    }
    if (clock_ != nullptr) {
        munmap(clock_, sizeof(long long));
    }
    remove_logs();
}

std::string Daemon::write_config(Json::Value const& config, std::string const& name) const {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    writer["emitUTF8"] = true;
    // In one step, so that a daemon that watches the file never sees half of it.
    std::string const path = folder_.write(name + ".new", Json::writeString(writer, config));
    std::filesystem::rename(path, folder_.file(name));
    return folder_.file(name);
}

void Daemon::start(std::vector<std::string> const& arguments) {
    std::vector<std::string> all = {"-v", "-l", log_name_ + ".log"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    start_bare(all);
}

void Daemon::start_with(Json::Value const& config, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-c", write_config(config)});
    start(arguments);
}

void Daemon::start_bare(std::vector<std::string> const& arguments) {
    if (process_) {
        stop();
    }
    ChildProcess::Launch launch;
    launch.command = {image_ == Image::real ? OSTRAND_BINARY : OSTRAND_TESTABLE};
    launch.command.insert(launch.command.end(), arguments.begin(), arguments.end());
    if (image_ == Image::testable) {
        launch.environment = {{"OSTRAND_TEST_ROOT", folder_.path()}, {"OSTRAND_TEST_CLOCK", folder_.file("clock")}};
    }
    int output[2];
    if (pipe2(output, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    launch.output = output[1];
    log_.begin();
    end_expected_ = false;
    process_ = std::make_unique<ChildProcess>(launch);
    close(output[1]);
    reader_ = std::thread(&Daemon::read_output, this, output[0]);
}

/// Until every writer is gone: the end of the daemon, and of what it may have run itself.
void Daemon::read_output(int fd) {
    std::string line;
    char piece[4096];
    for (ssize_t got = 0; (got = read(fd, piece, sizeof(piece))) > 0;) {
        for (char const symbol : std::string_view(piece, static_cast<size_t>(got))) {
            if (symbol != '\n') {
                line.push_back(symbol);
                continue;
            }
            log_.add_line(line);
            line.clear();
        }
    }
    if (!line.empty()) {
        log_.add_line(line);
    }
    close(fd);
    log_.end();
}

bool Daemon::wait_running(Limit limit, size_t since) const {
    return log_.wait_for("начало рабочего цикла", limit, since).has_value();
}

pid_t Daemon::pid() const {
    return process_ ? process_->pid() : -1;
}

bool Daemon::running() {
    return process_ && process_->running();
}

void Daemon::signal(int number) {
    end_expected_ = true;
    if (process_) {
        process_->signal(number);
    }
}

std::optional<int> Daemon::wait_exit(Limit limit) {
    end_expected_ = true;
    std::optional<int> const status = process_ ? process_->wait_exit(limit) : std::nullopt;
    if (status && reader_.joinable()) {
        reader_.join();
    }
    return status;
}

std::optional<int> Daemon::stop(Limit limit) {
    signal(SIGTERM);
    std::optional<int> status = wait_exit(limit);
    if (!status) {
        signal(SIGKILL);
        status = wait_exit(limit);
    }
    return status;
}

void Daemon::advance(long long seconds) {
    if (clock_ == nullptr) {
        throw std::logic_error("the real image has no clock that a test could move");
    }
    *clock_ += seconds;
}

std::string Daemon::log_folder() const {
    return image_ == Image::real ? std::string(real_log_folder) : folder_.file("log");
}

std::string Daemon::log_path() const {
    return log_folder() + "/" + log_name_ + ".log";
}

std::vector<std::string> Daemon::descriptors() const {
    return process_info::descriptors(pid());
}

bool Daemon::has_open(std::string const& path) const {
    std::vector<std::string> const all = descriptors();
    return std::find(all.begin(), all.end(), path) != all.end();
}

long Daemon::rss_kib() const {
    return process_info::rss_kib(pid());
}

long Daemon::cpu_ms() const {
    return process_info::cpu_ms(pid());
}

int Daemon::threads() const {
    return process_info::threads(pid());
}

void Daemon::check_output() const {
    std::string const raw = log_.raw();
    for (char const* word : report_words) {
        size_t const at = raw.find(word);
        if (at != std::string::npos) {
            ADD_FAILURE() << "report of a sanitizer :\n" << raw.substr(raw.rfind('\n', at) + 1);
            return;
        }
    }
}

/// The rotated ones too: "name.1.log".
void Daemon::remove_logs() const {
    std::error_code ignored;
    for (auto const& entry : std::filesystem::directory_iterator(log_folder(), ignored)) {
        if (entry.path().filename().string().starts_with(log_name_ + ".")) {
            std::error_code gone;
            std::filesystem::remove(entry.path(), gone);
        }
    }
}
