#include <json/reader.h>

#include "drivers/pulsartcp/pdu.h"
#include "foundation/crc.h"
#include "fuzz/harness.h"

namespace {

using pulsartcp::pdu;

/// A meter with one open request.
class Meter {
 public:
    Meter() : port_("port"), node_(node()), config_(&port_, node_) {}

    void check(fuzz::Bytes& input) {
        auto* asked = dynamic_cast<pulsartcp::c_param*>(config_.children.at(0).get());
        config_.save_request = {{0xBEEF, asked}};
        BaseResult result;
        if (pdu::check_frame(&config_, asked, result, input.data(), static_cast<int>(input.size())) == 0) {
            pdu::cut_payload(input);
        }
    }

 private:
    static Json::Value node() {
        Json::Value node;
        Json::Reader().parse(R"({"name": "m", "type": "pulsar-tcp", "sid": 12345678, "delay": 0,
            "type_device": "water_meter", "params": [{"name": "v", "parameter_number": 4099}]})",
                             node);
        return node;
    }

    CBase port_;
    Json::Value node_;
    pulsartcp::c_dev config_;
};

/// A CRC behind the bytes, so that what lies behind its check is reached.
void frame(fuzz::Bytes& input) {
    static Meter meter;
    unsigned short const crc = xCommon::crc16::crc_16(input.data(), static_cast<unsigned short>(input.size()));
    input.push_back(static_cast<unsigned char>(crc >> 8U));
    input.push_back(static_cast<unsigned char>(crc & 0xFFU));
    input.shrink_to_fit();
    meter.check(input);
}

void cut(fuzz::Bytes& input) {
    pdu::cut_payload(input);
}

/// Every decoder of both kinds, on the bytes as a payload.
void decoders(fuzz::Bytes& input) {
    static pulsartcp::Handlers handlers;
    pdu::init_parameter_handlers(handlers);
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

const fuzz::Registrar registrar({
    {"pulsar frame",
     frame,
     {"12 34 56 78 0A 0C FF FF EF BE", "12 34 56 78 00 0C 04 00 EF BE", "12 34 56 78 0A 09 EF BE 00 00",
      "12 34 56 78 0A 0E 00 00 C0 3F EF BE"}},
    {"pulsar payload", cut, {"12 34 56 78 0A 0C FF FF EF BE 17 47"}},
    {"pulsar decoders", decoders, {"01 02 03 04 05 06 07 08", "00 00 C0 3F", "00 07"}, 12},
});

}  // namespace
