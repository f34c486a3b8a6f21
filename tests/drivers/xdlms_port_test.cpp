// The DLMS ports without a broker: what their scenarios can't show of addresses, messages and raising lines.

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/config.h"
#include "drivers/xdlms/dport_rs.h"
#include "drivers/xdlms/dport_tcp.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using testing::ElementsAre;
using xCommon::ByteList;

namespace {

/// A port with one meter of the address 22 and the MAC 02 00 00 00 30 39, and one parameter.
class Meter {
 public:
    explicit Meter(std::string const& type, std::string const& param_keys = R"("value_type": "u32")")
        : config_([&] {
              Json::Value root = sample::json(R"({"ports": [{"name": "p", "type": ")" + type + R"(",
                  "rs": {"path": "/dev/null", "baudrate": 115200}, "tcp": {"url": "127.0.0.1", "port": 1},
                  "devices": [{"name": "m", "sn": "AB12345", "rto": 7, "sto": 8, "params": [{"name": "e", "class_id": 3,
                      "object_id": "1.0.1.8.0.255", "attr_id": 2, )" +
                                              param_keys + "}]}]}]}");
              return Config::Load(root);
          }()) {
        auto* const node = dynamic_cast<CPort*>(config_->ports.children.at(0).get());
        port_.reset(dynamic_cast<xdlms::dport*>(IBFac::stone_map().at(type + ".port")(nullptr, node).release()));
        auto line = std::make_unique<ScriptTran>(node);
        line_ = line.get();
        port_->tran = std::move(line);
        line_->open();
        dev().dlms_addr = 22;
        xdlms::dport_rs::mac_from_sn(dev().sn, dev().mac);
    }

    xdlms::dport& port() { return *port_; }
    xdlms::cddev& dev() { return dynamic_cast<xdlms::cddev&>(*config_->ports.children.at(0)->children.at(0)); }
    xdlms::dparam& param() { return dynamic_cast<xdlms::dparam&>(*dev().children.at(0)); }
    ScriptTran& line() { return *line_; }
    bool poll() { return port_->poll_param(&dev(), &param()); }

 private:
    std::unique_ptr<Config> config_;
    std::unique_ptr<xdlms::dport> port_;
    ScriptTran* line_ = nullptr;
};

}  // namespace

TEST(DlmsConfiguration, AddressOfAMeterFromItsSerialNumber) {
    char const* const rows[][2] = {{"AB12345", "02 00 00 00 30 39"},
                                   {"1299999999999", "02 17 48 76 E7 FF"},
                                   {"xx-1", "02 FF FF FF FF FF"},
                                   {"", ""}};
    for (auto const& [sn, address] : rows) {
        ByteList mac;
        EXPECT_EQ(xdlms::dport_rs::mac_from_sn(sn, mac), *sn != '\0');
        EXPECT_EQ(hex::text({mac.data(), mac.size()}), address);
    }
    ByteList mac;
    EXPECT_THROW(xdlms::dport_rs::mac_from_sn("A", mac), std::out_of_range);
    EXPECT_THROW(xdlms::dport_rs::mac_from_sn("AB", mac), std::invalid_argument);
    EXPECT_THROW(xdlms::dport_rs::mac_from_sn("ABC", mac), std::invalid_argument);
    Meter meter("dlms.tcp");
    auto& port = dynamic_cast<xdlms::dport_tcp&>(meter.port());
    EXPECT_FALSE(port.poll_devices());
    EXPECT_TRUE(meter.dev().enabled);
    meter.line().script.otherwise(Reply{.hex = "00 01 00 01 00 01 00 0C C4 01 C1 00 01 01 02 01 0A 02 41 42"});
    EXPECT_TRUE(port.poll_devices());
    EXPECT_FALSE(meter.dev().enabled);
    meter.dev().sn = "";
    EXPECT_THROW(port.poll_devices(), std::invalid_argument);
    meter.line().script.otherwise(Reply{.hex = "00 01 00 01 00 01 00 0A C4 01 C1 00 01 01 02 01 11 05"});
    EXPECT_TRUE(port.poll_devices());
    EXPECT_TRUE(meter.dev().enabled);
}

TEST(DlmsPort, MessagesThatNobodyAskedFor) {
    std::string rows[][3] = {
        {"/devices/m/controls/e", "1", "[2] [p] ProcMessage : топик не заканчивается на '/on'."},
        {"/devices/x/controls/e/on", "1", "[2] [p] ProcMessage : устройство не найдено."},
        {"/devices/m/controls/x/on", "1", "[2] [p] ProcMessage : параметр не найден."},
    };
    for (auto& [topic, payload, line] : rows) {
        Meter meter("dlms.rs");
        LogCapture const log;
        EXPECT_TRUE(meter.port().ProcMessage(topic, payload));
        EXPECT_EQ(log.count(line), 1) << topic;
        EXPECT_TRUE(meter.line().sent.empty());
    }
    Meter meter("dlms.rs");
    LogCapture const log(false);
    meter.port().write(nullptr, &meter.param(), "1");
    meter.port().write(&meter.dev(), nullptr, "1");
    meter.port().write(&meter.dev(), &meter.param(), "");
    EXPECT_THAT(log.entries(), ElementsAre());
}

TEST(DlmsSerialOld, ALineThatIsNeverSilentDoesNotHoldTheWorker) {
    struct Babbler : ScriptTran {
        using ScriptTran::ScriptTran;
        int read(unsigned char* buffer, int count) override { return count == 1 ? 1 : ScriptTran::read(buffer, count); }
    };
    Meter meter("dlms.rs.old");
    meter.port().cport->rto = 50;
    auto line = std::make_unique<Babbler>(meter.port().cport);
    line->open();
    auto const frame = [](std::string const& rest) { return hex::with_crc32("02 00 00 00 30 39 " + rest); };
    // Behind the select frame: a status of the size -1, the refusal of its answer, and a good status.
    line->script.once(frame("00 00 00 00 00 29"), Reply{.hex = frame("01 00 FF FF FF FF")})
        .on(frame("00 20 00 00 00 00"), Reply{.hex = frame("02 00 00 00 00 25")})
        .once(frame("00 00 00 00 00 00"), "")
        .once(
            frame("00 00 00 00 00 00"),
            "EE EE EE EE EE EE 02 00 00 00 30 39 88 E5 00 11 00 00 00 00 00 01 00 16 00 01 00 09 C4 01 C1 00 06 00 00 "
            "04 D2 41 26 C7 2E");
    meter.port().tran = std::move(line);
    EXPECT_TRUE(meter.poll());
}

TEST(DlmsSerial, ALineThatRaises) {
    constexpr bool in_write = true;
    std::tuple<char const*, bool, char const*> const rows[] = {
        {"dlms.rs", in_write, "[3] [p] dport_rs.send_all  : ошибка записи : no line."},
        {"dlms.rs", !in_write, "[3] [e] dport_rs.read : ошибка чтения : no line."},
        {"dlms.rs.old", !in_write, "[3] [e] dport_rs.read_all : ошибка чтения : no line."},
    };
    for (auto const& [type, writes, line] : rows) {
        Meter meter(type);
        meter.line().writes_raise = writes;
        meter.line().reads_raise = !writes;
        LogCapture const log;
        EXPECT_FALSE(meter.poll());
        EXPECT_TRUE(log.has(line));
        EXPECT_TRUE(log.has("[3] [e] ответ НЕ получен."));
    }
}

TEST(DlmsSerialNew, TimeOutsAreTheParametersAndOfTheCommandTheDevices) {
    Meter meter("dlms.rs", R"("rto": 9, "value_type": "u16")");
    meter.poll();
    ByteList command;
    command.push_8(0);
    meter.port().get_response(command, &meter.dev(), nullptr);
    EXPECT_THAT(meter.line().timeouts, ElementsAre("9 8", "7 8"));
    ByteList item;
    meter.param().set_data(item, "");
    EXPECT_TRUE(item.empty());
}
