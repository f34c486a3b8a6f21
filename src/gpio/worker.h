#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <sys/epoll.h>

#include "foundation/mq_client.h"
#include "foundation/sync_vector.h"
#include "foundation/xlog.h"
#include "gpio/config.h"
#include "gpio/io_base.h"

namespace xgpio {

/// The running GPIO driver: all lines, one thread and one broker client. A line whose value file reports edges is
/// served by epoll. Any other is polled: the worker touches its file, and takes the inotify event for an interrupt. The
/// first real interrupt of a line ends its polling.
class worker : public xCommon::LogItem {
 public:
    explicit worker(std::unique_ptr<config_t> settings);
    ~worker() override;

    /// Start(), and then the thread. False when there is nothing to run.
    bool Run();
    bool Start();
    /// Ends the thread, within one turn of the loop.
    void Stop();
    void Work();

    void mq_check();
    bool mq_start();
    /// One client for all attempts, which tells once why there is no connection.
    bool await_own_client();
    void mq_on_connect();
    /// Raises std::invalid_argument or std::out_of_range for a retained total that is no number.
    void mq_on_message(std::string& topic, std::string& payload);
    /// The line that a topic of the driver names; null, with a line in the log, for any other topic.
    io_base* getby_topic(std::string const& topic, bool& is_total);

    void irr_hand(int count);
    void debounce();
    /// False when the connection took one of them away.
    bool process_messages(std::vector<mqtt_message> const& messages);

 protected:
    /// One turn of the loop.
    void turn();

    std::vector<std::unique_ptr<io_base>> lines;

 private:
    void make_lines();
    void take_total(io_base& line, std::string const& topic, std::string const& payload);
    void watch_line(io_base& line);
    void wait_for_interrupts();
    void touch_lines();
    void read_touches();
    /// Lets a line look at its level; what it raises costs a line in the log with that text.
    void serve(io_base& line, bool from_event, char const* fault);

    std::unique_ptr<config_t> config;
    std::atomic<bool> running = false;
    std::thread thread;
    int epfd = -1;
    int ifd = -1;
    std::array<epoll_event, 20> events{};
    std::vector<char> ibuf;
    std::unique_ptr<xCommon::SyncVector> queue;
    std::unique_ptr<xMQ::mqClient> client;
    /// Topics of totals that are subscribed.
    std::set<std::string> awaited_totals_;
    /// Those that were published from here before the broker's had been read.
    std::set<std::string> overtaken_totals_;
};

}  // namespace xgpio
