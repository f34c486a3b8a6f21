#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The floors of src/, read off the #include lines: a floor knows only those below it, and no driver knows another.

namespace {

namespace fs = std::filesystem;

/// From the bottom up.
std::vector<std::string> const floors = {"foundation", "config", "transport", "runtime",
                                         "drivers",    "gpio",   "app",       "ctl"};
/// What drivers share by design.
std::set<std::string> const shared_drivers = {"modbus", "bholding", "meter"};

struct Reserved {
    char const* header;
    /// Beginnings of the paths that may include it.
    std::vector<std::string> allowed;
};

/// Libraries that one place answers for, and those that the product doesn't use at all.
std::vector<Reserved> const reserved_headers = {{"mosquitto.h", {"foundation/mq_client.cpp", "app/"}},
                                                {"termios.h", {"ctl/line/"}},
                                                {"asm/termbits.h", {"foundation/serial_line.cpp", "ctl/line/"}},
                                                {"spdlog/", {"foundation/xlog.cpp"}},
                                                {"duktape.h", {"foundation/duk_engine.cpp"}},
                                                {"modbus/", {}},
                                                {"gtest/", {}},
                                                {"gmock/", {}}};

struct Include {
    std::string file;  // below src/
    std::string header;
    bool quoted;
};

std::string piece(std::string const& path, size_t index) {
    std::istringstream stream(path);
    std::string text;
    for (size_t at = 0; at <= index; ++at) {
        if (!std::getline(stream, text, '/')) {
            return {};
        }
    }
    return text;
}

/// Place of a path's floor from the bottom; -1 for none.
int floor_of(std::string const& path) {
    auto const found = std::find(floors.begin(), floors.end(), piece(path, 0));
    return found == floors.end() ? -1 : static_cast<int>(found - floors.begin());
}

/// What is wrong with an include line; empty when nothing is.
std::string fault(Include const& include) {
    for (Reserved const& row : reserved_headers) {
        bool const meant = !include.quoted && include.header.starts_with(row.header);
        bool const allowed = std::any_of(row.allowed.begin(), row.allowed.end(),
                                         [&](std::string const& path) { return include.file.starts_with(path); });
        if (meant && !allowed) {
            return "the library is none of this file's";
        }
    }
    if (!include.quoted) {
        return {};
    }
    int const from = floor_of(include.file);
    int const to = floor_of(include.header);
    if (to < 0) {
        return "no floor";
    }
    if (to > from) {
        return "a floor above";
    }
    std::string const other = piece(include.header, 1);
    if (piece(include.file, 0) == "drivers" && to == from && other != piece(include.file, 1) &&
        !shared_drivers.contains(other)) {
        return "another driver";
    }
    return {};
}

fs::path source_root() {
    return fs::path(SOURCE_DIR) / "src";
}

std::string content_of(fs::path const& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// Path below src/ to content.
std::map<std::string, std::string> sources() {
    std::map<std::string, std::string> result;
    for (auto const& entry : fs::recursive_directory_iterator(source_root())) {
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
            result[entry.path().lexically_relative(source_root()).string()] = content_of(entry.path());
        }
    }
    return result;
}

std::vector<Include> includes_of(std::string const& file, std::string const& content) {
    static std::regex const line("^\\s*#\\s*include\\s*([\"<])([^\">]+)[\">]");
    std::vector<Include> result;
    std::istringstream stream(content);
    for (std::string text; std::getline(stream, text);) {
        if (std::smatch match; std::regex_search(text, match, line)) {
            result.push_back({file, match[2], match[1] == "\""});
        }
    }
    return result;
}

bool contains_word(std::string const& text, std::string const& word) {
    auto const is_part = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        size_t const end = at + word.size();
        if ((at == 0 || !is_part(text[at - 1])) && (end == text.size() || !is_part(text[end]))) {
            return true;
        }
    }
    return false;
}

}  // namespace

TEST(Floors, EveryIncludeHoldsThem) {
    std::map<std::string, int> files;
    int quoted = 0;
    for (auto const& [file, content] : sources()) {
        ++files[piece(file, 0)];
        for (Include const& include : includes_of(file, content)) {
            quoted += include.quoted ? 1 : 0;
            EXPECT_EQ(fault(include), "") << "src/" << file << " includes " << include.header;
        }
    }
    for (auto const& [folder, count] : files) {
        EXPECT_GE(floor_of(folder), 0) << "src/" << folder << " belongs to no floor";
    }
    // Without them the reading itself would be at fault.
    EXPECT_GE(files.size(), floors.size() - 1);
    EXPECT_GT(quoted, 100);
}

TEST(Floors, NothingBelowNamesADriver) {
    std::vector<std::string> drivers;
    for (auto const& entry : fs::directory_iterator(source_root() / "drivers")) {
        drivers.push_back(entry.path().filename().string());
    }
    ASSERT_GE(drivers.size(), 3U);
    int const drivers_floor = floor_of("drivers");
    for (auto const& [file, content] : sources()) {
        if (floor_of(file) >= drivers_floor) {
            continue;
        }
        for (std::string const& driver : drivers) {
            EXPECT_FALSE(contains_word(content, driver)) << "src/" << file << " names " << driver;
        }
    }
}
