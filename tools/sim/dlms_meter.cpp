#include "sim/dlms_meter.h"

#include <cmath>
#include <cstdlib>

#include <zlib.h>

namespace sim {

namespace {

constexpr size_t link_head = 20;
constexpr size_t crc_size = 4;
constexpr size_t wrapper_head = 8;
constexpr size_t select_size = 16;
const Bytes energy = {1, 0, 1, 8, 0, 255};
const Bytes voltage = {1, 0, 32, 7, 0, 255};
const Bytes both = {0, 0, 1, 0, 0, 255};
const Bytes address_list = {0x02, 0x02, 0x12, 0, 17, 0x0A, 7, 'S', 'I', 'M', '0', '0', '0', '1',
                            0x02, 0x02, 0x12, 0, 18, 0x0A, 7, 'S', 'I', 'M', '0', '0', '0', '2'};

void push(Bytes& out, uint64_t value, int size) {
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> static_cast<unsigned int>(shift)));
    }
}

void append(Bytes& out, std::span<uint8_t const> more) {
    out.insert(out.end(), more.begin(), more.end());
}

void push_crc(Bytes& frame) {
    push(frame, ::crc32(0, frame.data(), static_cast<unsigned int>(frame.size())), crc_size);
}

Bytes value_of(Bytes const& name, double seconds) {
    Bytes item;
    if (name == energy) {
        item = {0x06};
        push(item, static_cast<uint64_t>(seconds * 3) & 0xFFFFFFFFU, 4);
    } else if (name == voltage) {
        item = {0x12};
        push(item, static_cast<uint64_t>(2300 + 100 * std::sin(seconds / 5)), 2);
    } else if (name == both) {
        item = {0x02, 0x02};
        append(item, value_of(energy, seconds));
        append(item, value_of(voltage, seconds));
    }
    return item;
}

}  // namespace

DlmsMeter::DlmsMeter(std::string const& kind, std::string const& number)
    : on_tcp_(kind == "dlms.tcp"), older_(kind == "dlms.rs.old"), mac_{0x02} {
    push(mac_, number.size() > 2 ? std::strtoull(number.c_str() + 2, nullptr, 10) : 0, 5);
}

Bytes DlmsMeter::answer(std::span<uint8_t const> request, double seconds) {
    if (on_tcp_) {
        return unwrap(request, seconds);
    }
    if (!older_) {
        return link_frame(request, seconds);
    }
    if (request.size() != select_size) {
        waiting_ = link_frame(request, seconds);
        return status_of(waiting_);
    }
    bool const accepted = request[6] == 0 && request[7] == 0 && request[11] == 0;
    Bytes const reply = accepted ? waiting_ : Bytes();
    waiting_.clear();
    return reply;
}

Bytes DlmsMeter::status_of(std::span<uint8_t const> frame) {
    if (frame.empty()) {
        return {};
    }
    packet_ = static_cast<uint8_t>((packet_ + 1) % 16);
    Bytes status = mac_;
    push(status, packet_, 1);
    push(status, 0, 1);
    push(status, frame.size() - crc_size, 4);
    push_crc(status);
    return status;
}

Bytes DlmsMeter::link_frame(std::span<uint8_t const> request, double seconds) {
    if (request.size() < link_head + wrapper_head + crc_size ||
        !std::equal(mac_.begin(), mac_.end(), request.begin())) {
        return {};
    }
    Bytes const data = unwrap(request.subspan(link_head, request.size() - link_head - crc_size), seconds);
    Bytes frame(request.begin() + 6, request.begin() + 12);
    append(frame, mac_);
    push(frame, 0x88E500, 3);
    push(frame, data.size() & 0xFFU, 1);
    push(frame, 0, 4);
    append(frame, data);
    push_crc(frame);
    return frame;
}

Bytes DlmsMeter::unwrap(std::span<uint8_t const> request, double seconds) {
    if (request.size() < wrapper_head) {
        return {};
    }
    Bytes const data = respond(request.subspan(wrapper_head), seconds);
    Bytes reply = {0, 1, request[4], request[5], request[2], request[3]};
    push(reply, data.size(), 2);
    append(reply, data);
    return reply;
}

Bytes DlmsMeter::respond(std::span<uint8_t const> request, double seconds) {
    constexpr size_t head = 13;
    if (request.size() < head) {
        return {};
    }
    Bytes const name(request.begin() + 5, request.begin() + 11);
    switch (request[0]) {
        case 0xC0: {
            Bytes reply = {0xC4, 0x01, 0xC1, 0x00};
            if (request[4] == 17) {
                append(reply, Bytes{0x01, 0x02});
                append(reply, address_list);
                return reply;
            }
            Bytes const item = written_.contains(name) ? written_.at(name) : value_of(name, seconds);
            append(reply, item);
            return item.empty() ? Bytes{0xC4, 0x01, 0xC1, 0x01, 0x04} : reply;
        }
        case 0xC1:
            written_[name] = Bytes(request.begin() + head, request.end());
            return {0xC5, 0x01, 0xC1, 0x00, 0x00};
        case 0xC3:
            return {0xC7, 0x01, 0xC1, 0x00, 0x00};
        default:
            return {};
    }
}

}  // namespace sim
