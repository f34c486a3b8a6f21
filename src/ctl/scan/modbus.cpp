#include "ctl/scan/modbus.h"

#include <algorithm>

#include "ctl/language/phrase.h"
#include "drivers/mbrtu/pdu.h"
#include "drivers/mbtcp/pdu.h"

namespace scanner {

namespace {

using xCommon::ByteList;
using Bytes = Protocol::Bytes;
using Frame = Asker::Frame;

/// What may be read at 0, in the order in which it is asked for: the first by function 4, see Protocol.
struct Kind {
    unsigned char function;
    char const* reg_type;
    char const* value_type;
    size_t size;  ///< bytes of one
};
constexpr Kind kinds[] = {
    {4, "input", "u16", 2}, {3, "holding", "u16", 2}, {1, "coil", "bit", 1}, {2, "status", "bit", 1}};

// Exception codes.
constexpr int no_function = 1;
constexpr int session_closed = 8;  ///< so says a Milur; a slave has it for reads of files only
constexpr int no_way = 10;         ///< from a gateway, like the next
constexpr int no_answer = 11;

/// Read Device Identification, the basic objects (Modbus Application Protocol V1.1b3, 6.21).
constexpr unsigned char function_identify = 0x2B;
constexpr unsigned char identify_request[] = {0x0E, 0x01, 0x00};

struct RtuFraming {
    using Pdu = mbrtu::pdu;
    static constexpr char const* type = "mb-rtu";
    /// From the address on; empty for what is no frame.
    static Frame unit(Frame frame) {
        constexpr size_t least = 5;
        return frame.size() >= least && Pdu::check_crc(frame) ? frame.first(frame.size() - Pdu::crc_size) : Frame();
    }
};

struct TcpFraming {
    using Pdu = mbtcp::pdu;
    static constexpr char const* type = "mb-tcp";
    static Frame unit(Frame frame) {
        constexpr unsigned char transaction_and_protocol[] = {0, 1, 0, 0};
        constexpr size_t head = Pdu::mbap_size;
        bool const is_frame =
            frame.size() >= head + Pdu::head_size &&
            std::equal(std::begin(transaction_and_protocol), std::end(transaction_and_protocol), frame.begin()) &&
            static_cast<size_t>(Pdu::reply_length(frame.data())) == frame.size() - head;
        return is_frame ? frame.subspan(head) : Frame();
    }
};

bool is_refusal(Frame unit) {
    return unit.size() == modbus::pdu::head_size && (unit[1] & xCommon::refused_bit) != 0;
}

/// "Maker Product 1.2", of the objects in the unit of an answer.
std::string identity_of(Frame unit) {
    constexpr size_t count_at = 7;
    std::string text;
    size_t at = count_at + 1;
    for (int left = unit.size() > count_at ? unit[count_at] : 0; left > 0 && at + 2 <= unit.size(); --left) {
        size_t const size = std::min<size_t>(unit[at + 1], unit.size() - at - 2);
        Frame const object = unit.subspan(at + 2, size);
        text += (text.empty() ? "" : " ") + std::string(object.begin(), object.end());
        at += 2 + size;
    }
    return xCommon::xString::Shown(text);
}

template <typename Framing>
class Modbus : public Protocol {
    using Pdu = typename Framing::Pdu;

 public:
    std::string word() const override { return "modbus"; }
    std::array<Address, 2> nobody() const override { return {248, 249}; }

    Bytes first(Asker& asker, Address address) override {
        Bytes const reply = read(asker, address, kinds[0]);
        heard_ = heard_ || !reply.empty();
        std::optional<int> const code = refusal(reply);
        return code == no_way || code == no_answer ? Bytes() : reply;
    }

    std::optional<Device> identify(Asker& asker, Address address, Bytes const& reply) override {
        bool is_slave = false;
        Bytes answer = reply;
        for (Kind const& kind : kinds) {
            answer = kind.function == kinds[0].function ? reply : read(asker, address, kind);
            std::optional<int> const code = refusal(answer);
            if (!answer.empty() && !code) {
                return device(address, kind, value_text(kind, Framing::unit(answer)));
            }
            // By this one code and at every function others refuse what they don't know.
            is_slave = is_slave || (code && code != no_function && code != session_closed);
        }
        if (!is_slave) {
            return {};
        }
        return device(address, kinds[0], say("refuses the register 0 of each kind; so does a VKT-7"));
    }

    std::string name(Asker& asker, Address address) override {
        ByteList unit = {static_cast<unsigned char>(address), function_identify};
        unit.push_buf(identify_request, sizeof(identify_request));
        ByteList request;
        Pdu::wrap(request, unit);
        Bytes const reply = asker.ask(request, [&](Frame frame) {
            Frame const answer = Framing::unit(frame);
            return !answer.empty() && answer[0] == address &&
                   (is_refusal(answer) || (answer[1] == function_identify && answer[2] == identify_request[0]));
        });
        return is_refusal(Framing::unit(reply)) ? std::string() : identity_of(Framing::unit(reply));
    }

    std::optional<int> refusal(Bytes const& reply) const override {
        Frame const unit = Framing::unit(reply);
        return is_refusal(unit) ? std::optional<int>(unit[2]) : std::nullopt;
    }

    /// A server of Modbus TCP passes no other frames on.
    bool is_alone() const override { return std::is_same_v<Framing, TcpFraming> && heard_; }

 private:
    static Bytes read(Asker& asker, Address address, Kind const& kind) {
        ByteList request;
        Pdu::read_span(request, static_cast<unsigned char>(address), kind.function, 0, 1);
        return asker.ask(request, [&](Frame frame) {
            Frame const unit = Framing::unit(frame);
            if (unit.empty() || unit[0] != address || (unit[1] & ~xCommon::refused_bit) != kind.function) {
                return false;
            }
            return is_refusal(unit) || (unit[1] == kind.function && unit[2] == kind.size &&
                                        unit.size() == modbus::pdu::head_size + kind.size);
        });
    }

    static std::string value_text(Kind const& kind, Frame unit) {
        int position = modbus::pdu::head_size;
        int const value = kind.size == 1 ? unit[modbus::pdu::head_size] & 1
                                         : xCommon::net::get_u16(unit.data(), position, xCommon::WordOrder::big_endian);
        return xCommon::xString::Format("%s 0 = %d", kind.reg_type, value);
    }

    static Device device(Address address, Kind const& kind, std::string const& says) {
        Json::Value node;
        node["type"] = Framing::type;
        node["sid"] = static_cast<int>(address);
        Json::Value& param = node["params"].append(Json::objectValue);
        param["name"] = std::string(kind.reg_type) + "_0";
        param["reg_type"] = kind.reg_type;
        param["reg_addr"] = 0;
        param["value_type"] = kind.value_type;
        return {says, node};
    }

    bool heard_ = false;
};

}  // namespace

std::unique_ptr<Protocol> scan_modbus_rtu() {
    return std::make_unique<Modbus<RtuFraming>>();
}

std::unique_ptr<Protocol> scan_modbus_tcp() {
    return std::make_unique<Modbus<TcpFraming>>();
}

}  // namespace scanner
