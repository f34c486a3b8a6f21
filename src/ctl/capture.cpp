#include "ctl/capture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <regex>
#include <set>
#include <span>
#include <stdexcept>

#include "config/process.h"
#include "ctl/check/loading.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "ctl/scenario/offset_clock.h"
#include "ctl/scenario/port_bench.h"
#include "foundation/jutils.h"

namespace {

/// A request as the log has it, and all that was read until the next one.
struct Exchange {
    hex::Bytes request;
    hex::Bytes reply;
    int delay_ms = 0;
};

struct Captured {
    std::vector<Exchange> exchanges;
    std::vector<std::pair<std::string, std::string>> messages;  ///< topic and payload
    std::map<std::string, std::set<std::string>> values;        ///< by the parameter's name
};

Captured read_log(std::string const& path, std::string const& port) {
    std::ifstream file(path);
    if (!file) {
        throw UnreadableFile(say("%s: can't be read", path));
    }
    static std::regex const frame(R"(\] \[(.*?)\] (передача|приём) \+(\d+) мс :((?: [0-9A-F]{2})*)$)");
    static std::regex const message(R"(\] \[(.*?)\] обработка сообщения : (\S+) = (.*)\.$)");
    static std::regex const value(R"(\] \[(.*?)\] ответ получен : (.*)$)");
    Captured result;
    for (std::string line; std::getline(file, line);) {
        std::smatch found;
        if (std::regex_search(line, found, frame) && found[1] == port) {
            hex::Bytes const bytes = hex::bytes(found[4].str());
            if (found[2] == "передача") {
                result.exchanges.push_back({bytes, {}});
            } else if (!result.exchanges.empty()) {
                Exchange& exchange = result.exchanges.back();
                exchange.delay_ms += exchange.reply.empty() ? std::stoi(found[3]) : 0;
                exchange.reply.insert(exchange.reply.end(), bytes.begin(), bytes.end());
            }
        } else if (std::regex_search(line, found, message) && found[1] == port) {
            result.messages.emplace_back(found[2], found[3]);
        } else if (std::regex_search(line, found, value)) {
            // Some drivers end the line with a dot.
            std::string const text = found[2].str();
            result.values[found[1]].insert({text, text.substr(0, text.rfind('.'))});
        }
    }
    if (result.exchanges.empty()) {
        throw std::runtime_error(say("%s: no frames of port '%s': has the daemon run with -h?", path, port));
    }
    return result;
}

/// The one port of the configuration, with one device where one is asked for.
Json::Value cut_config(CaptureOptions const& options) {
    Json::Value const config = load_configuration(options.config)->normalised;
    Json::Value result;
    for (Json::Value const& port : config["ports"]) {
        if (port["name"] != options.port) {
            continue;
        }
        Json::Value cut = port;
        if (!options.device.empty()) {
            cut["devices"] = Json::arrayValue;
            for (Json::Value const& device : port["devices"]) {
                if (device["name"] == options.device || device["cname"] == options.device) {
                    cut["devices"].append(device);
                }
            }
        }
        // They tell where the line was, and matter to nobody else.
        cut["rs"].removeMember("path");
        if (cut["rs"].empty()) {
            cut.removeMember("rs");
        } else {
            cut["rs"]["path"] = "/dev/null";
        }
        cut.removeMember("tcp");
        result["ports"].append(cut);
    }
    if (result.empty() || result["ports"][0]["devices"].empty()) {
        throw std::runtime_error(options.device.empty() ? say("%s: no port '%s'", options.config, options.port)
                                                        : say("%s: no port '%s' with a device '%s'", options.config,
                                                              options.port, options.device));
    }
    return result;
}

/// What a request carries that is another one each time, and comes back in the reply.
struct Changing {
    char const* type;  ///< beginning of the device's type word
    size_t count;      ///< of bytes
    bool is_at_end;    ///< of the frame, not at its beginning
    char const* request;
    char const* reply;
};
constexpr Changing changing[] = {
    {"mb-tcp", 2, false, "?? ??", "{0..1}"},
    {"pulsar", 4, true, "?? ?? ?? ??", "{-4..-3} {crc}"},  // with the CRC of the whole frame
};

WireRow row_of(Exchange const& exchange, std::string const& type) {
    WireRow row{hex::text(exchange.request), {.hex = hex::text(exchange.reply)}};
    row.reply.delay_ms = exchange.reply.empty() ? 0 : exchange.delay_ms;
    for (Changing const& rule : changing) {
        if (!type.starts_with(rule.type) || exchange.request.size() < 4 || exchange.reply.size() < 4) {
            continue;
        }
        auto const changed = [&rule](std::string frame, char const* text) {
            size_t const size = 3 * rule.count - 1;
            return frame.replace(rule.is_at_end ? frame.size() - size : 0, size, text);
        };
        std::string const reply = changed(row.reply.hex, rule.reply);
        // Only where that is what the device has answered.
        if (frame_text::reply(reply, exchange.request, 0) == exchange.reply) {
            row.request = changed(row.request, rule.request);
            row.reply.hex = reply;
        }
    }
    return row;
}

/// The last answer to a request repeats.
std::vector<WireRow> rows_of(std::vector<Exchange> const& exchanges, std::string const& type) {
    std::vector<WireRow> rows;
    std::map<std::string, size_t> last;
    for (Exchange const& exchange : exchanges) {
        rows.push_back(row_of(exchange, type));
        rows.back().kind = PeerScript::Kind::once;
        last[rows.back().request] = rows.size() - 1;
    }
    for (auto const& [request, at] : last) {
        rows[at].kind = PeerScript::Kind::always;
    }
    return rows;
}

bool has_request(WireRow const& row, std::string const& frame) {
    return frame_text::equals(frame_text::pattern(row.request), hex::bytes(frame));
}

/// A payload that a line of the scenario can hold, blanks at its ends included.
std::string escaped(std::string const& text) {
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        bool const is_end = at == 0 || at + 1 == text.size();
        auto const symbol = static_cast<unsigned char>(text[at]);
        if (symbol < ' ' || (symbol == ' ' && is_end) || text.compare(at, 2, "\\x") == 0) {
            result += "\\x" + hex::text(std::span(&symbol, 1));
        } else {
            result.push_back(text[at]);
        }
    }
    return result;
}

class ScenarioWriter {
 public:
    ScenarioWriter(CaptureOptions const& options, std::ostream& out, std::ostream& notes)
        : options_(options), out_(out), notes_(notes), captured_(read_log(options.log, options.port)) {
        scenario_.config = cut_config(options);
        Json::Value const& port = scenario_.config["ports"][0];
        std::string const type = port["devices"][0].get("type", port["type"]).asString();
        rows_ = rows_of(captured_.exchanges, type);
    }

    void write() {
        offset_clock::skip_delays(true);
        run();
        offset_clock::skip_delays(false);
        write_head();
        for (std::string const& step : steps_) {
            out_ << step << "\n";
        }
    }

 private:
    void run() {
        PortBench bench(scenario_);
        for (int round = 0; round < options_.passes && (round == 0 || has_more()); ++round) {
            if (round > 0) {
                int const interval = bench.longest_interval() + 1;
                steps_.push_back("clock " + std::to_string(interval));
                offset_clock::advance(interval);
            }
            pass(bench);
        }
        for (auto const& [topic, payload] : captured_.messages) {
            if (bench.message(topic, payload)) {
                steps_.push_back("message " + topic + " = " + escaped(payload));
                pass(bench);
            } else {
                notes_ << say("nobody takes the message to %s", topic) << "\n";
            }
        }
    }

    bool has_more() const {
        return std::any_of(rows_.begin(), rows_.end(), [this](WireRow const& row) {
            return row.kind == PeerScript::Kind::once && used(row) < captured(row);
        });
    }
    /// How often the log has the row's request.
    int captured(WireRow const& row) const {
        return static_cast<int>(std::count_if(rows_.begin(), rows_.end(),
                                              [&row](WireRow const& other) { return other.request == row.request; }));
    }
    /// How often it was sent.
    int used(WireRow const& row) const {
        return static_cast<int>(std::count_if(sent_.begin(), sent_.end(),
                                              [&row](std::string const& frame) { return has_request(row, frame); }));
    }

    /// Makes a pass, and looks at what came of it.
    void pass(PortBench& bench) {
        steps_.emplace_back("pass");
        size_t const before = sent_.size();
        bench.pass();
        sent_ = bench.line(options_.port).sent;
        std::span const fresh = std::span(sent_).subspan(before);
        for (std::string const& frame : fresh) {
            bool const is_known = std::any_of(rows_.begin(), rows_.end(),
                                              [&frame](WireRow const& row) { return has_request(row, frame); });
            if (!is_known && !frame.empty()) {
                notes_ << say("the log has no such request: %s", frame) << "\n";
            }
        }
        for (; seen_ < bench.published.size(); ++seen_) {
            tell(bench.published[seen_]);
        }
        // All that there is to say of a device that only takes commands.
        bool const is_silent = steps_.back() == "pass";
        for (std::string const& frame : fresh) {
            if (is_silent && !frame.empty()) {
                steps_.push_back("sent " + options_.port + " " + frame);
            }
        }
    }

    void tell(Published const& item) {
        if (item.topic.starts_with("stat/")) {
            return;
        }
        int const usual = item.retained ? 2 : 0;
        std::string const qos = item.qos == usual ? "" : " qos " + std::to_string(item.qos);
        steps_.push_back((item.retained ? "value " : "told ") + item.topic + qos + " = " + escaped(item.payload));
        std::string const name = item.topic.substr(item.topic.rfind('/') + 1);
        // A bit has no line of its own.
        auto const values = captured_.values.find(name);
        if (item.retained && values != captured_.values.end() && !values->second.contains(item.payload)) {
            notes_ << say("the log has no such value: %s = %s", item.topic, item.payload) << "\n";
        }
    }

    void write_head() {
        out_ << "# Captured on port " << options_.port << ".\n";
        for (Json::Value const& device : scenario_.config["ports"][0]["devices"]) {
            if (device["templ"].isString()) {
                std::string const name = device["templ"].asString() + ".json";
                std::ifstream file(std::filesystem::path(templates_folder()) / name);
                out_ << "template " << name << "\n" << std::string(std::istreambuf_iterator(file), {}) << "\nend\n";
            }
        }
        out_ << "config\n" << json_text(scenario_.config) << "end\nwire " << options_.port << "\n";
        std::map<std::string, int> written;
        for (WireRow const& row : rows_) {
            int const count = used(row);
            if (++written[row.request] > count) {
                continue;  // nobody came to ask for it
            }
            bool const is_last = written[row.request] == std::min(count, captured(row));
            out_ << (is_last ? "" : "once ") << row.request << " -> "
                 << (row.reply.hex.empty() ? "silence" : row.reply.hex);
            if (row.reply.delay_ms > 0) {
                out_ << " ; delay " << row.reply.delay_ms;
            }
            out_ << "\n";
        }
        out_ << "end\n";
    }

    CaptureOptions const& options_;
    std::ostream& out_;
    std::ostream& notes_;
    Captured captured_;
    Scenario scenario_;
    std::vector<WireRow>& rows_ = scenario_.wires[options_.port];
    std::vector<std::string> steps_;
    std::vector<std::string> sent_;
    size_t seen_ = 0;
};

}  // namespace

void capture(CaptureOptions const& options, std::ostream& scenario, std::ostream& notes) {
    ScenarioWriter(options, scenario, notes).write();
}
