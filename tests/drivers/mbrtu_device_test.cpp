#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "config/config.h"
#include "config/process.h"
#include "drivers/mbrtu/config.h"
#include "drivers/mbrtu/device.h"
#include "runtime/port_base.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

namespace {

/// One slave with one parameter on a port without a line, whose every exchange is answered with the 16-bit value 5 of
/// slave 17: 11 03 02 00 05 B9 84.
class Slave {
 public:
    explicit Slave(std::string const& param_keys) {
        Json::Value root = sample::json(R"({"ports": [{"name": "p", "type": "base.null", "devices": [
            {"name": "d", "type": "mb-rtu", "sid": 17, "params": [{"name": "u", "reg_addr": 1)" +
                                        (param_keys.empty() ? "" : ", " + param_keys) + "}]}]}]}");
        config_.reset(Config::Load(root));
        port_ = std::make_unique<PortBase>(nullptr, dynamic_cast<CPort*>(config_->ports.children.at(0).get()));
    }

    mbrtu::dev& dev() { return dynamic_cast<mbrtu::dev&>(*port_->devices.at(0)); }
    mbrtu::c_param& param() { return dynamic_cast<mbrtu::c_param&>(*dev().cfg->children.at(0)); }

 private:
    std::unique_ptr<Config> config_;
    std::unique_ptr<PortBase> port_;
};

}  // namespace

TEST(MbRtuDevice, OfAnAnswerCutShortOnlyItsHeaderIsTraced) {
    struct Row {
        char const* type;
        char const* request;
        char const* reply;
        char const* header;
    };
    for (Row const& row : {Row{"mb-rtu", "05 03 00 10 00 01 84 4B", "05 03 02 04 D2",
                               "[1] [p] dev_mb_rtu::get_response : заголовок RTU : 05 03 02"},
                           {"mb-tcp", "00 01 00 00 00 06 05 03 00 10 00 01", "00 01 00 00 00 05 05 03 02",
                            "[1] [p] dev_mb_tcp::get_response : заголовок TCP : 00 01 00 00 00 05"}}) {
        DriverRig rig(std::string(R"({"name": "d", "sid": 5, "type": ")") + row.type +
                      R"(", "params": [{"name": "a", "reg_addr": 16, "value_type": "u16"}]})");
        rig.line().script.on(row.request, row.reply);
        LogCapture const log;
        PH::IsPrintHex = true;
        EXPECT_FALSE(rig.dev<modbus::device>().poll_param(&rig.param<CParam>()));
        PH::IsPrintHex = false;
        EXPECT_EQ(log.count(row.header), 1);
        EXPECT_EQ(log.count("get_response : ответ"), 0);
    }
}

TEST(MbRtuDevice, OneExchange) {
    struct Row {
        char const* guards;
        char const* keys;
        bool is_ok;
        char const* value;
    };
    Row const rows[] = {
        {"a value", R"("value_type": "u16")", true, "5"},
        {"through its expression", R"("value_type": "u16", "converter_read": "value * 2")", true, "10"},
        {"an expression that gives nothing", R"("value_type": "u16", "converter_read": "''")", true, ""},
        {"the error pattern", R"("value_type": "u16", "error_value": "0x0005")", false, ""},
        {"another pattern", R"("value_type": "u16", "error_value": "0x05")", true, "5"},
        // Of a reply that is two bytes short the CRC counts as data: 00 05 B9 84.
        {"a reply too short for the type", R"("value_type": "u32")", true, "375172"},
        {"held back at first", R"("value_type": "u16", "debounce": 10)", true, ""},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        Slave slave(row.keys);
        BaseResult const result = slave.dev().get_response(&slave.param());
        EXPECT_TRUE(result.is_crc_ok) << row.guards;
        EXPECT_EQ(result.is_ok, row.is_ok) << row.guards;
        EXPECT_EQ(result.result, row.value) << row.guards;
        EXPECT_EQ(log.has("[2] [u] получено ошибочное значение : 0005 : error_value = 0005."), !row.is_ok)
            << row.guards;
    }
    Slave slave("");
    EXPECT_FALSE(slave.dev().get_response(nullptr).is_crc_ok);
    EXPECT_FALSE(slave.dev().poll_param(nullptr));
}

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
        DriverRig rig(std::string(R"({"name": "d", "sid": 17, "type": ")") + row.type +
                      R"(", "params": [{"name": "u", "reg_addr": 1, "value_type": "u16"}], "all_params": )" +
                      (row.set ? "true}" : "false}"));
        rig.line().writes_raise = row.in_write;
        rig.line().reads_raise = !row.in_write;
        auto& slave = rig.dev<modbus::device>();
        slave.ProcConnect();
        slave.cfg->last_poll = 1000000;
        EXPECT_EQ(slave.poll_param(row.set ? nullptr : &rig.param<CParam>()), row.set && row.restarts == 0);
        EXPECT_EQ(log.count("Ошибка выполнения запроса MB-RTU. Попытка переподключения: true"), row.reopened);
        EXPECT_EQ(log.count("исключение при опросе : no line"), row.restarts);
        EXPECT_EQ(slave.errors, row.failed);
    }
}

TEST(MbRtuDevice, FaultOfAPollTouchesTheConfiguration) {
    TempFolder const folder;
    auto const long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    struct Row {
        char const* file;  // in the folder, null: none is known
        char const* keys;
        char const* line;  // null: a good poll
    };
    Row const rows[] = {
        {"plain.json", R"("value_type": "str8")",
         "[3] [u] исключение при опросе : u # буфер слишком мал для значения."},
        {"a blank's; $(touch no).json", R"("value_type": "u16", "converter_read": "throw 'x'")",
         "[3] [u] исключение при опросе : x"},
        {nullptr, R"("value_type": "date_time")", "[3] [u] исключение при опросе : u # недопустимый value_type"},
        {"good.json", R"("value_type": "u16")", nullptr},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        Slave slave(row.keys);
        std::string path;
        if (row.file != nullptr) {
            path = folder.write(row.file, "{}");
            std::filesystem::last_write_time(path, long_ago);
        }
        cfg_name = path;
        EXPECT_EQ(slave.dev().poll_param(&slave.param()), row.line == nullptr);
        cfg_name.clear();
        if (row.line != nullptr) {
            EXPECT_TRUE(log.has(row.line));
        }
        if (row.file != nullptr) {
            EXPECT_EQ(std::filesystem::last_write_time(path) > long_ago, row.line != nullptr) << row.file;
        }
    }
    auto const files = std::filesystem::directory_iterator(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 3);  // and no other file came of it
}
