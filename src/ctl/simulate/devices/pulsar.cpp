#include "ctl/simulate/devices/pulsar.h"

#include <algorithm>

namespace sim {

namespace {

constexpr size_t address_size = 4;
constexpr size_t tail_size = 4;  // id and CRC
constexpr unsigned char head_and_tail = 10;

constexpr unsigned char read_channels = 1;
constexpr unsigned char read_clock = 4;
constexpr unsigned char read_parameter = 10;

// Codes of a refusal.
constexpr unsigned char no_function = 1;
constexpr unsigned char wrong_mask = 2;
constexpr unsigned char wrong_length = 3;
constexpr unsigned char no_parameter = 4;
constexpr unsigned char not_authorised = 5;

constexpr unsigned int most_channels = 16;

/// Eight decimal digits, two a byte.
Bytes address_of(unsigned long number) {
    Bytes bytes(address_size);
    for (size_t index = address_size; index-- > 0; number /= 100) {
        bytes[index] = static_cast<unsigned char>(number % 10 | number / 10 % 10 << 4U);
    }
    return bytes;
}

}  // namespace

Pulsar::Pulsar(pulsartcp::c_dev const& node)
    : number_(node.sid), kind_(node.type_device), address_(address_of(node.sid)) {}

void Pulsar::add(pulsartcp::c_param& param) {
    unsigned int const number = param.parameter_number & 0xFFFFU;
    pulsar::Form const form = pulsar::form_of(kind_, param.function, number);
    if (form != pulsar::Form::none) {
        values_.emplace(std::pair(param.function, number), Value{form, Course(param, pulsar::carrier_of(form))});
    }
}

Bytes Pulsar::channels(uint64_t mask, double seconds) const {
    // A parameter may ask for several channels, of which the first one is read.
    auto const asked = values_.find({read_channels, static_cast<unsigned int>(mask)});
    Bytes all;
    for (unsigned int channel = 0; channel < most_channels; ++channel) {
        if ((mask >> channel & 1U) != 0 && asked != values_.end()) {
            append(all, pulsar::payload(pulsar::Form::f32, asked->second.course.at(seconds) * (channel + 1), seconds));
        }
    }
    return all;
}

/// `body` is what stands between the address and the id.
Pulsar::Answer Pulsar::answer_to(View body, double seconds) const {
    constexpr unsigned char refused = 0;
    unsigned char const function = body[0];
    if (function == read_clock) {
        return {function, pulsar::payload(pulsar::Form::clock, 0, seconds)};
    }
    size_t const expected = function == read_parameter ? 4 : function == read_channels ? 6 : 0;
    if (expected == 0) {
        return {refused, {no_function}};
    }
    if (body.size() != expected || body[1] != address_size + body.size() + tail_size) {
        return {refused, {wrong_length}};
    }
    uint64_t const asked = number_low_first(body.subspan(2));
    if (function == read_channels) {
        Bytes const floats = channels(asked, seconds);
        return floats.empty() ? Answer{refused, {wrong_mask}} : Answer{function, floats};
    }
    auto const found = values_.find({function, static_cast<unsigned int>(asked)});
    if (found == values_.end()) {
        return {refused, {no_parameter}};
    }
    Value const& value = found->second;
    return {function, pulsar::payload(value.form, value.course.at(seconds), seconds)};
}

Bytes Pulsar::framed(View request, Answer const& answer) const {
    Bytes frame = address_;
    frame.push_back(answer.function);
    frame.push_back(static_cast<unsigned char>(head_and_tail + answer.payload.size()));
    append(frame, answer.payload);
    append(frame, request.last(tail_size).first(2));
    return with_crc(frame);
}

Bytes Pulsar::answer(View request, double seconds) {
    if (request.size() < address_size + 1 + tail_size || !has_crc(request) ||
        !std::equal(address_.begin(), address_.end(), request.begin())) {
        return {};
    }
    View const body = request.subspan(address_size, request.size() - address_size - tail_size);
    return framed(request, answer_to(body, seconds));
}

Bytes Pulsar::refusal(View request) {
    return framed(request, {0, {not_authorised}});
}

}  // namespace sim
