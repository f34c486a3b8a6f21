#include <array>
#include <climits>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "ctl/language/phrase.h"
#include "ctl/line/end_signals.h"
#include "ctl/watch/broker_link.h"
#include "ctl/watch/terminal.h"
#include "ctl/watch/watch.h"
#include "foundation/xmisc.h"

namespace watch {

using std::chrono::milliseconds;

namespace {

/// A screen over a slow line can't take more, and an eye neither.
constexpr auto frame_time = milliseconds(250);
/// What comes within it is taken in one go: a wake-up for each message would cost more than all the rest.
constexpr auto gathering_time = milliseconds(50);
constexpr auto finish_time = milliseconds(2000);

/// The live table: one thread that waits for keys, signals and the broker.
class LiveTable {
 public:
    explicit LiveTable(Options const& options)
        : options_(options),
          signals_(end_signals()),
          link_(options.broker, Board::topics(), [this](Message const& message) { board_.take(message, now_); }),
          list_(board_),
          controls_(list_, options.filter) {}
    ~LiveTable() { close(signals_); }
    LiveTable(LiveTable const&) = delete;
    LiveTable& operator=(LiveTable const&) = delete;

    void run() {
        Time const begun = now_;
        while (!is_ended_ && !controls_.wants_end() && !is_over(begun)) {
            if (now_ >= next_frame_) {
                draw();
            }
            wait();
        }
        finish_delivery();
    }

 private:
    /// A message of QoS 2 that is left half-way is never passed on.
    void finish_delivery() {
        Time const end = now_ + finish_time;
        while (link_.delivery() == BrokerLink::Delivery::under_way && now_ < end) {
            pollfd watched{link_.descriptor(), link_.events(), 0};
            poll(&watched, 1, static_cast<int>(milliseconds(frame_time).count()));
            now_ = xCommon::xtime::steady();
            link_.turn(now_);
        }
    }

    bool is_over(Time begun) const { return options_.limit.count() > 0 && now_ - begun >= options_.limit; }

    void wait() {
        bool const gathers = now_ < next_read_;
        std::array<pollfd, 3> watched = {
            {{STDIN_FILENO, POLLIN, 0}, {signals_, POLLIN, 0}, {gathers ? -1 : link_.descriptor(), link_.events(), 0}}};
        Time const until = gathers ? std::min(next_frame_, next_read_) : next_frame_;
        auto const wait_ms = std::chrono::ceil<milliseconds>(std::max(until - now_, Span::zero())).count();
        int const ready = poll(watched.data(), watched.size(), static_cast<int>(wait_ms));
        now_ = xCommon::xtime::steady();
        if (ready > 0) {
            // A terminal that is gone is always ready, and has nothing to tell.
            is_ended_ = watched[1].revents != 0 || (watched[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
        }
        take_keys();
        if (!gathers) {
            link_.turn(now_);
            next_read_ = now_ + gathering_time;
        }
    }

    /// A change of the window's size comes as a key.
    void take_keys() {
        while (auto const key = terminal_.key()) {
            notice_.clear();
            list_.update(now_);
            controls_.press(*key);
            next_frame_ = now_;
        }
        if (auto const command = controls_.take_command()) {
            sent_ = *command;
            if (!link_.send(command->topic, command->payload)) {
                notice_ = say("not sent, there is no connection: %s to %s", command->payload, command->name);
            }
        }
    }

    void draw() {
        next_frame_ = now_ + frame_time;
        list_.update(now_);
        tell_delivery();
        Scene const scene{board_, list_, controls_, connection(), link_.is_up(), notice_, now_};
        terminal_.show(screen(scene, terminal_.columns(), terminal_.lines()));
    }

    void tell_delivery() {
        auto const delivery = link_.delivery();
        if (delivery == std::exchange(told_, delivery)) {
            return;
        }
        if (delivery == BrokerLink::Delivery::under_way) {
            notice_ = say("on its way to the broker: %s to %s", sent_.payload, sent_.name);
        } else if (delivery == BrokerLink::Delivery::taken) {
            notice_ = say("the broker has it: %s to %s", sent_.payload, sent_.name);
        } else if (delivery == BrokerLink::Delivery::unknown) {
            notice_ = say("the connection ended; not known whether it arrived: %s to %s", sent_.payload, sent_.name);
        }
    }

    std::string connection() const {
        std::string place = options_.broker.place();
        if (link_.is_up()) {
            return place;
        }
        if (link_.reason().empty()) {
            return say("%s: connecting", place);
        }
        return say("%s: no connection: %s", place, link_.reason());
    }

    Options const& options_;
    int signals_;
    Time now_ = xCommon::xtime::steady();
    Time next_frame_ = now_;
    Time next_read_ = now_;
    Board board_;
    BrokerLink link_;
    RowList list_;
    Controls controls_;
    Terminal terminal_;
    Command sent_;
    BrokerLink::Delivery told_ = BrokerLink::Delivery::none;
    std::string notice_;
    bool is_ended_ = false;
};

}  // namespace

void show_table(Options const& options) {
    LiveTable(options).run();
}

}  // namespace watch
