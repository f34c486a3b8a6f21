#include "app/options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/constants.h"

TEST(Options, WordsOfTheCommandLine) {
    struct Row {
        char const* guards;
        std::vector<std::string> words;
        std::string config_path;
        bool config_given;
        std::string log_name;
        std::string flags;  // of d, h, v
    };
    std::string const& usual = path_log_name;
    Row const rows[] = {
        {"none", {}, "", false, usual, ""},
        {"each", {"-c", "/a.json", "-l", "b.log", "-d", "-h", "-v"}, "/a.json", true, "b.log", "dhv"},
        {"joined", {"-dhvc/a.json"}, "/a.json", true, usual, "dhv"},
        {"unknown ones in between", {"-x", "-d", "-zv", "--xyz", "-h"}, "", false, usual, "dhv"},
        {"words that are no options", {"start", "-d", "now", "-v"}, "", false, usual, "dv"},
        {"the last one wins", {"-c", "/a", "-c", "/b"}, "/b", true, usual, ""},
        {"an argument is missing", {"-d", "-c"}, "", false, usual, "d"},
        {"an empty path", {"-c", ""}, "", true, usual, ""},
        {"behind the end of options", {"-d", "--", "-v"}, "", false, usual, "d"},
        {"a path like an option", {"-c", "-d"}, "-d", true, usual, ""},
    };
    for (Row const& row : rows) {
        std::vector<std::string> words = {"ostrand"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        std::vector<char*> const before = arguments;

        testing::internal::CaptureStderr();
        Options const options = Options::parse(static_cast<int>(words.size()), arguments.data());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << row.guards;
        EXPECT_EQ(options.config_path, row.config_path) << row.guards;
        EXPECT_EQ(options.config_given, row.config_given) << row.guards;
        EXPECT_EQ(options.log_name, row.log_name) << row.guards;
        EXPECT_EQ(std::string(options.debug ? "d" : "") + (options.print_hex ? "h" : "") + (options.verbose ? "v" : ""),
                  row.flags)
            << row.guards;
        // The next image of the process gets them in the same order.
        EXPECT_EQ(arguments, before) << row.guards;
    }
}
