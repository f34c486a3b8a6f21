#include "ctl/simulate/devices/dcon.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace sim {

namespace {

constexpr char end = '\r';
constexpr size_t checksum_size = 2;
constexpr size_t configuration_size = 8;
constexpr int reading_size = 5;
/// What fits in a sign and four characters, and in five digits.
constexpr Carrier channel_carrier = {-9999, 9999, 0.01};
constexpr Carrier count_carrier = {0, 99999};

std::string checksum(std::string const& text) {
    auto const add = [](unsigned int sum, char symbol) { return sum + static_cast<unsigned char>(symbol); };
    char digits[8];
    std::snprintf(digits, sizeof(digits), "%02X", std::accumulate(text.begin(), text.end(), 0U, add) & 0xFFU);
    return digits;
}

bool is_hex(std::string const& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

std::string five_digits(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%0*lld", reading_size, std::llround(value) % 100000);
    return text;
}

/// With as many decimals as there is room for.
std::string five_characters(double value) {
    char text[32] = "";
    for (int decimals = 2; decimals >= 0; --decimals) {
        if (std::snprintf(text, sizeof(text), "%+0*.*f", reading_size, decimals, value) <= reading_size) {
            break;
        }
    }
    return text;
}

}  // namespace

Dcon::Dcon(dcon::c_dev const& node)
    : configured_address_(node.sid_hex), address_(node.sid_hex), has_checksums_(node.crc_enabled) {}

void Dcon::add(dcon::c_param& param) {
    if (param.cmd == dcon::cmd_read_channel && param.channel.size() == 1) {
        Course const course = is_rising(param) ? Course(param, count_carrier, five_digits)
                                               : Course(param, channel_carrier, five_characters);
        channels_.emplace(param.channel[0], course);
    }
    if (param.bits) {
        for (bholding::bitem const& bit : param.bits->items) {
            bits_[param.cmd] |= bit.offset >= 0 ? 1U << static_cast<unsigned int>(bit.offset) : 0U;
        }
    }
}

Bytes Dcon::answer(View request, double seconds) {
    std::string text = text_of(request);
    size_t const sum_size = has_checksums_ ? checksum_size : 0;
    if (text.size() < 1 + address_.size() + sum_size + 1 || text.back() != end) {
        return {};
    }
    text.pop_back();
    std::string const sum = text.substr(text.size() - sum_size);
    text.erase(text.size() - sum_size);
    if ((has_checksums_ && sum != checksum(text)) || text.compare(1, address_.size(), address_) != 0) {
        return {};
    }
    return framed(reply_to(text.front() + text.substr(1 + address_.size()), seconds));
}

Bytes Dcon::framed(std::string reply) const {
    reply += has_checksums_ ? checksum(reply) : "";
    return text_bytes(reply + end);
}

Bytes Dcon::refusal(View /*request*/) {
    return framed("?" + address_);
}

Bytes Dcon::miscounted(Bytes reply) const {
    if (!has_checksums_ || reply.size() < checksum_size) {
        return {};
    }
    reply[reply.size() - checksum_size] ^= 1U;
    return reply;
}

/// `command` is the request without its address.
std::string Dcon::reply_to(std::string const& command, double seconds) {
    std::string const argument = command.substr(std::min<size_t>(command.size(), command.front() == '$' ? 2 : 1));
    bool const is_channel = argument.size() == 1 && is_hex(argument);
    if (command.front() == '#' && is_channel) {
        return ">" + address_ + reading(argument[0], seconds);
    }
    if (command == "$2") {
        return "!" + address_ + settings_;
    }
    if (command == "$6") {
        return "!" + state(dcon::cmd_read_state, seconds) + "00";
    }
    if (command == "@") {
        return ">" + state(dcon::cmd_read_inputs, seconds);
    }
    if (command.starts_with("$C") && is_channel) {
        cleared_s_[argument[0]] = seconds;
        return "!" + address_;
    }
    if (command.front() == '%' && argument.size() == configuration_size && is_hex(argument)) {
        address_ = argument.substr(0, 2);
        settings_ = argument.substr(2);
        return "!" + address_;
    }
    return "?" + address_;
}

std::string Dcon::reading(char channel, double seconds) const {
    auto const course = channels_.find(channel);
    if (course == channels_.end()) {
        return five_characters(0);
    }
    if (!course->second.rises()) {
        return five_characters(course->second.at(seconds));
    }
    auto const cleared = cleared_s_.find(channel);
    return five_digits(cleared == cleared_s_.end() ? course->second.at(seconds)
                                                   : course->second.rate() * (seconds - cleared->second));
}

std::string Dcon::state(int command, double seconds) const {
    auto const named = bits_.find(command);
    unsigned int value = 0;
    for (int bit = 0; bit < 16 && named != bits_.end(); ++bit) {
        unsigned int const mask = 1U << static_cast<unsigned int>(bit);
        value |= blinks(seconds, bit) ? named->second & mask : 0U;
    }
    char digits[8];
    std::snprintf(digits, sizeof(digits), "%04X", value & 0xFFFFU);
    return digits;
}

}  // namespace sim
