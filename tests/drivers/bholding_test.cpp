#include "drivers/bholding/bholding.h"

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/reader.h>

#include "config/config.h"
#include "runtime/port_base.h"

using bholding::bhold;
using bholding::bitem;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream("[" + text + "]") >> value;
    return value[0];
}

CParam made(std::string const& keys) {
    Json::Value node = json(R"({"name": "state")" + (keys.empty() ? "" : ", " + keys) + "}");
    return {nullptr, node};
}

template <typename Call>
std::string failure(Call call) {
    try {
        call();
    } catch (std::exception const& e) {
        return e.what();
    }
    return "taken";
}

}  // namespace

TEST(Bits, FaultyListsAndItems) {
    struct Row {
        char const* node;
        char const* reason;
    };
    Row const rows[] = {
        {"{}", "bhold.ctor : параметр 'node' пуст"},
        {"null", "bhold.ctor : параметр 'node' пуст"},
        {R"({"name": "state"})", "bhold.ctor : параметр 'node' не содержит объекта 'bh_list'"},
        {R"({"bh_list": []})", "bhold.ctor : объект 'bh_list' пуст или не массив"},
        {R"({"bh_list": {}})", "bhold.ctor : объект 'bh_list' пуст или не массив"},
        {R"({"bh_list": {"name": "a", "offset": 0}})", "bhold.ctor : объект 'bh_list' пуст или не массив"},
        {R"({"bh_list": 5})", "bhold.ctor : объект 'bh_list' пуст или не массив"},
        {R"({"bh_list": "a"})", "bhold.ctor : объект 'bh_list' пуст или не массив"},
        {R"({"bh_list": [{"name": "a", "offset": 0}, {}]})", "bitem.ctor : параметр 'node' пуст"},
        {R"({"bh_list": [null]})", "bitem.ctor : параметр 'node' пуст"},
        {R"({"bh_list": [{"offset": 0}]})", "bitem.ctor : параметр 'node' не содержит 'name'"},
        {R"({"bh_list": [5]})", "bitem.ctor : параметр 'node' не содержит 'name'"},
        {R"({"bh_list": [{"name": "a"}]})", "bitem.ctor : параметр 'node' не содержит 'offset'"},
        {R"({"bh_list": [{"name": "a", "offset": 16}]})",
         "bitem.ctor : параметр 'offset' превышает максимальное значение : 15"},
    };
    CParam param = made("");
    for (Row const& row : rows) {
        Json::Value const node = json(row.node);
        EXPECT_EQ(failure([&] { bhold(&param, node); }), row.reason) << row.node;
    }
    EXPECT_EQ(failure([] { bhold(nullptr, json(R"({"bh_list": [{"name": "a", "offset": 0}]})")); }),
              "bhold.ctor : не указан параметр 'config_param'");
}

TEST(Bits, HighestOffsetFollowsFromTheValueType) {
    struct Row {
        char const* value_type;
        int highest;
    };
    for (Row const& row :
         {Row{"u24", 23}, Row{"u32", 31}, Row{"i32", 15}, Row{"u16", 15}, Row{"u8", 15}, Row{"", 15}}) {
        CParam param = made(R"("value_type": ")" + std::string(row.value_type) + "\"");
        Json::Value node = json(R"({"bh_list": [{"name": "a"}]})");
        node["bh_list"][0]["offset"] = row.highest;
        EXPECT_EQ(bhold(&param, node).items.at(0).offset, row.highest) << row.value_type;
        node["bh_list"][0]["offset"] = row.highest + 1;
        EXPECT_EQ(failure([&] { bhold(&param, node); }),
                  "bitem.ctor : параметр 'offset' превышает максимальное значение : " + std::to_string(row.highest))
            << row.value_type;
        node["bh_list"][0]["offset"] = -1;
        EXPECT_EQ(bhold(&param, node).items.at(0).get_value(0xFFFFFFFFU), "0") << row.value_type;
    }
}

TEST(Bits, ReadAndWritten) {
    struct Row {
        int offset;
        unsigned int value;
        char const* read;
        char const* set;
        char const* cleared;
    };
    Row const rows[] = {
        {0, 5, "1", "5", "4"},
        {1, 5, "0", "7", "5"},
        {2, 5, "1", "5", "1"},
        {3, 15, "1", "15", "7"},
        {15, 0, "0", "32768", "0"},
        {31, 0x80000000U, "1", "2147483648", "0"},
        {-1, 0xFFFFFFFFU, "0", "4294967295", "4294967295"},
    };
    CParam param = made(R"("value_type": "u32")");
    for (Row const& row : rows) {
        Json::Value node = json(R"({"name": "a"})");
        node["offset"] = row.offset;
        std::string const current = std::to_string(row.value);
        bitem const plain(&param, node, 31);
        EXPECT_EQ(plain.get_value(row.value), row.read) << row.offset;
        EXPECT_EQ(plain.set_value(current, "1"), row.set) << row.offset;
        EXPECT_EQ(plain.set_value(current, "0"), row.cleared) << row.offset;

        // Inverted is what is published, not what is written.
        node["inverted"] = true;
        bitem const inverted(&param, node, 31);
        EXPECT_EQ(inverted.get_value(row.value), std::string(row.read) == "1" ? "0" : "1") << row.offset;
        EXPECT_EQ(inverted.set_value(current, "1"), row.set) << row.offset;
        EXPECT_EQ(inverted.set_value(current, "0"), row.cleared) << row.offset;
    }
}

TEST(Bits, WriteRefusesWhatIsNoBitAndNoNumber) {
    CParam param = made("");
    bitem const item(&param, json(R"({"name": "a", "offset": 1})"), 15);
    for (char const* text : {"2", "", "on", "1 ", "%d"}) {
        EXPECT_EQ(failure([&] { item.set_value("0", text); }),
                  "bitem::set_value : недопустимое значение : " + std::string(text));
    }
    EXPECT_THROW(item.set_value("", "1"), std::invalid_argument);
    EXPECT_THROW(item.set_value("99999999999999999999", "1"), std::out_of_range);
    EXPECT_EQ(item.set_value("4294967296", "1"), "2");  // cut to 32 bits
}

TEST(Bits, InvertedAndNameComeFromTheParameter) {
    CParam param = made(R"("inverted": true)");
    Json::Value const node = json(R"({"bh_list": [
        {"name": "a", "offset": 0}, {"name": "b", "offset": 1, "inverted": false}, {"name": "alarm", "offset": 2}]})");
    bhold const bits(&param, node);
    ASSERT_EQ(bits.items.size(), 3U);
    EXPECT_EQ(bits.items[0].get_value(1), "0");
    EXPECT_EQ(bits.items[1].get_value(1), "0");
    EXPECT_EQ(bits.items[2].get_value(1), "1");
    EXPECT_EQ(bits.items[2].control_name(), "state_alarm");
}

TEST(Bits, OnlyANumberCanBeSpread) {
    Json::Value root = json(R"({"ports": [{"name": "p", "type": "base.null", "devices": [{"name": "d", "type": "mb-rtu",
        "sid": 17, "params": [{"name": "state", "reg_addr": 1, "reg_type": "holding-bit", "value_type": "u16",
                               "bh_list": [{"name": "a", "offset": 0}]}]}]}]})");
    std::unique_ptr<Config> const config(Config::Load(root));
    PortBase port(nullptr, dynamic_cast<CPort*>(config->ports.children.at(0).get()));
    DevBase* const dev = port.devices.at(0).get();
    CParam param = made("");
    bhold const bits(&param, json(R"({"bh_list": [{"name": "a", "offset": 0}]})"));
    BaseResult result;
    EXPECT_THROW(bits.publish(dev, result), std::invalid_argument);
    result.result = "99999999999999999999";
    EXPECT_THROW(bits.publish(dev, result), std::out_of_range);
    result.result = "5";
    EXPECT_NO_THROW(bits.publish(dev, result));  // without a connection nothing goes out
}
