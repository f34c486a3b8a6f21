#include "ctl/scenario/scenario.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include <json/reader.h>

namespace {

std::string trimmed(std::string_view text) {
    size_t const begin = text.find_first_not_of(" \t\r");
    size_t const end = text.find_last_not_of(" \t\r");
    return begin == std::string_view::npos ? "" : std::string(text.substr(begin, end - begin + 1));
}

/// Takes the first word off the text.
std::string take_word(std::string& text) {
    size_t const end = std::min(text.find(' '), text.size());
    std::string word = text.substr(0, end);
    text = trimmed(std::string_view(text).substr(end));
    return word;
}

/// Takes off what stands behind the mark; nothing without a mark.
std::optional<std::string> take_behind(std::string_view mark, std::string& text) {
    size_t const at = text.find(mark);
    if (at == std::string::npos) {
        return {};
    }
    std::string behind = trimmed(std::string_view(text).substr(at + mark.size()));
    text = trimmed(std::string_view(text).substr(0, at));
    return behind;
}

int number(std::string const& text) {
    int value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::runtime_error("no number : '" + text + "'");
    }
    return value;
}

/// What stands for a byte that can't be written in a line: \\xHH.
std::string unescaped(std::string text) {
    for (size_t at = 0; (at = text.find("\\x", at)) != std::string::npos; ++at) {
        hex::Bytes const byte = hex::bytes(std::string_view(text).substr(at + 2, 2));
        text.replace(at, 4, 1, static_cast<char>(byte.at(0)));
    }
    return text;
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
            statement(text);
        }
        if (scenario_.config.isNull()) {
            throw std::runtime_error("no configuration");
        }
        if (scenario_.steps.empty()) {
            throw std::runtime_error("nothing happens");
        }
    }

 private:
    /// The next line that says something, or just the next one.
    bool next(std::string& text, bool is_any = false) {
        while (std::getline(file_, text)) {
            ++line_;
            text = trimmed(text);
            if (is_any || (!text.empty() && text[0] != '#')) {
                return true;
            }
        }
        return false;
    }

    /// The lines of a block, up to "end".
    template <typename Take>
    void block(Take take, bool is_any = false) {
        for (std::string text; next(text, is_any);) {
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
            scenario_.config = json_of(text.empty() ? whole_block() : base(text));
        } else if (word == "with") {
            auto const value = take_behind("=", text);
            if (!value) {
                throw std::runtime_error("a key without =");
            }
            place(text) = json_of("{\"v\": " + *value + "}")["v"];
        } else if (word == "without") {
            size_t const key = text.rfind('.') + 1;  // 0 without a dot
            place(text.substr(0, key)).removeMember(text.substr(key));
        } else if (word == "template") {
            scenario_.templates[text] = whole_block();
        } else if (word == "option") {
            scenario_.prints_frames = text == "-h";
            if (!scenario_.prints_frames) {
                throw std::runtime_error("the option is -h");
            }
        } else if (word == "zone") {
            scenario_.zone = text;
        } else if (word == "wire") {
            auto& rows = scenario_.wires[text];
            block([&rows](std::string const& row) { rows.push_back(wire_row(row)); });
        } else {
            step(word, std::move(text));
        }
    }

    std::string whole_block() {
        std::string text;
        block([&text](std::string const& row) { text += row + "\n"; }, true);
        return text;
    }

    /// A configuration that several scenarios share lies beside them.
    std::string base(std::string const& name) const {
        std::ifstream file(std::filesystem::path(scenario_.path).replace_filename(name));
        std::ostringstream text;
        text << file.rdbuf();
        if (!file) {
            throw std::runtime_error("can't be read : " + name);
        }
        return text.str();
    }

    void run(std::string const& text) {
        scenario_.in_process = text == "process" || text == "both";
        scenario_.whole = text == "whole" || text == "both";
        if (!scenario_.in_process && !scenario_.whole) {
            throw std::runtime_error("run is process, whole or both");
        }
    }

    /// Of a path like "ports.0.devices.0.rto".
    Json::Value& place(std::string const& path) {
        Json::Value* node = &scenario_.config;
        std::istringstream keys(path);
        for (std::string key; std::getline(keys, key, '.');) {
            bool const is_index = key.find_first_not_of("0123456789") == std::string::npos;
            node = is_index ? &(*node)[number(key)] : &(*node)[key];
        }
        return *node;
    }

    static WireRow wire_row(std::string text) {
        WireRow row;
        for (auto const& [word, kind] :
             {std::pair("once ", PeerScript::Kind::once), {"turn ", PeerScript::Kind::turn}}) {
            if (text.starts_with(word)) {
                row.kind = kind;
                text = trimmed(std::string_view(text).substr(5));
            }
        }
        auto const behind = take_behind("->", text);
        if (!behind) {
            throw std::runtime_error("a row without ->");
        }
        std::string const& rest = *behind;
        row.request = text;
        if (row.request != "*") {
            frame_text::pattern(row.request);
        }
        // A text may hold the sign that the options stand behind.
        size_t const options = std::min(rest.find(" ;", rest.rfind('"') + 1), rest.size());
        std::istringstream parts(rest.substr(options));
        row.reply.hex = trimmed(std::string_view(rest).substr(0, options));
        if (row.reply.hex == "silence") {
            row.reply.hex.clear();
        }
        frame_text::reply(row.reply.hex, {}, 0);
        std::string part;
        std::getline(parts, part, ';');
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
        } else if (word == "gap") {
            reply.gap_ms = number(value);
        } else if (word == "cut") {
            reply.cut = number(value);
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
        if (word == "pass") {
            step.number = text.empty() ? 1 : number(text);
        } else if (word == "clock") {
            step.kind = Step::Kind::clock;
            step.number = number(text);
        } else if (word == "date") {
            step.kind = Step::Kind::date;
            step.text = text;
            time_of(text);
        } else if (word == "message") {
            step.kind = Step::Kind::message;
            topic_and_payload(text, step);
        } else if (word == "unasked") {
            step.kind = Step::Kind::unasked;
            step.port = take_word(text);
            step.text = hex::text(frame_text::reply(text, {}, 0));
        } else if (word == "line") {
            step.port = take_word(text);
            step.kind = text == "away" ? Step::Kind::away : Step::Kind::back;
            if (text != "away" && text != "back") {
                throw std::runtime_error("a line goes away or comes back");
            }
        } else if (word == "value" || word == "told") {
            step.kind = Step::Kind::value;
            step.retained = word == "value";
            step.number = word == "value" ? 2 : 0;
            topic_and_payload(text, step);
        } else if (word == "log") {
            step.kind = Step::Kind::log;
            std::string const level = take_word(text);
            size_t const times = std::min(level.find('x'), level.size());
            step.number = number(level.substr(0, times));
            step.times = times < level.size() ? number(level.substr(times + 1)) : 0;
            step.text = unescaped(text);
        } else if (word == "sent") {
            step.kind = Step::Kind::sent;
            step.port = take_word(text);
            step.text = text;
            if (auto const times = take_behind("times ", step.text)) {
                step.times = number(*times);
            }
            frame_text::pattern(step.text);
        } else if (word == "frames") {
            step.kind = Step::Kind::frames;
            step.port = text;
            block([&step](std::string const& row) {
                frame_text::pattern(row);
                step.frames.push_back(row);
            });
        } else if (word == "nothing" && text == "more") {
            step.kind = Step::Kind::nothing_more;
        } else {
            throw std::runtime_error("unknown : '" + word + "'");
        }
        bool const is_asked =
            step.kind == Step::Kind::value || step.kind == Step::Kind::log || step.kind == Step::Kind::sent;
        if (!step.wanted && !is_asked) {
            throw std::runtime_error("'no' stands ahead of what may come");
        }
        if (!step.port.empty() && !scenario_.wires.contains(step.port)) {
            throw std::runtime_error("no wire : '" + step.port + "'");
        }
        scenario_.steps.push_back(std::move(step));
    }

    /// "TOPIC = PAYLOAD", with " qos N" behind the topic where it isn't the usual one; a topic alone stands for any
    /// payload.
    static void topic_and_payload(std::string const& text, Step& step) {
        step.topic = text;
        step.text = unescaped(take_behind(" =", step.topic).value_or("*"));
        if (auto const qos = take_behind(" qos ", step.topic)) {
            step.number = number(*qos);
        }
    }

    std::ifstream file_;
    Scenario& scenario_;
    int line_ = 0;
};

}  // namespace

long long time_of(std::string const& date) {
    std::tm parts = {};
    char const* const end = strptime(date.c_str(), "%Y-%m-%d %H:%M:%S", &parts);
    if (end == nullptr || *end != '\0') {
        throw std::runtime_error("no date : '" + date + "'");
    }
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

Json::Value json_of(std::string const& text) {
    std::unique_ptr<Json::CharReader> const reader(Json::CharReaderBuilder().newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        throw std::invalid_argument(errors);
    }
    return root;
}

Json::Value Scenario::whole_config() const {
    Json::Value result = config;
    if (!result.isObject() || !result["ports"].isArray()) {
        return config;
    }
    for (Json::Value& port : result["ports"]) {
        if (!port.isObject() || !port["name"].isString() || !wires.contains(port["name"].asString())) {
            continue;
        }
        bool const is_tcp = port["type"].asString().find("tcp") != std::string::npos;
        Json::Value& line = port[is_tcp ? "tcp" : "rs"];
        if (line.isNull()) {
            line = json_of(is_tcp ? R"({"url": "127.0.0.1", "port": 502})" : R"({"path": "/dev/null"})");
        }
    }
    return result;
}

void Scenario::write(std::string const& port, PeerScript& script) const {
    auto const wire = wires.find(port);
    if (wire == wires.end()) {
        return;
    }
    for (WireRow const& row : wire->second) {
        if (row.request == "*") {
            script.otherwise(row.reply);
        } else {
            script.add(row.kind, row.request, row.reply);
        }
    }
}

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
