// The DCON driver without a line: what its dialogues, which are scenarios, don't show.

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "drivers/dcon/device.h"
#include "drivers/dcon/pdu.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

namespace {

class Module : public DriverRig {
 public:
    explicit Module(std::string const& device_keys = "", std::string const& port_keys = "")
        : DriverRig(R"({"name": "io", "type": "dcon", "sid": 1)" + device_keys + R"(, "params": [
                        {"name": "v", "type": "dcon", "cmd": 9, "channel": "a"},
                        {"name": "c", "type": "dcon", "cmd": 15}]})",
                    port_keys) {
        line().script.on("23 30 31 41 43 35 0D", "3E 30 31 2B 31 2E 32 33 38 45 0D");
    }

    dcon::dev& device() { return dev<dcon::dev>(); }
    /// One pass in which everything is due.
    std::vector<std::string> poll() {
        device().Poll(now += 100000);
        return published();
    }
    void write(std::string payload) {
        std::string topic = "/devices/io_1/controls/c/on";
        device().ProcConnect();
        EXPECT_TRUE(device().ProcMessage(topic, payload));
    }

    long long now = 0;
};

}  // namespace

TEST(DconDevice, AClosedLineIsOpenedWhereDevicesDoSo) {
    Module module("", R"(, "poll_reconnect": true)");
    module.line().close();
    EXPECT_THAT(module.poll(), ElementsAre("v=+1.23"));
    EXPECT_TRUE(module.device().get_response(&module.param<dcon::c_param>()).is_crc_ok);
    Module other;
    other.line().close();
    other.port().line_released = true;
    EXPECT_THAT(other.poll(), ElementsAre("v=+1.23"));
    EXPECT_FALSE(other.port().line_released);
    for (bool const of_port : {false, true}) {
        std::string const key = R"(, "poll_reconnect": true)";
        Module written(of_port ? "" : key, of_port ? key : "");
        written.device().Poll(1000);
        written.line().close();
        written.device().Poll(1000);
        EXPECT_FALSE(written.line().is_open()) << "nothing is due";
        written.write("3");
        EXPECT_EQ(written.line().is_open(), of_port);
        EXPECT_EQ(written.line().sent.size(), of_port ? 2U : 1U);
    }
}

TEST(DconPdu, AValueThatIsNotThereIsToldByItsLength) {
    Module module;
    unsigned char const data[] = "+1.2345678";
    EXPECT_THROW(dcon::pdu::get_value(&module.param<dcon::c_param>(), nullptr, 9), std::exception);
    EXPECT_THAT([&] { dcon::pdu::get_value(&module.param<dcon::c_param>(), data, 3); },
                ThrowsMessage<std::exception>("ответ короче значения : 3"));
}

TEST(DconDevice, ExceptionsCountWhereTheyAreCaught) {
    class Raising : public dcon::dev {
     public:
        using dcon::dev::dev;
        bool poll_param(CParam* /*param*/) override { throw std::runtime_error("why"); }
    };
    LogCapture const log(false);
    Module module;
    Raising raising(&module.port(), module.device().cfg);
    raising.Poll(1000);
    EXPECT_TRUE(log.has("[3] [v] Poll : исключение при опросе параметра : why."));
    EXPECT_EQ(module.port().errors, 1);
    EXPECT_FALSE(raising.fault) << "the device itself has no error";
    module.line().writes_raise = true;
    EXPECT_THAT(module.poll(), IsEmpty());
    EXPECT_TRUE(log.has("[3] [v] исключение при опросе : no line"));
    EXPECT_TRUE(module.device().fault);
    EXPECT_FALSE(module.device().poll_param(nullptr));
    EXPECT_FALSE(module.device().get_response(nullptr).is_ok);
    module.device().write(nullptr, "3");
    module.line().writes_raise = false;
    module.line().writes_fail = true;
    module.write("3");
    EXPECT_TRUE(log.has("[3] [c] не удалось отправить запрос : write != size."));
}
