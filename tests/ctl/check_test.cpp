#include "ctl/check/check.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/normalise.h"
#include "config/constants.h"
#include "config/process.h"
#include "ctl/json_text.h"
#include "ctl/mutations.h"
#include "foundation/jutils.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace {

/// What the daemon's start says and leaves out, looked at from outside.
struct Start {
    explicit Start(std::string const& path) {
        LogCapture const log(false);
        try {
            Normalised file = normalise(xCommon::jUtils::Load(path), Endless::skipped);
            std::unique_ptr<Config> const config(Config::Load(file.config));
            auto const gpio = config && file.is_xgpio ? xgpio::config_t::Load(file.xgpio) : nullptr;
            has_loaded = config != nullptr;
            leaves_out = !config || !file.dropped.empty() || (config->ports.children.empty() && !gpio) ||
                         !is_whole(config->ports, file.config["ports"]);
        } catch (std::exception const& e) {
            lines.insert(xCommon::xString::Shown(e.what()));
        }
        for (std::string const& entry : log.entries()) {
            if (entry.starts_with("[3]") && !entry.ends_with("Load : список пуст.")) {
                lines.insert(entry.substr(entry.starts_with("[3] [") ? entry.find("] ", 4) + 2 : 4));
            }
        }
    }

    /// Each element has become a node, or lies over one that bears its name.
    static bool is_whole(CBase const& node, Json::Value const& list) {
        std::set<std::string> names;
        for (Json::Value const& element : list) {
            names.insert(xCommon::jUtils::at(element, "name").toStyledString());
        }
        return !list.isArray() || node.children.size() >= names.size();
    }

    bool has_loaded = false;
    bool leaves_out = false;
    std::set<std::string> lines;
};

/// What the first has and the second hasn't.
std::string joined(std::set<std::string> const& lines, std::set<std::string> const& others) {
    std::string text;
    for (std::string const& line : lines) {
        text += others.contains(line) ? "" : line + "\n";
    }
    return text;
}

std::string told(std::vector<Finding> const& findings) {
    std::string text;
    for (Finding const& finding : findings) {
        text += std::to_string(finding.line) + ":" + std::to_string(finding.column) + " " +
                (finding.is_error ? "" : finding.name + " ") + finding.path + (finding.key.empty() ? "" : ": ") +
                finding.key + "\n";
    }
    return text;
}

}  // namespace

TEST(Check, CallsAnErrorWhatTheDaemonTellsOrLeavesOut) {
    TempFolder const folder;
    std::vector<Mutation> all = good_configurations();
    for (size_t index = all.size(); index-- > 0;) {
        for (Mutation& changed : mutations(all[index], 37)) {
            all.push_back(std::move(changed));
        }
    }
    EXPECT_GE(all.size(), 500U);
    size_t disagreements = 0;
    for (Mutation const& mutation : all) {
        std::string const path = folder.write("c.json", json_text(mutation.config));
        Start const start(path);
        std::vector<Finding> findings = check(path);
        std::erase_if(findings, [](Finding const& finding) { return !finding.is_error; });
        std::set<std::string> lines;
        for (Finding const& finding : findings) {
            lines.insert(finding.log.begin(), finding.log.end());
        }
        bool const agrees = lines == start.lines && (!start.leaves_out || !findings.empty()) &&
                            (start.leaves_out || !start.lines.empty() || findings.empty());
        if (!agrees && ++disagreements < 5) {
            ADD_FAILURE() << mutation.name << (start.leaves_out ? ": the daemon leaves something out" : "")
                          << "\nthe daemon alone says: " << joined(start.lines, lines)
                          << "\nthe check alone says: " << joined(lines, start.lines) << "\nof\n"
                          << as_text(findings);
        }
    }
    EXPECT_EQ(disagreements, 0U) << "of " << all.size();
    for (char const* text : {"", "{\"ports\": [\n,]}", "{\"ports\": 1}}"}) {
        std::string const path = folder.write("c.json", text);
        EXPECT_EQ(check(path).front().log, Start(path).lines) << text;
    }
    EXPECT_EQ(as_json(check(folder.write("c.json", "{\"\xE0\": 1, \"ports\": []}"))).find('\xE0'), std::string::npos);
}

TEST(Check, LeadsToThePlaceInTheFileAsItIsWritten) {
    struct Row {
        char const* text;
        char const* findings;
    };
    TempFolder const folder;
    templates_folder() = folder.path();
    folder.write("t.json",
                 "{\"name\": \"t\", \"params\": [\n  {\"name\": \"a\", \"value_type\": \"u17\", \"reg_addr\": 1}]}");
    folder.write("broken.json", "{\"name\": \"broken\",\n \"params\": [}");
    folder.write("other.json", "{\"name\": \"another\", \"params\": []}");
    Row const rows[] = {
        {"{\"ports\": [\n  {\"name\": }]}", "2:12 \n"},
        {"[]", "1:1 \n"},
        {"{}", "1:1 \n"},
        {"\xEF\xBB\xBF{\"ports\": 5}", "1:2 : ports\n"},
        {R"({"mqtt": {"url": "a", "port": "x"}, "ports": []})", "1:23 : mqtt.port\n"},
        // A character is a column, however many bytes it has; and a comment may stand anywhere.
        {"{\"ports\": [ // Порты\n {\"name\": \"Линия\", \"type\": \"base.rs\", \"rs\": {\"path\": \"/dev/a\", "
         "\"parity\": \"od\"}, "
         "\"devices\": []}]}",
         "2:64 ports \"Линия\": rs.parity\n"},
        {R"({"ports": [{"name": "p", "type": "base.tcp", "devices": [
{"name": "d", "type": "mb-tcp", "sid": 1, "templ": "t", "params": [{"name": "b"},
  {"name": "c", "reg_addr": 1, "value_type": "u16"}]},
{"name": "e", "type": "mb-tcp", "sid": 1, "templ": "broken"},
{"name": "f", "type": "mb-tcp", "sid": 1, "templ": "other"}, 7]}]})",
         "2:68 ports \"p\" › devices \"d\" › params \"b\": reg_addr\n4:1 ports \"p\" › devices \"e\": params\n"
         "5:1 ports \"p\" › devices \"f\": params\n5:62 ports \"p\" › devices #4: name\n"
         "2:13 \n1:2 : name\n2:17 params \"a\": value_type\n"},
        // A bit has a place of its own; a key that is written with escapes is found by its value.
        {R"({"ports": [{"name": "p", "type": "base.tcp", "tcp": {}, "devices": [{"name": "d"}]},
{"name": "q", "type": "base.rs", "rs": {"path": "/dev/a", "stopbits": 1.2}},
{"name": "r", "type": "base.tcp", "\u0064evices": [],
 "devices": [{"name": "d", "type": "mb-tcp", "sid": 1, "params": [{"name": "a", "reg_addr": 1, "reg_type": "input-bit",
  "bh_list": [{"name": "low", "offset": 0}, {"name": "high", "offset": 16}]}]},
 {"name": "e", "type": "mb-tcp", "sid": 1}, {"name": "f", "type": "dcon", "sid": 1, "params": [{"name": "b", "cmd": 9}]}]},
{"name": "s", "type": "base.tcp", "poll\u005finterval": "1"}]})",
         "1:46 ports \"p\": tcp\n2:59 ports \"q\": rs.stopbits\n4:2 ports \"r\": devices\n4:2 key-twice : devices\n"
         "4:56 ports \"r\" › devices \"d\": params\n5:62 ports \"r\" › devices \"d\" › params \"a\" › bh_list "
         "\"high\": offset\n"
         "6:2 ports \"r\" › devices \"e\": params\n6:85 ports \"r\" › devices \"f\": params\n"
         "6:96 ports \"r\" › devices \"f\" › params \"b\": type\n"
         "6:110 key-without-effect ports \"r\" › devices \"f\" › params \"b\": cmd\n7:57 ports \"s\": poll_interval\n"},
        // What is secret isn't shown.
        {R"({"mqtt": {"port": 1, "user": "u", "password": ["secret"], "tls": {"ca_file": 1, "colour": 1}}, "ports": [
 {"name": "p", "type": "base.null", "devices": [{"name": "d#", "type": "mb-rtu", "sid": 1,
  "params": [{"name": "a", "reg_addr": 1, "value_type": "u16"}]}]}]})",
         "1:35 : mqtt.password\n1:67 : mqtt.tls.ca_file\n1:81 unknown-key : mqtt.tls.colour\n"
         "2:50 ports \"p\" › devices \"d#\": name\n"},
        {R"({"ports": [{"connection": {"name": "c", "type": "base.rs", "rs": {"path": "/dev/a", "baudrate": 0}},
 "devices": [{"name": "Pump", "cname": "p", "type": "mb-rtu", "sid": 1}],
 "parameters": [{"cname": "p", "config": {"channels": [{"name": "a", "reg_addr": 1}]}}]},
{"connection": {"name": "d", "type": "base.rs", "rs": {"path": "/dev/b"}},
 "devices": [{"name": "Pump", "cname": "p", "type": "mb-rtu", "sid": 1}],
 "parameters": [{"cname": "p", "config": {"channels": [{"name": "a"}]}}]},
{"connection": {"name": "e", "type": "base.rs"}, "devices": []}]})",
         "1:85 ports \"c\": rs.baudrate\n5:2 ports \"d\": devices\n5:14 ports \"d\" › devices \"Pump [p]\": params\n"
         "6:56 ports \"d\" › devices \"Pump [p]\" › params \"a\": reg_addr\n7:1 ports \"e\"\n"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(told(check(folder.write("c.json", row.text))), row.findings) << row.text;
    }
    templates_folder() = path_templates;
}

TEST(Check, WarnsOfWhatIsHardlyMeant) {
    struct Row {
        char const* root;    ///< beside the ports
        char const* port;    ///< beside name, type and rs of the first port
        char const* device;  ///< beside name, type and sid of its device
        char const* param;   ///< beside name and address
        char const* warnings;
    };
    Row const rows[] = {
        {R"("$schema": "a",)", "", "", R"("value_type": "u16")", ""},
        {R"("colour": 1,)", "", "", R"("value_type": "u16")", "unknown-key colour\n"},
        {R"("mqtt": {"url": "a"}, "mqtt_url": "b",)", "", "", R"("value_type": "u16")",
         "mqtt-without-port mqtt\nkey-without-effect mqtt_url\n"},
        {"", R"("tcp": {}, "oid": 1,)", R"("all_param": true,)", R"("value_type": "u16")",
         "key-without-effect tcp\nkey-without-effect oid\nunknown-key all_param\n"},
        {"", "", "", R"("reg_type": "coil", "value_type": "u16")", "value-type value_type\n"},
        {"", "", "", R"("value_type": "bit")", "value-type value_type\n"},
        {"", "", "", "\"scale\": 1.0", "value-type value_type\n"},
        {"", "", "", R"("value_type": "u16", "reg_type": "input", "read_only": false)", "not-writable read_only\n"},
        {"", "", "", R"("value_type": "fixi16", "read_only": false)", "not-writable read_only\n"},
        {"", "", "", R"("value_type": "u16", "converter_read": "1 +* 2")", "expression converter_read\n"},
        {"", "", "", R"("value_type": "u16", "reg_type": "holdng")", "register-kind reg_type\n"},
        {"", "", "", R"("value_type": "u16", "error_value": "0xffFF")", "error-value-case error_value\n"},
        {"", "", R"("rs": {"baudrate": 0},)", R"("value_type": "u16")", "personal-line rs.baudrate\n"},
        {"", R"("poll_delay": 1,)", R"("poll_delay": 3000, "poll_interval": 2,)", R"("value_type": "u16")",
         "interval \nkey-without-effect poll_delay\n"},
        {"", "", "", R"("value_type": "u16"}, {"name": "a_b", "reg_addr": "1x", "value_type": "u16")",
         "not-a-number reg_addr\n"},
        {"", "", "", R"("value_type": "u16"}]}, {"name": "dev_12", "type": "mb-rtu", "sid": 3, "rs": {"baudrate": 300},
          "params": [{"name": "a", "reg_addr": 1, "value_type": "u16")",
         "alternating-line rs\nname-part-of-name name\n"},
        {"", "", "", R"("value_type": "u16"}]}]}, {"name": "q", "type": "base.rs", "rs": {"path": "/dev/../dev/x"},
          "devices": [{"name": "dev", "type": "mb-rtu", "sid": 1, "params": [{"name": "a", "reg_addr": 1,
          "value_type": "u16")",
         "same-line rs.path\nsame-topic name\n"},
        {"", "", "", R"("value_type": "u16"}]}]}, {"name": "q", "type": "snmp", "devices": [{"name": "s", "url": "::1",
          "params": [{"name": "a", "oid": "1.x")",
         "object-id oid\n"},
        {"", "", R"("all_params": true,)", R"("reg_type": "coil"}, {"name": "b", "reg_addr": 2, "reg_type": "input-bit",
          "value_type": "u16", "bh_list": [{"name": "x", "offset": 1, "offest": 2}])",
         "bits-read-as-a-whole bh_list\nunknown-key offest\n"},
        {"", "", "", R"("value_type": "u16"}]}, {"name": "v", "type": "vkt7-rtu", "sid": 3, "params": [{"name": "a",
          "reg_addr": 3, "read_only": false, "debounce": 1}, {"name": "b", "type": "dlms", "class_id": 3,
          "object_id": "1.0.1.8.0.255", "attr_id": 2)",
         "not-writable read_only\nkey-without-effect debounce\nERROR type\n"},
        {"", "", "", R"("value_type": "u16"}]}, {"name": "io", "type": "dcon", "sid": 3, "params": [{"name": "a",
          "reg_addr": 3}, {"name": "b", "type": "dcon", "cmd": 10, "read_only": false)",
         "foreign-parameter type\nnot-writable read_only\n"},
        {"", "", "",
         R"("value_type": "u16"}]}]}, {"name": "off", "type": "base.tcp", "tcp": {"port": 1}, "devices": [{"name": "x",
          "type": "mb-tcp", "sid": 1, "enabled": false, "params": [{"name": "a", "reg_addr": 1)",
         "start \n"},
        {"", "", "", "\"value_type\": \"u16\", \"unit\": \"\xB0\x43\"", "not-utf-8 \n"},
        {"", "", "", R"("value_type": "u16"}]}, {"name": "m", "type": "media_ctrl", "sid": 1, "params": [{"name": "a",
          "colour": 1}]}, {"name": "t", "type": "dlms", "params": [{"name": "a", "class_id": 1, "attr_id": 1, "object_id": "1.0.1.8.0.255",
          "value_type": "u16")",
         "start \nunknown-key colour\n"},
    };
    TempFolder const folder;
    for (Row const& row : rows) {
        std::string const text = std::string("{") + row.root + R"("ports": [{"name": "p", "type": "base.rs", )" +
                                 row.port + R"("rs": {"path": "/dev/x"}, "devices": [{"name": "dev", "sid": 1, )" +
                                 row.device + R"("type": "mb-rtu", "params": [{"name": "a", "reg_addr": 1, )" +
                                 row.param + "}]}]}]}";
        std::string warnings;
        for (Finding const& finding : check(folder.write("c.json", text))) {
            warnings += (finding.is_error ? "ERROR" : finding.name) + " " + finding.key + "\n";
        }
        EXPECT_EQ(warnings, row.warnings) << text;
    }
}
