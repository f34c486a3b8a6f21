#include <algorithm>
#include <memory>
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

#include "config/config.h"
#include "config/constants.h"
#include "runtime/port_base.h"
#include "scenario/scenario.h"
#include "scenario/script_line.h"
#include "support/log_capture.h"
#include "support/test_clock.h"

namespace {

struct Published {
    std::string topic;
    std::string payload;
    int qos;
    bool retained;
    bool is_expected = false;
};

/// A broker client that keeps what is published, and a connection that stands from the first moment on.
class RecordingClient : public xMQ::mqClient {
 public:
    RecordingClient(xCommon::SyncVector& queue, std::string const& identity, std::vector<Published>& published)
        : mqClient(true, &queue, identity, 60), queue_(queue), published_(published) {}

    bool connect(std::string const& /*host*/, int /*port*/, bool /*quiet*/) override {
        connected = true;
        queue_.Push(std::make_unique<xCommon::svMessage>(xCommon::svMessage::connected));
        return true;
    }
    void disconnect() override { connected = false; }
    bool publish(std::string const& topic, std::string const& payload, int qos, bool retain) override {
        published_.push_back({topic, payload, qos, retain});
        return true;
    }
    bool subscribe(std::vector<xMQ::subsItem> const& items) override {
        for (xMQ::subsItem const& item : items) {
            topics_.insert(item.topic);
        }
        return true;
    }
    bool take(std::string const& topic, std::string const& payload) {
        if (topics_.count(topic) == 0) {
            return false;
        }
        queue_.Push(std::make_unique<xMQ::mqMessage>(topic, payload));
        return true;
    }

 private:
    xCommon::SyncVector& queue_;
    std::vector<Published>& published_;
    std::set<std::string> topics_;
};

class ScriptHost : public PortHost {
 public:
    explicit ScriptHost(Scenario const& scenario) : scenario_(scenario) {}

    std::unique_ptr<iTran> make_line(CPort& node) override {
        auto line = std::make_unique<ScriptLine>(&node);
        auto const rows = scenario_.wires.find(node.name);
        if (rows != scenario_.wires.end()) {
            for (WireRow const& row : rows->second) {
                if (row.request == "*") {
                    line->script.otherwise(row.reply);
                } else if (row.once) {
                    line->script.once(row.request, row.reply);
                } else {
                    line->script.on(row.request, row.reply);
                }
            }
        }
        lines[node.name] = line.get();
        return line;
    }
    std::unique_ptr<xMQ::mqClient> make_client(xCommon::SyncVector& queue, std::string const& identity) override {
        auto client = std::make_unique<RecordingClient>(queue, identity, published);
        clients.push_back(client.get());
        return client;
    }

    std::map<std::string, ScriptLine*> lines;
    std::vector<RecordingClient*> clients;
    std::vector<Published> published;

 private:
    Scenario const& scenario_;
};

class ProcessRun {
 public:
    explicit ProcessRun(Scenario const& scenario) : scenario_(scenario), host_(scenario) {
        test_clock::skip_delays(true);
        Json::Value root = scenario.config;
        config_.reset(Config::Load(root));
        if (!config_) {
            return;
        }
        for (auto const& node : config_->ports.children) {
            auto const creator = IBFac::stone_map().find(node->type + suffix_port);
            if (!node->enabled || creator == IBFac::stone_map().end()) {
                continue;
            }
            std::unique_ptr<IBase> port(creator->second(&host_, node.get()));
            if (port && port->Start()) {
                ports_.emplace_back(dynamic_cast<PortBase*>(port.release()));
            }
        }
    }
    ~ProcessRun() {
        ports_.clear();
        test_clock::reset();
        test_clock::skip_delays(false);
    }
    ProcessRun(ProcessRun const&) = delete;
    ProcessRun& operator=(ProcessRun const&) = delete;

    void run() {
        bool looks_back = true;
        for (Step const& step : scenario_.steps) {
            bool const acts = step.kind <= Step::Kind::unasked;
            if (acts && looks_back) {
                mark();
            }
            looks_back = !acts;
            std::string const fault = perform(step);
            if (!fault.empty()) {
                ADD_FAILURE_AT(scenario_.path.c_str(), step.line) << fault << "\n" << report();
            }
        }
    }

 private:
    void mark() {
        log_mark_ = log_.entries().size();
        published_mark_ = host_.published.size();
        for (auto const& [name, line] : host_.lines) {
            sent_marks_[name] = line->sent.size();
        }
    }

    std::string perform(Step const& step) {
        switch (step.kind) {
            case Step::Kind::pass:
                for (int pass = 0; pass < step.number; ++pass) {
                    for (auto const& port : ports_) {
                        port->pass();
                    }
                }
                return "";
            case Step::Kind::clock:
                test_clock::advance(step.number);
                return "";
            case Step::Kind::message:
                return std::any_of(host_.clients.begin(), host_.clients.end(),
                                   [&](RecordingClient* client) { return client->take(step.topic, step.text); })
                           ? ""
                           : "nobody has subscribed " + step.topic;
            case Step::Kind::unasked:
                host_.lines.at(step.port)->send(step.text);
                return "";
            case Step::Kind::nothing_more:
                return left_over();
            default:
                return comes(step) == step.wanted ? "" : step.wanted ? "didn't come" : "came";
        }
    }

    bool comes(Step const& step) {
        if (step.kind == Step::Kind::value) {
            auto const at = std::find_if(host_.published.begin() + static_cast<std::ptrdiff_t>(published_mark_),
                                         host_.published.end(), [&step](Published const& item) {
                                             return !item.is_expected && item.topic == step.topic &&
                                                    item.qos == step.number && item.retained == step.retained &&
                                                    (step.text == "*" || item.payload == step.text);
                                         });
            if (at == host_.published.end()) {
                return false;
            }
            at->is_expected = true;
            return true;
        }
        if (step.kind == Step::Kind::sent) {
            ScriptLine const& line = *host_.lines.at(step.port);
            auto const begin = line.sent.begin() + static_cast<std::ptrdiff_t>(sent_marks_[step.port]);
            return std::any_of(begin, line.sent.end(),
                               [&step](std::string const& frame) { return step.text.empty() || frame == step.text; });
        }
        std::string const wanted = "[" + std::to_string(step.number) + "] " + step.text;
        std::vector<std::string> const entries = log_.entries();
        return std::any_of(entries.begin() + static_cast<std::ptrdiff_t>(log_mark_), entries.end(),
                           [&wanted](std::string const& entry) {
                               return wanted.back() == '*' ? entry.rfind(wanted.substr(0, wanted.size() - 1), 0) == 0
                                                           : entry == wanted;
                           });
    }

    std::string left_over() const {
        std::string text;
        for (size_t at = published_mark_; at < host_.published.size(); ++at) {
            Published const& item = host_.published[at];
            if (!item.is_expected) {
                text += "more came : " + item.topic + " = " + item.payload + "\n";
            }
        }
        return text;
    }

    std::string report() const {
        std::string text = "published :\n";
        for (size_t at = published_mark_; at < host_.published.size(); ++at) {
            Published const& item = host_.published[at];
            text += "  " + item.topic + " = " + item.payload + " (QoS " + std::to_string(item.qos) +
                    (item.retained ? ", retained)\n" : ")\n");
        }
        for (auto const& [name, line] : host_.lines) {
            text += "sent on " + name + " :\n";
            auto const mark = sent_marks_.find(name);
            for (size_t at = mark == sent_marks_.end() ? 0 : mark->second; at < line->sent.size(); ++at) {
                text += "  " + line->sent[at] + "\n";
            }
        }
        text += "log :\n";
        std::vector<std::string> const entries = log_.entries();
        for (size_t at = log_mark_; at < entries.size(); ++at) {
            text += "  " + entries[at] + "\n";
        }
        return text;
    }

    Scenario const& scenario_;
    LogCapture log_;
    ScriptHost host_;
    std::unique_ptr<Config> config_;
    std::vector<std::unique_ptr<PortBase>> ports_;
    size_t log_mark_ = 0;
    size_t published_mark_ = 0;
    std::map<std::string, size_t> sent_marks_;
};

}  // namespace

void run_in_process(Scenario const& scenario) {
    ProcessRun(scenario).run();
}
