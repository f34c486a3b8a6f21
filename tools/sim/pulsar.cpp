#include "sim/pulsar.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>

namespace sim {

namespace {

constexpr size_t address_size = 4;
constexpr size_t tail_size = 4;  // id and CRC
constexpr uint8_t error_function = 1;
constexpr uint8_t error_mask = 2;
constexpr uint8_t error_length = 3;
constexpr uint8_t error_parameter = 4;

uint16_t crc_of(std::span<uint8_t const> data) {
    unsigned int crc = 0xFFFF;
    for (uint8_t const byte : data) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
        }
    }
    return static_cast<uint16_t>(crc);
}

void push(Bytes& out, uint64_t value, size_t size) {
    for (size_t index = 0; index < size; ++index) {
        out.push_back(static_cast<uint8_t>(value >> (8 * index)));
    }
}

Bytes integer(uint64_t value, size_t size) {
    Bytes bytes;
    push(bytes, value, size);
    return bytes;
}

Bytes real(double value) {
    auto const single = static_cast<float>(value);
    Bytes bytes(sizeof(single));
    std::memcpy(bytes.data(), &single, sizeof(single));
    return bytes;
}

/// Eight decimal digits, two a byte.
Bytes address_of(unsigned long number) {
    Bytes bytes(address_size);
    for (size_t index = address_size; index-- > 0; number /= 100) {
        bytes[index] = static_cast<uint8_t>(number % 10 | number / 10 % 10 << 4U);
    }
    return bytes;
}

uint64_t little(std::span<uint8_t const> data) {
    uint64_t value = 0;
    for (size_t index = data.size(); index-- > 0;) {
        value = value << 8U | data[index];
    }
    return value;
}

struct Meter {
    size_t channels;
    std::map<uint16_t, Bytes> parameters;
};

double channel(size_t number, double seconds) {
    return static_cast<double>(number) * 100 + seconds / 100 * static_cast<double>(number);
}

void add_radio(Meter& meter, double seconds) {
    meter.parameters.insert({
        {0x1003, integer(static_cast<uint64_t>(std::lround(-70 + 10 * std::sin(seconds / 7))), 2)},
        {0x10F0, {5, 12, 0, 0, 2, 1, 0, 0}},
        {0x1100, {0x70, 0xB3, 0xD5, 0x00, 0x12, 0x34, 0x56, 0x78}},
        {0x1110, {1}},
        {0x1111, {1, 0, 2, 0}},
        {0x11F0, {2, 0, 1, 2, 3, 4, 5, 0}},
        {0x11F1, {Bytes(integer(static_cast<uint64_t>(seconds), 4))}},
    });
    Bytes& counter = meter.parameters[0x11F1];
    for (int const field : {-3, -1}) {
        push(counter, static_cast<uint64_t>(field), 2);
    }
}

Meter water_meter(unsigned long number, double seconds) {
    Meter meter{2,
                {{0x0000, integer(0x0185, 2)},
                 {0x0001, integer(number, 4)},
                 {0x0002, {1, 0, 2, 0, 3, 0, 4, 5}},
                 {0x0003, integer(static_cast<uint64_t>(seconds) / 30 % 2, 1)},
                 {0x0010, integer(1U << (static_cast<uint64_t>(seconds) / 10 % 12), 2)},
                 {0x0125, real(0.5)},
                 {0x0126, real(25)},
                 {0x0200, {1}}}};
    add_radio(meter, seconds);
    return meter;
}

Meter pulse_counter(unsigned long number, double seconds) {
    Meter meter{3,
                {{0x0000, integer(0x0098, 2)},
                 {0x0001, integer(number, 4)},
                 {0x0002, {1, 0, 2, 0, 3, 0, 4, 5}},
                 {0x0003, real(channel(1, seconds))},
                 {0x0004, real(channel(2, seconds))},
                 {0x0005, real(channel(3, seconds))},
                 {0x000B, {1}},
                 {0x000D, integer(0, 2)},
                 {0x0012, integer(static_cast<uint64_t>(std::lround(20 * std::sin(seconds / 9))), 1)}}};
    add_radio(meter, seconds);
    return meter;
}

Bytes clock_of(double seconds) {
    auto const total = static_cast<uint64_t>(seconds);
    return {25,
            1,
            1,
            static_cast<uint8_t>(total / 3600 % 24),
            static_cast<uint8_t>(total / 60 % 60),
            static_cast<uint8_t>(total % 60)};
}

struct Answer {
    uint8_t function;
    Bytes payload;
};

Answer refuse(uint8_t code) {
    return {0, {code}};
}

/// `body` is what stands between the address and the id.
Answer answer_of(Meter const& meter, std::span<uint8_t const> body, double seconds) {
    uint8_t const function = body[0];
    if (function == 4) {
        return {function, clock_of(seconds)};
    }
    size_t const expected = function == 10 ? 4 : function == 1 ? 6 : 0;
    if (expected == 0) {
        return refuse(error_function);
    }
    if (body.size() != expected || body[1] != address_size + body.size() + tail_size) {
        return refuse(error_length);
    }
    uint64_t const asked = little(body.subspan(2));
    if (function == 10) {
        auto const found = meter.parameters.find(static_cast<uint16_t>(asked));
        return found == meter.parameters.end() ? refuse(error_parameter) : Answer{function, found->second};
    }
    if (asked == 0 || asked >> meter.channels != 0) {
        return refuse(error_mask);
    }
    Answer answer{function, {}};
    for (size_t number = 1; number <= meter.channels; ++number) {
        if ((asked >> (number - 1) & 1U) != 0) {
            Bytes const value = real(channel(number, seconds));
            answer.payload.insert(answer.payload.end(), value.begin(), value.end());
        }
    }
    return answer;
}

}  // namespace

Pulsar::Pulsar(std::string const& number) {
    unsigned long const first = std::strtoul(number.c_str(), nullptr, 10);
    water_address_ = address_of(first);
    pulse_address_ = address_of(first + 1);
}

Bytes Pulsar::answer(std::span<uint8_t const> request, double seconds) {
    if (request.size() < address_size + 1 + tail_size ||
        crc_of(request.first(request.size() - 2)) != little(request.last(2))) {
        return {};
    }
    Bytes const address(request.begin(), request.begin() + address_size);
    if (address != water_address_ && address != pulse_address_) {
        return {};
    }
    unsigned long number = 0;
    for (uint8_t const byte : address) {
        number = number * 100 + (byte >> 4U) * 10U + (byte & 0x0FU);
    }
    Meter const meter = address == water_address_ ? water_meter(number, seconds) : pulse_counter(number, seconds);
    std::span<uint8_t const> const body = request.subspan(address_size, request.size() - address_size - tail_size);
    Answer const answer = answer_of(meter, body, seconds);

    Bytes frame = address;
    frame.push_back(answer.function);
    frame.push_back(static_cast<uint8_t>(10 + answer.payload.size()));
    frame.insert(frame.end(), answer.payload.begin(), answer.payload.end());
    frame.insert(frame.end(), request.end() - tail_size, request.end() - 2);
    push(frame, crc_of(frame), 2);
    return frame;
}

}  // namespace sim
