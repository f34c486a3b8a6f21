#include <chrono>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "foundation/xlog.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using xCommon::LogItem;
using xCommon::xLog;

namespace {

std::string content(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// What the call writes to standard error.
template <typename Call>
std::string on_stderr(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(Log, LineHasTimeLevelNodeAndText) {
    TempFolder const folder;
    xLog log(folder.path(), "a.log", 1, true, false);
    std::string const node = "котёл_5";
    log.write(xCommon::lmtError, &node, "текст 100% %s {} \t.");
    // A line of level 3 is there without a flush.
    std::string const line = content(folder.file("a.log"));
    std::regex const form(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[3\] \[котёл_5\] текст 100% %s \{\} \t\.\n)");
    EXPECT_TRUE(std::regex_match(line, form)) << line;
}

TEST(Log, WhileItIsQuietOnlyExchangesThatFailShow) {
    LogCapture const log(false);
    LogItem const node(nullptr, "n");
    auto const exchange = [&](char const* name, auto outcome) {
        xCommon::LogExchange const scope;
        node.Logf(xCommon::lmtInfo, "%s begins", name);
        node.Logf(xCommon::lmtIgnored, "%s goes on", name);
        outcome();
        node.Logf(xCommon::lmtInfo, "%s ends", name);
    };
    xLog::gv->set_quiet(true);
    exchange("good", [] {});
    exchange("bad", [&] { node.Log(xCommon::lmtError, "error"); });
    exchange("mute", [] { xCommon::LogExchange::fail(); });
    EXPECT_THROW(exchange("raising", [] { throw 1; }), int);
    node.Log(xCommon::lmtInfo, "outside");
    xLog::gv->set_debug(true);
    exchange("traced", [] {});
    EXPECT_THAT(log.entries(),
                ElementsAre("[1] [n] bad begins", "[2] [n] bad goes on", "[3] [n] error", "[1] [n] bad ends",
                            "[1] [n] mute begins", "[2] [n] mute goes on", "[1] [n] mute ends",
                            "[1] [n] raising begins", "[2] [n] raising goes on", "[1] [n] outside",
                            "[1] [n] traced begins", "[2] [n] traced goes on", "[1] [n] traced ends"));
}

TEST(Log, OnlyTracesDependOnDetail) {
    LogCapture const log(false);
    LogItem const node(nullptr, "node");
    for (xCommon::LMT const type : {xCommon::lmtInfo, xCommon::lmtIgnored, xCommon::lmtError, xCommon::lmtTrace}) {
        node.Logf(type, "%s %d", "line", static_cast<int>(type));
        xCommon::global_log(type, "global");
    }
    xLog::gv->set_debug(true);
    node.Log(xCommon::lmtTrace, "first\n\nthird\n");
    EXPECT_THAT(log.entries(), ElementsAre("[1] [node] line 1", "[1] global", "[2] [node] line 2", "[2] global",
                                           "[3] [node] line 3", "[3] global", "[4] [node] first\n\nthird\n"));
}

TEST(Log, HexIsOneEntryWhateverTheDetail) {
    LogCapture const log(false);
    unsigned char const bytes[] = {0x00, 0x0A, 0xFF, 0x7E};
    xLog::gv->PrintHex(bytes, sizeof(bytes), "запрос 100%");
    xLog::gv->PrintHex(bytes, 0, "пусто");
    xLog::gv->PrintHex(bytes, -1, "пусто");
    xLog::gv->PrintHex(nullptr, 4, "пусто");
    EXPECT_THAT(log.entries(), ElementsAre(HasSubstr("запрос 100% : 00 0A FF 7E"), HasSubstr("пусто"),
                                           HasSubstr("пусто"), HasSubstr("пусто")));
}

TEST(Log, AppendsToWhatIsThere) {
    TempFolder const folder;
    folder.write("a.log", "of the former image\n");
    {
        xLog log(folder.path(), "a.log", 1, false, false);
        log.Log(xCommon::lmtInfo, "first");
        log.set_max_size(3);
        log.Log(xCommon::lmtInfo, "second");
    }
    EXPECT_THAT(content(folder.file("a.log")),
                testing::MatchesRegex("of the former image\n[^\n]*first\n[^\n]*second\n"));
}

TEST(Log, LinesReachTheFileByThemselves) {
    TempFolder const folder;
    xLog log(folder.path(), "a.log", 1, false, false);
    for (char const* text : {"the first", "the second"}) {
        log.Log(xCommon::lmtInfo, std::string(text));
        EXPECT_TRUE(wait_until([&] { return content(folder.file("a.log")).find(text) != std::string::npos; },
                               std::chrono::seconds(5)));
    }
}

TEST(Log, RotationKeepsThreeOldFiles) {
    TempFolder const folder;
    xLog log(folder.path(), "a.log", 1, false, false);
    std::string const filling(64 * 1024, 'x');
    constexpr int lines = 100;  // more than six files full
    for (int number = 0; number < lines; ++number) {
        log.Logf(xCommon::lmtInfo, "%d %s", number, xCommon::Whole{filling});
    }
    log.Log(xCommon::lmtError, "the last");
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder.path())) {
        names.push_back(entry.path().filename().string());
        EXPECT_LE(entry.file_size(), 1024U * 1024U) << names.back();
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("a.log", "a.1.log", "a.2.log", "a.3.log"));
    EXPECT_THAT(content(folder.file("a.log")), HasSubstr("the last"));

    // A new limit holds for the open file; 0 counts as 1.
    xLog other(folder.path(), "b.log", 5, false, false);
    std::string const large(900 * 1024, 'x');
    other.write(xCommon::lmtInfo, nullptr, large);
    other.set_max_size(0);
    other.write(xCommon::lmtInfo, nullptr, large);
    other.flush();
    EXPECT_TRUE(std::filesystem::exists(folder.file("b.1.log")));
}

TEST(Log, FolderIsMadeAndAFaultyOneIsReported) {
    TempFolder const folder;
    std::string const quiet = on_stderr([&] {
        xLog log(folder.file("deep/er"), "a.log", 1, false, false);
        log.Log(xCommon::lmtError, "in the file");
    });
    EXPECT_EQ(quiet, "");
    EXPECT_THAT(content(folder.file("deep/er/a.log")), HasSubstr("in the file"));

    folder.write("file", "");
    std::string const reported = on_stderr([&] {
        xLog log(folder.file("file/logs"), "a.log", 1, false, false);
        log.Log(xCommon::lmtInfo, "on the screen");
        log.Log(xCommon::lmtTrace, "not at all");
        log.set_max_size(2);
        log.flush();
        log.Log(xCommon::lmtError, "again");
    });
    EXPECT_THAT(reported, testing::AllOf(HasSubstr(folder.file("file/logs/a.log")), HasSubstr("[1] on the screen\n"),
                                         HasSubstr("[3] again\n"), Not(HasSubstr("not at all"))));
}

TEST(Log, RotationThatFailsLosesNoLine) {
    TempFolder const folder;
    std::string const filling(900 * 1024, 'x');
    std::string const reported = on_stderr([&] {
        xLog log(folder.file("logs"), "a.log", 1, false, false);
        log.write(xCommon::lmtInfo, nullptr, filling);
        log.flush();
        std::filesystem::remove_all(folder.file("logs"));
        folder.write("logs", "in its place");
        log.write(xCommon::lmtInfo, nullptr, "the line that rotates " + filling);
        log.Log(xCommon::lmtInfo, "the next");
    });
    EXPECT_THAT(reported, testing::AllOf(HasSubstr("the line that rotates"), HasSubstr("[1] the next\n"),
                                         HasSubstr("не удалось записать лог")));
}

TEST(Log, SecondCopiesEachLine) {
    TempFolder const folder;
    std::string const copied = on_stderr([&] {
        xLog log(folder.path(), "a.log", 1, false, true);
        log.Log(xCommon::lmtInfo, "both\nplaces");
        log.set_second(false);
        log.Log(xCommon::lmtInfo, "file alone");
    });
    EXPECT_THAT(copied, HasSubstr("[1] both\nplaces\n"));
    EXPECT_THAT(copied, Not(HasSubstr("file alone")));
    EXPECT_THAT(content(folder.file("a.log")), testing::AllOf(HasSubstr("both\nplaces\n"), HasSubstr("file alone\n")));
}

TEST(Log, WithoutALogLinesAreDropped) {
    ASSERT_EQ(xLog::gv, nullptr);
    LogItem const node(nullptr, "node");
    EXPECT_EQ(on_stderr([&] {
                  node.Log(xCommon::lmtError, "x");
                  node.Logf(xCommon::lmtError, "%s", "x");
                  xCommon::global_logf(xCommon::lmtError, "%s", "x");
              }),
              "");
}

TEST(Log, LinesOfSeveralThreadsStayWhole) {
    LogCapture const log;
    constexpr int lines = 300;
    std::map<std::string, int> next = {{"t0", 0}, {"t1", 0}, {"t2", 0}, {"t3", 0}};
    {
        std::vector<std::jthread> writers;
        for (auto const& [name, first] : next) {
            writers.emplace_back([&name = name] {
                LogItem const node(nullptr, name);
                for (int line = 0; line < lines; ++line) {
                    node.Logf(line % 2 == 0 ? xCommon::lmtInfo : xCommon::lmtError, "line %d\nsecond half", line);
                }
            });
        }
        xLog::gv->set_debug(false);
        xLog::gv->set_max_size(7);
    }
    for (std::string const& entry : log.entries()) {
        std::string const name = entry.substr(5, 2);
        int const number = next[name]++;
        EXPECT_EQ(entry,
                  xCommon::xString::Format("[%d] [%s] line %d\nsecond half", number % 2 == 0 ? 1 : 3, name, number));
    }
    EXPECT_THAT(next, testing::Each(testing::Pair(testing::_, lines)));
    EXPECT_EQ(next.size(), 4U);
}
