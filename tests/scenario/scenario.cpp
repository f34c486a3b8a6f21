#include "scenario/scenario.h"

#include <charconv>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "support/sample_config.h"

namespace {

std::string trimmed(std::string_view text) {
    size_t const begin = text.find_first_not_of(" \t\r");
    size_t const end = text.find_last_not_of(" \t\r");
    return begin == std::string_view::npos ? "" : std::string(text.substr(begin, end - begin + 1));
}

/// Takes the first word off the text.
std::string take_word(std::string& text) {
    size_t const end = std::min(text.find(' '), text.size());
    std::string const word = text.substr(0, end);
    text = trimmed(std::string_view(text).substr(end));
    return word;
}

/// What stands ahead of the mark, and the rest behind it; false without a mark.
bool split(std::string const& text, std::string_view mark, std::string& ahead, std::string& behind) {
    size_t const at = text.find(mark);
    if (at == std::string::npos) {
        return false;
    }
    ahead = trimmed(std::string_view(text).substr(0, at));
    behind = trimmed(std::string_view(text).substr(at + mark.size()));
    return true;
}

int number(std::string const& text) {
    int value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::runtime_error("no number : '" + text + "'");
    }
    return value;
}

class Reader {
 public:
    Reader(std::string const& path, Scenario& scenario) : file_(path), scenario_(scenario) {
        if (!file_) {
            throw std::runtime_error(path + ": can't be read");
        }
    }

    int line() const { return line_; }

    void read() {
        for (std::string text; next(text);) {
            if (!text.empty() && text[0] != '#') {
                statement(text);
            }
        }
        if (scenario_.config.isNull()) {
            throw std::runtime_error("no configuration");
        }
        if (scenario_.steps.empty()) {
            throw std::runtime_error("nothing happens");
        }
    }

 private:
    bool next(std::string& text) {
        std::string raw;
        if (!std::getline(file_, raw)) {
            return false;
        }
        ++line_;
        text = trimmed(raw);
        return true;
    }

    /// The lines of a block, up to "end".
    void block(std::function<void(std::string const&)> const& take) {
        for (std::string text; next(text);) {
            if (text == "end") {
                return;
            }
            take(text);
        }
        throw std::runtime_error("a block without its end");
    }

    void statement(std::string text) {
        std::string const word = take_word(text);
        if (word == "run") {
            run(text);
        } else if (word == "config") {
            std::string json;
            block([&json](std::string const& row) { json += row + "\n"; });
            scenario_.config = sample::json(json);
        } else if (word == "with") {
            lay_over(text);
        } else if (word == "wire") {
            auto& rows = scenario_.wires[text];
            block([this, &rows](std::string const& row) {
                if (!row.empty() && row[0] != '#') {
                    rows.push_back(wire_row(row));
                }
            });
        } else {
            step(word, std::move(text));
        }
    }

    void run(std::string const& text) {
        scenario_.in_process = text == "process" || text == "both";
        scenario_.whole = text == "whole" || text == "both";
        if (!scenario_.in_process && !scenario_.whole) {
            throw std::runtime_error("run is process, whole or both");
        }
    }

    /// "ports.0.devices.0.rto = 300"
    void lay_over(std::string const& text) {
        std::string path;
        std::string value;
        if (!split(text, "=", path, value)) {
            throw std::runtime_error("a key without =");
        }
        Json::Value* node = &scenario_.config;
        std::istringstream keys(path);
        for (std::string key; std::getline(keys, key, '.');) {
            bool const is_index = key.find_first_not_of("0123456789") == std::string::npos;
            node = is_index ? &(*node)[number(key)] : &(*node)[key];
        }
        *node = sample::json("{\"v\": " + value + "}")["v"];
    }

    static WireRow wire_row(std::string text) {
        WireRow row;
        if (text.rfind("once ", 0) == 0) {
            row.once = true;
            text = trimmed(std::string_view(text).substr(5));
        }
        std::string rest;
        if (!split(text, "->", row.request, rest)) {
            throw std::runtime_error("a row without ->");
        }
        std::istringstream parts(rest);
        std::string part;
        std::getline(parts, part, ';');
        row.reply.hex = trimmed(part) == "silence" ? "" : trimmed(part);
        hex::bytes(row.reply.hex);
        while (std::getline(parts, part, ';')) {
            part = trimmed(part);
            option(take_word(part), part, row.reply);
        }
        return row;
    }

    static void option(std::string const& word, std::string const& value, Reply& reply) {
        if (word == "delay") {
            reply.delay_ms = number(value);
        } else if (word == "noise") {
            reply.garbage = value + " ";
        } else if (word == "pieces") {
            reply.fragment = number(value);
        } else if (word == "cut") {
            hex::Bytes whole = hex::bytes(reply.hex);
            whole.resize(std::min(whole.size(), static_cast<size_t>(number(value))));
            reply.hex = hex::text(whole);
        } else if (word == "hang-up") {
            reply.hang_up = value == "ahead"  ? HangUp::before_reply
                            : value == "amid" ? HangUp::in_reply
                                              : HangUp::after_reply;
        } else {
            throw std::runtime_error("unknown : '" + word + "'");
        }
    }

    void step(std::string word, std::string text) {
        Step step{.kind = Step::Kind::pass, .line = line_};
        if (word == "no") {
            step.wanted = false;
            word = take_word(text);
        }
        if (word == "pass" && step.wanted) {
            step.number = text.empty() ? 1 : number(text);
        } else if (word == "clock" && step.wanted) {
            step.kind = Step::Kind::clock;
            step.number = number(text);
        } else if (word == "message" && step.wanted) {
            step.kind = Step::Kind::message;
            topic_and_payload(text, step);
        } else if (word == "unasked" && step.wanted) {
            step.kind = Step::Kind::unasked;
            step.port = take_word(text);
            step.text = hex::text(hex::bytes(text));
        } else if (word == "value" || word == "told") {
            step.kind = Step::Kind::value;
            step.retained = word == "value";
            step.number = word == "value" ? 2 : 0;
            topic_and_payload(text, step);
        } else if (word == "log") {
            step.kind = Step::Kind::log;
            step.number = number(take_word(text));
            step.text = text;
        } else if (word == "sent") {
            step.kind = Step::Kind::sent;
            step.port = take_word(text);
            step.text = text.empty() ? "" : hex::text(hex::bytes(text));
        } else if (word == "nothing" && text == "more") {
            step.kind = Step::Kind::nothing_more;
        } else {
            throw std::runtime_error("unknown : '" + word + "'");
        }
        scenario_.steps.push_back(std::move(step));
    }

    /// "TOPIC = PAYLOAD", with " qos N" behind the topic where it isn't the usual one; a topic alone stands for any
    /// payload.
    static void topic_and_payload(std::string const& text, Step& step) {
        if (!split(text, " =", step.topic, step.text)) {
            step.topic = text;
            step.text = "*";
        }
        std::string qos;
        std::string topic;
        if (split(step.topic, " qos ", topic, qos)) {
            step.topic = topic;
            step.number = number(qos);
        }
    }

    std::ifstream file_;
    Scenario& scenario_;
    int line_ = 0;
};

}  // namespace

Scenario Scenario::read(std::string const& path, std::string const& name) {
    Scenario scenario;
    scenario.name = name;
    scenario.path = path;
    Reader reader(path, scenario);
    try {
        reader.read();
    } catch (std::exception const& e) {
        throw std::runtime_error(path + ":" + std::to_string(reader.line()) + ": " + e.what());
    }
    return scenario;
}
