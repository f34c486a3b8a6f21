// The electricity meters with a session: decoders on their own, and whole exchanges on a line that answers with the
// input, as it is and with a CRC behind it.

#include <memory>

#include "drivers/merc_2xx/config.h"
#include "drivers/merc_2xx/pdu.h"
#include "drivers/milur/config.h"
#include "drivers/milur/pdu.h"
#include "drivers/set4tm/pdu.h"
#include "foundation/crc.h"
#include "fuzz/harness.h"
#include "support/driver_rig.h"
#include "support/sample_config.h"

namespace {

/// A value of every kind that the family has.
constexpr char mercury_params[] = R"(
    {"name": "a", "reg_type": "array12", "value_type": "ma", "offset": 8},
    {"name": "b", "reg_type": "array16", "value_type": "ma", "offset": 12},
    {"name": "c", "reg_type": "param", "value_type": "ma"}, {"name": "d", "reg_type": "param", "value_type": "m0a"},
    {"name": "e", "reg_type": "param", "value_type": "m0r"}, {"name": "f", "reg_type": "param", "value_type": "m1"},
    {"name": "g", "reg_type": "param", "value_type": "m3"}, {"name": "h", "reg_type": "param", "value_type": "m6"},
    {"name": "i", "reg_type": "param", "value_type": "m7"})";
constexpr char milur_params[] = R"(
    {"name": "a", "object_id": 1, "value_type": "i32"}, {"name": "b", "object_id": 1, "value_type": "u16"},
    {"name": "c", "object_id": 1, "value_type": "u24"}, {"name": "d", "object_id": 1, "value_type": "i24"},
    {"name": "e", "object_id": 1, "value_type": "bcd32"})";
constexpr char set4tm_params[] = R"({"name": "a", "command": 1, "param": 1})";

std::unique_ptr<DriverRig> make_rig(std::string const& type, char const* params) {
    return std::make_unique<DriverRig>(R"({"name": "m", "sid": 5, "poll_interval": 0, "type": ")" + type +
                                       R"(", "params": [)" + params + "]}");
}

void push_crc(fuzz::Bytes& input) {
    unsigned short const crc = xCommon::crc16::crc_16(input.data(), static_cast<unsigned short>(input.size()));
    input.push_back(static_cast<unsigned char>(crc >> 8U));
    input.push_back(static_cast<unsigned char>(crc));
}

/// Closing, opening and a read of one parameter, all answered with the input. The input chooses the parameter.
void cycle(DriverRig& rig, fuzz::Bytes input) {
    DevBase& meter = *rig.port().devices.at(0);
    auto const& params = meter.cfg->children;
    size_t const chosen = input.empty() ? 0 : input.back() % params.size();
    for (bool const with_crc : {false, true}) {
        if (with_crc) {
            push_crc(input);
        }
        rig.line().script.otherwise(Reply{.hex = hex::text(input)});
        meter.Restart();
        meter.poll_param(dynamic_cast<CParam*>(params.at(chosen).get()));
        rig.published();
    }
}

template <typename Param>
void decode(DriverRig& rig, fuzz::Bytes const& input) {
    for (auto const& child : rig.port().devices.at(0)->cfg->children) {
        try {
            dynamic_cast<Param&>(*child).getValueFromBuf(input.data(), static_cast<int>(input.size()));
        } catch (std::exception const&) {
            continue;  // the next kind may take it
        }
    }
}

DriverRig& mercury() {
    static std::unique_ptr<DriverRig> const rig = make_rig("merc230", mercury_params);
    return *rig;
}

DriverRig& milur_rig() {
    static std::unique_ptr<DriverRig> const rig = make_rig("milur", milur_params);
    return *rig;
}

DriverRig& set4tm_rig() {
    static std::unique_ptr<DriverRig> const rig = make_rig("set-4tm", set4tm_params);
    return *rig;
}

const fuzz::Registrar registrar({
    {"mercury value",
     [](fuzz::Bytes& input) { decode<merc_2xx::c_param>(mercury(), input); },
     {"00 00 D2 04 FF FF FF FF 01 00 02 00 12 34 56 78 6A C8", "01 02 03"}},
    {"mercury status",
     [](fuzz::Bytes& input) {
         merc_2xx::pdu::parse_error(input.data(), static_cast<int>(input.size()), 5, mercury().port().cport);
     },
     {"05 05 C2 E3"}},
    {"mercury exchange",
     [](fuzz::Bytes& input) { cycle(mercury(), input); },
     {"05 00", "05 05", "05 00 00 D2 04 FF FF FF FF 01 00 02 00 12 34 56 78", "05 00 00 D2 04 FF FF FF FF 01 00 02 00",
      "05 00 70 56"}},
    {"milur value", [](fuzz::Bytes& input) { decode<milur::c_param>(milur_rig(), input); }, {"00 09 00 00"}},
    {"milur head",
     [](fuzz::Bytes& input) {
         milur::pdu::check_head(milur_rig().port().cport, 5, input.data(), static_cast<int>(input.size()));
     },
     {"05 01 20 05", "05 81 08 00"}},
    {"milur exchange",
     [](fuzz::Bytes& input) { cycle(milur_rig(), input); },
     {"05 08 00", "05 01 20 05 00 09 00", "05 01 20 06 00 09 00 00", "05 01 20 01", "05 81 08"},
     300},
    {"set-4tm head",
     [](fuzz::Bytes& input) {
         set4tm::pdu::check_head(set4tm_rig().port().cport, 5, input.data(), static_cast<int>(input.size()));
     },
     {"05 01 00 02"}},
    {"set-4tm exchange",
     [](fuzz::Bytes& input) { cycle(set4tm_rig(), input); },
     {"05 08 00", "05 01 00 02 12 34"},
     300},
});

}  // namespace
