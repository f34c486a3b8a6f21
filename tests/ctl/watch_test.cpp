// The table of `watch` without broker and terminal: what topics make of its lines, and keys of its rows.

#include <chrono>
#include <clocale>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/text_columns.h"
#include "ctl/watch/board.h"
#include "ctl/watch/controls.h"
#include "ctl/watch/row_list.h"
#include "ctl/watch/view.h"
#include "foundation/xstring.h"

using std::chrono::seconds;
using namespace watch;

namespace {

struct Told {
    int at_s;
    std::string topic;
    std::string payload;
    bool retained = false;
};

std::string const temperature = "/devices/boiler_17/controls/temperature";

struct Table {
    void tell(std::vector<Told> const& messages) {
        for (Told const& message : messages) {
            board.take({message.topic, message.payload, message.retained}, start + seconds(message.at_s));
        }
    }
    /// The lines of a screen without the blanks at their ends.
    std::vector<std::string> lines(int at_s, int width = 80, int height = 24) {
        list.update(start + seconds(at_s));
        std::vector<std::string> texts;
        for (Line const& line :
             screen({board, list, controls, "broker", true, "", start + seconds(at_s)}, width, height)) {
            EXPECT_EQ(columns::width(line.text), width) << line.text;
            texts.push_back(line.text.substr(0, line.text.find_last_not_of(' ') + 1));
        }
        return texts;
    }
    /// Letters, and \n for Enter, \x1B for Escape, \b for the key that takes one back.
    void type(std::wstring const& keys) {
        for (wchar_t const key : keys) {
            controls.press(key == L'\n'     ? Key{Key::Code::enter}
                           : key == L'\x1B' ? Key{Key::Code::escape}
                           : key == L'\b'   ? Key{Key::Code::backspace}
                                            : Key{Key::Code::symbol, key});
        }
    }
    std::vector<std::string> names() {
        list.update(start);
        std::vector<std::string> result;
        for (Row const* row : list.rows()) {
            result.push_back(row->name);
        }
        return result;
    }

    Time start{std::chrono::hours(1000)};
    Board board;
    RowList list{board};
    Controls controls{list, ""};
};

class WatchTable : public testing::Test, protected Table {
 protected:
    void SetUp() override { std::setlocale(LC_CTYPE, "C.UTF-8"); }
    void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(WatchTable, LinesOfValues) {
    struct Case {
        char const* guards;
        std::vector<Told> messages;
        int at_s;
        std::string line;
    };
    std::string const error = temperature + "/meta/error";
    // clang-format off
    std::vector<Case> const cases = {
        {"numbers have a trend, whatever their unit", {{0, temperature, "20 °C"}, {2, temperature, "21 °C"}, {4, temperature, "24 °C"}}, 8,
         "  boiler_17/temperature           24 °C                   0:04 ↑ ▁▃█"},
        {"a slow counter rises", {{0, temperature, "148.140"}, {2, temperature, "148.141"}, {4, temperature, "148.142"}}, 5,
         "  boiler_17/temperature           148.142                 0:01 ↑ ▁▅█"},
        {"a blip is no trend", {{0, temperature, "20"}, {1, temperature, "20"}, {2, temperature, "25"}, {3, temperature, "20"}, {4, temperature, "20"}, {5, temperature, "20"}}, 6,
         "  boiler_17/temperature           20                      0:01 = ▁▁█▁▁▁"},
        {"huge numbers don't overflow", {{0, temperature, "-1.7e308"}, {2, temperature, "1.7e308"}}, 3,
         "  boiler_17/temperature           1.7e308                 0:01 ↑ ▁█"},
        {"a date is no number", {{0, temperature, "2026-01-31"}, {2, temperature, "2026-02-01"}}, 3,
         "  boiler_17/temperature           2026-02-01              0:01"},
        {"what lay on the broker is of unknown age", {{0, temperature, "20", true}}, 42,
         "  boiler_17/temperature           20                     >0:42"},
        {"the broker tells it again at each connection", {{0, temperature, "20"}, {30, temperature, "20", true}}, 42,
         "  boiler_17/temperature           20                      0:42"},
        {"it changed while the connection was away", {{0, temperature, "20"}, {30, temperature, "21", true}}, 42,
         "  boiler_17/temperature           21                     >0:12 ↑ ▁█"},
        {"an error stands until the next value", {{0, temperature, "20"}, {2, error, "r"}, {4, error, "r"}}, 5,
         "! boiler_17/temperature           20                      0:05                 2"},
        {"and no longer, but is counted", {{0, temperature, "on"}, {2, error, "r"}, {4, temperature, "on"}}, 5,
         "  boiler_17/temperature           on                      0:01                 1"},
        {"a value that has never come", {{0, error, "r"}}, 5,
         "! boiler_17/temperature                                  >0:05                 1"},
        {"retained, it says nothing about now", {{0, error, "r"}, {1, temperature, "on", true}}, 5,
         "! boiler_17/temperature           on                     >0:04                 1"},
        {"a device stays failed", {{0, temperature, "on"}, {2, "/devices/error", "boiler_17"}}, 5,
         "x boiler_17/temperature           on                      0:05"},
        {"until anything of it comes", {{0, temperature, "on"}, {2, "/devices/error", "boiler_17"}, {3, temperature + "2", "1"}}, 5,
         "  boiler_17/temperature           on                      0:05"},
        {"an input that can't be read clears its value", {{0, temperature, "1"}, {2, temperature, ""}}, 5,
         "! boiler_17/temperature                                   0:03"},
        {"stale after three times the usual distance", {{0, temperature, "on"}, {2, temperature, "on"}}, 11,
         "~ boiler_17/temperature           on                      0:09"},
        {"an hour is usual elsewhere", {{0, temperature, "on"}, {3600, temperature, "on"}}, 9000,
         "  boiler_17/temperature           on                      1h30"},
        {"a short distance isn't the usual one after a long one", {{0, temperature, "on"}, {600, temperature, "on"}, {601, temperature, "on"}}, 661,
         "  boiler_17/temperature           on                      1:00"},
        {"nothing has come in a minute of watching", {{0, temperature, "on", true}}, 61,
         "~ boiler_17/temperature           on                     >1:01"},
        {"texts from outside move no terminal", {{0, temperature, "\x1B[31m\n\xFF" "A\u202E"}}, 0,
         "  boiler_17/temperature           \\x1B[31m\\n\\xFFA?        0:00"},
        {"columns aren't bytes, and wide characters take two", {{0, "/devices/котёл/controls/表", "漢字漢字漢字漢字漢字漢字"}}, 0,
         "  котёл/表                        漢字漢字漢字漢字漢字…   0:00"},
        {"of a long name the end tells more", {{0, "/devices/meter_number_one_hundred_and_four/controls/energy", "1"}}, 0,
         "  …er_one_hundred_and_four/energy 1                       0:00"},
    };
    // clang-format on
    for (Case const& one : cases) {
        Table table;
        table.tell(one.messages);
        EXPECT_EQ(table.lines(one.at_s)[2], one.line) << one.guards;
    }
}

TEST_F(WatchTable, OtherTopicsMakeNoRows) {
    tell({{0, temperature + "/on", "5"},
          {0, temperature + "/meta/type", "temperature"},
          {0, "/devices/boiler_17/meta/name", "Boiler"},
          {0, "/devices//controls/", "1"},
          {0, "stat//poll", "1"},
          {0, "/devices/boiler_17/controls/" + std::string(2000, 'a'), "1"}});
    EXPECT_EQ(names(), std::vector<std::string>{});
}

TEST_F(WatchTable, StatisticsOfPorts) {
    std::string const text = "Статистика a = 5 : опросов = %s : ошибок = %s [ 2.00 ] : вне диапазона = 7.";
    auto const line = [&text](char const* polls, char const* errors) {
        return xCommon::xString::Format(text, polls, errors);
    };
    tell({{0, "stat/a/poll", line("100", "3")}, {5, "stat/a/poll", line("124", "5")}, {5, "stat/b/poll", "hello"}});
    controls.press({Key::Code::tab});
    auto shown = lines(6);
    EXPECT_EQ(shown[1], "port  polls  errors  %    out of range  last pass  age");
    EXPECT_EQ(shown[2], "a     124    5       4.0  7             2/24       0:01");
    EXPECT_EQ(shown[3], "b     hello");
    tell({{8, "stat/a/poll", line("4", "0")}});
    shown = lines(8);
    EXPECT_EQ(shown[2], "a     4      0       0.0  7                        0:00") << "a daemon that was started anew";
}

/// Without stumbling over a size in which there is no room for what there is to show.
TEST_F(WatchTable, FitsEveryWindow) {
    tell({{0, temperature, "20"}, {0, "/devices/error", "pump"}, {0, "stat/a/poll", "a"}});
    for (int width = 1; width <= 120; ++width) {
        for (int height = 1; height <= 8; ++height) {
            EXPECT_EQ(lines(1, width, height).size(), static_cast<size_t>(height));
        }
    }
}

TEST_F(WatchTable, NamesAreFilteredAndOrdered) {
    tell({{0, "/devices/a_10/controls/x", "1"},
          {0, "/devices/a_2/controls/x", "1"},
          {0, "/devices/Котёл/controls/Xy", "1"}});
    using Names = std::vector<std::string>;
    EXPECT_EQ(names(), (Names{"a_2/x", "a_10/x", "Котёл/Xy"}));
    type(L"/кОТ xy\n");
    EXPECT_EQ(names(), (Names{"Котёл/Xy"}));
    type(L"/\b\b\bч\n");
    EXPECT_EQ(names(), Names{});
    type(L"\x1B");
    EXPECT_EQ(names().size(), 3U);
    tell({{0, "/devices/a_10/controls/x/meta/error", "r"}});
    type(L"ss");
    EXPECT_EQ(names(), (Names{"a_10/x", "a_2/x", "Котёл/Xy"}));
    type(L"у");  // "e" with the Russian layout
    EXPECT_EQ(names(), (Names{"a_10/x"}));
}

TEST_F(WatchTable, TheSelectedRowStaysInSight) {
    for (int number = 0; number < 100; ++number) {
        tell({{0, "/devices/a/controls/" + std::to_string(number), "1"}});
    }
    names();
    auto const selected = [this] {
        lines(0);
        return list.selected()->name;
    };
    EXPECT_EQ(selected(), "a/0");
    controls.press({Key::Code::page_down});
    EXPECT_EQ(selected(), "a/21");
    tell({{0, "/devices/Z/controls/first", "1"}});
    EXPECT_EQ(selected(), "a/21");
    type(L"G");
    EXPECT_EQ(selected(), "a/99");
    EXPECT_EQ(lines(0)[22].substr(2, 4), "a/99");
    type(L"/a/7\n");
    EXPECT_EQ(selected(), "a/79");
}

TEST_F(WatchTable, AValueGoesOutOnlyWhenItIsConfirmed) {
    tell({{0, "/devices/a/controls/x", "1"}, {0, "/devices/b/controls/x", "1"}});
    for (wchar_t const* keys : {L"w25\x1By", L"w25\nn", L"w\ny", L"w25\nн", L"/w25\ny"}) {
        names();
        type(keys);
        EXPECT_FALSE(controls.take_command());
        type(L"\x1B\x1B");
    }
    names();
    type(L"w2.6\b5\n");
    // Another row comes ahead meanwhile.
    tell({{0, "/devices/A/controls/x", "1"}});
    names();
    EXPECT_EQ(lines(0)[23], "send '2.5' to a/x? y/n");
    type(L"y");
    auto const command = controls.take_command();
    ASSERT_TRUE(command);
    EXPECT_EQ(command->topic, "/devices/a/controls/x/on");
    EXPECT_EQ(command->payload, "2.5");
    EXPECT_FALSE(controls.take_command());
}

}  // namespace
