#include "ctl/check/finding.h"

#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "foundation/xstring.h"

using xCommon::xString;

std::string as_text(std::vector<Finding> const& findings) {
    std::string text;
    for (Finding const& finding : findings) {
        text += finding.file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": ";
        text += finding.is_error ? say("error") : say("warning");
        for (std::string const& piece : {finding.path, xString::Shown(finding.key), finding.text}) {
            text += piece.empty() ? "" : ": " + piece;
        }
        text += finding.name.empty() ? "\n" : " [" + finding.name + "]\n";
    }
    return text;
}

std::string as_json(std::vector<Finding> const& findings) {
    Json::Value list(Json::arrayValue);
    for (Finding const& finding : findings) {
        Json::Value row;
        row["file"] = xString::Shown(finding.file, std::string::npos);
        row["line"] = Json::UInt64(finding.line);
        row["column"] = Json::UInt64(finding.column);
        row["severity"] = finding.is_error ? "error" : "warning";
        row["path"] = finding.path;
        row["key"] = xString::Shown(finding.key);
        row["message"] = finding.text;
        if (!finding.name.empty()) {
            row["name"] = finding.name;
        }
        for (std::string const& line : finding.log) {
            row["log"].append(line);
        }
        list.append(row);
    }
    return json_text(list);
}
