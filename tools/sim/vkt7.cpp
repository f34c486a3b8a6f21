#include "sim/vkt7.h"

#include <bit>
#include <cmath>
#include <numbers>
#include <string_view>

namespace sim {

namespace {

constexpr uint8_t read = 0x03;
constexpr uint8_t write = 0x10;
constexpr uint8_t good = 0xC0;
constexpr int kind_current = 4;
constexpr int kind_total = 5;
constexpr int kind_properties = 6;

struct Row {
    uint8_t number;
    uint8_t size;
    int kind;
};

constexpr Row rows[] = {{0, 2, kind_current},  {1, 2, kind_current}, {2, 2, kind_current},  {3, 4, kind_total},
                        {4, 4, kind_total},    {6, 4, kind_total},   {7, 4, kind_total},    {9, 2, kind_current},
                        {10, 2, kind_current}, {12, 4, kind_total},  {19, 4, kind_current}, {20, 4, kind_current}};

uint16_t crc_of(std::span<uint8_t const> bytes) {
    unsigned int crc = 0xFFFF;
    for (uint8_t const byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
        }
    }
    return static_cast<uint16_t>(crc);
}

Bytes framed(Bytes bytes) {
    uint16_t const crc = crc_of(bytes);
    bytes.push_back(static_cast<uint8_t>(crc & 0xFFU));
    bytes.push_back(static_cast<uint8_t>(crc >> 8U));
    return bytes;
}

void put(Bytes& out, uint32_t value, int size) {
    for (int byte = 0; byte < size; ++byte) {
        out.push_back(static_cast<uint8_t>(value >> (8U * static_cast<unsigned int>(byte))));
    }
}

/// Units of the values in the code page of the calculator, then the digits behind their points.
Bytes properties() {
    Bytes out;
    for (std::string_view const unit : {"\xB0\x43", "\xAC\x33", "\xAC\x33", "\xE2", "MPa", "Gcal", "\xE7", "\xE7"}) {
        put(out, static_cast<uint32_t>(unit.size()), 2);
        out.insert(out.end(), unit.begin(), unit.end());
        out.insert(out.end(), {good, 0});
    }
    for (auto const digits : std::initializer_list<uint8_t>{2, 2, 2, 2, 3, 3, 2, 3}) {
        out.insert(out.end(), {digits, good, 0});
    }
    return out;
}

uint32_t value_of(int number, double seconds) {
    double const wave = std::sin(2 * std::numbers::pi * seconds / 120);
    double const flow = 2.5 + 0.3 * wave;                // m3/h
    double const passed = 10000 + seconds * 2.5 / 3600;  // m3
    switch (number) {
        case 0:
            return static_cast<uint32_t>(std::lround(9000 + 200 * wave));
        case 1:
            return static_cast<uint32_t>(std::lround(6000 + 100 * wave));
        case 2:
            return 1000;
        case 9:
        case 10:
            return static_cast<uint32_t>(std::lround((number == 9 ? 60 : 45) + 2 * wave));
        case 12:
            return static_cast<uint32_t>(std::lround(passed * 30));
        case 19:
        case 20:
            return std::bit_cast<uint32_t>(static_cast<float>(number == 19 ? flow : flow * 0.98));
        default:
            return static_cast<uint32_t>(std::lround(passed * 100));
    }
}

Bytes active(int kind) {
    Bytes out;
    for (Row const& row : rows) {
        if (row.kind == kind) {
            put(out, 0x40000000U + row.number, 4);
            put(out, row.size, 2);
        }
    }
    return out;
}

}  // namespace

Bytes Vkt7::answer(std::span<uint8_t const> request, double seconds) {
    constexpr size_t shortest = 8;
    if (request.size() < shortest || request[0] != address_ ||
        crc_of(request.first(request.size() - 2)) != (request[request.size() - 2] | request.back() << 8)) {
        return {};
    }
    int const command = request[2] << 8 | request[3];
    Bytes content;
    if (request[1] == write) {
        return select(request);
    }
    if (request[1] == read && command == 0x3FFE) {
        content = data(seconds);
    } else if (request[1] == read && command == 0x3FFC) {
        content = active(kind_);
    } else {
        return framed({address_, static_cast<uint8_t>(request[1] | 0x80U), 2});
    }
    content.insert(content.begin(), {address_, read, static_cast<uint8_t>(content.size())});
    return framed(std::move(content));
}

Bytes Vkt7::select(std::span<uint8_t const> request) {
    constexpr size_t data_at = 6;
    constexpr uint8_t one_element = 6;
    if (request[3] == 0xFD) {
        kind_ = request.size() > data_at + 1 ? request[data_at + 1] : 0;
    } else if (request[data_at] == 0xCC) {
        selected_ = Selected::version;
    } else if (request[data_at] == one_element && request.size() > data_at + 1) {
        selected_ = Selected::value;
        number_ = request[data_at + 1];
    } else if (kind_ == kind_properties) {
        selected_ = Selected::properties;
    }
    return framed({address_, write, request[2], request[3], 0, 0});
}

Bytes Vkt7::data(double seconds) const {
    if (selected_ == Selected::properties) {
        return properties();
    }
    Bytes out;
    if (selected_ == Selected::version) {
        out.assign(72, 0);
        out[61] = 0x31;  // offset 64 of the whole reply
        return out;
    }
    for (Row const& row : rows) {
        if (row.number == number_) {
            put(out, value_of(number_, seconds), row.size);
        }
    }
    if (out.empty()) {
        put(out, 0, 2);
    }
    out.insert(out.end(), {good, 0});
    return out;
}

}  // namespace sim
