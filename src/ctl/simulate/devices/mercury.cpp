#include "ctl/simulate/devices/mercury.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sim {

namespace {

constexpr double channel_s = 240;

// Status codes.
constexpr unsigned char done = 0;
constexpr unsigned char bad_parameter = 1;
constexpr unsigned char internal_error = 2;
constexpr unsigned char level_too_low = 3;
constexpr unsigned char channel_closed = 5;

/// Access level 1 and the digits of the password, as they come in the frame.
constexpr std::array<unsigned char, 7> access = {1, 7, 3, 8, 2, 0, 5};

/// What the meter puts where it stores nothing.
constexpr uint32_t not_stored = 0xFFFFFFFF;
constexpr unsigned char energy_size = 4;

/// High word first, each word with its low byte first.
void push_energy(Bytes& out, uint32_t value) {
    push_low_first(out, value >> 16U, 2);
    push_low_first(out, value, 2);
}

/// High, low, middle.
void push_three(Bytes& out, uint32_t value) {
    out.push_back(static_cast<unsigned char>(value >> 16U));
    push_low_first(out, value, 2);
}

/// How an instantaneous value goes out, and what it can be.
struct Form {
    int value_type;
    Carrier carrier;
    void (*push)(Bytes& out, long long value);
};

/// The sign of a value that is written as its amount.
template <unsigned char Bit>
void push_signed(Bytes& out, long long value) {
    push_three(out, static_cast<uint32_t>(std::abs(value)) & 0x3FFFFFU);
    out[out.size() - 3] |= value < 0 ? Bit : 0U;
}

constexpr double most_signed = 0x3FFFFF;
constexpr double most_word = 0xFFFF;

constexpr Form forms[] = {
    {vt_m0a, {-most_signed, most_signed}, push_signed<0x80>},
    {vt_m0r, {-most_signed, most_signed}, push_signed<0x40>},
    {vt_m1, {0, 0xFFFFFF}, [](Bytes& out, long long value) { push_three(out, static_cast<uint32_t>(value)); }},
    // Behind 40 it is above zero.
    {vt_m3,
     {-most_word, most_word},
     [](Bytes& out, long long value) {
         out.push_back(value < 0 ? 0 : 0x40);
         push_low_first(out, static_cast<uint64_t>(std::abs(value)), 2);
     }},
    {vt_m6, {0, most_word}, [](Bytes& out, long long value) { push_low_first(out, static_cast<uint64_t>(value), 2); }},
    {vt_m7, {0, most_word}, [](Bytes& out, long long value) { push_high_first(out, static_cast<uint64_t>(value), 2); }},
    {vt_ma,
     {0, 0xFFFFFFFF},
     [](Bytes& out, long long value) {
         // The last byte of the four is none of the answer's.
         push_low_first(out, static_cast<uint64_t>(value) >> 16U, 2);
         push_low_first(out, static_cast<uint64_t>(value), 1);
     }},
};

Form const& form_of(int value_type) {
    return row_of(forms, value_type, forms[2]);
}

}  // namespace

void Mercury::add(merc_2xx::c_param& param) {
    values_.push_back({&param, Course(param, form_of(param.value_type).carrier)});
}

Bytes Mercury::answer(View request, double seconds) {
    constexpr size_t around = 4;
    if (!is_mine(request, around)) {
        return {};
    }
    open_ = open_ && seconds - heard_s_ < channel_s;
    heard_s_ = seconds;
    View const body = request.subspan(2, request.size() - around);
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

Bytes Mercury::refusal(View /*request*/) {
    return status(internal_error);
}

Bytes Mercury::open_channel(View body) {
    open_ = std::equal(body.begin(), body.end(), access.begin(), access.end());
    return status(open_ ? done : level_too_low);
}

Bytes Mercury::energies(unsigned char array, unsigned char tariff, double seconds) const {
    std::array<uint32_t, 4> stored = {not_stored, not_stored, not_stored, not_stored};
    size_t count = 0;
    for (Value const& value : values_) {
        merc_2xx::c_param const& param = *value.param;
        auto const asked = static_cast<unsigned char>(param.arr_num << 4 | (param.month & 0x0F));
        if (param.reg_type == merc_2xx::reg_param || asked != array || param.tarif != tariff) {
            continue;
        }
        size_t const held = param.reg_type == merc_2xx::reg_array12 ? 3 : 4;
        count = count == 0 ? held : count;
        if (size_t const place = param.offset / energy_size; place < count) {
            stored.at(place) = static_cast<uint32_t>(value.course.whole_at(seconds));
        }
    }
    if (count == 0) {
        return status(bad_parameter);
    }
    Bytes reply = {address_};
    for (size_t place = 0; place < count; ++place) {
        push_energy(reply, stored.at(place));
    }
    return with_crc(reply);
}

Bytes Mercury::momentary(unsigned char number, double seconds) const {
    for (Value const& value : values_) {
        if (value.param->reg_type == merc_2xx::reg_param && (value.param->bwri & 0xFF) == number) {
            Bytes reply = {address_};
            form_of(value.param->value_type).push(reply, value.course.whole_at(seconds));
            return with_crc(reply);
        }
    }
    return status(bad_parameter);
}

}  // namespace sim
