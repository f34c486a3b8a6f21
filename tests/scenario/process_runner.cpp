#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/scenario/offset_clock.h"
#include "ctl/scenario/port_bench.h"
#include "scenario/runners.h"
#include "support/log_capture.h"

namespace {

/// What a scenario sets for the whole process.
class Surroundings {
 public:
    explicit Surroundings(Scenario const& scenario) {
        offset_clock::skip_delays(true);
        PH::IsPrintHex = scenario.prints_frames;
        if (!scenario.zone.empty()) {
            setenv("TZ", scenario.zone.c_str(), 1);
            tzset();
        }
        for (auto const& [name, text] : scenario.templates) {
            std::filesystem::create_directories(path_templates);
            std::ofstream(path_templates + "/" + name) << text;
        }
    }
    ~Surroundings() {
        PH::IsPrintHex = false;
        offset_clock::reset();
        offset_clock::skip_delays(false);
        unsetenv("TZ");
        tzset();
        std::filesystem::remove_all(path_templates);
    }
    Surroundings(Surroundings const&) = delete;
    Surroundings& operator=(Surroundings const&) = delete;
};

class ProcessRun {
 public:
    explicit ProcessRun(Scenario const& scenario) : scenario_(scenario), surroundings_(scenario), bench_(scenario) {}

    void run() {
        bool looks_back = true;
        for (Step const& step : scenario_.steps) {
            if (step.acts() && looks_back) {
                mark();
            }
            looks_back = !step.acts();
            std::string const fault = perform(step);
            if (!fault.empty()) {
                ADD_FAILURE_AT(scenario_.path.c_str(), step.line) << fault << "\n" << report();
            }
        }
    }

 private:
    void mark() {
        log_mark_ = log_.entries().size();
        published_mark_ = bench_.published.size();
        for (auto const& [name, line] : bench_.lines()) {
            sent_marks_[name] = line->sent.size();
        }
    }

    std::string perform(Step const& step) {
        switch (step.kind) {
            case Step::Kind::pass:
                for (int pass = 0; pass < step.number; ++pass) {
                    bench_.pass();
                }
                return "";
            case Step::Kind::clock:
                offset_clock::advance(step.number);
                if (step.number > 0) {
                    offset_clock::advance_steady(step.number * 1000LL);
                }
                return "";
            case Step::Kind::date:
                offset_clock::set(time_of(step.text));
                return "";
            case Step::Kind::message:
                return bench_.message(step.topic, step.text) ? "" : "nobody has subscribed " + step.topic;
            case Step::Kind::unasked:
                bench_.line(step.port).send(step.text);
                return "";
            case Step::Kind::away:
            case Step::Kind::back:
                bench_.line(step.port).set_away(step.kind == Step::Kind::away);
                return "";
            case Step::Kind::frames:
                return are_frames(sent(step.port), step.frames) ? "" : "other frames went out";
            case Step::Kind::nothing_more:
                return left_over();
            default:
                return comes(step) == step.wanted ? "" : step.wanted ? "didn't come" : "came";
        }
    }

    /// The frames since the mark.
    std::vector<std::string> sent(std::string const& port) {
        std::vector<std::string> const& all = bench_.line(port).sent;
        return {all.begin() + static_cast<std::ptrdiff_t>(sent_marks_[port]), all.end()};
    }

    bool comes(Step const& step) {
        if (step.kind == Step::Kind::value) {
            auto const at = std::find_if(bench_.published.begin() + static_cast<std::ptrdiff_t>(published_mark_),
                                         bench_.published.end(), [&step](Published const& item) {
                                             return !item.is_expected && item.topic == step.topic &&
                                                    item.qos == step.number && item.retained == step.retained &&
                                                    (step.text == "*" || item.payload == step.text);
                                         });
            if (at == bench_.published.end()) {
                return false;
            }
            at->is_expected = true;
            return true;
        }
        if (step.kind == Step::Kind::sent) {
            return was_sent(sent(step.port), step);
        }
        std::string const wanted = "[" + std::to_string(step.number) + "] " + step.text;
        std::vector<std::string> const entries = log_.entries();
        auto const count = std::count_if(
            entries.begin() + static_cast<std::ptrdiff_t>(log_mark_), entries.end(),
            [&wanted](std::string const& entry) {
                return wanted.back() == '*' ? entry.starts_with(wanted.substr(0, wanted.size() - 1)) : entry == wanted;
            });
        return step.times > 0 ? count == step.times : count > 0;
    }

    std::string left_over() const {
        std::string text;
        for (size_t at = published_mark_; at < bench_.published.size(); ++at) {
            Published const& item = bench_.published[at];
            if (!item.is_expected) {
                text += "more came : " + item.topic + " = " + item.payload + "\n";
            }
        }
        return text;
    }

    std::string report() const {
        std::string text = "published :\n";
        for (size_t at = published_mark_; at < bench_.published.size(); ++at) {
            Published const& item = bench_.published[at];
            text += "  " + item.topic + " = " + item.payload + " (QoS " + std::to_string(item.qos) +
                    (item.retained ? ", retained)\n" : ")\n");
        }
        for (auto const& [name, line] : bench_.lines()) {
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
    Surroundings surroundings_;
    PortBench bench_;
    size_t log_mark_ = 0;
    size_t published_mark_ = 0;
    std::map<std::string, size_t> sent_marks_;
};

}  // namespace

void run_in_process(Scenario const& scenario) {
    ProcessRun(scenario).run();
}
