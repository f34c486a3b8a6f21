#include "ctl/mutations.h"

#include <filesystem>
#include <fstream>
#include <functional>

#include "config/constants.h"
#include "ctl/scenario/scenario.h"
#include "foundation/jutils.h"

namespace {

namespace fs = std::filesystem;

using Change = std::function<void(Json::Value& parent, std::string const& key)>;

struct Row {
    char const* name;
    Change change;
};

Change put(Json::Value const& value) {
    return [value](Json::Value& parent, std::string const& key) { parent[key] = value; };
}

/// Elements of a list are changed in their members alone.
std::vector<Row> const& rows() {
    static std::vector<Row> const all = {
        {"gone", [](Json::Value& parent, std::string const& key) { parent.removeMember(key); }},
        {"null", put(Json::Value())},
        {"a number", put(70000)},
        {"below", put(-1)},
        {"a fraction", put(2.5)},
        {"huge", put(1e12)},
        {"a word", put("noword")},
        {"empty", put("")},
        {"a flag", put(true)},
        {"a list", put(Json::Value(Json::arrayValue))},
        {"an object", put(Json::Value(Json::objectValue))},
        {"long", put(std::string(5000, 'x'))},
        {"nested",
         [](Json::Value& parent, std::string const& key) {
             Json::Value list(Json::arrayValue);
             list.append(parent[key]);
             parent[key] = list;
         }},
        {"renamed",
         [](Json::Value& parent, std::string const& key) {
             parent[key + "x"] = parent[key];
             parent.removeMember(key);
         }},
    };
    return all;
}

void each_member(Json::Value& node, std::string const& path,
                 std::function<void(Json::Value&, std::string const&, std::string const&)> const& visit) {
    if (node.isObject()) {
        for (std::string const& key : node.getMemberNames()) {
            visit(node, key, path + "." + key);
            each_member(node[key], path + "." + key, visit);
        }
    } else if (node.isArray()) {
        for (Json::ArrayIndex index = 0; index < node.size(); ++index) {
            each_member(node[index], path + "[" + std::to_string(index) + "]", visit);
        }
    }
}

}  // namespace

std::vector<Mutation> good_configurations() {
    fs::path const root = SOURCE_DIR;
    fs::create_directories(path_templates);
    std::vector<Mutation> result;
    for (auto const& entry : fs::directory_iterator(root / "templates")) {
        fs::copy_file(entry.path(), fs::path(path_templates) / entry.path().filename(),
                      fs::copy_options::overwrite_existing);
    }
    for (auto const& entry : fs::directory_iterator(root / "examples")) {
        result.push_back({entry.path().filename(), xCommon::jUtils::Load(entry.path())});
    }
    for (auto const& entry : fs::recursive_directory_iterator(root / "tests/scenarios")) {
        if (entry.path().extension() == ".scn") {
            Scenario const scenario = Scenario::read(entry.path(), entry.path().stem());
            for (auto const& [name, text] : scenario.templates) {
                std::ofstream(fs::path(path_templates) / name) << text;
            }
            result.push_back({entry.path().filename(), scenario.whole_config()});
        }
    }
    return result;
}

std::vector<Mutation> mutations(Mutation const& good, size_t step) {
    std::vector<Mutation> result;
    size_t number = std::hash<std::string>()(good.name) % step;
    Json::Value copy = good.config;
    each_member(copy, good.name, [&](Json::Value& parent, std::string const& key, std::string const& path) {
        for (Row const& row : rows()) {
            if (++number % step != 0) {
                continue;
            }
            Json::Value const kept = parent;
            row.change(parent, key);
            result.push_back({path + " " + row.name, copy});
            parent = kept;
        }
    });
    return result;
}
