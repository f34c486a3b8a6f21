#include "ctl/simulate/devices/vkt7.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <iterator>
#include <string_view>

#include "foundation/xstring.h"

namespace sim {

namespace {

constexpr unsigned char read = 0x03;
constexpr unsigned char write = 0x10;
constexpr unsigned char good = 0xC0;
constexpr unsigned char no_address = 2;
constexpr unsigned char busy = 6;

constexpr int kind_current = 4;
constexpr int kind_total = 5;
constexpr int kind_properties = 6;

/// Digits behind the point that the properties tell: of temperatures, volumes, masses, pressures, heat, and others.
constexpr std::array<unsigned char, 8> precisions = {2, 2, 2, 2, 3, 3, 2, 3};
constexpr int no_digits = -1;

/// Registers in a row that are alike; `precision` is a place in the table above.
struct Row {
    int first;
    int last;
    int kind;
    int precision;
    int size;
    bool is_float = false;
};

constexpr Row rows[] = {{0, 2, kind_current, 0, 2},
                        {3, 5, kind_total, 1, 4},
                        {6, 8, kind_total, 2, 4},
                        {9, 10, kind_current, 3, 2},
                        {11, 11, kind_total, no_digits, 4},
                        {12, 13, kind_total, 4, 4},
                        {14, 16, kind_current, 0, 2},
                        {17, 18, kind_total, 4, 4},
                        {19, 21, kind_current, no_digits, 4, true},
                        {22, 24, kind_current, 0, 2},
                        {25, 27, kind_total, 6, 4},
                        {28, 30, kind_total, 5, 4},
                        {31, 32, kind_current, 3, 2},
                        {33, 33, kind_total, no_digits, 4},
                        {34, 35, kind_total, 7, 4},
                        {36, 36, kind_current, 0, 2},
                        {39, 40, kind_total, 7, 4},
                        {41, 43, kind_current, no_digits, 4, true},
                        {77, 78, kind_current, no_digits, 2},
                        {81, 81, kind_current, no_digits, 4, true},
                        {82, 82, kind_current, no_digits, 2}};

Row const* row_of(int number) {
    auto const* const row = std::find_if(std::begin(rows), std::end(rows), [number](Row const& entry) {
        return entry.first <= number && number <= entry.last;
    });
    return row == std::end(rows) ? nullptr : row;
}

/// Units of the values in the code page of the calculator, then the digits behind their points.
Bytes properties() {
    Bytes out;
    for (std::string_view const unit : {"\xB0\x43", "\xAC\x33", "\xAC\x33", "\xE2", "MPa", "Gcal", "\xE7", "\xE7"}) {
        push_low_first(out, unit.size(), 2);
        out.insert(out.end(), unit.begin(), unit.end());
        append(out, Bytes{good, 0});
    }
    for (unsigned char const digits : precisions) {
        append(out, Bytes{digits, good, 0});
    }
    return out;
}

}  // namespace

void Vkt7::add(modbus::c_register& param) {
    Row const* const row = row_of(param.reg_addr);
    if (row == nullptr || registers_.contains(param.reg_addr)) {
        return;
    }
    int const digits = row->is_float                 ? 2
                       : row->precision == no_digits ? 0
                                                     : precisions[static_cast<size_t>(row->precision)];
    double const step = std::pow(10, -digits);
    double const most = row->is_float ? 1e6 : (std::exp2(8 * row->size) - 1) * step;
    registers_.emplace(param.reg_addr, Register{&param, row->kind, row->is_float ? 0 : digits, row->size, row->is_float,
                                                Course(param, Carrier{0, most, step}, [digits](double value) {
                                                    return xCommon::xString::Format("%.*f", digits, value);
                                                })});
}

Bytes Vkt7::active() const {
    constexpr unsigned int identifier = 0x40000000;
    constexpr size_t most = 240;
    Bytes out;
    for (auto const& [number, entry] : registers_) {
        if (entry.kind == kind_ && out.size() < most) {
            push_low_first(out, identifier + static_cast<unsigned int>(number), 4);
            push_low_first(out, static_cast<unsigned int>(entry.size), 2);
        }
    }
    return out;
}

Bytes Vkt7::refusal(View request) {
    return with_crc({address_, static_cast<unsigned char>(request[1] | 0x80U), busy});
}

Bytes Vkt7::answer(View request, double seconds) {
    constexpr size_t shortest = 8;
    if (!is_mine(request, shortest)) {
        return {};
    }
    uint64_t const command = number_high_first(request.subspan(2, 2));
    Bytes content;
    if (request[1] == write) {
        return select(request);
    }
    if (request[1] == read && command == 0x3FFE) {
        content = data(seconds);
    } else if (request[1] == read && command == 0x3FFC) {
        content = active();
    } else {
        return with_crc({address_, static_cast<unsigned char>(request[1] | 0x80U), no_address});
    }
    Bytes reply = {address_, read, static_cast<unsigned char>(content.size())};
    append(reply, content);
    return with_crc(reply);
}

Bytes Vkt7::select(View request) {
    constexpr size_t data_at = 6;
    constexpr unsigned char one_element = 6;
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
    return with_crc({address_, write, request[2], request[3], 0, 0});
}

Bytes Vkt7::data(double seconds) const {
    if (selected_ == Selected::properties) {
        return properties();
    }
    if (selected_ == Selected::version) {
        constexpr size_t size = 72;
        constexpr size_t version_at = 61;
        Bytes out(size);
        out[version_at] = 0x31;
        return out;
    }
    auto const found = registers_.find(number_);
    if (found == registers_.end()) {
        return {0, 0, good, 0};
    }
    Register const& entry = found->second;
    double value = entry.course.at(seconds);
    if (entry.param->bits) {
        value = 0;
        for (bholding::bitem const& bit : entry.param->bits->items) {
            value += bit.offset >= 0 && blinks(seconds, bit.offset) ? std::exp2(bit.offset) : 0;
        }
    }
    Bytes out = entry.is_float
                    ? low_first(std::bit_cast<uint32_t>(static_cast<float>(value)), entry.size)
                    : low_first(static_cast<uint64_t>(std::llround(value * std::pow(10, entry.digits))), entry.size);
    append(out, Bytes{good, 0});
    return out;
}

}  // namespace sim
