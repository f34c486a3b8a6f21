#include "sim/dcon.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <numeric>

namespace sim {

namespace {

constexpr char end = '\r';
constexpr size_t checksum_size = 2;
constexpr unsigned int first_analogue = 8;

std::string printed(char const* format, auto value) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string checksum(std::string const& text) {
    auto const add = [](unsigned int sum, char symbol) { return sum + static_cast<uint8_t>(symbol); };
    return printed("%02X", std::accumulate(text.begin(), text.end(), 0U, add) & 0xFFU);
}

bool is_hex(std::string const& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<uint8_t>(c)) != 0; });
}

unsigned int number_of(std::string const& digits) {
    return static_cast<unsigned int>(std::strtoul(digits.c_str(), nullptr, 16));
}

}  // namespace

Dcon::Dcon(std::string const& number)
    : address_(printed("%02X", static_cast<unsigned int>(std::atoi(number.c_str())) & 0xFFU)) {}

Bytes Dcon::answer(std::span<uint8_t const> request, double seconds) {
    std::string text(request.begin(), request.end());
    if (text.size() <= checksum_size + 1 || text.back() != end) {
        return {};
    }
    text.pop_back();
    std::string const sum = text.substr(text.size() - checksum_size);
    text.resize(text.size() - checksum_size);
    if (sum != checksum(text) || text.size() < 3 || text.substr(1, 2) != address_) {
        return {};
    }
    std::string reply = reply_to(text.front() + text.substr(3), seconds);
    reply += checksum(reply) + end;
    return {reply.begin(), reply.end()};
}

/// `command` is the request without its address.
std::string Dcon::reply_to(std::string const& command, double seconds) {
    std::string const argument = command.substr(std::min<size_t>(command.size(), command.front() == '$' ? 2 : 1));
    bool const is_channel = argument.size() == 1 && is_hex(argument);
    std::string const inputs = printed("%02X", static_cast<unsigned int>(seconds) & 0xFFU);
    if (command.front() == '#' && is_channel) {
        return ">" + address_ + reading(number_of(argument), seconds);
    }
    if (command == "$2") {
        return "!" + address_ + settings_;
    }
    if (command == "$6") {
        return "!00" + inputs + "00";
    }
    if (command == "@") {
        return ">00" + inputs;
    }
    if (command.starts_with("$C") && is_channel && number_of(argument) < first_analogue) {
        cleared_s_.at(number_of(argument)) = seconds;
        return "!" + address_;
    }
    if (command.front() == '%' && argument.size() == 8 && is_hex(argument)) {
        address_ = argument.substr(0, 2);
        settings_ = argument.substr(2);
        return "!" + address_;
    }
    return "?" + address_;
}

std::string Dcon::reading(unsigned int channel, double seconds) const {
    if (channel >= first_analogue) {
        double const phase = seconds / 60 + channel / 16.0;
        return printed("%+.2f", 2.5 * std::sin(2 * std::numbers::pi * phase));
    }
    double const pulses = (seconds - cleared_s_.at(channel)) * (channel + 1);
    return printed("%05u", static_cast<unsigned int>(pulses) % 100000);
}

}  // namespace sim
