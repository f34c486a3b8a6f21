#include <algorithm>
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
std::vector<std::string> const floors = {"foundation", "config", "transport", "runtime", "drivers",
                                         "gpio",       "topics", "discovery", "app",     "ctl"};
/// What drivers share by design.
std::set<std::string> const shared_drivers = {"modbus", "bholding", "meter"};

/// Headers of libraries that one place answers for, with the beginnings of the paths that may include them; and those
/// that the product doesn't use at all.
std::map<std::string, std::vector<std::string>> const reserved_headers = {
    {"mosquitto.h", {"foundation/mq_client.cpp", "foundation/tls_context.cpp", "app/", "ctl/watch/broker_link.cpp"}},
    {"openssl/", {"foundation/tls_context.cpp", "foundation/sha256.cpp"}},
    {"termios.h", {"ctl/line/"}},
    {"asm/termbits.h", {"foundation/serial_line.cpp", "ctl/line/"}},
    {"spdlog/", {"foundation/xlog.cpp"}},
    {"duktape.h", {"foundation/duk_engine.cpp"}},
    {"modbus/", {}},
    {"gtest/", {}},
    {"gmock/", {}}};

/// Frames: bytes in, bytes out.
std::set<std::string> const frame_sources = {"pdu", "frame", "mac_frame", "data_reply"};

fs::path const source_root = fs::path(SOURCE_DIR) / "src";

/// One of the names between the slashes of a path; empty behind the last.
std::string piece(fs::path const& path, int index) {
    return index < std::distance(path.begin(), path.end()) ? std::next(path.begin(), index)->string() : "";
}

/// Place of a path's floor from the bottom; -1 for none.
long floor_of(fs::path const& path) {
    auto const found = std::find(floors.begin(), floors.end(), piece(path, 0));
    return found == floors.end() ? -1 : found - floors.begin();
}

/// What is wrong with an include line; empty when nothing is.
std::string fault(std::string const& file, std::string const& header, bool quoted) {
    for (auto const& [reserved, allowed] : reserved_headers) {
        if (!quoted && header.starts_with(reserved) &&
            std::none_of(allowed.begin(), allowed.end(), [&](auto const& path) { return file.starts_with(path); })) {
            return "the library is none of this file's";
        }
    }
    if (!quoted) {
        return {};
    }
    if (floor_of(header) < 0 || floor_of(header) > floor_of(file)) {
        return "no floor below";
    }
    bool const is_frame = file.starts_with("drivers/") && frame_sources.contains(fs::path(file).stem().string());
    if (is_frame && (piece(header, 0) == "runtime" || header == "foundation/xlog.h" || header == "config/process.h")) {
        return "a frame has neither log nor line";
    }
    bool const is_other = piece(header, 0) == "drivers" && piece(file, 0) == "drivers" &&
                          piece(header, 1) != piece(file, 1) && !shared_drivers.contains(piece(header, 1));
    return is_other ? "another driver" : "";
}

/// Path below src/ to content.
std::map<std::string, std::string> sources() {
    std::map<std::string, std::string> result;
    for (auto const& entry : fs::recursive_directory_iterator(source_root)) {
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
            std::ostringstream content;
            content << std::ifstream(entry.path()).rdbuf();
            result[entry.path().lexically_relative(source_root).string()] = content.str();
        }
    }
    return result;
}

}  // namespace

TEST(Floors, EveryIncludeHoldsThem) {
    static std::regex const line("^\\s*#\\s*include\\s*([\"<])([^\">]+)[\">]");
    std::set<std::string> folders;
    int quoted = 0;
    for (auto const& [file, content] : sources()) {
        folders.insert(piece(file, 0));
        EXPECT_GE(floor_of(file), 0) << "src/" << file << " belongs to no floor";
        std::istringstream stream(content);
        for (std::string text; std::getline(stream, text);) {
            if (std::smatch match; std::regex_search(text, match, line)) {
                quoted += match[1] == "\"" ? 1 : 0;
                EXPECT_EQ(fault(file, match[2], match[1] == "\""), "") << "src/" << file << " includes " << match[2];
            }
        }
    }
    // Without them the reading itself would be at fault.
    EXPECT_GE(folders.size(), floors.size() - 1);
    EXPECT_GT(quoted, 100);
}

TEST(Floors, NothingBelowNamesADriver) {
    std::string drivers;
    for (auto const& entry : fs::directory_iterator(source_root / "drivers")) {
        drivers += (drivers.empty() ? "" : "|") + entry.path().filename().string();
    }
    ASSERT_GE(std::count(drivers.begin(), drivers.end(), '|'), 2);
    std::regex const word("\\b(" + drivers + ")\\b");
    for (auto const& [file, content] : sources()) {
        std::smatch match;
        EXPECT_FALSE(floor_of(file) < floor_of("drivers") && std::regex_search(content, match, word))
            << "src/" << file << " names " << match.str();
    }
}
