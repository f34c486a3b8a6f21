#include <algorithm>
#include <chrono>
#include <memory>

#include <gtest/gtest.h>

#include "ctl/line/serial_peer.h"
#include "ctl/line/wait_until.h"
#include "ctl/scenario/scenario.h"
#include "scenario/runners.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/tcp_peer.h"

namespace {

constexpr auto limit = std::chrono::seconds(20);

/// The far end of one port.
class Peer {
 public:
    Peer(Json::Value& port, std::string const& path, Scenario const& scenario) {
        if (port["type"].asString().find("tcp") != std::string::npos) {
            tcp_ = std::make_unique<TcpPeer>();
            port["tcp"]["url"] = "127.0.0.1";
            port["tcp"]["port"] = tcp_->port();
        } else {
            serial_ = std::make_unique<SerialPeer>(path);
            port["rs"]["path"] = serial_->path();
        }
        scenario.write(port["name"].asString(), serial_ ? serial_->script() : tcp_->script());
    }

    void go_away() { serial_ ? serial_->unplug() : tcp_->stop_listening(); }
    void come_back() { serial_ ? serial_->plug() : tcp_->listen(); }
    Responder const& log() const { return serial_ ? serial_->log() : tcp_->log(); }
    void send(std::string const& frame) {
        if (serial_) {
            serial_->send(frame);
        } else {
            tcp_->send(frame);
        }
    }

 private:
    std::unique_ptr<SerialPeer> serial_;
    std::unique_ptr<TcpPeer> tcp_;
};

class WholeRun {
 public:
    explicit WholeRun(Scenario const& scenario)
        : scenario_(scenario), probe_(broker_.port()), daemon_(Daemon::Image::testable) {
        Json::Value config = scenario.config;
        config["mqtt"]["url"] = "127.0.0.1";
        config["mqtt"]["port"] = broker_.port();
        config["log"]["is_debug"] = true;
        for (Json::Value& port : config["ports"]) {
            std::string const name = port["name"].asString();
            if (scenario.wires.contains(name)) {
                peers_.emplace(name, std::make_unique<Peer>(port, daemon_.folder().file(name), scenario));
            }
        }
        for (auto const& [name, text] : scenario.templates) {
            daemon_.folder().write("templates/" + name, text);
        }
        if (!scenario.zone.empty()) {
            setenv("TZ", scenario.zone.c_str(), 1);
        }
        daemon_.start_with(config,
                           scenario.prints_frames ? std::vector<std::string>{"-h"} : std::vector<std::string>{});
        unsetenv("TZ");
    }

    void run() {
        for (Step const& step : scenario_.steps) {
            if (!perform(step)) {
                ADD_FAILURE_AT(scenario_.path.c_str(), step.line)
                    << (step.wanted ? "didn't come" : "came") << "\n"
                    << probe_.text(published_mark_) << daemon_.log().text(log_mark_);
                return;
            }
        }
    }

 private:
    bool perform(Step const& step) {
        std::string const line =
            "[" + std::to_string(step.number) + "] " +
            (step.text.empty() || step.text.back() != '*' ? step.text : step.text.substr(0, step.text.size() - 1));
        switch (step.kind) {
            case Step::Kind::pass:
            case Step::Kind::nothing_more:
                return true;  // the daemon makes its own passes
            case Step::Kind::clock:
                mark();
                daemon_.advance(step.number);
                return true;
            case Step::Kind::date:
                mark();
                daemon_.advance(time_of(step.text) - time(nullptr));
                return true;
            case Step::Kind::away:
            case Step::Kind::back:
                mark();
                step.kind == Step::Kind::away ? peers_.at(step.port)->go_away() : peers_.at(step.port)->come_back();
                return true;
            case Step::Kind::message:
                // What nobody has subscribed yet is lost. The broker tells each topic in a line of its own.
                if (!wait_until([&] { return broker_.log().find("\t" + step.topic + " (QoS") != std::string::npos; },
                                limit)) {
                    return false;
                }
                mark();
                return probe_.publish(step.topic, step.text);
            case Step::Kind::unasked:
                mark();
                peers_.at(step.port)->send(step.text);
                return true;
            case Step::Kind::value:
                if (!step.wanted) {
                    return probe_.count(step.topic, published_mark_) == 0;
                }
                return probe_
                    .wait_for(
                        [&step](MqttMessage const& message) {
                            return message.topic == step.topic && message.qos == step.number &&
                                   (step.text == "*" || message.payload == step.text);
                        },
                        limit, published_mark_)
                    .has_value();
            case Step::Kind::log:
                return step.wanted ? daemon_.log().wait_for(line, limit, log_mark_).has_value()
                                   : daemon_.log().count(line, log_mark_) == 0;
            case Step::Kind::sent: {
                auto const came = [&] { return ::was_sent(sent(step.port), step); };
                return step.wanted ? wait_until(came, limit) : !came();
            }
            case Step::Kind::frames:
                return wait_until([&] { return are_frames(sent(step.port), step.frames); }, limit);
        }
        return false;
    }

    /// The frames behind the last step that did something.
    std::vector<std::string> sent(std::string const& port) {
        std::vector<std::string> const all = peers_.at(port)->log().frames();
        return {all.begin() + static_cast<std::ptrdiff_t>(std::min(sent_marks_[port], all.size())), all.end()};
    }

    void mark() {
        for (auto const& [name, peer] : peers_) {
            sent_marks_[name] = peer->log().frames().size();
        }
        published_mark_ = probe_.mark();
        log_mark_ = daemon_.log().mark();
    }

    Scenario const& scenario_;
    Broker broker_;
    MqttProbe probe_;
    Daemon daemon_;
    std::map<std::string, std::unique_ptr<Peer>> peers_;
    size_t published_mark_ = 0;
    size_t log_mark_ = 0;
    std::map<std::string, size_t> sent_marks_;
};

}  // namespace

void run_whole(Scenario const& scenario) {
    WholeRun(scenario).run();
}
