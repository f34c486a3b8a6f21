// VKT-7 heat calculators on serial lines: the dialogue of nine requests, its values, and a fault at each of its steps.

#include <algorithm>
#include <array>
#include <chrono>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"
#include "support/wait_until.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(40);
constexpr int last_step = 9;

enum class Fault { silence, bad_crc, count_too_large, count_zero };

struct Plan {
    /// What happens at this step, a dialogue each, before all is well.
    int step = 0;
    std::vector<Fault> faults = {};
    /// Register to the bytes of its value.
    std::map<int, std::string> values = {};
};

/// A line with calculators of several addresses.
class Calculators {
 public:
    explicit Calculators(std::string const& path) : peer_(path) {
        peer_.script().otherwise([this](std::span<unsigned char const> request) { return answer(request); });
    }

    void add(int sid, Plan plan) {
        std::lock_guard const lock(mutex_);
        calculators_[sid].plan = std::move(plan);
    }
    /// The steps that were asked for next behind each fault, as far as they have happened.
    std::vector<int> steps_behind_faults(int sid) {
        std::lock_guard const lock(mutex_);
        return calculators_[sid].behind_faults;
    }
    SerialPeer& peer() { return peer_; }

 private:
    struct Calculator {
        Plan plan;
        int step = 0;
        int number = 0;
        size_t faults_done = 0;
        std::vector<int> behind_faults = {};
    };

    static int step_of(hex::Bytes const& request, int before) {
        std::string const command = hex::text(std::span(request).subspan(1, 3));
        int const data = request.size() > 8 ? request[6] : -1;
        int const kind = request.size() > 9 ? request[7] : -1;
        if (command == "03 3F FE") {
            return before + 1;
        }
        if (command == "03 3F FC") {
            return 7;
        }
        if (command == "10 3F FD") {
            return kind == 6 ? 3 : 6;
        }
        return data == 0xCC ? 1 : data == 0x60 ? 4 : 8;
    }

    static std::string content(Calculator const& calculator) {
        switch (calculator.step) {
            case 2: {
                std::string zeros;
                for (int byte = 0; byte < 61; ++byte) {
                    zeros += "00 ";
                }
                return zeros + "2A";
            }
            case 5:  // eight texts, and the precisions 0 to 7
                return "00 00 C0 00 01 00 41 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 "
                       "C0 00 "
                       "00 C0 00 01 C0 00 02 C0 00 03 C0 00 04 C0 00 05 C0 00 06 C0 00 07 C0 00";
            case 7: {
                std::string list;
                for (auto const& [number, bytes] : calculator.plan.values) {
                    list += hex::text(std::array{static_cast<unsigned char>(number)}) + " 00 00 40 04 00 ";
                }
                return list;
            }
            default:
                return calculator.plan.values.at(calculator.number) + " C0 00";
        }
    }

    Reply answer(std::span<unsigned char const> raw) {
        hex::Bytes const request(raw.begin(), raw.end());
        std::lock_guard const lock(mutex_);
        if (request.size() < 8 || !calculators_.contains(request[0])) {
            return {};
        }
        Calculator& calculator = calculators_.at(request[0]);
        calculator.step = step_of(request, calculator.step);
        if (calculator.behind_faults.size() < calculator.faults_done) {
            calculator.behind_faults.push_back(calculator.step);
        }
        if (calculator.step == 8) {
            calculator.number = request[7];
        }
        std::optional<Fault> fault;
        Plan const& plan = calculator.plan;
        if (calculator.step == plan.step && calculator.faults_done < plan.faults.size()) {
            fault = plan.faults[calculator.faults_done++];
        }
        if (fault == Fault::silence) {
            return {};
        }
        hex::Bytes reply = {request[0], request[1]};
        if (request[1] == 0x03) {
            hex::Bytes const data = hex::bytes(content(calculator));
            reply.push_back(static_cast<unsigned char>(data.size()));
            reply.insert(reply.end(), data.begin(), data.end());
        } else {
            reply.insert(reply.end(), {request[2], request[3], 0, 0});
        }
        if (fault == Fault::count_too_large || fault == Fault::count_zero) {
            reply[2] = fault == Fault::count_zero ? 0 : 0xFF;
        }
        hex::push_crc16(reply);
        reply.back() ^= fault == Fault::bad_crc ? 0xFF : 0;
        return {.hex = hex::text(reply), .fragment = 32, .gap_ms = 1};
    }

    std::mutex mutex_;
    std::map<int, Calculator> calculators_;
    SerialPeer peer_;
};

/// Lines with calculators.
class Vkt7 : public testing::Test {
 protected:
    Calculators& add_line(int rto_ms) {
        std::string const name = "line" + std::to_string(lines_.size());
        Calculators& line = lines_.emplace_back(daemon_.folder().file(name));
        Json::Value port = sample::rs_port(name, line.peer().path());
        port["poll_interval"] = 1;
        port["rto"] = rto_ms;
        config_["ports"].append(port);
        return line;
    }
    /// To the last line.
    void add_device(int sid, std::string const& params) {
        Json::Value device = sample::json(R"({"name": "heat", "type": "vkt7-rtu", "params": [)" + params + "]}");
        device["sid"] = sid;
        config_["ports"][config_["ports"].size() - 1]["devices"].append(device);
    }

    Broker broker_;
    MqttProbe probe_{broker_.port()};
    Daemon daemon_;
    std::list<Calculators> lines_;
    Json::Value config_ = sample::root(broker_.port());
};

std::string plain(int number) {
    return R"({"name": "r)" + std::to_string(number) + R"(", "reg_addr": )" + std::to_string(number) + "}";
}

}  // namespace

TEST_F(Vkt7, ValuesOfEverySizeAndPrecision) {
    // Registers in the order of the precisions that tell their digits, 0 to 7.
    constexpr int by_precision[] = {14, 3, 6, 31, 12, 28, 25, 34};
    constexpr char const* two_bytes[] = {"54321",  "5432.1", "543.21",   "54.321",
                                         "5.4321", ".54321", "0.054321", "0.0054321"};
    constexpr char const* four_bytes[] = {"305419896",  "30541989.6", "3054198.96", "305419.896",
                                          "30541.9896", "3054.19896", "305.419896", "30.5419896"};
    std::map<std::string, std::string> expected;
    Calculators& line = add_line(600000);  // which no exchange waits for
    for (int sid = 1; sid <= 4; ++sid) {
        Plan plan;
        std::string params;
        for (int index = sid % 2 * 4; index < sid % 2 * 4 + 4; ++index) {
            plan.values[by_precision[index]] = sid <= 2 ? "31 D4" : "78 56 34 12";
            params += (params.empty() ? "" : ",") + plain(by_precision[index]);
            expected["heat_" + std::to_string(sid) + "/controls/r" + std::to_string(by_precision[index])] =
                sid <= 2 ? two_bytes[index] : four_bytes[index];
        }
        line.add(sid, plan);
        add_device(sid, params);
    }
    line.add(5, {.values = {{6, "D2 04"}, {19, "00 00 C0 3F"}, {41, "CD CC CC BD"}}});
    add_device(5, plain(6) + "," + plain(19) + "," + plain(41));
    line.add(6, {.values = {{11, "05 00"}}});
    add_device(6, plain(50) + "," + plain(7) + R"(, {"name": "f", "type": "emera", "cmd": "A"},
                  {"name": "state", "type": "vkt7-rtu", "reg_addr": 11, "reg_type": "input-bit",
                   "bh_list": [{"name": "a", "offset": 0}, {"name": "b", "offset": 1}]})");
    expected["heat_5/controls/r19"] = "1.500000";
    expected["heat_5/controls/r41"] = "-0.100000";
    expected["heat_6/controls/state_a"] = "1";
    expected["heat_6/controls/state_b"] = "0";
    daemon_.start_with(config_);

    for (auto const& [control, text] : expected) {
        auto const value = probe_.wait_for("/devices/" + control, limit);
        ASSERT_TRUE(value) << control << daemon_.log().text();
        EXPECT_EQ(value->payload, text) << control;
    }
    for (auto const& [name, told] :
         {std::pair{"r50", "Регистр [0x32] не используется при получении (итоговых) текущих значений"},
          {"r7", "В перечне активных элементов адрес [0x07] не найден"},
          {"f", "параметр не является параметром ВКТ-7 : опрос пропущен."}}) {
        EXPECT_GE(daemon_.log().count(3, name, told), 1) << name;
        EXPECT_EQ(probe_.count(sample::error_topic("heat_6", name), "r") > 0, std::string(name) != "f") << name;
    }
    EXPECT_GE(daemon_.log().count(4, "r19", "Версия сервера: 0x2a"), 1);

    std::vector<std::string> const frames = line.peer().log().frames();
    std::string const expected_frames[] = {
        "05 10 3F FF 00 00 CC 80 00 00 00 75 98",
        "05 03 3F FE 00 00 29 AA",
        "05 10 3F FD 00 00 02 06 00 4C 22",
        "05 10 3F FF 00 00 60 2C 00 00 40 07 00 2D 00 00 40 07 00 2E 00 00 40 07 00 2F 00 00 40 07 00 30 00 00 40 "
        "07 00 35 00 00 40 07 00 37 00 00 40 07 00 38 00 00 40 07 00 39 00 00 40 01 00 3B 00 00 40 01 00 3C 00 00 "
        "40 01 00 3D 00 00 40 01 00 42 00 00 40 01 00 46 00 00 40 01 00 45 00 00 40 01 00 4C 00 00 40 01 00 9A EE",
        "05 03 3F FE 00 00 29 AA",
        "05 10 3F FD 00 00 02 05 00 4C D2",
        "05 03 3F FC 00 00 88 6A",
        "05 10 3F FF 00 00 06 06 00 00 40 04 00 51 84",
        "05 03 3F FE 00 00 29 AA"};
    EXPECT_NE(std::search(frames.begin(), frames.end(), std::begin(expected_frames), std::end(expected_frames)),
              frames.end())
        << testing::PrintToString(frames);
}

TEST_F(Vkt7, AFaultAtAnyStepEndsTheDialogueAndTheNextOneIsRight) {
    struct Row {
        int step;
        std::vector<Fault> faults;
        std::vector<char const*> told;  // null: the dialogue goes on
        char const* first_value = "123.4";
    };
    std::vector<Row> rows = {
        // Without precisions there is no point.
        {5, {Fault::count_zero, Fault::count_too_large}, {nullptr, nullptr}, "1234"},
        {7,
         {Fault::count_zero, Fault::count_too_large},
         {"В перечне активных элементов адрес [0x03] не найден", nullptr}},
        {9, {Fault::count_zero, Fault::count_too_large}, {nullptr, nullptr}, "0.0"},  // a size that no number has
    };
    for (int const step : {9, 1, 8, 2, 3, 7, 4, 5, 6}) {
        rows.push_back({step,
                        {Fault::silence, Fault::bad_crc},
                        {"ошибка чтения из rs-порта, прочитано [0] байт", "ответ НЕ получен : не совпали CRC."}});
    }
    // So that the time-outs pass side by side. Few, as the ports are started a second apart.
    constexpr size_t line_count = 4;
    std::vector<Calculators*> lines;
    for (size_t number = 0; number < line_count; ++number) {
        Calculators& line = *lines.emplace_back(&add_line(200));
        for (size_t index = number; index < rows.size(); index += line_count) {
            int const sid = static_cast<int>(index) + 1;
            line.add(sid, {.step = rows[index].step, .faults = rows[index].faults, .values = {{3, "D2 04"}}});
            add_device(sid, R"({"name": "v)" + std::to_string(sid) + R"(", "reg_addr": 3})");
        }
    }
    daemon_.start_with(config_);

    for (size_t index = 0; index < rows.size(); ++index) {
        Row const& row = rows[index];
        int const sid = static_cast<int>(index) + 1;
        SCOPED_TRACE(testing::Message() << "step " << row.step << ", first fault " << static_cast<int>(row.faults[0]));
        std::string const device = "heat_" + std::to_string(sid);
        std::string const name = "v" + std::to_string(sid);
        Calculators& line = *lines[index % line_count];
        ASSERT_TRUE(wait_until([&] { return line.steps_behind_faults(sid).size() == row.faults.size(); }, limit))
            << daemon_.log().text();
        ASSERT_TRUE(probe_.wait_for(sample::value_topic(device, name), "123.4", limit)) << daemon_.log().text();
        EXPECT_EQ(probe_.on_topic(sample::value_topic(device, name)).front().payload, row.first_value);
        for (size_t fault = 0; fault < row.told.size(); ++fault) {
            bool const ends = row.told[fault] != nullptr;
            EXPECT_EQ(line.steps_behind_faults(sid)[fault], ends || row.step == 9 ? 1 : row.step + 1);
            if (ends) {
                EXPECT_GE(daemon_.log().count(3, name, row.told[fault]), 1) << daemon_.log().text();
                EXPECT_GE(probe_.count(sample::error_topic(device, name), "r"), 1);
            }
        }
    }
}
