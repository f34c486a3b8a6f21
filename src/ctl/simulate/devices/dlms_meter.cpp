#include "ctl/simulate/devices/dlms_meter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iterator>

#include <zlib.h>

namespace sim {

namespace {

constexpr size_t link_head = 20;
constexpr size_t mac_size = 6;
constexpr size_t crc_size = 4;
constexpr size_t wrapper_head = 8;
constexpr size_t select_size = 16;

// Where fields stand in a request of the application layer.
constexpr size_t name_at = 3;
constexpr size_t name_size = 9;
constexpr size_t attribute_at = 8;  // in the name
constexpr size_t request_head = 13;

constexpr unsigned char get_request = 0xC0;
constexpr unsigned char set_request = 0xC1;
constexpr unsigned char action_request = 0xC3;
constexpr unsigned char no_object = 4;
constexpr unsigned char wrong_type = 12;

constexpr unsigned int class_clock = 8;
constexpr unsigned int class_addresses = 17;
constexpr unsigned int first_address = 17;
constexpr unsigned char attribute_name = 1;
constexpr unsigned char attribute_unit = 3;

// Tags of data.
constexpr unsigned char tag_array = 1;
constexpr unsigned char tag_structure = 2;
constexpr unsigned char tag_boolean = 3;
constexpr unsigned char tag_i32 = 5;
constexpr unsigned char tag_u32 = 6;
constexpr unsigned char tag_octets = 9;
constexpr unsigned char tag_text = 10;
constexpr unsigned char tag_i8 = 15;
constexpr unsigned char tag_i16 = 16;
constexpr unsigned char tag_u8 = 17;
constexpr unsigned char tag_u16 = 18;
constexpr unsigned char tag_enum = 22;
constexpr unsigned char tag_float = 23;

/// What a meter answers where a value of that type is awaited. Flags and floats come as whole numbers: the daemon reads
/// no others.
struct Form {
    int value_type;
    unsigned char tag;
    int bytes;
    Carrier carrier;
};

constexpr double most_i32 = 2147483647;
constexpr double most_u32 = 4294967295;

constexpr Form forms[] = {
    {vt_bit, tag_u8, 1, {0, 1}},          {vt_i8, tag_i8, 1, {0, 127}},
    {vt_u8, tag_u8, 1, {0, 255}},         {vt_i16, tag_i16, 2, {-32768, 32767}},
    {vt_u16, tag_u16, 2, {0, 65535}},     {vt_i32, tag_i32, 4, {-most_i32, most_i32}},
    {vt_u32, tag_u32, 4, {0, most_u32}},  {vt_float32, tag_i32, 4, {-most_i32, most_i32}},
    {vt_str, tag_text, 8, {0, 99999999}}, {vt_str2, tag_text, 2, {0, 99}},
    {vt_str4, tag_text, 4, {0, 9999}},    {vt_str8, tag_text, 8, {0, 99999999}},
};

Form const& form_of(int value_type) {
    static constexpr Form other = {vt_none, tag_u32, 4, {0, most_u32}};
    return row_of(forms, value_type, other);
}

void push_crc(Bytes& frame) {
    push_high_first(frame, ::crc32(0, frame.data(), static_cast<unsigned int>(frame.size())), crc_size);
}

bool crc_fits(View frame) {
    return frame.size() > crc_size && number_high_first(frame.last(crc_size)) ==
                                          ::crc32(0, frame.data(), static_cast<unsigned int>(frame.size() - crc_size));
}

void push_text(Bytes& out, std::string const& text) {
    out.push_back(tag_text);
    out.push_back(static_cast<unsigned char>(text.size()));
    append(out, text_bytes(text));
}

/// Date and time of UTC, as a clock's attribute has them.
Bytes date_time() {
    time_t const now = time(nullptr);
    tm utc = {};
    gmtime_r(&now, &utc);
    constexpr unsigned char size = 12;
    Bytes out = {tag_octets, size};
    push_high_first(out, static_cast<uint64_t>(utc.tm_year) + 1900, 2);
    for (int const part : {utc.tm_mon + 1, utc.tm_mday, utc.tm_wday == 0 ? 7 : utc.tm_wday, utc.tm_hour, utc.tm_min,
                           utc.tm_sec, 0, 0, 0, 0}) {
        out.push_back(static_cast<unsigned char>(part));
    }
    return out;
}

/// What was written in the type that the meter keeps it in; empty for what it can't take.
Bytes kept(View written) {
    if (written.size() < 2) {
        return {};
    }
    Bytes item(written.begin(), written.end());
    if (item[0] == tag_boolean) {
        item[0] = tag_u8;
    } else if (item[0] == tag_float && item.size() == 5) {
        auto const value = std::bit_cast<float>(static_cast<uint32_t>(number_high_first(written.subspan(1))));
        bool const fits = std::abs(value) <= most_i32;
        item = {tag_i32};
        push_high_first(item, static_cast<uint64_t>(fits ? std::llround(value) : 0), 4);
    } else if (item[0] == vt_str2 || item[0] == vt_str4 || item[0] == vt_str8) {
        item[0] = tag_text;
    }
    return item;
}

}  // namespace

Bytes DlmsObjects::name_of(View request) {
    View const name = request.subspan(name_at, name_size);
    return {name.begin(), name.end()};
}

void DlmsObjects::add(xdlms::dparam& param) {
    Bytes name;
    push_high_first(name, param.address.class_id, 2);
    name.insert(name.end(), param.address.object.begin(), param.address.object.end());
    name.push_back(param.address.attr_id);
    objects_.emplace(name, Object{param.value_type, Course(param, form_of(param.value_type).carrier), {}});
}

Bytes DlmsObjects::item(Object const& object, Bytes const& name, double seconds) {
    unsigned char const attribute = name[attribute_at];
    if (attribute == attribute_name) {
        Bytes octets = {tag_octets, mac_size};
        append(octets, View(name).subspan(2, mac_size));
        return octets;
    }
    if (number_high_first(View(name).first(2)) == class_clock) {
        return date_time();
    }
    if (attribute == attribute_unit && object.value_type == vt_none) {
        constexpr unsigned char watt_hours = 30;
        return {tag_structure, 2, tag_i8, 0, tag_enum, watt_hours};
    }
    Form const& form = form_of(object.value_type);
    long long const value = object.course.whole_at(seconds);
    Bytes out;
    if (form.tag == tag_text) {
        push_text(out, std::to_string(value));
    } else {
        out.push_back(form.tag);
        push_high_first(out, static_cast<uint64_t>(value), form.bytes);
    }
    return out;
}

Bytes DlmsObjects::respond(View request, double seconds) {
    unsigned char const service = request[0];
    if (service == action_request) {
        return {0xC7, 0x01, 0xC1, 0x00, 0x00};
    }
    auto const object = objects_.find(name_of(request));
    if (service == set_request) {
        Bytes const item = kept(request.subspan(request_head));
        bool const is_there = object != objects_.end();
        if (is_there && !item.empty()) {
            object->second.written = item;
        }
        return {0xC5, 0x01, 0xC1, !is_there ? no_object : item.empty() ? wrong_type : static_cast<unsigned char>(0), 0};
    }
    if (service != get_request) {
        return {};
    }
    if (object == objects_.end()) {
        return {0xC4, 0x01, 0xC1, 0x01, no_object};
    }
    Bytes reply = {0xC4, 0x01, 0xC1, 0x00};
    append(reply,
           object->second.written.empty() ? item(object->second, object->first, seconds) : object->second.written);
    return reply;
}

DlmsMeters::DlmsMeters(xdlms::cddev const& node)
    : on_tcp_(node.parent->type == "dlms.tcp"), older_(node.parent->type == "dlms.rs.old") {}

bool DlmsMeters::is_same(xdlms::cddev const& node) const {
    return (node.parent->type == "dlms.tcp") == on_tcp_ && (node.parent->type == "dlms.rs.old") == older_;
}

void DlmsMeters::add(xdlms::dparam& param) {
    std::string const& number = param.device->sn;
    auto meter =
        std::find_if(meters_.begin(), meters_.end(), [&number](Meter const& known) { return known.number == number; });
    if (meter == meters_.end()) {
        constexpr size_t model_letters = 2;
        Bytes mac = {0x02};
        bool const has_digits = number.size() > model_letters;
        push_high_first(mac, has_digits ? std::strtoull(number.c_str() + model_letters, nullptr, 10) : 0, mac_size - 1);
        meter = meters_.insert(meters_.end(), Meter{number, mac, {}});
    }
    meter->objects.add(param);
}

DlmsMeters::Meter* DlmsMeters::at_mac(View mac) {
    auto const meter = std::find_if(meters_.begin(), meters_.end(), [mac](Meter const& known) {
        return std::equal(known.mac.begin(), known.mac.end(), mac.begin(), mac.end());
    });
    return meter == meters_.end() ? nullptr : &*meter;
}

/// The one at the address, unless another alone has what is asked for: a serial number that lies in another's is found
/// with that one.
DlmsMeters::Meter& DlmsMeters::at_address(View request, size_t address) {
    size_t const place = address - first_address;
    auto const has = [request](Meter const& meter) { return meter.objects.has(request); };
    if (place < meters_.size() && has(meters_[place])) {
        return meters_[place];
    }
    auto const other = std::find_if(meters_.begin(), meters_.end(), has);
    return other == meters_.end() ? meters_.front() : *other;
}

Bytes DlmsMeters::miscounted(Bytes reply) const {
    return on_tcp_ ? Bytes() : Device::miscounted(std::move(reply));
}

Bytes DlmsMeters::answer(View request, double seconds) {
    if (on_tcp_) {
        if (request.size() < wrapper_head + request_head || meters_.empty()) {
            return {};
        }
        View const inner = request.subspan(wrapper_head);
        bool const is_list = inner[0] == get_request && number_high_first(inner.subspan(name_at, 2)) == class_addresses;
        uint64_t const address = number_high_first(request.subspan(4, 2));
        return wrapped(request, is_list ? address_list() : at_address(inner, address).objects.respond(inner, seconds));
    }
    if (!older_) {
        return link_frame(request, seconds);
    }
    // A select frame and the request that it announces may arrive as one.
    Bytes reply;
    while (request.size() >= select_size && crc_fits(request.first(select_size))) {
        append(reply, select(request.first(select_size)));
        request = request.subspan(select_size);
    }
    Bytes const frame = request.empty() ? Bytes() : link_frame(request, seconds);
    if (!frame.empty()) {
        waiting_ = frame;
        waiting_mac_.assign(request.begin(), request.begin() + mac_size);
        sent_ = false;
        append(reply, status(waiting_mac_));
    }
    return reply;
}

/// An announcement of a request has a size. Without one it is what the gateway made of the last frame: all well, or
/// something to be repeated, behind a status with a new number.
Bytes DlmsMeters::select(View frame) {
    constexpr size_t size_at = 8;
    bool const is_announcement = number_high_first(frame.subspan(size_at, 4)) != 0;
    bool const is_good = number_high_first(frame.subspan(mac_size, 2)) == 0;
    if (waiting_.empty() || !std::equal(waiting_mac_.begin(), waiting_mac_.end(), frame.begin())) {
        return {};
    }
    if (is_announcement || (is_good && sent_)) {
        waiting_.clear();
        return {};
    }
    sent_ = is_good;
    return is_good ? waiting_ : status(waiting_mac_);
}

Bytes DlmsMeters::status(Bytes const& mac) {
    packet_ = static_cast<unsigned char>((packet_ + 1) % 16);
    Bytes frame = mac;
    push_high_first(frame, packet_, 1);
    push_high_first(frame, 0, 1);
    push_high_first(frame, waiting_.size() - crc_size, 4);
    push_crc(frame);
    return frame;
}

Bytes DlmsMeters::link_frame(View request, double seconds) {
    if (request.size() < link_head + wrapper_head + request_head + crc_size || !crc_fits(request)) {
        return {};
    }
    Meter* const meter = at_mac(request.first(mac_size));
    if (meter == nullptr) {
        return {};
    }
    View const inner = request.subspan(link_head, request.size() - link_head - crc_size);
    Bytes const data = wrapped(inner, meter->objects.respond(inner.subspan(wrapper_head), seconds));
    Bytes frame(request.begin() + mac_size, request.begin() + 2 * mac_size);
    append(frame, meter->mac);
    push_high_first(frame, 0x88E500, 3);
    push_high_first(frame, data.size() & 0xFFU, 1);
    push_high_first(frame, 0, 4);
    append(frame, data);
    push_crc(frame);
    return frame;
}

/// Sender and receiver change places.
Bytes DlmsMeters::wrapped(View request, Bytes const& response) const {
    if (response.empty()) {
        return {};
    }
    Bytes reply = {0, 1, request[4], request[5], request[2], request[3]};
    push_high_first(reply, response.size(), 2);
    append(reply, response);
    return reply;
}

Bytes DlmsMeters::address_list() const {
    constexpr size_t most = 255;
    size_t const count = std::min(meters_.size(), most);
    Bytes reply = {0xC4, 0x01, 0xC1, 0x00, tag_array, static_cast<unsigned char>(count)};
    for (size_t place = 0; place < count; ++place) {
        append(reply, Bytes{tag_structure, 2, tag_u16});
        push_high_first(reply, first_address + place, 2);
        push_text(reply, meters_[place].number);
    }
    return reply;
}

}  // namespace sim
