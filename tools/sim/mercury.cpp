#include "sim/mercury.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sim {

namespace {

constexpr double channel_seconds = 240;

// Status codes.
constexpr uint8_t done = 0;
constexpr uint8_t bad_parameter = 1;
constexpr uint8_t level_too_low = 3;
constexpr uint8_t channel_closed = 5;

/// Access level 1 and the digits of the password, as they come in the frame.
constexpr std::array<uint8_t, 7> access = {1, 7, 3, 8, 2, 0, 5};

constexpr uint8_t array_of_phases = 6;
/// What the meter puts where it stores nothing.
constexpr uint32_t not_stored = 0xFFFFFFFF;

unsigned int crc_of(std::span<uint8_t const> data) {
    unsigned int crc = 0xFFFF;
    for (uint8_t const byte : data) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
        }
    }
    return crc;
}

/// High word first, each word with its low byte first.
void push_energy(Bytes& out, uint32_t value) {
    for (unsigned int const shift : {16U, 24U, 0U, 8U}) {
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

/// High, low, middle.
void push_momentary(Bytes& out, double value) {
    auto const number = static_cast<uint32_t>(std::lround(value));
    for (unsigned int const shift : {16U, 0U, 8U}) {
        out.push_back(static_cast<uint8_t>(number >> shift));
    }
}

/// Three volts up and down around 230, each phase in its own time; other values follow it.
double swing(double seconds, int phase) {
    return std::sin(seconds / 10 + phase);
}

}  // namespace

Bytes with_crc(Bytes frame) {
    unsigned int const crc = crc_of(frame);
    frame.push_back(static_cast<uint8_t>(crc));
    frame.push_back(static_cast<uint8_t>(crc >> 8U));
    return frame;
}

bool has_crc(std::span<uint8_t const> frame) {
    // The CRC of a frame with its own CRC behind it is 0.
    return frame.size() > 2 && crc_of(frame) == 0;
}

Mercury::Mercury(std::string const& number) : address_(static_cast<uint8_t>(std::stoi(number))) {}

Bytes Mercury::answer(std::span<uint8_t const> request, double seconds) {
    if (request.size() < 4 || request[0] != address_ || !has_crc(request)) {
        return {};
    }
    open_ = open_ && seconds - heard_ < channel_seconds;
    heard_ = seconds;
    std::span<uint8_t const> const body = request.subspan(2, request.size() - 4);
    switch (request[1]) {
        case 0x00:
            return status(done);
        case 0x01:
            return open_channel(body);
        case 0x02:
            open_ = false;
            return status(done);
        default:
            break;
    }
    if (!open_) {
        return status(channel_closed);
    }
    if (request[1] == 0x05 && body.size() == 2) {
        return energies(body[0], body[1], seconds);
    }
    if (request[1] == 0x08 && body.size() == 2 && body[0] == 0x11) {
        return momentary(body[1], seconds);
    }
    return status(bad_parameter);
}

Bytes Mercury::open_channel(std::span<uint8_t const> body) {
    open_ = std::equal(body.begin(), body.end(), access.begin(), access.end());
    return status(open_ ? done : level_too_low);
}

Bytes Mercury::energies(uint8_t array, uint8_t tariff, double seconds) const {
    // Parts of the sum that the four tariffs have.
    constexpr std::array<double, 5> part = {1.0, 0.6, 0.3, 0.1, 0.0};
    if (tariff >= part.size() || (array >> 4U) > 13) {
        return status(bad_parameter);
    }
    // 3 kW since 1 MWh; a month has seen a tenth of it.
    double const whole = (array >> 4U) == 3 ? 0.1 : 1.0;
    double const watt_hours = (1e6 + 3000 * seconds / 3600) * part[tariff] * whole;
    auto const active = static_cast<uint32_t>(watt_hours);
    Bytes reply = {address_};
    if ((array >> 4U) == array_of_phases) {
        for (int phase = 0; phase < 3; ++phase) {
            push_energy(reply, active / 3);
        }
    } else {
        for (uint32_t const energy : {active, not_stored, active / 3, not_stored}) {
            push_energy(reply, energy);
        }
    }
    return with_crc(reply);
}

Bytes Mercury::momentary(uint8_t number, double seconds) const {
    int const phase = number & 0x03U;
    double const volts = 230 + 3 * swing(seconds, phase);
    double const amperes = 4.5 + swing(seconds, phase) / 2;
    double const watts = volts * amperes * 0.95 * (phase == 0 ? 3 : 1);
    Bytes reply = {address_};
    switch (number >> 4U) {
        case 0: {
            constexpr std::array<double, 4> of_active = {1.0, 0.33, 1.05, 0};
            push_momentary(reply, watts * 100 * of_active[(number >> 2U) & 0x03U]);
            break;
        }
        case 1:
            push_momentary(reply, volts * 100);
            break;
        case 2:
            push_momentary(reply, amperes * 1000);
            break;
        case 3:
            push_momentary(reply, 950 + 10 * swing(seconds, phase));
            reply[1] |= 0x40U;
            break;
        case 4:
            push_momentary(reply, 5000 + 2 * swing(seconds, 0));
            break;
        case 5:
            push_momentary(reply, 12000 + 20 * swing(seconds, phase));
            break;
        case 6:
            reply.insert(reply.end(), {static_cast<uint8_t>(150 + 20 * swing(seconds, phase)), 0});
            break;
        case 7:
            reply.insert(reply.end(), {0, static_cast<uint8_t>(24 + 2 * swing(seconds, 0))});
            break;
        default:
            return status(bad_parameter);
    }
    return with_crc(reply);
}

}  // namespace sim
