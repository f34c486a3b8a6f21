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
        if (!good.name.ends_with(".json")) {
            continue;
        }
        add(documents, good.name, good.config, false);
        bool const is_large = good.name == "demo.json";
        for (Mutation const& mutation : mutations(good, is_large ? 29 : 3)) {
            bool const is_plain = mutation.config.toStyledString().find("\"connection\"") == std::string::npos;
            std::string const path = folder.write("c.json", json_text(mutation.config));
            if (is_plain && is_refused(check(path), good.name == "template.json")) {
                add(documents, mutation.name, mutation.config, true);
            }
        }
    }
    EXPECT_GE(documents.size(), 100U);
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
