// SET-4TM meters at their early stage: what goes out, what is told, and that no value comes of it.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
#include "ctl/line/hex.h"
#include "drivers/set4tm/device.h"
#include "drivers/set4tm/pdu.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using set4tm::c_param;
using set4tm::pdu;
using testing::ElementsAre;

namespace {

constexpr char close_request[] = "05 09 01 A6 51";
constexpr char ask[] = "05 01 C3 20";
constexpr char answer[] = "05 01 00 02 12 34 91 39";
constexpr char value[] = R"({"name": "v", "command": 8, "param": 17, "value_type": "u16"})";

/// Meter 5. What the line holds when the driver has written nothing is its opening reply.
class Set4tm : public DriverRig {
 public:
    explicit Set4tm(std::string const& opening = "05 08 00 66 01")
        : DriverRig(std::string(R"({"name": "m", "type": "set-4tm", "sid": 5, "poll_interval": 0, "params": [)") +
                    value + "]}") {
        line().script.on("", opening).on(close_request, close_request).on(ask, answer);
    }

    set4tm::dev& meter() { return dev<set4tm::dev>(); }
};

}  // namespace

TEST(Set4tmConfig, KeysAndFaults) {
    LogCapture const log;
    DriverRig rig(R"({"name": "a", "type": "set-4tm"}, {"name": "b", "type": "set-4tm", "sid": 1},
                     {"name": "c", "type": "set-4tm", "sid": 256, "templ": "away", "params": [
                        {"name": "x", "param": 1}, {"name": "y", "command": 1}, {"name": "v", "command": 1, "param": 2},
                        {"name": "v", "command": 3, "param": 4294967295}, {"name": "v", "param": -1},
                        {"name": "z", "command": -1, "param": 1}]})");
    EXPECT_TRUE(log.has("#a : ctor : не указан аргумент 'sid'."));
    EXPECT_TRUE(log.has("#b_1 : ctor : устройство не содержит ни одного параметра."));
    EXPECT_TRUE(log.has("[4] [c_256] загрузка шаблона : away."));
    EXPECT_TRUE(log.has("x : не указан атрибут 'command'."));
    EXPECT_TRUE(log.has("y : не указан атрибут 'param'."));
    EXPECT_TRUE(log.has("v : недопустимое значение ключа 'param'"));
    EXPECT_TRUE(log.has("z : недопустимое значение ключа 'command'"));
    EXPECT_EQ(rig.param<c_param>().command, 3U);
    EXPECT_EQ(rig.param<c_param>().param, 4294967295U);
    EXPECT_EQ(dynamic_cast<set4tm::c_dev&>(*rig.port().devices[0]->cfg).password, "164937");
    EXPECT_EQ(rig.dev<set4tm::dev>().get_device_name(), "c_256");
}

TEST(Set4tmPdu, FramesAndHeads) {
    xCommon::ByteList frames;
    pdu::test(frames, 5);
    pdu::open(frames, 5, "164937");
    pdu::close(frames, 5);
    pdu::read(frames, 5);
    EXPECT_EQ(hex::text({frames.data(), frames.size()}),
              "05 00 02 E0 05 08 31 36 34 39 33 37 4E CA 05 09 01 A6 51 05 01 C3 20");
    Json::Value node = sample::json(value);
    c_param const log_node(nullptr, node);
    struct Row {
        char const* head;
        int count;
        char const* line;
    };
    for (Row const& row : {Row{"05 01 00 FF", 255, ""},
                           {"05 01 00", 0, "операция НЕ выполнена : timeout."},
                           {"06 01 00 02", 0, "операция НЕ выполнена : не совпали SlaveId."},
                           {"05 81 08 02", 0, ""}}) {
        LogCapture const log;
        hex::Bytes const head = hex::bytes(row.head);
        EXPECT_EQ(pdu::check_head(&log_node, 5, head.data(), static_cast<int>(head.size())), row.count) << row.head;
        EXPECT_EQ(log.entries().size(), *row.line == '\0' ? 0U : 1U);
        EXPECT_TRUE(*row.line == '\0' || log.has(std::string("[3] [v] ") + row.line));
    }
    EXPECT_EQ(pdu::check_head(&log_node, 5, nullptr, 4), 0);
}

TEST(Set4tmDevice, OpeningAndClosing) {
    struct Row {
        char const* reply;
        bool opened;
        std::vector<std::string> start_lines;
        std::vector<std::string> stop_lines;
    };
    Row const rows[] = {
        {"05 08 00 66 01", true, {"[4] [m_5] сеанс с устройством открыт."}, {}},
        {"", false, {"[3] [m_5] Start : ответ не получен."}, {"[3] [m_5] Stop : ответ не получен."}},
        {"05 08 00 66", false, {"[3] [m_5] Start : ответ не получен."}, {"[3] [m_5] Stop : ответ не получен."}},
        {"06 08 00 96 01", false, {"[3] [m_5] Start : не совпали SlaveId."}, {"[3] [m_5] Stop : не совпали SlaveId."}},
        {"05 08 00 01 66", false, {"[3] [m_5] Start : не совпали CRC."}, {"[3] [m_5] Stop : не совпали CRC."}},
        {"05 88 0D C6 04", false, {}, {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.reply);
        Set4tm rig(row.reply);
        rig.line().script.on(close_request, row.reply);
        LogCapture log;
        rig.meter().Start();
        EXPECT_EQ(rig.meter().opened, row.opened);
        EXPECT_EQ(log.entries(), row.start_lines);
        log.clear();
        rig.meter().opened = true;
        rig.meter().Stop();
        EXPECT_FALSE(rig.meter().opened);
        EXPECT_EQ(log.entries(), row.stop_lines);
        EXPECT_THAT(rig.line().sent, ElementsAre("", close_request));
    }
}

TEST(Set4tmDevice, FramesAreTracedUnderTheirLabels) {
    Set4tm rig;
    LogCapture const log(false);
    PH::IsPrintHex = true;
    rig.meter().Poll(1000000);
    PH::IsPrintHex = false;
    EXPECT_THAT(log.entries(),
                ElementsAre("[1] [p] dev::Stop : запрос : 05 09 01 A6 51", "[1] [p] dev::Stop : ответ : 05 09 01 A6 51",
                            "[1] [p] Start : запрос :", "[1] [p] Start : ответ : 05 08 00 66 01",
                            "[1] [v] начало опроса.", "[1] [p] :get_response : запрос : 05 01 C3 20",
                            "[1] [p] get_response : заголовок ответа : 05 01 00 02",
                            "[1] [p] get_response : ответ : 05 01 00 02 12 34 91 39"));
}
