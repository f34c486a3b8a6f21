// What option -h shows of the frames of each driver.

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "config/process.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"

TEST(FrameTrace, EachFrameStandsUnderItsLabel) {
    struct Row {
        std::string device;
        std::vector<std::pair<char const*, char const*>> exchanges;
        std::vector<std::string> lines;
        char const* payload = nullptr;  ///< of a write, in place of a poll
    };
    std::string const module = R"("type": "dcon", "crc_enabled": true, "params": [
        {"name": "v", "type": "dcon", "cmd": 9, "channel": "a"}, {"name": "c", "type": "dcon", "cmd": 15}])";
    std::string const registers =
        R"("params": [{"name": "c", "reg_addr": 16, "value_type": "u16", "read_only": false}])";
    Row const rows[] = {
        {R"("type": "merc230", "params": [{"name": "v", "reg_type": "array16", "value_type": "ma", "tarif": 0}])",
         {{"05 02 83 21", "05 00 02 E0"},
          {"05 01 01 07 03 08 02 00 05 C2 B8", "05 00 02 E0"},
          {"05 05 01 00 11 79", "05 00 00 D2 04 FF FF FF FF 01 00 02 00 12 34 56 78 10 68"}},
         {"[1] [p] merc2::dev::Stop : запрос : 05 02 83 21", "[1] [p] merc2::dev::Stop : ответ : 05 00 02 E0",
          "[1] [p] merc2::Start : запрос : 05 01 01 07 03 08 02 00 05 C2 B8",
          "[1] [p] merc2::Start : ответ : 05 00 02 E0", "[1] [p] get_response : запрос : 05 05 01 00 11 79",
          "[1] [p] merc2::dev::get_response : заголовок ответа : 05 00 00 D2 04 FF FF FF FF 01 00 02 00 12 34 56 78 "
          "10 68"}},
        {R"("type": "milur", "params": [{"name": "v", "object_id": 32, "value_type": "u24"}])",
         {{"05 09 01 A6 51", "05 09 01 A6 51"},
          {"05 08 00 5C A7 31 E2 0D 9B E6 B2", "05 08 00 66 01"},
          {"05 01 20 61 89", "05 01 20 05 00 09 00 C8 8A"}},
         {"[1] [p] milur::Stop : запрос : 05 09 01 A6 51", "[1] [p] milur::Stop : ответ : 05 09 01 A6 51",
          "[1] [p] milur::Start : запрос : 05 08 00 5C A7 31 E2 0D 9B E6 B2",
          "[1] [p] milur::Start : ответ : 05 08 00 66 01", "[1] [p] milur::get_response : запрос : 05 01 20 61 89",
          "[1] [p] milur::get_response : заголовок ответа : 05 01 20 05",
          "[1] [p] milur::get_response : ответ : 00 09 00 C8 8A"}},
        {R"("type": "set-4tm", "params": [{"name": "v", "command": 8, "param": 17}])",
         {{"", "05 08 00 66 01"}, {"05 09 01 A6 51", "05 09 01 A6 51"}, {"05 01 C3 20", "05 01 00 02 12 34 91 39"}},
         {"[1] [p] dev::Stop : запрос : 05 09 01 A6 51", "[1] [p] dev::Stop : ответ : 05 09 01 A6 51",
          "[1] [p] Start : запрос :", "[1] [p] Start : ответ : 05 08 00 66 01",
          "[1] [p] :get_response : запрос : 05 01 C3 20", "[1] [p] get_response : заголовок ответа : 05 01 00 02",
          "[1] [p] get_response : ответ : 05 01 00 02 12 34 91 39"}},
        // As text, without the carriage return.
        {module,
         {{"23 30 35 41 43 39 0D", "3E 30 35 2B 31 2E 32 33 39 32 0D"}},
         {"[4] [v] запрос : #05AC9", "[4] [v] заголовок ответа : >05", "[4] [v] ответ : +1.2392"}},
        {module,
         {{"24 30 35 43 33 46 46 0D", "21 30 35 38 36 0D"}},
         {"[4] [c] write : запрос : $05C3FF", "[4] [c] write : ответ : !0586"},
         "3"},
        {R"("type": "mb-rtu", )" + registers,
         {{"05 03 00 10 00 01 84 4B", "05 03 02 04 D2 CB 19"}},
         {"[1] [p] dev_mb_rtu::get_response : запрос : 05 03 00 10 00 01 84 4B",
          "[1] [p] dev_mb_rtu::get_response : заголовок RTU : 05 03 02",
          "[1] [p] dev_mb_rtu::get_response : ответ : 04 D2 CB 19"}},
        {R"("type": "mb-rtu", )" + registers,
         {{"05 06 00 10 00 03 C9 8A", "05 06 00 10 00 03 C9 8A"}, {"05 03 00 10 00 01 84 4B", "05"}},
         {"[1] [p] dev_mb_rtu::write : запрос : 05 06 00 10 00 03 C9 8A",
          "[1] [p] dev_mb_rtu::write : ответ : 05 06 00 10 00 03 C9 8A",
          "[1] [p] dev_mb_rtu::get_response : запрос : 05 03 00 10 00 01 84 4B",
          "[1] [p] dev_mb_rtu::get_response : заголовок RTU : 05"},
         "3"},
        {R"("type": "mb-tcp", )" + registers,
         {{"00 01 00 00 00 06 05 06 00 10 00 03", "00 01 00 00 00 06 05 06 00 10 00 03"},
          {"00 01 00 00 00 06 05 03 00 10 00 01", "00 01 00 00 00 05 05 03 02 04 D2"}},
         {"[1] [p] dev_mb_tcp::write : запрос : 00 01 00 00 00 06 05 06 00 10 00 03",
          "[1] [p] dev_mb_tcp::write : заголовок ответа : 00 01 00 00 00 06",
          "[1] [p] dev_mb_tcp::write : ответ : 05 06 00 10 00 03",
          "[1] [p] dev_mb_tcp::get_response : запрос : 00 01 00 00 00 06 05 03 00 10 00 01",
          "[1] [p] dev_mb_tcp::get_response : заголовок TCP : 00 01 00 00 00 05",
          "[1] [p] dev_mb_tcp::get_response : ответ : 05 03 02 04 D2"},
         "3"},
        // Of an answer cut short only its header is traced.
        {R"("type": "mb-rtu", )" + registers,
         {{"05 03 00 10 00 01 84 4B", "05 03 02 04 D2"}},
         {"[1] [p] dev_mb_rtu::get_response : запрос : 05 03 00 10 00 01 84 4B",
          "[1] [p] dev_mb_rtu::get_response : заголовок RTU : 05 03 02",
          "[3] [c] dev_mb_rtu::ответ НЕ получен : timeout."}},
        {R"("type": "mb-tcp", )" + registers,
         {{"00 01 00 00 00 06 05 03 00 10 00 01", "00 01 00 00 00 05 05 03 02"}},
         {"[1] [p] dev_mb_tcp::get_response : запрос : 00 01 00 00 00 06 05 03 00 10 00 01",
          "[1] [p] dev_mb_tcp::get_response : заголовок TCP : 00 01 00 00 00 05",
          "[3] [c] ответ НЕ получен : timeout."}},
        {R"("type": "mb-tcp", "all_params": true, )" + registers,
         {{"00 01 00 00 00 06 05 03 00 10 00 01", "00 01 00 00 00 05 05 03 02 00 07"}},
         {"[1] [p] ЗАПРОС : 00 01 00 00 00 06 05 03 00 10 00 01", "[1] [p] ОТВЕТ : заголовок TCP : 00 01 00 00 00 05",
          "[1] [p] ОТВЕТ : заголовок RTU : 05 03 02", "[1] [p] ОТВЕТ : полученные данные : 00 07"}},
        {R"("type": "mb-rtu", "all_params": true, )" + registers,
         {{"05 03 00 10 00 01 84 4B", "05 03 02 04 D2 CB 19"}},
         {"[1] [p] ЗАПРОС : 05 03 00 10 00 01 84 4B", "[1] [p] ОТВЕТ : заголовок RTU : 05 03 02",
          "[1] [p] ОТВЕТ : полученные данные : 04 D2"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.device);
        DriverRig rig(R"({"name": "m", "sid": 5, )" + row.device + "}");
        for (auto const& [request, reply] : row.exchanges) {
            rig.line().script.on(request, reply);
        }
        DevBase& device = *rig.port().devices[0];
        device.ProcConnect();
        auto const exchange = [&](long long now) {
            std::string topic = "/devices/m_5/controls/c/on";
            std::string payload = row.payload != nullptr ? row.payload : "";
            payload.empty() ? device.Poll(now) : static_cast<void>(device.ProcMessage(topic, payload));
        };
        LogCapture log;
        PH::IsPrintHex = true;
        exchange(1000000);
        PH::IsPrintHex = false;
        std::vector<std::string> frames = log.entries();
        std::erase_if(frames, [](std::string const& entry) {
            return !std::regex_search(entry, std::regex("запрос :|ответ|заголовок|ЗАПРОС|ОТВЕТ"));
        });
        EXPECT_EQ(frames, row.lines);
        log.clear();
        exchange(2000000);
        EXPECT_EQ(log.count("апрос : ") + log.count("ЗАПРОС"), 0) << "nobody has asked for them";
    }
}
