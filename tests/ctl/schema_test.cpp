#include "ctl/schema/schema.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "ctl/check/check.h"
#include "ctl/json_text.h"
#include "ctl/mutations.h"
#include "foundation/jutils.h"
#include "foundation/xmisc.h"
#include "support/temp_folder.h"

namespace {

/// For a type, a word, a limit, or something missing; that may stand in the template, if there is one.
bool is_refused(std::vector<Finding> const& findings, bool has_template) {
    return std::any_of(findings.begin(), findings.end(), [has_template](Finding const& finding) {
        auto const has = [&finding](char const* piece) { return finding.text.find(piece) != std::string::npos; };
        return finding.is_error && (has("allowed:") || (has("is missing") && !has_template) || has("isn't known"));
    });
}

/// The schema judges what the daemon finds out when it runs, too.
bool is_good(std::vector<Finding> const& findings) {
    return std::none_of(findings.begin(), findings.end(),
                        [](Finding const& finding) { return finding.is_error || finding.name == "personal-line"; });
}

void judge(Json::Value const& schema, Json::Value const& documents) {
    TempFolder const folder;
    std::string const result = xCommon::xSystem::ExecAndGetResult(
        "python3 " SOURCE_DIR "/tests/ctl/validate.py " + folder.write("schema.json", json_text(schema)) + " " +
        folder.write("documents.json", json_text(documents)) + " 2>&1");
    EXPECT_EQ(result, std::to_string(documents.size()) + " documents");
}

void add(Json::Value& documents, std::string const& name, Json::Value const& document, bool refused) {
    Json::Value row;
    row["name"] = name;
    row["document"] = document;
    row["refused"] = refused;
    documents.append(row);
}

}  // namespace

TEST(Schema, PassesTheSamplesAndRefusesWhatTheCheckRefuses) {
    TempFolder const folder;
    Json::Value documents(Json::arrayValue);
    for (Mutation const& good : good_configurations()) {
        std::string const text = json_text(good.config);
        if (text.find("\"connection\"") != std::string::npos && !good.name.ends_with(".json")) {
            continue;
        }
        if (!is_good(check(folder.write("c.json", text)))) {
            continue;
        }
        add(documents, good.name, good.config, false);
        bool const has_template = text.find("\"templ\"") != std::string::npos;
        bool const is_large = good.name == "demo.json";
        for (Mutation const& mutation : mutations(good, is_large ? 29 : good.name.ends_with(".json") ? 5 : 23)) {
            std::string const changed = json_text(mutation.config);
            if (changed.find("\"connection\"") == std::string::npos &&
                is_refused(check(folder.write("c.json", changed)), has_template)) {
                add(documents, mutation.name, mutation.config, true);
            }
        }
    }
    EXPECT_GE(documents.size(), 200U);
    judge(configuration_schema(), documents);
}

TEST(Schema, PassesTheTemplatesOfThePackage) {
    Json::Value documents(Json::arrayValue);
    for (auto const& entry : std::filesystem::directory_iterator(SOURCE_DIR "/templates")) {
        Json::Value const json = xCommon::jUtils::Load(entry.path());
        add(documents, entry.path().filename(), json, false);
        Json::Value changed = json;
        changed["params"][0]["poll_interval"] = "often";
        add(documents, "changed", changed, true);
    }
    judge(template_schema(), documents);
}
