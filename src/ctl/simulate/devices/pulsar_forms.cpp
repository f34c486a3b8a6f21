#include "ctl/simulate/devices/pulsar_forms.h"

#include <bit>
#include <cmath>

namespace sim::pulsar {

namespace {

/// Parameters in a row that have the same form.
struct Row {
    char const* kind;  ///< null: both
    unsigned char function;
    unsigned int first;
    unsigned int last;
    Form form;
};

constexpr char pulses[] = "pulse_counter";
constexpr char water[] = "water_meter";

constexpr Row rows[] = {
    {nullptr, 4, 0, 0, Form::clock},
    {pulses, 1, 1, 3, Form::f32},
    {water, 1, 1, 2, Form::f32},
    {nullptr, 10, 0x0000, 0x0000, Form::u16},
    {nullptr, 10, 0x0001, 0x0001, Form::u32},
    {nullptr, 10, 0x0002, 0x0002, Form::version},
    {pulses, 10, 0x0003, 0x0005, Form::f32},
    {pulses, 10, 0x0008, 0x0009, Form::u16},
    {pulses, 10, 0x000B, 0x000B, Form::yes_no},
    {pulses, 10, 0x000C, 0x000C, Form::u16},
    {pulses, 10, 0x000D, 0x000D, Form::status},
    {pulses, 10, 0x000E, 0x000E, Form::u16},
    {pulses, 10, 0x0012, 0x0012, Form::i8},
    {pulses, 10, 0x0013, 0x0013, Form::u16},
    {pulses, 10, 0x0017, 0x0019, Form::u32},
    {pulses, 10, 0x0020, 0x0020, Form::i8},
    {pulses, 10, 0x0024, 0x0024, Form::u8},
    {water, 10, 0x0003, 0x0003, Form::yes_no},
    {water, 10, 0x0010, 0x0010, Form::status},
    {water, 10, 0x0011, 0x0012, Form::u16},
    {water, 10, 0x0013, 0x0013, Form::u32},
    {water, 10, 0x0040, 0x0040, Form::u16},
    {water, 10, 0x0125, 0x0126, Form::f32},
    {water, 10, 0x0200, 0x0200, Form::band},
    {water, 10, 0x0204, 0x0205, Form::u32},
    {water, 10, 0x0206, 0x0206, Form::i8},
    {water, 10, 0x0207, 0x0207, Form::u8},
    {nullptr, 10, 0x1000, 0x1002, Form::u8},
    {nullptr, 10, 0x1003, 0x1003, Form::i16},
    {nullptr, 10, 0x10F0, 0x10F0, Form::link},
    {nullptr, 10, 0x1100, 0x1101, Form::radio_id},
    {nullptr, 10, 0x1110, 0x1110, Form::region},
    {nullptr, 10, 0x1111, 0x1111, Form::triple},
    {nullptr, 10, 0x1112, 0x1113, Form::u8},
    {nullptr, 10, 0x1120, 0x1122, Form::u8},
    {nullptr, 10, 0x1130, 0x1131, Form::u8},
    {nullptr, 10, 0x1140, 0x1141, Form::u8},
    {nullptr, 10, 0x11F0, 0x11F0, Form::state},
    {nullptr, 10, 0x11F1, 0x11F1, Form::counter},
};

Bytes clock_of(double seconds) {
    auto const total = static_cast<unsigned int>(seconds);
    Bytes time = {25, 1, 1};
    for (unsigned int const part : {total / 3600 % 24, total / 60 % 60, total % 60}) {
        time.push_back(static_cast<unsigned char>(part));
    }
    return time;
}

}  // namespace

Form form_of(std::string const& kind, unsigned char function, unsigned int number) {
    for (Row const& row : rows) {
        if ((row.kind == nullptr || kind == row.kind) && row.function == function && row.first <= number &&
            number <= row.last) {
            return row.form;
        }
    }
    return Form::none;
}

Carrier carrier_of(Form form) {
    switch (form) {
        case Form::i8:
            return {-128, 127};
        case Form::u16:
            return {0, 65535};
        case Form::i16:
            return {-32768, 32767};
        case Form::u32:
        case Form::counter:
            return {0, 4294967295.0};
        case Form::f32:
            return {0, 1e6, 0.01};
        case Form::yes_no:
        case Form::region:
            return {0, 1};
        case Form::band:
            return {1, 3};
        case Form::status:
            return {0, 12};
        default:
            return {0, 255};
    }
}

Bytes payload(Form form, double raw, double seconds) {
    auto const whole = static_cast<uint64_t>(std::llround(raw));
    auto const byte = static_cast<unsigned char>(whole);
    switch (form) {
        case Form::u16:
        case Form::i16:
            return low_first(whole, 2);
        case Form::u32:
            return low_first(whole, 4);
        case Form::f32:
            return low_first(std::bit_cast<uint32_t>(static_cast<float>(raw)), 4);
        case Form::status:
            return low_first(whole == 0 ? 0 : 1U << (whole - 1), 2);
        case Form::version:
            return {1, 0, 2, 0, 3, 0, 4, 5};
        case Form::radio_id:
            return {0x70, 0xB3, 0xD5, 0x00, 0x12, 0x34, 0x56, 0x78};
        case Form::triple:
            return {1, 0, byte, 0};
        case Form::link:
            return {5, byte, 0, 0, 2, 1, 0, 0};
        case Form::state:
            return {2, 0, 1, 2, 3, 4, byte, 0};
        case Form::counter: {
            Bytes counter = low_first(whole, 4);
            append(counter, Bytes{0xFD, 0xFF, 0xFF, 0xFF});
            return counter;
        }
        case Form::clock:
            return clock_of(seconds);
        default:
            return {byte};
    }
}

}  // namespace sim::pulsar
