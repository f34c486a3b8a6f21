#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <json/value.h>

#include "support/child_process.h"
#include "support/daemon_log.h"
#include "support/temp_folder.h"

/// Runs the daemon. Its log is read from standard error, where "-v" copies every line from the first on, so that it
/// needs no flushing and outlives a restart, which keeps the process and its descriptors. At the end of the scope the
/// daemon is terminated and its log files are removed; a sanitizer's report, or an end that the test didn't ask for,
/// fails the test.
class Daemon {
 public:
    enum class Image {
        real,     ///< the binary that is shipped: logs below /var/log/ostrand, knows only the real time
        testable  ///< the same objects with all fixed paths below folder(), and a clock that the test can move
    };
    using Limit = std::chrono::milliseconds;

    explicit Daemon(Image image = Image::real);
    ~Daemon();
    Daemon(Daemon const&) = delete;
    Daemon& operator=(Daemon const&) = delete;

    /// The test's own folder. The testable image has etc/driver.json, etc/ostrand.json, templates/ and log/ below it.
    TempFolder const& folder() const { return folder_; }
    /// Writes the file as a whole to `name` in the folder; gives its path.
    std::string write_config(Json::Value const& config, std::string const& name = "driver.json") const;

    /// Starts it with "-v", "-l" and a log name of its own, and the arguments behind.
    void start(std::vector<std::string> const& arguments = {});
    /// Starts it with "-c" and that file.
    void start_with(Json::Value const& config, std::vector<std::string> arguments = {});
    /// Starts it with these arguments and no others.
    void start_bare(std::vector<std::string> const& arguments);

    DaemonLog const& log() const { return log_; }
    /// Waits for "начало рабочего цикла" behind the mark: every port is started.
    bool wait_running(Limit limit = std::chrono::seconds(20), size_t since = 0) const;

    pid_t pid() const;
    bool running();
    void signal(int number);
    /// The exit status, or 128 and the number of the signal that ended it.
    std::optional<int> wait_exit(Limit limit);
    /// SIGTERM, and the status; SIGKILL when that takes too long.
    std::optional<int> stop(Limit limit = std::chrono::seconds(5));

    /// Moves the clock of the testable image. Raises std::logic_error for the real one.
    void advance(long long seconds);

    /// Path of the file that it logs to.
    std::string log_path() const;

    /// Targets of the open descriptors.
    std::vector<std::string> descriptors() const;
    int descriptor_count() const { return static_cast<int>(descriptors().size()); }
    /// It holds this file or device open.
    bool has_open(std::string const& path) const;
    long rss_kib() const;
    long cpu_ms() const;
    int threads() const;

 private:
    void read_output(int fd);
    void check_output() const;
    void remove_logs() const;
    std::string log_folder() const;

    Image image_;
    TempFolder folder_;
    std::string log_name_;
    DaemonLog log_;
    std::atomic<long long>* clock_ = nullptr;
    std::unique_ptr<ChildProcess> process_;
    std::thread reader_;
    bool end_expected_ = false;
};
