#include "sim/emera.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <numbers>
#include <string_view>

namespace sim {

namespace {

constexpr char stx = '\x02';
constexpr char etx = '\x03';
constexpr uint8_t nak = 0x15;

uint8_t checksum(std::string_view text) {
    unsigned int sum = 0;
    for (char const symbol : text) {
        sum += static_cast<uint8_t>(symbol);
    }
    return sum & 0x7FU;
}

std::string bracketed(char const* format, double value) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return "(" + std::string(text) + ")";
}

std::string energies(double total_kwh) {
    double const first = total_kwh * 0.7;
    return bracketed("%.2f", total_kwh) + bracketed("%.2f", first) + bracketed("%.2f", total_kwh - first);
}

/// Kilowatt hours since 2020 of a consumer that takes 100 W on average.
double energy_at(double calendar_s) {
    constexpr double year_2020_s = 1577836800;
    return (calendar_s - year_2020_s) / 3600 * 0.1;
}

std::string clock_text() {
    time_t const now = time(nullptr);
    tm utc = {};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof(text), "(0%w%d%m%y%H%M%S#)", &utc);
    return text;
}

/// What stands in the brackets; empty for a register that the meter doesn't have.
std::string value_of(std::string const& name, double seconds) {
    double const wave = std::sin(2 * std::numbers::pi * seconds / 60);
    double const voltage = 230 + 4 * wave;
    double const current = 2 + 0.5 * wave;
    if (name == "ET0PE()") {
        return energies(energy_at(static_cast<double>(time(nullptr))));
    }
    if (int day = 0, month = 0, year = 0; std::sscanf(name.c_str(), "ET0PE(%2d.%2d.%2d)", &day, &month, &year) == 3) {
        tm date = {};
        date.tm_mday = day + 1;
        date.tm_mon = month - 1;
        date.tm_year = year + 100;
        return energies(energy_at(static_cast<double>(std::min(timegm(&date), time(nullptr)))));
    }
    if (name == "U()") {
        return bracketed("%.1f", voltage);
    }
    if (name == "I()") {
        return bracketed("%.3f", current);
    }
    if (name == "P()") {
        return bracketed("%.4f", voltage * current / 1000);
    }
    return name == "CLOCK()" ? clock_text() : std::string();
}

}  // namespace

Bytes Emera::answer(std::span<uint8_t const> request, double seconds) {
    std::string const text(request.begin(), request.end());
    std::string const head = "/?" + address_ + "!\x01";
    std::string const command = "R1\x02";
    if (!text.starts_with(head)) {
        return {};
    }
    std::string_view const body = std::string_view(text).substr(head.size());
    size_t const end = body.find(etx);
    if (!body.starts_with(command) || end == std::string_view::npos || end + 2 != body.size() ||
        checksum(body.substr(0, end + 1)) != static_cast<uint8_t>(body[end + 1])) {
        return {nak};
    }
    std::string const name(body.substr(command.size(), end - command.size()));
    std::string const value = value_of(name, seconds);
    std::string reply = value.empty() ? "(E12)" : name.substr(0, name.find('(')) + value;
    reply += etx;
    reply += static_cast<char>(checksum(reply));
    reply.insert(0, 1, stx);
    return {reply.begin(), reply.end()};
}

}  // namespace sim
