// Bits of a value; how a device publishes and writes them is told by scenarios.

#include "drivers/bholding/bholding.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "support/sample_config.h"

using bholding::bhold;
using bholding::bitem;

namespace {

CParam made(std::string const& keys = "") {
    Json::Value node = sample::json(R"({"name": "state")" + keys + "}");
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

TEST(Bits, HighestOffsetFollowsFromTheValueType) {
    struct Row {
        char const* value_type;
        int highest;
    };
    for (Row const& row :
         {Row{"u24", 23}, Row{"u32", 31}, Row{"i32", 15}, Row{"u16", 15}, Row{"u8", 15}, Row{"", 15}}) {
        CParam param = made(R"(, "value_type": ")" + std::string(row.value_type) + "\"");
        Json::Value node = sample::json(R"({"bh_list": [{"name": "a"}]})");
        node["bh_list"][0]["offset"] = row.highest;
        EXPECT_EQ(bhold(&param, node).items.at(0).offset, row.highest) << row.value_type;
        node["bh_list"][0]["offset"] = row.highest + 1;
        EXPECT_EQ(failure([&] { bhold(&param, node); }),
                  "bitem.ctor : параметр 'offset' превышает максимальное значение : " + std::to_string(row.highest))
            << row.value_type;
    }
    for (char const* node : {"{}", "null"}) {
        CParam param = made();
        EXPECT_EQ(failure([&] { bhold(&param, sample::json(node)); }), "bhold.ctor : параметр 'node' пуст");
    }
    EXPECT_EQ(failure([] { bhold(nullptr, sample::json("{}")); }), "bhold.ctor : не указан параметр 'config_param'");
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
        {32, 0xFFFFFFFFU, "0", "4294967295", "4294967295"},
        {-1, 0xFFFFFFFFU, "0", "4294967295", "4294967295"},
    };
    CParam param = made(R"(, "value_type": "u32")");
    for (Row const& row : rows) {
        // Inverted is what is published, not what is written.
        for (bool const inverted : {false, true}) {
            Json::Value node = sample::json(R"({"name": "a"})");
            node["offset"] = row.offset;
            node["inverted"] = inverted;
            std::string const current = std::to_string(row.value);
            bitem const item(&param, node, 32);
            EXPECT_EQ(item.get_value(row.value), (*row.read == '1') != inverted ? "1" : "0") << row.offset;
            EXPECT_EQ(item.set_value(current, "1"), row.set) << row.offset;
            EXPECT_EQ(item.set_value(current, "0"), row.cleared) << row.offset;
        }
    }
    bitem const item(&param, sample::json(R"({"name": "a", "offset": 1})"), 15);
    for (char const* text : {"2", "", "on", "1 ", "%d"}) {
        EXPECT_EQ(failure([&] { item.set_value("0", text); }),
                  "bitem::set_value : недопустимое значение : " + std::string(text));
    }
    EXPECT_THROW(item.set_value("", "1"), std::invalid_argument);
    EXPECT_THROW(item.set_value("99999999999999999999", "1"), std::out_of_range);
    EXPECT_EQ(item.set_value("4294967296", "1"), "2");  // cut to 32 bits
}
