// A simulated Zigbee bridge:
//
//   sim_z2t_bridge HOST PORT ID    at the broker of that address, under that name in its topics
//
// Prints the name when its subscription stands. It reports once a second, answers commands at once, and serves until a
// signal ends it. A lost broker is waited for.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <mosquitto.h>
#include <poll.h>

#include "ctl/line/end_signals.h"
#include "sim/z2t_bridge.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int loop_wait_ms = 100;
constexpr int retry_pause_ms = 1000;
constexpr auto report_period = std::chrono::seconds(1);

/// The simulated bridge, and its client's callbacks.
class Session {
 public:
    explicit Session(std::string const& id) : id_(id), bridge_(id), client_(mosquitto_new(nullptr, true, this)) {
        mosquitto_connect_callback_set(client_, [](mosquitto* client, void* self, int code) {
            if (code == 0) {
                mosquitto_subscribe(client, nullptr, static_cast<Session*>(self)->bridge_.command_topic().c_str(), 0);
            }
        });
        mosquitto_subscribe_callback_set(client_, [](mosquitto*, void* self, int, int, int const*) {
            std::printf("%s\n", static_cast<Session*>(self)->id_.c_str());
            std::fflush(stdout);
        });
        mosquitto_message_callback_set(client_, [](mosquitto*, void* self, mosquitto_message const* message) {
            auto* session = static_cast<Session*>(self);
            std::string const payload(static_cast<char const*>(message->payload),
                                      static_cast<size_t>(message->payloadlen));
            session->publish(session->bridge_.take_command(payload));
        });
    }
    ~Session() { mosquitto_destroy(client_); }
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    void serve(char const* host, int port, int signals) {
        auto const begun = Clock::now();
        auto due = begun;
        int code = mosquitto_connect(client_, host, port, 60);
        while (!ended(signals, code == MOSQ_ERR_SUCCESS ? 0 : retry_pause_ms)) {
            if (code != MOSQ_ERR_SUCCESS) {
                code = mosquitto_reconnect(client_);
                continue;
            }
            code = mosquitto_loop(client_, loop_wait_ms, 1);
            if (Clock::now() >= due) {
                due = Clock::now() + report_period;
                publish(bridge_.reports(std::chrono::duration<double>(Clock::now() - begun).count()));
            }
        }
    }

 private:
    static bool ended(int signals, int wait_ms) {
        pollfd awaited{signals, POLLIN, 0};
        return poll(&awaited, 1, wait_ms) > 0;
    }

    void publish(std::vector<sim::Z2tBridge::Message> const& messages) {
        for (auto const& [topic, payload] : messages) {
            mosquitto_publish(client_, nullptr, topic.c_str(), static_cast<int>(payload.size()), payload.data(), 0,
                              false);
        }
    }

    std::string id_;
    sim::Z2tBridge bridge_;
    mosquitto* client_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s HOST PORT ID\n", argv[0]);
        return 2;
    }
    mosquitto_lib_init();
    Session(argv[3]).serve(argv[1], std::atoi(argv[2]), end_signals());
    mosquitto_lib_cleanup();
    return 0;
}
