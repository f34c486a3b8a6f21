// Lines on a tree of plain files.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/scenario/offset_clock.h"
#include "gpio/io_base.h"
#include "support/gpio_tree.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

namespace {

using Lines = std::vector<std::string>;

class GpioLine : public testing::Test {
 protected:
    ~GpioLine() override { offset_clock::reset(); }

    /// Makes a line on gpio 7 with these further keys; what the constructor raises is left in `raised`.
    template <typename Line = xgpio::io_base>
    std::unique_ptr<Line> make(std::string const& keys = "") {
        channels.push_back(
            std::make_unique<xgpio::channel_t>(&driver, sample::json(R"({"name": "c", "gpio": 7)" + keys + "}")));
        try {
            return std::make_unique<Line>(&driver, channels.back().get());
        } catch (std::exception const& e) {
            raised = e.what();
            return nullptr;
        }
    }

    /// What a line has to publish, as "topic=payload qos".
    static Lines published(std::vector<xgpio::mqtt_message> const& messages) {
        Lines texts;
        for (auto const& message : messages) {
            EXPECT_TRUE(message.retain);
            texts.push_back(message.topic + "=" + message.payload + " " + std::to_string(message.qos));
        }
        return texts;
    }

    /// Sets the level and has the line look at it.
    Lines at(xgpio::io_base& line, char level, bool from_event = true) {
        tree.set_level(7, level);
        return published(line.irr_hand(from_event));
    }

    LogCapture log;
    GpioTree tree{std::getenv("OSTRAND_TEST_ROOT"), {7}};
    xCommon::LogItem driver{nullptr, "g"};
    std::vector<std::unique_ptr<xgpio::channel_t>> channels;
    std::string raised;
};

std::string const level = "/devices/g/controls/c=";
std::string const total = "/devices/g/controls/c_total=";

}  // namespace

TEST_F(GpioLine, ComesUpAndGoesDown) {
    {
        auto const line = make();
        ASSERT_TRUE(line) << raised;
        EXPECT_EQ(tree.text("unexport"), "7");
        EXPECT_EQ(tree.text("export"), "7");
        EXPECT_EQ(tree.text("gpio7/direction"), "in");
        EXPECT_EQ(log.entries().back(), "[1] [c] канал 7 : OK.");
        EXPECT_EQ(line->event.events, EPOLLET);
        EXPECT_EQ(line->event.data.fd, line->value_fd);
        EXPECT_TRUE(line->irr_set());
        std::ofstream(tree.file("unexport")) << "";
    }
    EXPECT_EQ(tree.text("unexport"), "7");
    EXPECT_EQ(log.count("[4] [c] close: "), 1);

    struct Row {
        char const* missing;
        char const* raised;
        Lines told;
        int unexports;
    };
    std::string const folder = std::string(std::getenv("OSTRAND_TEST_ROOT")) + "/sys/class/gpio/";
    Row const rows[] = {
        {"gpio7/direction",
         "c : io_base : ошибка установки направления канала.",
         {"[3] [c] io_base.write : не удалось открыть файл : " + folder + "gpio7/direction."},
         1},
        {"gpio7/value",
         "c : io_base : ошибка инициализации канала.",
         {"[3] [c] ошибка открытия файла значения : No such file or directory."},
         2},
        {"export",
         "c : io_base : ошибка инициализации канала.",
         {"[3] [c] io_base.write : не удалось открыть файл : " + folder + "export.",
          "[3] [c] не удалось экспортировать канал : 7."},
         1},
    };
    tree.remove("unexport");
    for (Row const& row : rows) {
        tree.remove(row.missing);
        log.clear();
        EXPECT_FALSE(make()) << row.missing;
        EXPECT_EQ(raised, row.raised);
        for (std::string const& told : row.told) {
            EXPECT_EQ(log.count(told), 1) << told;
        }
        EXPECT_EQ(log.count("open: "), log.count("close: ")) << row.missing;
        EXPECT_EQ(log.count("не удалось открыть файл : " + folder + "unexport."), row.unexports) << row.missing;
        EXPECT_EQ(log.count("[3] [c] не удалось un-экспортировать канал : 7."), 1) << row.missing;
    }
}

TEST_F(GpioLine, AnOutputStartsWithTheLevelBehindTheInversion) {
    // The last is what writing "1" leaves in the value.
    for (auto const& [at_start, inverted, direction, on] : {std::tuple{'1', "false", "high", '1'},
                                                            {'0', "false", "low", '1'},
                                                            {'1', "true", "low", '0'},
                                                            {'0', "true", "high", '0'}}) {
        tree.set_level(7, at_start);
        auto const line = make(R"(, "direction": "output", "inverted": )" + std::string(inverted));
        ASSERT_TRUE(line);
        EXPECT_EQ(tree.text("gpio7/direction"), direction) << at_start << inverted;
        EXPECT_FALSE(line->irr_set());
        EXPECT_EQ(tree.text("gpio7/edge"), "none");
        EXPECT_TRUE(line->set_value("1"));
        EXPECT_EQ(tree.level(7), on);
        EXPECT_EQ(line->get_value(), "1");
        EXPECT_TRUE(line->set_value("0"));
        EXPECT_EQ(line->get_value(), "0");
    }
}

TEST_F(GpioLine, PublishesChangesOfItsLevel) {
    auto line = make(R"(, "edge": "both")");
    EXPECT_FALSE(line->write("/dev/full", "1") || line->set_value(""));
    EXPECT_TRUE(log.has("[3] [c] io_base.write : не удалось записать в файл : /dev/full = 1."));
    EXPECT_TRUE(log.has("[3] [c] ошибка записи значения : Invalid argument."));
    int const fd = std::exchange(line->value_fd, -1);
    EXPECT_EQ(line->get_value(), "");
    EXPECT_TRUE(log.has("[3] [c] ошибка позиционирования значения : Bad file descriptor."));
    line->value_fd = fd;
    EXPECT_TRUE(line->irr_set());
    EXPECT_EQ(tree.text("gpio7/edge"), "both");
    EXPECT_EQ(at(*line, '0', false), Lines{}) << "nothing is pending at a tick";
    EXPECT_EQ(at(*line, '0'), Lines{level + "0 0"}) << "the first level is a change";
    EXPECT_EQ(at(*line, '0'), Lines{});
    EXPECT_EQ(at(*line, '1'), Lines{level + "1 0"});
    std::ofstream(tree.file("gpio7/value")) << "";
    EXPECT_EQ(published(line->irr_hand(true)), Lines{level + " 0"}) << "what can't be read withdraws the level";
    EXPECT_EQ(published(line->irr_hand(true)), Lines{});
    EXPECT_EQ(log.count("[3] [c] ошибка чтения значения : "), 2);
    EXPECT_EQ(at(*line, '1'), Lines{level + "1 0"});

    line = make(R"(, "inverted": true)");
    EXPECT_EQ(at(*line, '1'), Lines{level + "0 0"});
    EXPECT_EQ(at(*line, '0'), Lines{level + "1 0"});
    tree.remove("gpio7/edge");
    EXPECT_FALSE(line->irr_set()) << "no interrupts on this line";
    EXPECT_FALSE(log.has("ошибка инициализации прерывания."));
    std::filesystem::create_directory(tree.file("gpio7/edge"));
    EXPECT_FALSE(line->irr_set());
    EXPECT_TRUE(log.has("[3] [c] ошибка инициализации прерывания."));
    EXPECT_FALSE(line->write("", "1") || line->write(tree.file("export"), ""));
    EXPECT_EQ(log.count("[3] [c] io_base.write : ошибка в параметрах."), 2);
}

TEST_F(GpioLine, DebounceTakesTheLevelAtItsEnd) {
    auto const line = make(R"(, "debounce": 5000)");
    auto const counter = make<xgpio::io_counter>(R"(, "type": "water", "debounce": 5000)");
    for (xgpio::io_base* each :
         {static_cast<xgpio::io_base*>(line.get()), static_cast<xgpio::io_base*>(counter.get())}) {
        EXPECT_EQ(at(*each, '0'), Lines{});
        offset_clock::advance_steady(5100);
        published(each->irr_hand(false));
        EXPECT_EQ(each->last_value, "0");

        // A pulse shorter than the debounce.
        EXPECT_EQ(at(*each, '1'), Lines{});
        offset_clock::advance_steady(1000);
        EXPECT_EQ(at(*each, '0'), Lines{});
        offset_clock::advance_steady(4100);
        EXPECT_EQ(at(*each, '0', false), Lines{});
        EXPECT_EQ(at(*each, '0', false), Lines{}) << "the wait is over";
        EXPECT_EQ(each->last_value, "0");

        // One that stays.
        EXPECT_EQ(at(*each, '1'), Lines{});
        offset_clock::advance_steady(4000);
        EXPECT_EQ(at(*each, '1'), Lines{});
        offset_clock::advance_steady(1100);
        EXPECT_EQ(at(*each, '1', false), Lines{each == line.get() ? level + "1 0" : total + "1.00 2"});
    }
}

TEST_F(GpioLine, CountsMovesFromZero) {
    std::tuple<char const*, char, float, int, char const*> const rows[] = {
        {R"(, "type": "water", "scale": 0.01)", '0', 0, 100, "1.000"},
        {R"(, "type": "electro", "scale": 0.01)", '0', 12.5F, 1, "12.510"},
        {R"(, "type": "water")", '0', 0, 3, "3.00"},
        {R"(, "type": "water", "inverted": true, "scale": 2.5)", '1', 10, 2, "15.00"},
        {R"(, "type": "water", "scale": 0.001)", '0', 0, 1000, "1.0000"},
    };
    for (auto const& [keys, rest, base, pulses, text] : rows) {
        char const pulse = rest == '0' ? '1' : '0';
        auto const counter = make<xgpio::io_counter>(keys);
        counter->total_base = base;
        EXPECT_EQ(at(*counter, pulse), Lines{}) << "the level at the start is no pulse";
        Lines last;
        for (int count = 0; count < pulses; ++count) {
            EXPECT_EQ(at(*counter, rest), Lines{});
            EXPECT_EQ(at(*counter, rest), Lines{});
            last = at(*counter, pulse);
            EXPECT_EQ(at(*counter, pulse), Lines{}) << "still the same pulse";
        }
        EXPECT_EQ(last, Lines{total + text + " 2"}) << keys;
    }
    auto const counter = make<xgpio::io_counter>(R"(, "type": "water")");
    at(*counter, '0');
    std::ofstream(tree.file("gpio7/value")) << "";
    EXPECT_EQ(published(counter->irr_hand(true)), Lines{}) << "what can't be read is no pulse";
    EXPECT_EQ(at(*counter, '1'), Lines{total + "1.00 2"});
    std::ofstream(tree.file("gpio7/value")) << "";
    published(counter->irr_hand(true));
    EXPECT_EQ(at(*counter, '1'), Lines{}) << "nor the end of one";
}
