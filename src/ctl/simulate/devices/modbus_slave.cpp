#include "ctl/simulate/devices/modbus_slave.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

namespace sim {

namespace {

constexpr size_t crc_size = 2;
constexpr size_t mbap_size = 6;
/// Address, function, register, and count or value.
constexpr size_t head_size = 6;
constexpr unsigned int addresses = 65536;
constexpr unsigned int most_registers = 125;
constexpr unsigned int most_bits = 2000;

// Functions.
constexpr unsigned char read_coils = 1;
constexpr unsigned char read_inputs = 4;
constexpr unsigned char write_coil = 5;
constexpr unsigned char write_register = 6;
constexpr unsigned char write_registers = 16;

// Exceptions.
constexpr unsigned char no_function = 1;
constexpr unsigned char no_address = 2;
constexpr unsigned char no_value = 3;
constexpr unsigned char busy = 6;

// Tables, by the functions that read them less one.
constexpr size_t coils = 0;
constexpr size_t statuses = 1;
constexpr size_t holdings = 2;
constexpr size_t inputs = 3;

size_t table_of(int reg_type) {
    switch (reg_type) {
        case modbus::reg_coil:
            return coils;
        case modbus::reg_status:
            return statuses;
        case modbus::reg_input:
        case modbus::reg_input_bit:
            return inputs;
        default:
            return holdings;
    }
}

bool is_bit_table(size_t table) {
    return table <= statuses;
}

/// What a register image holds of a value type, and its registers.
struct Layout {
    int value_type;
    unsigned int registers;
    Carrier carrier;
};

constexpr double byte_most = 255;
constexpr double word_most = 65535;
constexpr double float_most = 1e9;

constexpr Layout layouts[] = {{vt_bit, 1, {0, 1}},
                              {vt_i32, 2, {-2147483648.0, 2147483647.0}},
                              {vt_u32, 2, {0, 4294967295.0}},
                              // Its sign isn't read.
                              {vt_i8, 1, {0, 127}},
                              {vt_u8, 1, {0, byte_most}},
                              {vt_i16, 1, {-32768, 32767}},
                              {vt_u16, 1, {0, word_most}},
                              {vt_float16, 1, {-1000, 1000, 0.5}},
                              {vt_float32, 2, {-float_most, float_most, 0.01}},
                              {vt_fixi16, 1, {0, 127, 1.0 / 256}},
                              {vt_fixu16, 1, {0, byte_most, 1.0 / 256}},
                              {vt_str2, 1, {0, 99}},
                              {vt_str4, 2, {0, 9999}},
                              {vt_str8, 4, {0, 99999999}}};

Layout const& layout_of(int value_type) {
    static constexpr Layout other = {vt_u16, 1, {0, word_most}};
    return row_of(layouts, value_type, other);
}

/// Which byte of the number stands at each place, 0 is the lowest, by the word order.
constexpr int places_of_two[][2] = {{1, 0}, {0, 1}, {0, 1}, {1, 0}};
constexpr int places_of_four[][4] = {{3, 2, 1, 0}, {0, 1, 2, 3}, {2, 3, 0, 1}, {1, 0, 3, 2}};

Bytes ordered(uint32_t bits, unsigned int registers, int word_order) {
    int const* const places =
        registers == 1 ? std::begin(places_of_two[word_order]) : std::begin(places_of_four[word_order]);
    Bytes bytes;
    for (unsigned int index = 0; index < 2 * registers; ++index) {
        bytes.push_back(static_cast<unsigned char>(bits >> (8U * static_cast<unsigned int>(places[index]))));
    }
    return bytes;
}

/// IEEE 754 binary16 of a number within its normal range.
uint32_t half_of(double value) {
    if (value == 0) {
        return 0;
    }
    int exponent = 0;
    double const fraction = std::frexp(std::abs(value), &exponent);
    auto const mantissa = static_cast<uint32_t>((fraction * 2 - 1) * 1024);
    return (value < 0 ? 0x8000U : 0U) | static_cast<uint32_t>(exponent - 1 + 15) << 10U | mantissa;
}

/// Digits that fill the registers; a text that is only shown gets letters ahead of them.
Bytes text_image(modbus::c_param const& param, unsigned int registers, double raw) {
    auto const size = static_cast<int>(2 * registers);
    bool const is_number = param.has_scale || param.has_min || param.has_max || !param.unit.empty();
    std::string const ahead = is_number ? "" : size > 4 ? "TEXT " : "T";
    int const digits = size - static_cast<int>(ahead.size());
    auto const modulus = static_cast<long long>(std::pow(10, digits));
    char text[32];
    std::snprintf(text, sizeof(text), "%s%0*lld", ahead.c_str(), digits, std::llround(raw) % modulus);
    return text_bytes(text);
}

/// The registers of a raw value, as they stand on the wire.
Bytes encoded(modbus::c_param const& param, double raw) {
    unsigned int const registers = layout_of(param.value_type).registers;
    auto const byte = static_cast<unsigned char>(std::llround(raw));
    bool const first_is_high = param.word_order == 0;
    switch (param.value_type) {
        case vt_bit:
            return {byte, byte};
        case vt_i8:
        case vt_u8:
            return first_is_high ? Bytes{byte, 0} : Bytes{0, byte};
        case vt_fixi16:
        case vt_fixu16: {
            auto const whole = static_cast<unsigned char>(raw);
            auto const fraction = static_cast<unsigned char>((raw - whole) * 256);
            return first_is_high ? Bytes{whole, fraction} : Bytes{fraction, whole};
        }
        case vt_float16:
            return ordered(half_of(raw), registers, param.word_order);
        case vt_float32:
            return ordered(std::bit_cast<uint32_t>(static_cast<float>(raw)), registers, param.word_order);
        case vt_str2:
        case vt_str4:
        case vt_str8:
            return text_image(param, registers, raw);
        default:
            return ordered(static_cast<uint32_t>(std::llround(raw)), registers, param.word_order);
    }
}

unsigned int word_at(View unit, size_t at) {
    return static_cast<unsigned int>(number_high_first(unit.subspan(at, 2)));
}

}  // namespace

void Registers::add(modbus::c_param& param) {
    size_t const number = table_of(param.reg_type);
    Table& table = tables_[number];
    bool const is_bit = is_bit_table(number);
    Point point{&param, param.reg_addr, is_bit ? 1 : layout_of(param.value_type).registers, {}};
    for (unsigned int index = 0; index < point.count; ++index) {
        if (table.taken.contains(point.address + index)) {
            return;
        }
    }
    if (is_bit) {
        point.course.emplace(param, Carrier{0, 1});
    } else if (!param.has_bits()) {
        point.course.emplace(param, layout_of(param.value_type).carrier, [&param](double raw) {
            Bytes const bytes = encoded(param, raw);
            return param.CalculateReadExpression(
                param.GetValueFromBuffer(bytes.data(), static_cast<int>(bytes.size())));
        });
    }
    for (unsigned int index = 0; index < point.count; ++index) {
        table.taken.insert(point.address + index);
    }
    table.points.emplace(point.address, point);
}

/// Never the bytes that stand for "no value": of a set only the leading half of them is compared.
Bytes Registers::image(Point const& point, double seconds) {
    constexpr int tries = 8;
    constexpr double apart_s = 7;
    bool const is_bit = is_bit_table(table_of(point.param->reg_type));
    Bytes bytes;
    for (int count = 0; count < tries; ++count, seconds += apart_s) {
        double raw = 0;
        if (point.course) {
            raw = point.course->at(seconds);
        } else if (point.param->bits) {
            for (bholding::bitem const& bit : point.param->bits->items) {
                bool const is_set = bit.offset >= 0 && blinks(seconds, bit.offset);
                raw += is_set ? std::exp2(bit.offset) : 0;
            }
        }
        bytes = is_bit ? Bytes{static_cast<unsigned char>(raw)} : encoded(*point.param, raw);
        auto const size = static_cast<int>(bytes.size());
        if (point.param->check_error_value(bytes.data(), size) &&
            point.param->check_error_value(bytes.data(), std::min(size, static_cast<int>(point.count)))) {
            break;
        }
    }
    return bytes;
}

Bytes Registers::registers(Table const& table, unsigned int first, unsigned int count, double seconds) {
    constexpr unsigned int longest = 4;
    Bytes data(size_t{2} * count);
    auto const put = [&](unsigned int address, unsigned char high, unsigned char low) {
        if (address >= first && address < first + count) {
            data[size_t{2} * (address - first)] = high;
            data[size_t{2} * (address - first) + 1] = low;
        }
    };
    auto const begin = table.points.lower_bound(first - std::min(first, longest));
    for (auto point = begin; point != table.points.end() && point->first < first + count; ++point) {
        Bytes const bytes = image(point->second, seconds);
        for (unsigned int index = 0; 2 * index + 1 < bytes.size(); ++index) {
            put(point->first + index, bytes[size_t{2} * index], bytes[size_t{2} * index + 1]);
        }
    }
    for (auto const& [address, value] : table.written) {
        put(address, static_cast<unsigned char>(value >> 8U), static_cast<unsigned char>(value));
    }
    return data;
}

Bytes Registers::bits(Table const& table, unsigned int first, unsigned int count, double seconds) {
    Bytes data((count + 7) / 8);
    for (unsigned int index = 0; index < count; ++index) {
        auto const written = table.written.find(first + index);
        auto const point = table.points.find(first + index);
        bool is_set = false;
        if (written != table.written.end()) {
            is_set = written->second != 0;
        } else if (point != table.points.end()) {
            is_set = image(point->second, seconds).front() != 0;
        }
        if (is_set) {
            data[index / 8] |= static_cast<unsigned char>(1U << index % 8);
        }
    }
    return data;
}

Bytes Registers::refuse(View unit, unsigned char code) {
    return {unit[0], static_cast<unsigned char>(unit[1] | 0x80U), code};
}

Bytes Registers::read(View unit, double seconds) const {
    size_t const number = unit[1] - 1U;
    Table const& table = tables_[number];
    unsigned int const first = word_at(unit, 2);
    unsigned int const count = word_at(unit, 4);
    if (count == 0 || count > (is_bit_table(number) ? most_bits : most_registers)) {
        return refuse(unit, no_value);
    }
    // A set is read with its gaps, so that what lies between two registers is there too.
    if (table.taken.empty() || first > *table.taken.rbegin() || first + count <= *table.taken.begin() ||
        first + count > addresses) {
        return refuse(unit, no_address);
    }
    Bytes const data =
        is_bit_table(number) ? bits(table, first, count, seconds) : registers(table, first, count, seconds);
    Bytes reply = {unit[0], unit[1], static_cast<unsigned char>(data.size())};
    append(reply, data);
    return reply;
}

Bytes Registers::write_one(View unit) {
    bool const is_coil = unit[1] == write_coil;
    Table& table = tables_[is_coil ? coils : holdings];
    unsigned int const address = word_at(unit, 2);
    unsigned int const value = word_at(unit, 4);
    if (!table.taken.contains(address)) {
        return refuse(unit, no_address);
    }
    if (is_coil && value != 0xFF00 && value != 0) {
        return refuse(unit, no_value);
    }
    table.written[address] = is_coil ? value >> 15U : value;
    return {unit.begin(), unit.begin() + head_size};
}

/// A text comes in the length that it has, whatever the byte count says: what lacks is zero.
Bytes Registers::write_many(View unit) {
    constexpr size_t data_at = 7;
    Table& table = tables_[holdings];
    unsigned int const first = word_at(unit, 2);
    unsigned int const count = word_at(unit, 4);
    if (count == 0 || count > most_registers || unit.size() < data_at) {
        return refuse(unit, no_value);
    }
    if (!table.taken.contains(first) || first + count > addresses) {
        return refuse(unit, no_address);
    }
    Bytes data(unit.begin() + data_at, unit.end());
    data.resize(size_t{2} * count);
    for (unsigned int index = 0; index < count; ++index) {
        table.written[first + index] = word_at(data, size_t{2} * index);
    }
    return {unit.begin(), unit.begin() + head_size};
}

Bytes Registers::answer(View unit, double seconds) {
    if (unit.size() < head_size) {
        return {};
    }
    unsigned char const function = unit[1];
    if (function >= read_coils && function <= read_inputs) {
        return read(unit, seconds);
    }
    if (function == write_coil || function == write_register) {
        return write_one(unit);
    }
    return function == write_registers ? write_many(unit) : refuse(unit, no_function);
}

Bytes RtuSlave::answer(View request, double seconds) {
    if (!is_mine(request, head_size + crc_size)) {
        return {};
    }
    return with_crc(registers_.answer(request.first(request.size() - crc_size), seconds));
}

Bytes RtuSlave::refusal(View request) {
    return with_crc(Registers::refuse(request, busy));
}

namespace {

/// The header of the request with the length of the reply, and behind it the reply.
Bytes with_mbap(View request, Bytes const& unit) {
    Bytes reply(request.begin(), request.begin() + 4);
    push_high_first(reply, unit.size(), 2);
    append(reply, unit);
    return reply;
}

}  // namespace

Bytes TcpSlave::answer(View request, double seconds) {
    constexpr size_t length_at = 4;
    if (request.size() < mbap_size + head_size || request[2] != 0 || request[3] != 0 ||
        request[mbap_size] != address_ || word_at(request, length_at) != request.size() - mbap_size) {
        return {};
    }
    return with_mbap(request, registers_.answer(request.subspan(mbap_size), seconds));
}

Bytes TcpSlave::refusal(View request) {
    return with_mbap(request, Registers::refuse(request.subspan(mbap_size), busy));
}

}  // namespace sim
