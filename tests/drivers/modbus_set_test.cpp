// Register sets without a line: what is cut out of which reply, and what the counters say.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "drivers/modbus/device.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"

using testing::ElementsAre;

namespace {

std::string device(std::string const& type, std::string const& params) {
    return R"({"name": "d", "sid": 1, "all_params": true, "type": ")" + type + R"(", "params": [)" + params + "]}";
}

class Sets : public DriverRig {
 public:
    explicit Sets(std::string const& params, std::string const& type = "mb-tcp") : DriverRig(device(type, params)) {
        slave().ProcConnect();
    }

    modbus::device& slave() { return dev<modbus::device>(); }
    /// One poll of the device, far enough behind the last that everything is due.
    bool poll() {
        slave().cfg->last_poll += 100000;
        return slave().poll_param(nullptr);
    }
};

constexpr char ask_one[] = "00 01 00 00 00 06 01 03 00 10 00 01";
constexpr char one_u16[] = R"({"name": "a", "reg_addr": 16, "value_type": "u16"})";

}  // namespace

TEST(RegisterSets, FaultsOfAReply) {
    struct Row {
        char const* type;
        char const* request;
        char const* reply;
        char const* line;
    };
    constexpr char rtu[] = "01 03 00 10 00 01 85 CF";
    Row const rows[] = {
        {"mb-tcp", ask_one, "", "[3] [p] TCP запрос : операция НЕ выполнена : timeout"},
        {"mb-tcp", ask_one, "00 01 00 00 00", "[3] [p] TCP запрос : операция НЕ выполнена : timeout"},
        {"mb-tcp", ask_one, "00 01 00 00 00 05 01 03", "[3] [p] RTU запрос : операция НЕ выполнена : timeout"},
        {"mb-tcp", ask_one, "00 01 00 00 00 05 02 03 02 00 07",
         "[3] [p] RTU запрос : операция НЕ выполнена : не совпали SID"},
        {"mb-tcp", ask_one, "00 01 00 00 00 03 01 83 02",
         "[3] [p] RTU запрос : операция НЕ выполнена : Адрес данных, указанный в запросе, недоступен"},
        {"mb-tcp", ask_one, "00 01 00 00 00 05 01 03 02 00", "[3] [p] RTU : ответ НЕ получен : timeout"},
        {"mb-tcp", ask_one, "00 01 00 00 00 06 01 03 02 00 07", "[3] [p] TCP : ответ НЕ получен : timeout"},
        {"mb-tcp", ask_one, "00 01 00 00 80 05 01 03 02 00 07", "[3] [p] TCP : ответ НЕ получен : timeout"},
        {"mb-rtu", rtu, "01 03", "[3] [p] RTU запрос : операция НЕ выполнена : timeout"},
        {"mb-rtu", rtu, "01 03 02 00 65 78", "[3] [p] RTU CRC : ответ НЕ получен : timeout"},
        {"mb-rtu", rtu, "01 03 02 00 65 78 6E", "[3] [p] RTU CRC : ответ НЕ получен : не совпали CRC"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.line);
        LogCapture const log(false);
        Sets sets(one_u16, row.type);
        sets.line().script.on(row.request, row.reply);
        EXPECT_TRUE(sets.poll());
        EXPECT_THAT(sets.published(), ElementsAre("a!"));
        EXPECT_EQ(log.entries(), std::vector<std::string>{row.line});
        EXPECT_EQ(sets.slave().errors, 1);
    }
}

TEST(RegisterSets, ASurplusMovesNothingOutOfBounds) {
    // The first chunk brings 4 bytes more than asked for, and every value behind it lies 2 registers too far.
    Sets sets(one_u16 + std::string(R"(, {"name": "b", "reg_addr": 17, "value_type": "u16"})"));
    sets.line().script.on("00 01 00 00 00 06 01 03 00 10 00 02", "00 01 00 00 00 09 01 03 06 00 01 00 02 00 03");
    EXPECT_TRUE(sets.poll());
    EXPECT_THAT(sets.published(), ElementsAre("a=1", "b=2"));
}

TEST(RegisterSets, AnErrorValueIsCountedAndPublished) {
    LogCapture const log(false);
    // As many bytes are compared as the value has registers: a pattern of both bytes never fits.
    Sets sets(R"({"name": "half", "reg_addr": 16, "value_type": "u16", "error_value": "0xFF"},
                 {"name": "whole", "reg_addr": 16, "value_type": "u16", "error_value": "0xFFFF"})");
    sets.line().script.on(ask_one, "00 01 00 00 00 05 01 03 02 FF FF");
    EXPECT_TRUE(sets.poll());
    EXPECT_THAT(sets.published(), ElementsAre("half=65535", "whole=65535"));
    EXPECT_EQ(sets.slave().errors, 1);
    EXPECT_THAT(log.entries(), ElementsAre("[2] [half] получено ошибочное значение : FF : error_value = FF"));
}

TEST(RegisterSets, ABitFieldEndsThePollOfAllSets) {
    for (char const* reply : {"00 01 00 00 00 05 01 03 02 00 01", ""}) {
        LogCapture const log(false);
        Sets sets(R"({"name": "f", "reg_addr": 16, "value_type": "u16", "reg_type": "holding-bit",
                      "bh_list": [{"name": "b0", "offset": 0}]},
                     {"name": "i", "reg_addr": 5, "value_type": "u16", "reg_type": "input"})");
        sets.line().script.on(ask_one, reply);
        EXPECT_FALSE(sets.poll());
        EXPECT_EQ(log.count("[3] [d_1] исключение при опросе : stoul"), 1);
        EXPECT_THAT(sets.line().sent, ElementsAre(ask_one)) << "the input registers aren't asked for any more";
    }
}

TEST(RegisterSets, CountersWhileTheLineIsClosedGoOnFromThePollBefore) {
    Sets sets(one_u16);
    sets.line().close();
    for (int poll = 1; poll <= 3; ++poll) {
        sets.slave().errors = 0;
        EXPECT_TRUE(sets.poll());
        EXPECT_EQ(sets.slave().errors, poll);
        EXPECT_THAT(sets.published(), ElementsAre("a!"));
    }
    sets.line().open();
    sets.line().writes_fail = true;
    LogCapture const log;
    sets.slave().errors = 0;
    EXPECT_TRUE(sets.poll());
    EXPECT_EQ(sets.slave().errors, 1);
    EXPECT_EQ(log.count("[3] [d_1] ответ НЕ получен [-1:12] : timeout"), 1);
}

TEST(RegisterSets, SpansAtTheEndOfTheAddresses) {
    // From 0 to 65535 the count of registers wraps to 0, and nothing is asked.
    Sets sets(
        R"({"name": "a", "reg_addr": 0, "value_type": "u16"}, {"name": "b", "reg_addr": 65535, "value_type": "u16"})");
    EXPECT_TRUE(sets.poll());
    EXPECT_THAT(sets.published(), ElementsAre("a!", "b!"));
    EXPECT_TRUE(sets.line().sent.empty());
    EXPECT_THROW(Sets(R"({"name": "a", "reg_addr": 65535, "value_type": "u32"})"), std::exception);
}

TEST(RegisterSets, OnlyWithoutAnIntervalAParameterComesTwiceAfterAReconnection) {
    Sets sets(one_u16 + std::string(R"(, {"name": "b", "reg_addr": 16, "value_type": "u16", "poll_interval": 60})"));
    sets.param<modbus::c_param>(0).poll_interval = 0;
    sets.slave().ProcConnect();
    sets.line().script.on(ask_one, "00 01 00 00 00 05 01 03 02 00 07");
    EXPECT_TRUE(sets.poll());
    EXPECT_THAT(sets.published(), ElementsAre("a=7", "b=7", "a=7"));
}

// Between two devices that connect for each poll alone, of which one isn't due, a third finds its line open.
TEST(PollReconnect, AReleasedLineIsOpenForTheOthers) {
    DriverRig rig(R"({"name": "a", "sid": 1, "type": "mb-rtu", "poll_reconnect": true, "params": [
                        {"name": "pa", "reg_addr": 16, "value_type": "u16"}]},
                     {"name": "b", "sid": 2, "type": "mb-rtu", "poll_reconnect": true, "params": [
                        {"name": "pb", "reg_addr": 16, "value_type": "u16", "poll_interval": 100000}]},
                     {"name": "c", "sid": 3, "type": "mb-rtu", "params": [
                        {"name": "pc", "reg_addr": 16, "value_type": "u16", "read_only": false}]})");
    rig.line()
        .script.on("01 03 00 10 00 01 85 CF", "01 03 02 00 65 78 6F")
        .on("02 03 00 10 00 01 85 FC", "02 03 02 00 66 7C 6E")
        .on("03 03 00 10 00 01 84 2D", "03 03 02 00 67 80 6E");
    for (long long const now : {1000000, 1000100}) {
        for (auto const& device : rig.port().devices) {
            device->Poll(now);
        }
    }
    EXPECT_THAT(rig.published(), ElementsAre("pa=101", "pb=102", "pc=103", "pa=101", "pc=103"));
    rig.port().devices[0]->Poll(1000200);
    std::string topic = "/devices/c_3/controls/pc/on";
    std::string payload = "500";
    rig.port().devices[2]->ProcMessage(topic, payload);
    EXPECT_EQ(rig.line().sent.back(), "03 06 00 10 01 F4 89 FA");
}
