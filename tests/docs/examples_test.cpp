#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/writer.h>

#include "app/normalise.h"
#include "config/config.h"
#include "config/constants.h"
#include "config/cport.h"
#include "foundation/jutils.h"
#include "gpio/config.h"
#include "support/log_capture.h"

// What the documentation shows has to work: every example is loaded as the program would load it.

namespace {

namespace fs = std::filesystem;

struct Document {
    std::string origin;  // file, and line where the document begins
    Json::Value json;
};

fs::path root() {
    return SOURCE_DIR;
}

std::vector<fs::path> files_in(fs::path const& folder, std::string const& extension) {
    std::vector<fs::path> result;
    for (auto const& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == extension) {
            result.push_back(entry.path());
        }
    }
    return result;
}

std::vector<fs::path> pages() {
    std::vector<fs::path> result = files_in(root() / "docs", ".md");
    for (auto const& entry : fs::directory_iterator(root())) {
        if (entry.path().extension() == ".md") {
            result.push_back(entry.path());
        }
    }
    return result;
}

/// The documents in the fences of a page that open with ```json; fragments stand in those of ```jsonc.
std::vector<Document> fenced(fs::path const& page) {
    std::vector<Document> result;
    std::ifstream file(page);
    std::string block;
    std::string origin;
    bool inside = false;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (!inside) {
            inside = line == "```json";
            origin = page.string() + ":" + std::to_string(number);
            block.clear();
        } else if (line != "```") {
            block += line + "\n";
        } else {
            inside = false;
            Json::Value json;
            EXPECT_TRUE(xCommon::jUtils::Parse(block, json)) << origin << " : no JSON";
            result.push_back({origin, json});
        }
    }
    EXPECT_FALSE(inside) << origin << " : the fence has no end";
    return result;
}

std::vector<Document> all_fenced() {
    std::vector<Document> result;
    for (fs::path const& page : pages()) {
        for (Document& document : fenced(page)) {
            result.push_back(std::move(document));
        }
    }
    return result;
}

bool is_configuration(Json::Value const& json) {
    return json.isObject() && json.isMember("ports");
}

bool is_template(Json::Value const& json) {
    return json.isObject() && json.isMember("name") && json["params"].isArray() && !json["params"].empty();
}

std::vector<Document> configurations() {
    std::vector<Document> result;
    for (fs::path const& path : files_in(root() / "examples", ".json")) {
        result.push_back({path.string(), xCommon::jUtils::Load(path.string())});
    }
    for (Document& document : all_fenced()) {
        if (is_configuration(document.json)) {
            result.push_back(std::move(document));
        }
    }
    return result;
}

/// Puts the templates of the package, and those that the pages show, where the configuration looks for them.
void install_templates() {
    fs::create_directories(path_templates);
    for (fs::path const& path : files_in(root() / "templates", ".json")) {
        fs::copy_file(path, fs::path(path_templates) / path.filename(), fs::copy_options::overwrite_existing);
    }
    for (Document const& document : all_fenced()) {
        if (!is_configuration(document.json) && is_template(document.json)) {
            std::ofstream(fs::path(path_templates) / (document.json["name"].asString() + ".json")) << document.json;
        }
    }
}

/// Without the line for an empty list: a file of GPIO lines alone has no ports, and a bridge no parameters.
std::vector<std::string> errors_in(LogCapture const& log) {
    std::vector<std::string> result;
    for (std::string const& entry : log.entries()) {
        if (entry.starts_with("[3]") && !entry.ends_with("] Load : список пуст.")) {
            result.push_back(entry);
        }
    }
    return result;
}

size_t devices_made(Config const& config) {
    size_t result = 0;
    for (auto const& port : config.ports.children) {
        result += port->children.size();
    }
    return result;
}

/// Devices of a file, without those of the GPIO driver, which become no nodes of the tree.
size_t devices_in(Json::Value const& json) {
    size_t result = 0;
    for (Json::Value const& port : json["ports"]) {
        if (port["connection"]["type"] != "xgpio") {
            result += port["devices"].size();
        }
    }
    return result;
}

}  // namespace

TEST(Examples, EveryConfigurationLoadsWithoutAComplaint) {
    install_templates();
    std::vector<Document> const documents = configurations();
    ASSERT_GE(documents.size(), 8U);
    for (Document const& document : documents) {
        SCOPED_TRACE(document.origin);
        LogCapture const log;
        Normalised normalised = normalise(document.json);
        std::unique_ptr<Config> const config(Config::Load(normalised.config));
        ASSERT_NE(config, nullptr);
        // Each device that is shown is there in the end: a port in the connection shape can vanish without a line.
        size_t const devices = devices_in(document.json);
        EXPECT_GE(devices, normalised.is_xgpio ? 0U : 1U);
        EXPECT_EQ(devices_made(*config), devices);
        if (normalised.is_xgpio) {
            auto const gpio = xgpio::config_t::Load(normalised.xgpio);
            ASSERT_NE(gpio, nullptr);
            EXPECT_EQ(gpio->channels.size(), normalised.xgpio["channels"].size());
        }
        EXPECT_EQ(errors_in(log), std::vector<std::string>());
    }
}

TEST(Examples, EveryFenceIsAWholeConfigurationOrTemplate) {
    for (Document const& document : all_fenced()) {
        EXPECT_TRUE(is_configuration(document.json) || is_template(document.json)) << document.origin;
    }
}

TEST(Examples, EveryTemplateBearsTheNameOfItsFile) {
    std::vector<fs::path> const paths = files_in(root() / "templates", ".json");
    ASSERT_FALSE(paths.empty());
    for (fs::path const& path : paths) {
        Json::Value const json = xCommon::jUtils::Load(path.string());
        EXPECT_TRUE(is_template(json)) << path;
        EXPECT_EQ(json["name"].asString(), path.stem().string());
    }
}

TEST(Examples, EveryLinkOfTheDocumentationLeadsToAFile) {
    int links = 0;
    for (fs::path const& page : pages()) {
        std::ostringstream content;
        content << std::ifstream(page).rdbuf();
        std::string const text = content.str();
        for (size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 1)) {
            std::string target = text.substr(at + 2, text.find(')', at) - at - 2);
            if (target.find("://") != std::string::npos) {
                continue;
            }
            target.resize(std::min(target.size(), target.find('#')));
            ++links;
            EXPECT_TRUE(target.empty() || fs::exists(page.parent_path() / target)) << page << " : " << target;
        }
    }
    EXPECT_GT(links, 0);
}
