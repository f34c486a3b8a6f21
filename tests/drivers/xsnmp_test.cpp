// The SNMP driver without an agent: configuration, object ids, what opening a port does, and the values in answers.

#include <filesystem>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/config.h"
#include "drivers/xsnmp/device.h"
#include "drivers/xsnmp/inner_oid.h"
#include "drivers/xsnmp/port.h"
#include "foundation/jutils.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/silent_socket.h"
#include "support/snmp_agent.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ThrowsMessage;
using xsnmp::csdev;
using xsnmp::inner_oid;
using xsnmp::sdev;
using xsnmp::sparam;
using xsnmp::sport;

namespace {

constexpr char one_param[] = R"("params": [{"name": "v", "oid": ".1.3.6.1.4.1.9.1"}])";

std::string device(std::string const& keys, std::string const& name = "d") {
    return R"({"name": ")" + name + R"(", )" + keys + "}";
}

/// A port "p"; its sessions have an address and ask nothing there.
class Agents {
 public:
    /// Raises what the loading and the port raise.
    explicit Agents(std::string const& devices = device(std::string(R"("url": "127.0.0.1:9", )") + one_param)) {
        Json::Value root = sample::json(R"({"ports": [{"name": "p", "type": "snmp", "devices": [)" + devices + "]}]}");
        config_.reset(Config::Load(root));
        port_ = IBFac::stone_map().at("snmp.port")(nullptr, config_->ports.children.at(0).get());
    }

    CBase& node() { return *config_->ports.children.at(0)->children.at(0); }
    sparam& param(size_t index = 0) { return dynamic_cast<sparam&>(*node().children.at(index)); }
    sdev& dev() { return dynamic_cast<sdev&>(*port().devices.at(0)); }
    sport& port() { return dynamic_cast<sport&>(*port_); }

 private:
    std::unique_ptr<Config> config_;
    std::unique_ptr<IBase> port_;
};

}  // namespace

TEST(SnmpConfig, DefaultsAndOverlays) {
    Agents others(device(R"("url": "127.0.0.1:9", "community": "other", "version": 1, )" + std::string(one_param)));
    EXPECT_EQ(dynamic_cast<csdev&>(others.node()).community, "other");
    EXPECT_EQ(dynamic_cast<csdev&>(others.node()).version, 1);
    Agents agents(device(R"("url": "127.0.0.1:9", "params": [{"name": "v", "oid": "1.3.1"},
        {"name": "v", "unit": "A"}, {"name": "w", "oid": "1.3.2"}, {"name": "w", "oid": "1.3.3"}])"));
    auto const& node = dynamic_cast<csdev&>(agents.node());
    EXPECT_EQ(node.community, "kelvar");
    EXPECT_EQ(node.version, 2);
    EXPECT_EQ(agents.dev().get_device_name(), "d");
    EXPECT_EQ(agents.param(0).oid, "1.3.1");
    EXPECT_EQ(agents.param(0).unit, "A");
    EXPECT_EQ(agents.param(1).oid, "1.3.3");
    EXPECT_EQ(agents.param(1).address->ids[2], 3U);
}

TEST(SnmpOid, TextsAndWhatBecomesOfThem) {
    std::string longest = "2";
    for (int number = 1; number < 128; ++number) {
        longest += ".4294967295";
    }
    struct Row {
        std::string text;
        std::vector<oid> ids;  // none: refused
    };
    std::vector<oid> most(128, 4294967295);
    most[0] = 2;
    Row const rows[] = {
        {"1.3.6.1.2.1.1.3.0", {1, 3, 6, 1, 2, 1, 1, 3, 0}},
        {".1.3.6.1.4.1.9", {1, 3, 6, 1, 4, 1, 9}},
        {"iso.3.6", {1, 3, 6}},  // as the command line tools write it where they have no MIB files
        {longest, most},
        {longest + ".1", {}},
        {"1.3.6.4294967296", {}},
        {"", {}},
        // What no request can hold.
        {"1", {}},
        {"3.1.2", {}},
        {"1.39.3", {1, 39, 3}},
        {"1.40.3", {}},
        {"2.40.3", {2, 40, 3}},
        // Of these the library gives back a part.
        {"1.3.6.foo", {}},
        {".1.3.6.foo", {}},
        {"1.3..6", {}},
        {"1.3.6.", {}},
        {"1.3.6 ", {}},
        {"1.3.-6", {}},
        {"1.3.\"open", {}},
        {".", {}},
        {"sysUpTime.0", {}},
        {"SNMPv2-MIB::sysUpTime.0", {}},
    };
    Agents const library;
    for (Row const& row : rows) {
        try {
            inner_oid const parsed("p.d.v", row.text);
            EXPECT_EQ(std::vector<oid>(parsed.ids.begin(), parsed.ids.begin() + static_cast<long>(parsed.length)),
                      row.ids)
                << row.text;
        } catch (std::exception const& e) {
            EXPECT_TRUE(row.ids.empty()) << row.text;
            EXPECT_EQ(e.what(), (row.text.empty() ? "#p.d.v : inner_oid::ctor : 'oid'не может быть пустым : "
                                                  : "#p.d.v : inner_oid::ctor : ошибка парсинга oid : ") +
                                    row.text + ".");
        }
    }
}

TEST(SnmpPort, WhatCannotBePolledIsBlocked) {
    Agents agents(device(R"("url": "127.0.0.1:9", "params": [{"name": "a", "oid": "x"}, {"name": "b", "oid": ""},
                            {"name": "c", "oid": "1.3"}])") +
                  "," + device(R"("url": "127.0.0.1:9", "params": [{"name": "w", "oid": "x"}])", "hopeless"));
    EXPECT_EQ(agents.port().devices.size(), 1U);
    EXPECT_FALSE(agents.param(0).enabled);
    EXPECT_FALSE(agents.param(1).enabled);
    EXPECT_TRUE(agents.param(2).enabled);
    EXPECT_THAT([] { Agents(device(R"("url": "unix:/nonexistent", )" + std::string(one_param))); },
                ThrowsMessage<std::exception>("sport::ctor : p : список устройств пуст."));
    EXPECT_STREQ(snmp_api_errstring(SNMPERR_TIMEOUT), "Timeout") << "with the detail of an earlier error";
    EXPECT_THAT([] { sport(nullptr, nullptr); }, ThrowsMessage<std::exception>("sport::ctor : не указан 'cport'."));
}

TEST(SnmpPort, TheTemplatesHaveNothingToBlock) {
    for (char const* file : {"ups-mib", "if-mib"}) {
        Json::Value const document = xCommon::jUtils::Load(std::string(SOURCE_DIR) + "/templates/" + file + ".json");
        EXPECT_EQ(document["name"], file);
        LogCapture const log(false);
        Agents agents(device(R"("url": "127.0.0.1:9", "params": )" + document["params"].toStyledString()));
        EXPECT_EQ(agents.node().children.size(), document["params"].size());
        EXPECT_THAT(log.entries(), ElementsAre());
    }
}

TEST(SnmpValue, TextsOfTheLibrary) {
    struct Row {
        char const* text;
        char const* value;
    };
    Row const rows[] = {
        {"STRING: \"a b\"", "\"a b\""},
        {"INTEGER: up(1)", "up(1)"},
        {"INTEGER: -5 dBm", "-5 dBm"},
        {"Gauge32: 7", "7"},
        {"Counter32: 8", "8"},
        {"OID: iso.3.6", "iso.3.6"},
        {"Hex-STRING: 00 1A", "00 1A"},
        {"IpAddress: 192.0.2.1", "192.0.2.1"},
        {"Counter64: 9", "9"},
        {"Timeticks: (750) 0:00:07.50", "750"},
        {"Timeticks: (7) (8)", "7) (8"},
        {"Timeticks: (7", ""},
        {"Timeticks: 7", ""},
        // The last row of the table, and of its text the last place.
        {"STRING: \"INTEGER: 4\"", "4\""},
        {"INTEGER: STRING: 4", "STRING: 4"},
        {"STRING: STRING: x", "x"},
        {"STRING: \"INTEGER: ", ""},
        {"Opaque: Float: 1.5", ""},
        {"\"\"", ""},
    };
    Agents agents;
    for (Row const& row : rows) {
        LogCapture const log(false);
        EXPECT_EQ(sdev::parse_value(&agents.param(), row.text), row.value) << row.text;
        EXPECT_EQ(log.count("[3] [v] parse_value : не распознан ответ от сервера : " + std::string(row.text) + "."),
                  *row.value == '\0' ? 1 : 0)
            << row.text;
        EXPECT_TRUE(agents.param().enabled);
    }
    LogCapture const log(false);
    EXPECT_EQ(sdev::parse_value(&agents.param(), ""), "");
    EXPECT_THAT(log.entries(), ElementsAre());
    EXPECT_EQ(sdev::parse_value(&agents.param(), "STRING: \"No Such luck\""), "");
    EXPECT_FALSE(agents.param().enabled);
    EXPECT_THAT(log.entries(), ElementsAre("[3] [v] parse_value : нет объекта с таким OID : [.1.3.6.1.4.1.9.1]. "
                                           "Параметр блокируется."));
}

TEST(SnmpResult, AnswersAndFailures) {
    std::string const line = "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ";
    std::string bytes(33, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    constexpr char too_long[] = "parse_result : ответ пуст или не поместился в буфер : -1.";
    struct Row {
        char const* guards;
        int status;
        long error;
        int type;  // -1: no variable
        std::string content;
        std::string value;
        char const* told = nullptr;
    };
    Row const rows[] = {
        {"text", 0, 0, ASN_OCTET_STR, "a \"b\"", "\"a \\\"b\\\"\""},
        {"long bytes come in lines", 0, 0, ASN_OCTET_STR, bytes,
         line + "\n10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F \n20 "},
        {"letters outside of ASCII", 0, 0, ASN_OCTET_STR, "да", "D0 B4 D0 B0 "},
        {"Gauge32", 0, 0, ASN_GAUGE, std::string("\xFF\xFF\xFF\xFF\0\0\0\0", 8), "4294967295"},
        {"the longest text", 0, 0, ASN_OCTET_STR, std::string(4000, 'x'), '"' + std::string(4000, 'x') + '"'},
        {"too long", 0, 0, ASN_OCTET_STR, std::string(4200, 'x'), "", too_long},
        {"too long in bytes", 0, 0, ASN_OCTET_STR, std::string(1400, '\1'), "", too_long},
        {"no variable", 0, 0, -1, "", "", "parse_result : ответ пуст или не поместился в буфер : 0."},
        {"an error of the agent", 0, 2, ASN_NULL, "", "",
         "parse_result : не удалось получить результат : (noSuchName) There is no such variable name in this MIB.."},
        {"one that doesn't exist", 0, -7, ASN_NULL, "", "",
         "parse_result : не удалось получить результат : Unknown Error."},
        {"status 1", 1, 0, ASN_NULL, "", "", "parse_result : ошибка : ."},
        {"status 2", 2, 0, ASN_NULL, "", "", "parse_result : таймаут."},
        {"another status", 3, 0, ASN_NULL, "", ""},
    };
    Agents agents;
    for (Row const& row : rows) {
        SCOPED_TRACE(row.guards);
        std::unique_ptr<netsnmp_pdu, void (*)(netsnmp_pdu*)> const answer(snmp_pdu_create(SNMP_MSG_RESPONSE),
                                                                          &snmp_free_pdu);
        answer->errstat = row.error;
        if (row.type >= 0) {
            inner_oid const& address = *agents.param().address;
            snmp_pdu_add_variable(answer.get(), address.ids.data(), address.length, static_cast<u_char>(row.type),
                                  row.content.data(), row.content.size());
        }
        LogCapture const log(false);
        EXPECT_EQ(agents.dev().parse_result(&agents.param(), row.status, answer.get()), row.value);
        std::vector<std::string> expected;
        if (row.told != nullptr) {
            expected.push_back(std::string("[3] [v] ") + row.told);
        }
        EXPECT_EQ(log.entries(), expected);
    }
    LogCapture const log(false);
    EXPECT_EQ(agents.dev().parse_result(&agents.param(), STAT_TIMEOUT, nullptr), "");
    EXPECT_THAT(log.entries(), ElementsAre("[3] [v] parse_result : resp == nullptr."));
}

/// In the test's own process, so that LeakSanitizer sees them.
TEST(SnmpDevice, Exchanges) {
    SnmpAgent const agent(SnmpAgent::Objects{{"integer", "5"}});
    SilentSocket silent;
    struct Row {
        std::string url;
        int version;
        std::string oid;
        std::vector<std::string> lines;
    };
    std::string const missing = SnmpAgent::oid(1);
    Row const rows[] = {
        {agent.peer(), 2, SnmpAgent::oid(0), {"[1] [v] ответ получен : 5"}},
        {agent.peer(),
         2,
         missing,
         {"[3] [v] parse_value : нет объекта с таким OID : [" + missing + "]. Параметр блокируется.",
          "[3] [v] ответ НЕ получен"}},
        {agent.peer(),
         1,
         missing,
         {"[3] [v] parse_result : не удалось получить результат : (noSuchName) There is no such variable name in this "
          "MIB..",
          "[3] [v] ответ НЕ получен"}},
        {silent.peer(),
         2,
         missing,
         {"[3] [v] parse_result : resp == nullptr.", "[3] [v] poll_param : ошибка при опросе : Timeout.",
          "[3] [v] ответ НЕ получен"}},
    };
    for (Row const& row : rows) {
        Agents agents(device(R"("rto": 100, "version": )" + std::to_string(row.version) + R"(, "url": ")" + row.url +
                             R"(", "params": [{"name": "v", "oid": ")" + row.oid + "\"}]"));
        for (int time = 0; time < 2; ++time) {
            LogCapture const log(false);
            EXPECT_EQ(agents.dev().poll_param(&agents.param()), row.lines.size() == 1);
            EXPECT_EQ(log.entries(), row.lines);
        }
        EXPECT_EQ(agents.param().enabled, row.version != 2 || row.oid != missing || row.url == silent.peer());
    }
    EXPECT_EQ(silent.received().size(), 12U) << "each request is repeated five times";
}

TEST(SnmpDevice, WithoutASessionNothingGoesOut) {
    Agents agents;
    agents.dev().ssn_close();
    LogCapture const log(false);
    EXPECT_FALSE(agents.dev().poll_param(&agents.param()));
    EXPECT_THAT(log.entries(), Contains("[3] [v] ответ НЕ получен"));
    EXPECT_FALSE(agents.dev().poll_param(static_cast<sparam*>(nullptr)));
    EXPECT_TRUE(agents.dev().ssn_check());
}

TEST(SnmpDevice, AnAgentThatGoesAndReturns) {
    SnmpAgent agent(SnmpAgent::Objects{{"integer", "5"}});
    for (std::string const name : {"tcp", "udp"}) {
        int const reopened = name == "tcp" ? 1 : 0;
        Agents agents(device(R"("url": ")" + name + ":" + agent.peer() +
                             R"(", "rto": 100, "params": [{"name": "v", "oid": ")" + SnmpAgent::oid(0) + R"("}])"));
        LogCapture const log(false);
        EXPECT_TRUE(agents.dev().poll_param(&agents.param()));
        agent.stop();
        agent.start();
        EXPECT_TRUE(agents.dev().poll_param(&agents.param())) << "the next poll finds a connection open";
        EXPECT_EQ(log.count("[3]"), 0);
        agent.stop();
        EXPECT_FALSE(agents.dev().poll_param(&agents.param()));
        EXPECT_EQ(log.count("[3] [d] ssn_open : не удалось открыть сессию. Устройство будет пропущено."), reopened);
        EXPECT_FALSE(agents.dev().poll_param(&agents.param())) << "without a session";
        agent.start();
        EXPECT_TRUE(agents.dev().ssn_check());
        EXPECT_TRUE(agents.dev().poll_param(&agents.param()));
    }
}
