#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <string>

#include "app/normalise.h"
#include "config/config.h"
#include "ctl/scenario/scenario.h"
#include "ctl/simulate/far_end.h"
#include "drivers/dcon/device.h"
#include "drivers/dcon/pdu.h"
#include "drivers/emera/device.h"
#include "drivers/emera/pdu.h"
#include "drivers/merc_2xx/config.h"
#include "drivers/merc_2xx/pdu.h"
#include "drivers/milur/config.h"
#include "drivers/milur/pdu.h"
#include "drivers/pulsartcp/config.h"
#include "drivers/pulsartcp/pdu.h"
#include "drivers/vkt7rtu/config.h"
#include "drivers/vkt7rtu/pdu.h"
#include "drivers/vkt7rtu/reply.h"
#include "drivers/xdlms/mac_frame.h"
#include "drivers/xdlms/pdu.h"
#include "drivers/xsnmp/device.h"
#include "drivers/xsnmp/inner_oid.h"
#include "foundation/crc.h"
#include "foundation/jutils.h"
#include "fuzz/harness.h"
#include "support/driver_rig.h"
#include "support/temp_folder.h"

namespace fuzz {

namespace {

/// A device of each driver, with a parameter of every kind that it decodes.
std::map<std::string, std::string> const devices = {
    {"dcon", R"("sid": 1, "params": [{"name": "a", "type": "dcon", "channel": "A", "cmd": 9},
        {"name": "b", "type": "dcon", "cmd": 10, "bh_list": [{"name": "b", "offset": 0}]},
        {"name": "c", "type": "dcon", "cmd": 13, "bh_list": [{"name": "c", "offset": 0}]},
        {"name": "d", "type": "dcon", "cmd": 21, "bh_list": [{"name": "d", "offset": 0}]}])"},
    {"emera", R"("sid": 1, "params": [{"name": "a", "cmd": "DATE", "value_type": "date_time"}])"},
    {"merc230", R"("sid": 5, "params": [
        {"name": "a", "reg_type": "array12", "value_type": "ma", "offset": 8},
        {"name": "b", "reg_type": "array16", "value_type": "ma", "offset": 12},
        {"name": "c", "reg_type": "param", "value_type": "ma"}, {"name": "d", "reg_type": "param", "value_type": "m0a"},
        {"name": "e", "reg_type": "param", "value_type": "m0r"}, {"name": "f", "reg_type": "param", "value_type": "m1"},
        {"name": "g", "reg_type": "param", "value_type": "m3"}, {"name": "h", "reg_type": "param", "value_type": "m6"},
        {"name": "i", "reg_type": "param", "value_type": "m7"}])"},
    {"milur", R"("sid": 5, "params": [
        {"name": "a", "object_id": 1, "value_type": "i32"}, {"name": "b", "object_id": 1, "value_type": "u16"},
        {"name": "c", "object_id": 1, "value_type": "u24"}, {"name": "d", "object_id": 1, "value_type": "i24"},
        {"name": "e", "object_id": 1, "value_type": "bcd32"}])"},
    {"pulsar-tcp", R"("sid": 12345678, "delay": 0, "type_device": "water_meter",
        "params": [{"name": "v", "parameter_number": 4099}])"},
    {"set-4tm", R"("sid": 5, "params": [{"name": "a", "command": 1, "param": 1}])"},
    {"vkt7-rtu", R"("sid": 1, "params": [{"name": "v", "type": "vkt7-rtu", "reg_addr": 3}])"}};

DriverRig& rig(std::string const& type) {
    static std::map<std::string, std::unique_ptr<DriverRig>> made;
    std::unique_ptr<DriverRig>& found = made[type];
    if (!found) {
        found = std::make_unique<DriverRig>(R"({"name": "m", "poll_interval": 0, "type": ")" + type + "\", " +
                                            devices.at(type) + "}");
    }
    return *found;
}

auto const& params(std::string const& type) {
    return rig(type).port().devices.at(0)->cfg->children;
}

int size(Bytes const& input) {
    return static_cast<int>(input.size());
}

/// Behind the bytes, so that what lies behind its check is reached.
void push(Bytes& input, unsigned int checksum, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        input.push_back(static_cast<unsigned char>(checksum >> static_cast<unsigned int>(shift)));
    }
    input.shrink_to_fit();
}

void push_crc(Bytes& input) {
    push(input, xCommon::crc16::crc_16(input.data(), static_cast<unsigned short>(input.size())), 2);
}

/// Closing, opening and a read of one parameter, all answered with the input, as it is and with a CRC behind it. The
/// input chooses the parameter.
auto exchange(std::string const& type) {
    return [type](Bytes& input) {
        DevBase& meter = *rig(type).port().devices.at(0);
        size_t const chosen = input.empty() ? 0 : input.back() % params(type).size();
        for (bool const with_crc : {false, true}) {
            if (with_crc) {
                push_crc(input);
            }
            rig(type).line().script.otherwise(Reply{.hex = hex::text(input)});
            meter.Restart();
            meter.poll_param(dynamic_cast<CParam*>(params(type).at(chosen).get()));
            rig(type).published();
        }
    };
}

/// As a value of each kind.
template <typename Param>
void as_values(std::string const& type, Bytes const& input) {
    for (auto const& child : params(type)) {
        try {
            dynamic_cast<Param&>(*child).getValueFromBuf(input.data(), size(input));
        } catch (std::exception const&) {
            continue;  // the next kind may take it
        }
    }
}

void dcon_reply(Bytes& input) {
    for (auto const& child : params("dcon")) {
        dcon::pdu::check_head(dynamic_cast<dcon::c_param*>(child.get()), input, "");
    }
    // The first byte tells how many it covers, also more than there are.
    int const length = input.empty() ? 0 : input.front() - 4;
    dcon::dev::check_crc(&rig("dcon").param<dcon::c_param>(), input, length);
}

void dcon_value(Bytes& input) {
    // An exception ends the run of an input.
    size_t const chosen = input.empty() ? 0 : input.front() % params("dcon").size();
    dcon::pdu::get_value(dynamic_cast<dcon::c_param*>(params("dcon").at(chosen).get()), input.data(), size(input));
}

void dlms_frame(Bytes& input) {
    xCommon::ByteList mac;
    mac.push_string("\xEE\xEE\xEE\xEE\xEE\xEE");
    int const end = size(input);
    push(input, xCommon::crc32::crc_32(input.data(), 0, end), 4);
    int pos = 0;
    if (xdlms::mac_frame::parse(input.data(), pos, end, mac, mac).ok) {
        xdlms::pdu::parse(input.data() + pos, end - pos);
    }
}

void dlms_wpdu(Bytes& input) {
    int pos = 0;
    // The callers make sure of the 8 bytes of the head.
    if (input.size() >= xdlms::wpdu::head_size) {
        xdlms::wpdu::parse(input.data(), pos, 1, 22);
    }
}

void emera_reply(Bytes& input) {
    emera::epdu::crc_check(input);
    emera::edev::res_parse(input.data(), size(input));
    auto& param = rig("emera").param<emera::ecparam>();
    if (emera::edev::res_check(&param, input.data(), size(input))) {
        for (std::string const& text : emera::edev::res_parse(input.data(), size(input))) {
            emera::edev::res_format(&param, text);
        }
    }
}

/// With its ETX and BCC.
void emera_sealed_reply(Bytes& input) {
    bool const has_head = !input.empty() && (input[0] == 0x01 || input[0] == 0x02);
    std::replace(input.begin(), input.end(), static_cast<unsigned char>(0x03), static_cast<unsigned char>('('));
    input.push_back(0x03);
    push(input, std::accumulate(input.begin() + (has_head ? 1 : 0), input.end(), 0U) & 0x7FU, 1);
    emera_reply(input);
}

/// A reply to the one open request.
void pulsar_frame(Bytes& input) {
    push_crc(input);
    auto* asked = &rig("pulsar-tcp").param<pulsartcp::c_param>();
    auto* meter = dynamic_cast<pulsartcp::c_dev*>(rig("pulsar-tcp").port().devices.at(0)->cfg);
    meter->save_request = {{0xBEEF, asked}};
    pulsartcp::Findings found;
    if (pulsartcp::pdu::check_frame(meter, asked, found, input.data(), size(input)) == 0) {
        pulsartcp::pdu::cut_payload(input);
    }
}

/// Every decoder of both kinds, on the bytes as a payload.
void pulsar_decoders(Bytes& input) {
    static pulsartcp::Handlers handlers;
    pulsartcp::pdu::init_parameter_handlers(handlers);
    for (auto const& [kind, functions] : handlers) {
        for (auto const& [function, parameters] : functions) {
            for (auto const& [number, handler] : parameters) {
                pulsartcp::Payload payload(input.begin(), input.end());
                handler(payload);
                handler(payload);
            }
        }
    }
}

void vkt7_reply(Bytes& input) {
    auto const& param = rig("vkt7-rtu").param<vkt7rtu::c_param>();
    vkt7rtu::Reply::server_version(input);
    vkt7rtu::Reply::precisions(param, input);
    vkt7rtu::Reply::has_register(param, input, 3);
    for (auto const number : std::initializer_list<unsigned short>{3, 19}) {
        vkt7rtu::Reply::value(param, input, *vkt7rtu::find_register(number), input.empty() ? 0 : input.back());
    }
    vkt7rtu::pdu::check_head(1, input);
    vkt7rtu::pdu::check_crc(input);
}

void configuration(Bytes& input) {
    std::string const text(input.begin(), input.end());
    Json::Value root;
    if (!xCommon::jUtils::Parse(text, root)) {
        return;
    }
    // Without a device of type "mb-tcp" the walk through those of a "base.tcp" connection has no end.
    if (text.find("connection") == std::string::npos || text.find("base.tcp") == std::string::npos) {
        root = normalise(root).config;
    }
    std::unique_ptr<Config> const config(Config::Load(root));
}

void scenario(Bytes& input) {
    static TempFolder const folder;
    Scenario::read(folder.write("f.scn", {input.begin(), input.end()}), "f");
}

void mercury(Bytes& input) {
    as_values<merc_2xx::c_param>("merc230", input);
    merc_2xx::pdu::reason(input, 5);
}

void milur_reply(Bytes& input) {
    as_values<milur::c_param>("milur", input);
    milur::pdu::check_head(5, input);
    meter::error_text(milur::pdu::parse_error(input, 5));
}

void snmp(Bytes& input) {
    std::string const text(input.begin(), input.end());
    static Json::Value node = json_of(R"({"name": "v", "oid": "1.3"})");
    static xsnmp::sparam param(nullptr, node);
    xsnmp::sdev::parse_value(&param, text);
    xsnmp::sdev::init("fuzz");
    xsnmp::inner_oid const unused("v", text);
}

/// Simulated devices of each kind on one line, or those of DLMS on one of theirs.
sim::Devices& simulated(std::string const& type, std::string const& list) {
    static sim::Faults faults(0);
    static std::map<std::string, std::pair<std::unique_ptr<Config>, sim::Devices>> lines;
    auto const [line, is_new] = lines.try_emplace(type, nullptr, faults);
    auto& [tree, all] = line->second;
    if (is_new) {
        Json::Value root;
        root["ports"].append(json_of(R"({"name": "p", "rs": {"path": "/dev/null"}, "devices": [)" + list + "]}"));
        root["ports"][0]["type"] = type;
        tree.reset(Config::Load(root));
        for (auto const& device : tree->ports.children.at(0)->children) {
            all.add(dynamic_cast<CDev&>(*device));
        }
    }
    return all;
}

/// Requests as they come, and with the ends that the devices of some kind insist on.
void simulated_devices(Bytes& input) {
    static std::string const nodes = [] {
        std::string text =
            R"({"name": "r", "type": "mb-rtu", "sid": 1, "params": [{"name": "v", "reg_addr": 0, "value_type": "u32"},
            {"name": "c", "reg_addr": 0, "reg_type": "coil", "value_type": "bit"}]})";
        for (auto const& [type, keys] : devices) {
            text += R"(, {"name": "d", "type": ")" + type + "\", " + keys + "}";
        }
        return text;
    }();
    static std::string const meter = R"({"name": "m", "sn": "AB12345", "params": [
        {"name": "e", "class_id": 3, "object_id": "1.0.1.8.0.255", "attr_id": 2, "value_type": "u32"}]})";
    sim::Bytes with_crc = input;
    hex::push_crc16(with_crc);
    sim::Bytes with_sum = input;
    with_sum.insert(with_sum.end(), {'0', '0', '\r'});
    for (sim::Bytes const& request :
         {sim::Bytes(input), with_crc, with_sum, hex::bytes(hex::with_crc32(hex::text(input)))}) {
        simulated("base.rs", nodes).answer(request, 1);
        simulated("dlms.rs", meter).answer(request, 1);
        simulated("dlms.rs.old", meter).answer(request, 1);
    }
}

}  // namespace

std::vector<Target> const& targets() {
    using Kind = Seeds::Kind;
    static std::vector<Target> const all = {
        {"configuration", configuration, {.kind = Kind::configurations}, {}, 64, 20},
        {"scenario", scenario, {.kind = Kind::files}, {}, 300, 10},
        {"dcon reply", dcon_reply, {"dcon"}, {}},
        {"dcon value", dcon_value, {"dcon", 1, 1}, {R"("20FF00")", R"("30Ff")", R"("0+1.2")"}, 16},
        {"dlms pdu",
         [](Bytes& input) { xdlms::pdu::parse(input.data(), size(input)); },
         {"xdlms", 8},
         {"C4 01 C1 00 01 01 01 01 01 01 01 01 01 01 01 01 01 01 11 01", "C4 01 C1 00 15 01 02 03 04 05 06 07 08"},
         300},
        {"dlms wpdu", dlms_wpdu, {"xdlms"}, {}},
        {"dlms frame", dlms_frame, {"xdlms", 0, 4}, {}},
        {"dlms selector",
         [](Bytes& input) { xdlms::mac_sel::parse(input.data(), 0, size(input)); },
         {"xdlms"},
         {"02 00 00 00 30 39 01 00 00 00 00 21 00 00 00 00"}},
        {"emera reply", emera_reply, {"emera"}, {"02 \"A(1)(2(3)\" 03 00"}},
        {"emera sealed reply",
         emera_sealed_reply,
         {"emera", 0, 2},
         {"\"\\x02D(0105032401301 )\"", "\"A(1)(2(3)\\r\\n()\\x00\""}},
        {"mercury", mercury, {"merc_2xx", 1, 2}, {"05 05 C2 E3"}},
        {"mercury exchange", exchange("merc230"), {"merc_2xx", 0, 2}, {"05 05"}},
        {"milur", milur_reply, {"milur", 4, 2}, {"05 81 08 00"}},
        {"milur exchange", exchange("milur"), {"milur", 0, 2}, {"05 08 00", "05 01 20 05 00 09 00"}, 300},
        {"pulsar frame",
         pulsar_frame,
         {"pulsartcp", 0, 2},
         {"12 34 56 78 0A 0C FF FF EF BE", "12 34 56 78 00 0C 04 00 EF BE", "12 34 56 78 0A 0E 00 00 C0 3F EF BE"}},
        {"pulsar payload", [](Bytes& input) { pulsartcp::pdu::cut_payload(input); }, {"pulsartcp"}, {}},
        {"pulsar decoders", pulsar_decoders, {"pulsartcp", 6, 4}, {"00 00 C0 3F", "00 07"}, 12},
        {"set-4tm exchange", exchange("set-4tm"), {"set4tm", 0, 2}, {"05 08 00", "05 01 00 02 12 34"}, 300},
        {"vkt7 reply", vkt7_reply, {"vkt7rtu"}, {"01 83 02 C0 F1", "01 03 00 12 34", "01 03 03 FF C0 00 12 34"}, 300},
        {"simulated devices",
         simulated_devices,
         {.kind = Kind::none},
         {"01 03 00 00 00 02", "01 10 00 00 00 02 04 01 02 03 04", "05 01 01 07 03 08 02 00 05", "05 05 00 01",
          "05 08 11 00", "05 08 00 5C A7 31 E2 0D 9B", "05 01 01", "12 34 56 78 0A 0C 03 10 EF BE", "\"#01A\"",
          "\"/?1!\" 01 \"R1\" 02 \"DATE\" 03", "01 10 3F FF 00 00 06 03 00 00 40 04 00", "01 03 3F FE 00 00",
          "02 00 00 00 30 39 EE EE EE EE EE EE 88 E5 00 15 00 00 00 00 00 01 00 01 00 16 00 0D C0 01 C1 00 03 01 00 01 "
          "08 00 FF 02 00",
          "02 00 00 00 30 39 00 00 00 00 00 29", "02 00 00 00 30 39 00 00 00 00 00 00"},
         64,
         4},
        {"snmp",
         snmp,
         {.kind = Kind::none},
         {"\"Timeticks: (750)\"", "\"Hex-STRING: 00\"", "\"INTEGER: 5\"", "\"No Such\"", "\".1.3.6\"",
          "69 73 6F 2E 33 2E 36 2E 22 61 22"}},
    };
    return all;
}

}  // namespace fuzz
