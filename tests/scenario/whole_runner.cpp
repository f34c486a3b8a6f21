#include <algorithm>
#include <chrono>
#include <memory>

#include <gtest/gtest.h>

#include "scenario/scenario.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/serial_peer.h"
#include "support/tcp_peer.h"
#include "support/wait_until.h"

namespace {

constexpr auto limit = std::chrono::seconds(20);

/// The far end of one port.
class Peer {
 public:
    Peer(Json::Value& port, std::string const& path, std::vector<WireRow> const& rows) {
        if (port["type"].asString().find("tcp") != std::string::npos) {
            tcp_ = std::make_unique<TcpPeer>();
            port["tcp"]["url"] = "127.0.0.1";
            port["tcp"]["port"] = tcp_->port();
        } else {
            serial_ = std::make_unique<SerialPeer>(path);
            port["rs"]["path"] = serial_->path();
        }
        PeerScript& script = serial_ ? serial_->script() : tcp_->script();
        for (WireRow const& row : rows) {
            if (row.request == "*") {
                script.otherwise(row.reply);
            } else if (row.once) {
                script.once(row.request, row.reply);
            } else {
                script.on(row.request, row.reply);
            }
        }
    }

    PeerLog log() { return serial_ ? serial_->log() : tcp_->log(); }
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
            auto const rows = scenario.wires.find(name);
            if (rows != scenario.wires.end()) {
                peers_.emplace(name, std::make_unique<Peer>(port, daemon_.folder().file(name), rows->second));
            }
        }
        daemon_.start_with(config);
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
            case Step::Kind::message:
                // What nobody has subscribed yet is lost.
                daemon_.log().wait_for("MQTT соединение установлено.", limit);
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
            case Step::Kind::sent:
                return was_sent(step);
        }
        return false;
    }

    /// Behind the last step that did something.
    bool was_sent(Step const& step) {
        auto const came = [&] {
            std::vector<std::string> const frames = peers_.at(step.port)->log().frames();
            auto const begin =
                frames.begin() + static_cast<std::ptrdiff_t>(std::min(sent_marks_[step.port], frames.size()));
            return std::any_of(begin, frames.end(),
                               [&step](std::string const& frame) { return step.text.empty() || frame == step.text; });
        };
        return step.wanted ? wait_until(came, limit) : !came();
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
