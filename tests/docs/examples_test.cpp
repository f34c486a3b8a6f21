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
#include "ctl/key_table.h"
#include "foundation/jutils.h"
#include "gpio/config.h"
#include "support/log_capture.h"

// What the documentation shows has to work: every example is loaded as the program would load it.

namespace {

namespace fs = std::filesystem;

struct Document {
    std::string origin;
    Json::Value json;
};

fs::path const root = SOURCE_DIR;

std::vector<fs::path> files_in(std::string const& folder, std::string const& extension) {
    std::vector<fs::path> result;
    for (auto const& entry : fs::recursive_directory_iterator(root / folder)) {
        if (entry.path().extension() == extension) {
            result.push_back(entry.path());
        }
    }
    return result;
}

std::vector<fs::path> pages() {
    std::vector<fs::path> result = files_in("docs", ".md");
    for (auto const& entry : fs::directory_iterator(root)) {
        if (entry.path().extension() == ".md") {
            result.push_back(entry.path());
        }
    }
    return result;
}

std::string content_of(fs::path const& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// The documents in the fences of all pages that open with ```json; fragments stand in those of ```jsonc.
std::vector<Document> fenced() {
    static std::string const opening = "\n```json\n";
    std::vector<Document> result;
    for (fs::path const& page : pages()) {
        std::string const text = content_of(page);
        for (size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at)) {
            at += opening.size();
            std::string const block = text.substr(at, text.find("\n```\n", at) - at);
            result.push_back({page.string() + " : " + block.substr(0, 200), {}});
            EXPECT_TRUE(xCommon::jUtils::Parse(block, result.back().json)) << result.back().origin << " : no JSON";
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

}  // namespace

TEST(Examples, EveryConfigurationLoadsWithoutAComplaint) {
    // The templates of the package, and those that the pages show, where the configuration looks for them.
    fs::create_directories(path_templates);
    for (fs::path const& path : files_in("templates", ".json")) {
        fs::copy_file(path, fs::path(path_templates) / path.filename(), fs::copy_options::overwrite_existing);
    }
    std::vector<Document> documents;
    for (fs::path const& path : files_in("examples", ".json")) {
        documents.push_back({path.string(), xCommon::jUtils::Load(path.string())});
    }
    for (Document const& document : fenced()) {
        EXPECT_TRUE(is_configuration(document.json) || is_template(document.json)) << document.origin;
        if (is_configuration(document.json)) {
            documents.push_back(document);
        } else {
            std::ofstream(fs::path(path_templates) / (document.json["name"].asString() + ".json")) << document.json;
        }
    }
    ASSERT_GE(documents.size(), 8U);
    for (Document const& document : documents) {
        SCOPED_TRACE(document.origin);
        LogCapture const log;
        Normalised normalised = normalise(document.json);
        std::unique_ptr<Config> const config(Config::Load(normalised.config));
        ASSERT_NE(config, nullptr);
        // Each device that is shown is there in the end: a port in the connection shape can vanish without a line.
        // Those of the GPIO driver become no nodes of the tree.
        size_t shown = 0;
        for (Json::Value const& port : document.json["ports"]) {
            shown += port["connection"]["type"] != "xgpio" ? port["devices"].size() : 0;
        }
        size_t made = 0;
        for (auto const& port : config->ports.children) {
            made += port->children.size();
        }
        EXPECT_GE(shown, normalised.is_xgpio ? 0U : 1U);
        EXPECT_EQ(made, shown);
        if (normalised.is_xgpio) {
            auto const gpio = xgpio::config_t::Load(normalised.xgpio);
            ASSERT_NE(gpio, nullptr);
            EXPECT_EQ(gpio->channels.size(), normalised.xgpio["channels"].size());
        }
        // A file of GPIO lines alone has no ports, and a bridge no parameters.
        for (std::string const& entry : log.entries()) {
            EXPECT_TRUE(!entry.starts_with("[3]") || entry.ends_with("] Load : список пуст.")) << entry;
        }
    }
}

TEST(Examples, EveryTemplateBearsTheNameOfItsFile) {
    std::vector<fs::path> const paths = files_in("templates", ".json");
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
        std::string const text = content_of(page);
        for (size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 1)) {
            std::string target = text.substr(at + 2, text.find(')', at) - at - 2);
            if (target.find("://") == std::string::npos) {
                target.resize(std::min(target.size(), target.find('#')));
                ++links;
                EXPECT_TRUE(target.empty() || fs::exists(page.parent_path() / target)) << page << " : " << target;
            }
        }
    }
    EXPECT_GT(links, 0);
}

TEST(Examples, EveryTableOfKeysIsTheOneThatScriptsDocsWrites) {
    static std::string const opening = "\n<!-- keys ";
    int tables = 0;
    for (fs::path const& page : files_in("docs", ".md")) {
        bool const russian = page.string().starts_with((root / "docs/ru/").string());
        std::string const text = content_of(page);
        for (size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at), ++tables) {
            at += opening.size();
            std::string const key = text.substr(at, text.find(" -->\n", at) - at);
            at = text.find('\n', at) + 1;
            SCOPED_TRACE(page.string() + " : " + key);
            EXPECT_NO_THROW(EXPECT_EQ(text.substr(at, text.find("<!-- end -->", at) - at), key_table(key, russian)));
        }
    }
    EXPECT_GT(tables, 0);
}
