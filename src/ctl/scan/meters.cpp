#include "ctl/scan/meters.h"

#include "ctl/language/phrase.h"
#include "ctl/scan/sample.h"
#include "drivers/merc_2xx/pdu.h"
#include "drivers/milur/pdu.h"
#include "drivers/set4tm/pdu.h"
#include "drivers/vkt7rtu/pdu.h"
#include "drivers/vkt7rtu/reply.h"
#include "foundation/crc.h"

namespace scanner {

namespace {

using xCommon::ByteList;
using Bytes = Protocol::Bytes;
using Frame = Asker::Frame;

constexpr unsigned char refused_bit = xCommon::refused_bit;

Json::Value node_of(char const* type, Protocol::Address address, Json::Value param) {
    Json::Value node;
    node["type"] = type;
    node["sid"] = static_cast<int>(address);
    node["params"].append(std::move(param));
    return node;
}

Json::Value parameter(char const* name, char const* value_type) {
    Json::Value param;
    param["name"] = name;
    param["value_type"] = value_type;
    return param;
}

unsigned char sid_of(Protocol::Address address) {
    return static_cast<unsigned char>(address);
}

bool is_framed(Frame frame, Protocol::Address address, size_t size) {
    return frame.size() == size && frame[0] == address && xCommon::crc16::ends(frame);
}

class Set4tm : public Protocol {
 public:
    std::string word() const override { return "set-4tm"; }
    std::array<Address, 2> nobody() const override { return {250, 251}; }

    Bytes first(Asker& asker, Address address) override {
        ByteList request;
        set4tm::pdu::test(request, sid_of(address));
        return asker.ask(request, [address](Frame frame) {
            return is_framed(frame, address, set4tm::pdu::short_reply) && frame[1] == 0;
        });
    }
    std::optional<Device> identify(Asker& /*asker*/, Address address, Bytes const& /*reply*/) override {
        Json::Value param;
        param["name"] = "energy";
        param["command"] = 5;
        param["param"] = 0;
        return Device{say("answers the link test; the daemon reads no values of it yet"),
                      node_of("set-4tm", address, param)};
    }
};

class Mercury : public Protocol {
    using pdu = merc_2xx::pdu;

 public:
    std::string word() const override { return "mercury"; }
    std::array<Address, 2> nobody() const override { return {250, 251}; }

    Bytes first(Asker& asker, Address address) override {
        ByteList request;
        pdu::test(request, sid_of(address));
        return asker.ask(request, status_from(address));
    }
    /// The reply to the test may be its echo; what follows proves the meter.
    std::optional<Device> identify(Asker& asker, Address address, Bytes const& /*reply*/) override {
        Bytes answer = read(asker, address);
        if (answer.empty()) {
            return {};
        }
        std::string trouble;
        if (answer.size() == pdu::short_reply) {
            trouble = open(asker, address);
            answer = trouble.empty() ? read(asker, address) : answer;
            if (trouble.empty()) {
                close(asker, address);
            }
        }
        bool const has_value = answer.size() > pdu::short_reply;
        std::string const says = has_value ? value_text(answer) : trouble;
        return Device{says.empty() ? say("gives no value") : says, node(address)};
    }

 private:
    static Json::Value node(Address address) {
        Json::Value param = parameter("energy", "ma");
        param["reg_type"] = "array16";
        param["arr_num"] = 0;
        param["month"] = 0;
        param["tarif"] = 0;
        param["unit"] = "Wh";
        return node_of("merc230", address, param);
    }
    static Asker::Sound status_from(Address address) {
        return [address](Frame frame) {
            return is_framed(frame, address, pdu::short_reply) &&
                   pdu::parse_error(frame, sid_of(address)) < pdu::status_unknown;
        };
    }
    Bytes read(Asker& asker, Address address) const {
        ByteList request;
        merc_2xx::c_param const* const param = &sample_.param();
        pdu::read_array(request, sid_of(address), param);
        return asker.ask(request, [&](Frame frame) {
            return status_from(address)(frame) ||
                   is_framed(frame, address, static_cast<size_t>(pdu::exp_resp_size(param)));
        });
    }
    /// What keeps the channel closed; empty for nothing.
    std::string open(Asker& asker, Address address) const {
        if (!asker.may_open(word(), address)) {
            return say("its channel was tried before");
        }
        ByteList request;
        pdu::open(request, sid_of(address), pdu::access_level, pdu::password);
        Bytes const reply = asker.ask(request, status_from(address));
        if (reply.empty()) {
            return say("doesn't answer the opening of its channel");
        }
        int const status = pdu::parse_error(reply, sid_of(address));
        return status == pdu::status_ok ? "" : say("refuses the daemon's password (%d)", status);
    }
    static void close(Asker& asker, Address address) {
        ByteList request;
        pdu::close(request, sid_of(address));
        asker.ask(request, status_from(address));
    }
    std::string value_text(Bytes const& answer) const {
        std::string const value =
            sample_.param().getValueFromBuf(answer.data() + 1, static_cast<int>(answer.size()) - 1);
        return "energy = " + value + " Wh";
    }

    Sample<merc_2xx::c_param> sample_{node(1)};
};

class Milur : public Protocol {
    using pdu = milur::pdu;

 public:
    std::string word() const override { return "milur"; }
    std::array<Address, 2> nobody() const override { return {250, 251}; }

    Bytes first(Asker& asker, Address address) override { return read(asker, address); }

    std::optional<Device> identify(Asker& asker, Address address, Bytes const& reply) override {
        Bytes answer = reply;
        std::string trouble;
        if (is_refusal(reply)) {
            // Others refuse what they don't know by the same frame, and only this says that it has sessions.
            if (code_of(reply, address) != pdu::error_closed) {
                return {};
            }
            if (!asker.may_open(word(), address)) {
                return Device{say("its session was tried before"), node(address, 0)};
            }
            Bytes const opened = open(asker, address);
            if (opened.empty()) {
                return {};
            }
            if (is_refusal(opened)) {
                return Device{say("refuses the daemon's password (%d)", code_of(opened, address)), node(address, 0)};
            }
            answer = read(asker, address);
            close(asker, address);
        }
        size_t const size = answer.empty() || is_refusal(answer) ? 0 : answer[3] - size_t{meter::crc_size};
        Json::Value const found = node(address, size);
        if (size == 0) {
            return Device{say("gives no value"), found};
        }
        return Device{"voltage = " + value_text(found, answer), found};
    }

 private:
    /// Models differ in the size of their objects.
    static Json::Value node(Address address, size_t value_size) {
        char const* const type = value_size == 2 ? "u16" : value_size == 4 ? "i32" : "u24";
        Json::Value param = parameter("voltage", type);
        param["object_id"] = object;
        param["scale"] = 0.001;
        param["unit"] = "V";
        return node_of("milur", address, param);
    }
    static std::string value_text(Json::Value const& node, Bytes const& answer) {
        Sample<milur::c_param> const sample(node);
        int const size = static_cast<int>(answer.size()) - meter::head_size - meter::crc_size;
        try {
            return sample.param().getValueFromBuf(answer.data() + meter::head_size, size);
        } catch (std::exception const&) {
            return "?";  // of a size that none of the value types has
        }
    }
    static bool is_refusal(Frame reply) { return (reply[1] & refused_bit) != 0; }
    static int code_of(Frame reply, Address address) { return pdu::parse_error(reply, sid_of(address)); }
    static bool is_short(Frame frame, Address address, unsigned char function) {
        return is_framed(frame, address, pdu::short_reply) && (frame[1] & ~refused_bit) == function;
    }
    static Bytes read(Asker& asker, Address address) {
        ByteList request;
        pdu::read(request, sid_of(address), object);
        unsigned char const function = request.data()[1];
        return asker.ask(request, [=](Frame frame) {
            if (is_short(frame, address, function) && is_refusal(frame)) {
                return true;
            }
            return frame.size() > meter::head_size + meter::crc_size && frame[1] == function && frame[2] == object &&
                   is_framed(frame, address, size_t{meter::head_size} + frame[3]);
        });
    }
    static Bytes open(Asker& asker, Address address) {
        ByteList request;
        pdu::open(request, sid_of(address), pdu::access_level, pdu::password);
        return asker.ask(request,
                         [=, function = request.data()[1]](Frame frame) { return is_short(frame, address, function); });
    }
    static void close(Asker& asker, Address address) {
        ByteList request;
        pdu::close(request, sid_of(address));
        asker.ask(request,
                  [=, function = request.data()[1]](Frame frame) { return is_short(frame, address, function); });
    }

    static constexpr unsigned char object = 1;
};

class Vkt7 : public Protocol {
    using pdu = vkt7rtu::pdu;

 public:
    std::string word() const override { return "vkt-7"; }
    std::array<Address, 2> nobody() const override { return {248, 249}; }

    Bytes first(Asker& asker, Address address) override { return read(asker, address); }

    /// The shape is that of Modbus, and a slave may refuse the read too: the opening proves the calculator.
    std::optional<Device> identify(Asker& asker, Address address, Bytes const& /*reply*/) override {
        if (!asker.may_open(word(), address)) {
            return {};
        }
        ByteList request;
        pdu::open_session(request, sid_of(address), &sample_.param());
        unsigned char const function = request.data()[1];
        Bytes const opened = ask(asker, address, request);
        if (opened.empty() || opened[1] != function) {
            return {};
        }
        auto const version = vkt7rtu::Reply::server_version(read(asker, address));
        return Device{version ? say("version of its server 0x%02x", *version) : say("gives no value"), node(address)};
    }

 private:
    static Json::Value node(Address address) {
        Json::Value param;
        param["name"] = "t1";
        param["type"] = "vkt7-rtu";
        param["reg_addr"] = 0;
        param["unit"] = "°C";
        return node_of("vkt7-rtu", address, param);
    }
    Bytes read(Asker& asker, Address address) const {
        ByteList request;
        pdu::read_data(request, sid_of(address), &sample_.param());
        return ask(asker, address, request);
    }
    static Bytes ask(Asker& asker, Address address, ByteList const& request) {
        return asker.ask(request, [address, function = request.data()[1]](Frame frame) {
            return pdu::is_whole(frame) && frame[0] == address && (frame[1] & ~refused_bit) == function;
        });
    }

    Sample<CParam> sample_{node(1)};
};

}  // namespace

std::unique_ptr<Protocol> scan_set4tm() {
    return std::make_unique<Set4tm>();
}

std::unique_ptr<Protocol> scan_mercury() {
    return std::make_unique<Mercury>();
}

std::unique_ptr<Protocol> scan_milur() {
    return std::make_unique<Milur>();
}

std::unique_ptr<Protocol> scan_vkt7() {
    return std::make_unique<Vkt7>();
}

}  // namespace scanner
