#include "ctl/simulate/devices/milur.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

// Error codes.
constexpr unsigned char no_function = 1;
constexpr unsigned char no_object = 2;
constexpr unsigned char busy = 6;
constexpr unsigned char session_closed = 8;
constexpr unsigned char wrong_password = 13;

/// Access level 0 and the password.
constexpr std::array<unsigned char, 7> access = {0x00, 0x5C, 0xA7, 0x31, 0xE2, 0x0D, 0x9B};

/// Eight digits from the last byte to the first, in each the earlier digit in the low half.
Bytes bcd(long long number) {
    Bytes bytes;
    for (int at = 0; at < 4; ++at) {
        bytes.push_back(static_cast<unsigned char>((number % 10) << 4 | number / 10 % 10));
        number /= 100;
    }
    return bytes;
}

struct Form {
    int value_type;
    int bytes;
    Carrier carrier;
};

constexpr Form forms[] = {{vt_i32, 4, {-2147483648.0, 2147483647.0}},
                          {vt_u16, 2, {0, 0xFFFF}},
                          {vt_u24, 3, {0, 0xFFFFFF}},
                          {vt_i24, 3, {0, 0xFFFFFF}},
                          {vt_bcd32, 4, {0, 99999999}}};

Form const& form_of(int value_type) {
    return row_of(forms, value_type, forms[0]);
}

}  // namespace

void Milur::add(milur::c_param& param) {
    objects_.emplace(static_cast<unsigned char>(param.object_id),
                     Object{param.value_type, Course(param, form_of(param.value_type).carrier)});
}

Bytes Milur::refuse(unsigned char function, unsigned char code) const {
    return with_crc({address_, static_cast<unsigned char>(function | 0x80U), code});
}

Bytes Milur::refusal(View request) {
    return refuse(request[1], busy);
}

Bytes Milur::read(unsigned char number, double seconds) const {
    auto const object = objects_.find(number);
    if (object == objects_.end()) {
        return refuse(0x01, no_object);
    }
    auto const& [value_type, course] = object->second;
    int const size = form_of(value_type).bytes;
    long long const value = course.whole_at(seconds);
    Bytes reply = {address_, 0x01, number, static_cast<unsigned char>(size + 2)};
    append(reply, value_type == vt_bcd32 ? bcd(value) : low_first(static_cast<uint64_t>(value), size));
    return with_crc(reply);
}

Bytes Milur::answer(View request, double seconds) {
    constexpr size_t shortest = 5;
    if (!is_mine(request, shortest)) {
        return {};
    }
    unsigned char const function = request[1];
    View const body = request.subspan(2, request.size() - 4);
    switch (function) {
        case 0x08:
            open_ = std::equal(body.begin(), body.end(), access.begin(), access.end());
            return open_ ? with_crc({address_, function, body[0]}) : refuse(function, wrong_password);
        case 0x09:
            open_ = false;
            return with_crc({address_, function, body[0]});
        case 0x01:
            return open_ ? read(body[0], seconds) : refuse(function, session_closed);
        default:
            return refuse(function, no_function);
    }
}

}  // namespace sim
