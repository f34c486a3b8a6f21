#include "ctl/simulate/devices/emera.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <string_view>

#include "foundation/xstring.h"

namespace sim {

namespace {

using xCommon::xString;

constexpr char stx = '\x02';
constexpr char etx = '\x03';
constexpr unsigned char nak = 0x15;
constexpr char any_digit = '?';
constexpr size_t most_brackets = 64;
constexpr Carrier carrier = {-1e9, 1e9, 0.01};

unsigned char checksum(std::string_view text) {
    unsigned int sum = 0;
    for (char const symbol : text) {
        sum += static_cast<unsigned char>(symbol);
    }
    return sum & 0x7FU;
}

std::string clock_text() {
    time_t const now = time(nullptr);
    tm utc = {};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof(text), "0%w%d%m%y%H%M%S#", &utc);
    return text;
}

bool is_name(std::string const& pattern, std::string const& name) {
    return std::equal(pattern.begin(), pattern.end(), name.begin(), name.end(), [](char wanted, char given) {
        return wanted == given || (wanted == any_digit && std::isdigit(static_cast<unsigned char>(given)) != 0);
    });
}

}  // namespace

void Emera::add(emera::ecparam& param) {
    std::string name = param.cmd;
    for (char const* const part : {"%day%", "%month%", "%year%"}) {
        name = xString::Replace(name, part, std::string(2, any_digit));
    }
    auto const bracket = std::min(static_cast<size_t>(param.offset), most_brackets - 1);
    registers_[name].push_back({bracket, param.value_type == vt_date_time, Course(param, carrier)});
}

std::string Emera::values_of(std::string const& name, double seconds) const {
    std::vector<std::string> brackets;
    for (auto const& [pattern, values] : registers_) {
        if (!is_name(pattern, name)) {
            continue;
        }
        for (Value const& value : values) {
            brackets.resize(std::max(brackets.size(), value.bracket + 1), "0.00");
            brackets[value.bracket] = value.is_time ? clock_text() : xString::Format("%.2f", value.course.at(seconds));
        }
    }
    std::string text;
    for (std::string const& value : brackets) {
        text.append("(").append(value).append(")");
    }
    return text;
}

Bytes Emera::answer(View request, double seconds) {
    std::string const text = text_of(request);
    std::string const head = "/?" + address_ + "!\x01";
    std::string const command = "R1\x02";
    if (!text.starts_with(head)) {
        return {};
    }
    std::string_view const body = std::string_view(text).substr(head.size());
    size_t const end = body.find(etx);
    if (end == std::string_view::npos || end + 2 != body.size()) {
        return {};  // there is more to come
    }
    if (!body.starts_with(command) || checksum(body.substr(0, end + 1)) != static_cast<unsigned char>(body[end + 1])) {
        return {nak};
    }
    std::string const name(body.substr(command.size(), end - command.size()));
    std::string const values = values_of(name, seconds);
    std::string reply = values.empty() ? "(E12)" : name.substr(0, name.find('(')) + values;
    reply += etx;
    reply += static_cast<char>(checksum(reply));
    reply.insert(0, 1, stx);
    return text_bytes(reply);
}

Bytes Emera::refusal(View /*request*/) {
    return {nak};
}

}  // namespace sim
