// Modbus devices: what their dialogues, which are scenarios, don't show.

#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/modbus/device.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using testing::ElementsAre;

namespace {

constexpr char one_u16[] = R"({"name": "a", "reg_addr": 1, "value_type": "u16"})";

constexpr char as_set[] = R"(, "all_params": true)";

/// Slave 17.
class Slave : public DriverRig {
 public:
    explicit Slave(std::string const& params, std::string const& keys = "", std::string const& type = "mb-rtu")
        : DriverRig(R"({"name": "d", "sid": 17, "type": ")" + type + R"(", "params": [)" + params + "]" + keys + "}") {}

    modbus::device& device() { return dev<modbus::device>(); }
    /// One poll, of the set or of the first parameter, far enough behind the last that all is due.
    bool poll() {
        device().cfg->last_poll += 100000;
        return device().poll_param(device().cfg->all_params ? nullptr : &param<CParam>());
    }
};

}  // namespace

// No transport here raises; the guards are for one that does.
TEST(ModbusDevice, ATransportThatRaises) {
    struct Row {
        char const* type;
        bool set;
        bool in_write;
        int reopened;      // lines
        int restarts;      // lines of an exception that ends the poll
        long long failed;  // the set's errors
    };
    Row const rows[] = {
        {"mb-rtu", false, true, 1, 0, 0}, {"mb-rtu", false, false, 1, 0, 0}, {"mb-rtu", true, true, 1, 0, 1},
        {"mb-rtu", true, false, 0, 1, 0}, {"mb-tcp", false, true, 0, 1, 0},  {"mb-tcp", true, true, 0, 1, 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(testing::Message() << row.type << row.set << row.in_write);
        LogCapture const log;
        Slave slave(one_u16, row.set ? as_set : "", row.type);
        slave.line().writes_raise = row.in_write;
        slave.line().reads_raise = !row.in_write;
        slave.device().ProcConnect();
        EXPECT_EQ(slave.poll(), row.set && row.restarts == 0);
        EXPECT_EQ(log.count("[4] [d_17] Ошибка выполнения запроса MB-RTU. Попытка переподключения: true"),
                  row.reopened);
        EXPECT_EQ(log.count(row.set ? "[3] [d_17] исключение при опросе : no line"
                                    : "[3] [a] исключение при опросе : no line"),
                  row.restarts);
        EXPECT_EQ(slave.device().errors, row.failed);
    }
    Slave slave(one_u16);
    EXPECT_FALSE(slave.device().get_response(nullptr).is_crc_ok);
    EXPECT_FALSE(slave.device().poll_param(nullptr));
}

TEST(ModbusDevice, FaultOfAPollTouchesTheConfiguration) {
    TempFolder const folder;
    auto const long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    struct Row {
        char const* file;
        char const* keys;
        bool set;
        bool good;
    };
    Row const rows[] = {{"plain.json", R"("value_type": "str8")", false, false},
                        {"a blank's; $(touch no).json", R"("value_type": "date_time")", true, false},
                        {"good.json", R"("value_type": "u16")", false, true}};
    for (Row const& row : rows) {
        Slave slave(R"({"name": "u", "reg_addr": 1, )" + std::string(row.keys) + "}", row.set ? as_set : "");
        slave.line().script.otherwise({.hex = "11 03 02 00 05 B9 84"});
        slave.device().ProcConnect();
        cfg_name = folder.write(row.file, "{}");
        std::filesystem::last_write_time(cfg_name, long_ago);
        EXPECT_EQ(slave.poll(), row.good);
        EXPECT_TRUE(!row.good || slave.device().get_response(&slave.param<modbus::c_param>()).is_crc_ok);
        EXPECT_EQ(std::filesystem::last_write_time(cfg_name) > long_ago, !row.good) << row.file;
        cfg_name.clear();
    }
    auto const files = std::filesystem::directory_iterator(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 3);  // and no other file came of it
}

TEST(ModbusDevice, PausesAreTakenFromTheDeviceAndCutTo16Bits) {
    constexpr char params[] = R"({"name": "a", "reg_addr": 1}, {"name": "b", "reg_addr": "0x10", "poll_delay": 7},
        {"name": "c", "reg_addr": 70000, "poll_delay": 65537}, {"name": "m", "reg_addr": 1, "poll_delay": -65000})";
    LogCapture const log(false);
    Slave device(params, R"(, "poll_delay": 70000)");
    struct Row {
        int reg_addr;
        int poll_delay;
    };
    Row const rows[] = {{1, 4464}, {16, 7}, {4464, 1}, {1, 0}};
    for (size_t index = 0; index < 4; ++index) {
        auto const& param = device.param<modbus::c_param>(index);
        EXPECT_EQ(param.reg_addr, rows[index].reg_addr) << param.name;
        EXPECT_EQ(param.poll_delay, rows[index].poll_delay) << param.name;
    }
    Slave hasty(params, R"(, "poll_delay": -1)");
    EXPECT_EQ(hasty.param<modbus::c_param>().poll_delay, 0);
    std::string const line = "[3] [m] poll_delay = -65000 : недопустимое значение, принято 0.";
    EXPECT_THAT(log.entries(),
                ElementsAre(line, "[3] [d_17] poll_delay = -1 : недопустимое значение, принято 0.", line));
}

TEST(RegisterSets, OnlyWithoutAnIntervalAParameterComesTwiceAfterAReconnection) {
    Slave sets(one_u16 + std::string(R"(, {"name": "b", "reg_addr": 1, "value_type": "u16", "poll_interval": 60})"),
               as_set, "mb-tcp");
    sets.device().ProcConnect();
    sets.param<modbus::c_param>(0).poll_interval = 0;
    sets.device().ProcConnect();
    sets.line().script.on("00 01 00 00 00 06 11 03 00 01 00 01", "00 01 00 00 00 05 11 03 02 00 07");
    EXPECT_TRUE(sets.poll());
    EXPECT_THAT(sets.published(), ElementsAre("a=7", "b=7", "a=7"));
    sets.line().writes_fail = true;
    LogCapture const log;
    EXPECT_TRUE(sets.poll());
    EXPECT_EQ(log.count("[3] [d_17] ответ НЕ получен [-1:12] : timeout"), 1);

    Slave last(R"({"name": "a", "reg_addr": 65535, "value_type": "u32"})", as_set);
    EXPECT_THAT([&] { last.device().ProcConnect(); },
                testing::ThrowsMessage<std::exception>("Параметр a имеет недопустимый тип"));
}

TEST(Device, WithoutAPortItIsRefused) {
    char const* const rows[][2] = {
        {"mb-rtu", "#d : ctor : не указан порт."},  {"mb-tcp", "#d : ctor : не указан порт."},
        {"dcon", "#d : ctor : не указан порт."},    {"merc230", "#d : ctor : не указан порт."},
        {"set-4tm", "#d : ctor : не указан порт."}, {"milur", "milur::c_dev::ctor : #d : не указан порт."},
        {"snmp", "#d : ctor : не указан порт."}};
    for (auto const& [type, reason] : rows) {
        Json::Value node = sample::json(R"({"name": "d", "sid": 5})");
        EXPECT_THAT([&] { CBFac::stone_map().at(std::string(type) + suffix_cdev)(nullptr, node); },
                    testing::ThrowsMessage<std::exception>(reason))
            << type;
    }
}
