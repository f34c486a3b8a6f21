#include "ctl/check/check.h"

#include <algorithm>
#include <tuple>

#include "ctl/check/explain.h"
#include "ctl/language/phrase.h"

namespace {

void find_errors(Loading const& loading, std::vector<Finding>& findings) {
    for (Loading::Line const& line : loading.lines) {
        findings.push_back(explain(loading, line));
    }
    for (Loading::Place const& place : loading.dropped) {
        findings.push_back(
            make_finding(loading, place, "", say("is left out: it needs connection, devices and parameters")));
    }
    Json::Value const& ports = loading.normalised["ports"];
    bool const is_empty = ports.isNull() || (ports.isArray() && ports.empty());
    if (loading.config && !loading.gpio && is_empty && findings.empty()) {
        findings.push_back(
            make_finding(loading, {loading.file().path(), -1}, "ports", say("has no port: nothing would run")));
    }
}

auto order(Finding const& finding) {
    return std::tie(finding.file, finding.line, finding.column, finding.key, finding.text, finding.name);
}

/// Of a key at fault the daemon may tell what it leads to as well.
bool is_told(Finding const& one, Finding const& other) {
    auto const place = [](Finding const& finding) {
        return std::tie(finding.file, finding.line, finding.column, finding.key);
    };
    return order(one) == order(other) ||
           (one.is_error && other.is_error && !one.key.empty() && place(one) == place(other));
}

}  // namespace

std::vector<Finding> check(std::string const& path) {
    Loading const loading(path);
    std::vector<Finding> findings;
    if (!loading.file().fault().empty()) {
        Finding finding = make_finding(loading, {path, -1}, "", loading.file().fault());
        finding.log = {loading.file().fault_line()};
        finding.line = loading.file().fault_position().line;
        finding.column = loading.file().fault_position().column;
        return {finding};
    }
    find_errors(loading, findings);
    find_warnings(loading, findings);
    std::stable_sort(findings.begin(), findings.end(), [&path](Finding const& one, Finding const& other) {
        bool const is_own = one.file == path;
        return is_own != (other.file == path) ? is_own : order(one) < order(other);
    });
    // A template is loaded once for each of its devices, a port may be split into several.
    std::vector<Finding> once;
    for (Finding& finding : findings) {
        if (!once.empty() && is_told(once.back(), finding)) {
            once.back().log.merge(finding.log);
        } else {
            once.push_back(std::move(finding));
        }
    }
    return once;
}
