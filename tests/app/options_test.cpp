#include "app/options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/constants.h"

TEST(Options, WordsOfTheCommandLine) {
    // The words, and what comes of them : path of the configuration, name of the log, flags.
    std::pair<std::vector<std::string>, std::string> const rows[] = {
        {{}, "none, usual, "},
        {{"-c", "/a.json", "-l", "b.log", "-d", "-h", "-v"}, "/a.json, b.log, dhv"},
        {{"-dhvc/a.json"}, "/a.json, usual, dhv"},
        {{"-x", "-d", "-zv", "--xyz", "-h"}, "none, usual, dhv"},
        {{"start", "-d", "now", "-v"}, "none, usual, dv"},
        {{"-c", "/a", "-c", "/b"}, "/b, usual, "},
        {{"-d", "-c"}, "none, usual, d"},
        {{"-c", ""}, ", usual, "},
        {{"-d", "--", "-v"}, "none, usual, d"},
        {{"-c", "-d"}, "-d, usual, "},
    };
    for (auto const& [given, result] : rows) {
        SCOPED_TRACE(result);
        std::vector<std::string> words = {"ostrand"};
        words.insert(words.end(), given.begin(), given.end());
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        std::vector<char*> const before = arguments;

        testing::internal::CaptureStderr();
        Options const options = Options::parse(static_cast<int>(words.size()), arguments.data());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ((options.config_given ? "" : "none") + options.config_path + ", " +
                      (options.log_name == path_log_name ? "usual" : options.log_name) + ", " +
                      (options.debug ? "d" : "") + (options.print_hex ? "h" : "") + (options.verbose ? "v" : ""),
                  result);
        // The next image of the process gets them in the same order.
        EXPECT_EQ(arguments, before);
    }
}
