#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/config.h"
#include "config/constants.h"
#include "config/cparam.h"
#include "config/cport.h"
#include "foundation/xexception.h"
#include "foundation/xstring.h"
#include "runtime/ibase.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using sample::json;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

namespace {

/// A parameter that is faulty on demand, in its constructor and under an overlay.
class Param : public CParam, public FromJson<Param> {
 public:
    Param(CBase* parent_node, Json::Value& node) : CParam(parent_node, node) { check(node); }
    void Compare(Json::Value& node) override {
        check(node);
        CParam::Compare(node);
    }

 private:
    static void check(Json::Value const& node) {
        if (node.isMember("fault")) {
            throw xCommon::xException(node["fault"].asString());
        }
    }
};

/// A device as the drivers' are.
class Device : public CDev, public FromJson<Device> {
 public:
    Device(CBase* parent_node, Json::Value& node) : CDev(parent_node, node) {
        Load(this, node, "params", suffix_cparam, type);
    }
};

std::unique_ptr<CBase> create_nothing(CBase* /*parent*/, Json::Value& /*node*/) {
    return nullptr;
}

CBFac const registrars[] = {{"plain.cdev", FromJson<CDev>::create},
                            {"tree.cdev", Device::create},
                            {"tree.cparam", Param::create},
                            {"tree-nothing.cparam", create_nothing},
                            // Registered already: the first stands.
                            {"tree.cparam", create_nothing}};

Texts names_of(CBase const& node) {
    Texts names;
    for (auto const& child : node.children) {
        names.push_back(child->name);
    }
    return names;
}

std::unique_ptr<Config> load(std::string const& text) {
    Json::Value root = json(text);
    return std::unique_ptr<Config>(Config::Load(root));
}

/// A port's node with a device in it; `keys` are the port's further ones.
Json::Value port_node(std::string const& type, std::string const& keys) {
    return json(R"({"name": "p", "type": ")" + type + R"(", "devices": [{"name": "d", "type": "plain"}], )" + keys +
                "}");
}

}  // namespace

TEST(Registry, FirstRegistrationStands) {
    Json::Value node = json(R"({"name": "a"})");
    std::unique_ptr<CBase> const made(CBFac::stone_map().at("tree.cparam")(nullptr, node));
    EXPECT_NE(made, nullptr);

    struct Object : IBase {
        using IBase::IBase;
    };
    IBFac const first("tree.dev", FromNode<Object>::create);
    IBFac const second("tree.dev", [](IBase*, CBase*) { return std::unique_ptr<IBase>(); });
    std::unique_ptr<IBase> const object(IBFac::stone_map().at("tree.dev")(nullptr, made.get()));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->cfg, made.get());
}

TEST(Registry, EveryWordOfTheCoreIsThere) {
    for (std::string const word : {"base", "base.rs", "base.tcp", "base.z2t", "base.null"}) {
        EXPECT_EQ(CBFac::stone_map().count(word + ".cport"), 1U) << word;
        EXPECT_EQ(IBFac::stone_map().count(word + ".port"), 1U) << word;
    }
}

TEST(ListLoader, WhatIsLoadedAndToldOfAList) {
    std::string const nameless = "[3] [owner] Load : элемент без имени будет пропущен.";
    std::string const empty_list = "[3] [owner] Load : список пуст.";
    struct Row {
        char const* guards;
        char const* node;
        char const* default_type;
        Texts names;
        Texts lines;
    };
    Row const rows[] = {
        {"an empty node", "{}", "tree", {}, {"[3] [owner] Load : узел пуст."}},
        {"no such list", R"({"x": 1})", "tree", {}, {empty_list}},
        {"an empty list", R"({"list": []})", "tree", {}, {empty_list}},
        {"no name",
         R"({"list": [{"type": "tree"}, {"name": ""}, {"name": null}, {}, {"name": "a"}]})",
         "tree",
         {"a"},
         {nameless, nameless, nameless, nameless}},
        {"a creator that makes nothing",
         R"({"list": [{"name": "a", "type": "tree-nothing"}]})",
         "tree",
         {},
         {empty_list}},
        {"an overlay under a word without a class",
         R"({"list": [{"name": "a"}, {"name": "a", "type": "nosuch"}]})",
         "tree",
         {"a"},
         {}},
        {"names that differ in case, and by a blank",
         R"({"list": [{"name": "a"}, {"name": "A"}, {"name": "a "}]})",
         "tree",
         {"a", "A", "a "},
         {}},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        CBase owner("owner");
        Json::Value node = json(row.node);
        int const result = owner.Load(&owner, node, "list", ".cparam", row.default_type);
        EXPECT_EQ(names_of(owner), row.names) << row.guards;
        EXPECT_EQ(result, row.names.empty() ? 0 : 1) << row.guards;
        EXPECT_EQ(log.entries(), row.lines) << row.guards;
    }
}

TEST(ListLoader, ListsThatCannotBeRead) {
    LogCapture const log(false);
    CBase owner("owner");
    Json::Value named = json(R"({"list": [{"name": "a"}]})");
    EXPECT_EQ(owner.Load(&owner, named, "", ".cparam", "tree"), 0);
    EXPECT_THAT(log.entries(), ElementsAre("[3] [owner] Load : не указано имя списка."));
    for (char const* text : {R"({"list": {"name": "a"}})", R"({"list": "a"})", R"({"list": 5})", R"({"list": true})"}) {
        Json::Value node = json(text);
        EXPECT_EQ(owner.Load(&owner, node, "list", ".cparam", "tree"), 0) << text;
    }
    EXPECT_EQ(log.count("list"), 4);
    EXPECT_EQ(log.count("Load : список пуст."), 4);

    // A second list is added to the first, and a bad one leaves what is there.
    EXPECT_EQ(owner.Load(&owner, named, "list", ".cparam", "tree"), 1);
    Json::Value more = json(R"({"list": [{"name": "b"}, {"name": "a", "unit": "V"}]})");
    EXPECT_EQ(owner.Load(&owner, more, "list", ".cparam", "tree"), 1);
    Json::Value empty = json(R"({"list": []})");
    EXPECT_EQ(owner.Load(&owner, empty, "list", ".cparam", "tree"), 1);
    EXPECT_EQ(names_of(owner), (Texts{"a", "b"}));
    EXPECT_EQ(dynamic_cast<CParam&>(*owner.children[0]).unit, "V");
}

TEST(ListLoader, TraceNamesTheList) {
    LogCapture const log;
    CBase owner("owner");
    Json::Value node = json("{}");
    owner.Load(&owner, node, "params", ".cparam", "");
    EXPECT_EQ(log.entries().front(), "[4] [owner] Load : загрузка списка : params.");
}

TEST(Tree, SecondDeviceOfANameIsAddedAndASecondParameterLaidOver) {
    auto const config = load(R"({"ports": [{"name": "p", "type": "base.null", "devices": [
        {"name": "d", "type": "tree", "params": [{"name": "a", "scale": 10, "unit": "V"}, {"name": "a", "unit": "A"}]},
        {"name": "d", "type": "tree", "params": [{"name": "b"}]}]}]})");
    CBase const& port = *config->ports.children.at(0);
    EXPECT_THAT(names_of(port), ElementsAre("d", "d"));
    ASSERT_THAT(names_of(*port.children[0]), ElementsAre("a"));
    auto const& param = dynamic_cast<CParam const&>(*port.children[0]->children[0]);
    EXPECT_EQ(param.unit, "A");
    EXPECT_EQ(param.scale, 10.0F);
    EXPECT_THAT(names_of(*port.children[1]), ElementsAre("b"));
}

TEST(Tree, ValuesComeDownFromTheParent) {
    auto const config = load(R"({"ports": [
        {"name": "bare", "type": "base.null", "devices": [
            {"name": "d", "type": "tree", "params": [{"name": "a"}]}]},
        {"name": "set", "type": "base.null", "poll_interval": 10, "rto": 11, "sto": 12, "poll_reconnect": true,
         "devices": [
            {"name": "heir", "type": "tree", "params": [{"name": "a"}]},
            {"name": "own", "type": "tree", "enabled": false, "rto": 21, "poll_reconnect": false, "params": [
                {"name": "a"},
                {"name": "b", "enabled": true, "poll_interval": 300, "sto": 0, "poll_reconnect": true}]}]}]})");
    ASSERT_EQ(config->ports.children.size(), 2U);
    CBase const& bare = *config->ports.children[0];
    CBase const& set = *config->ports.children[1];
    CBase const& heir = *set.children.at(0);
    CBase const& own = *set.children.at(1);
    std::tuple<char const*, CBase const&, char const*> const rows[] = {
        {"a port of its own defaults", bare, "base.null on 60 500 500"},
        {"a parameter under it", *bare.children[0]->children[0], "tree on 60 500 500"},
        {"a port's own", set, "base.null on 10 11 12 reconnects"},
        {"a device takes the port's", heir, "tree on 10 11 12 reconnects"},
        {"a parameter takes them through", *heir.children[0], "tree on 10 11 12 reconnects"},
        {"a device's own", own, "tree off 10 21 12"},
        {"a parameter takes the device's", *own.children[0], "tree off 10 21 12"},
        {"a parameter's own", *own.children[1], "tree on 300 21 0 reconnects"},
    };
    for (auto const& [guards, node, values] : rows) {
        EXPECT_EQ(
            xCommon::xString::Format("%s %s %d %d %d%s", node.type, node.enabled ? "on" : "off", node.poll_interval,
                                     node.rto, node.sto, node.poll_reconnect ? " reconnects" : ""),
            values)
            << guards;
    }
    EXPECT_EQ(set.parent, nullptr);
    EXPECT_EQ(own.parent, &set);
    EXPECT_EQ(own.children[0]->parent, &own);
}

TEST(Tree, IntervalAndAClockSetBack) {
    std::tuple<char const*, long long, int, long long, bool> const rows[] = {
        {"never polled", 0, 60, 1000000, true},  {"one second short", 1000, 60, 1059, false},
        {"to the second", 1000, 60, 1060, true}, {"late", 1000, 60, 5000, true},
        {"set back", 1000, 60, 999, true},       {"every pass", 1000, 0, 1000, true},
    };
    CBase node("n");
    for (auto const& [guards, last_poll, interval, now, due] : rows) {
        node.last_poll = last_poll;
        node.poll_interval = interval;
        EXPECT_EQ(node.is_due(now), due) << guards;
    }
}

TEST(Root, BrokerAndLogSettings) {
    std::pair<char const*, char const*> const rows[] = {
        {R"({"x": 1})", "127.0.0.1 1883 5"},
        {R"({"mqtt": {"url": "10.0.0.1"}})", "10.0.0.1 0 5"},  // not 1883
        {R"({"mqtt": null, "mqtt_url": "b", "log": null})", "b 1883 5"},
        {R"({"mqtt": {"port": 1884}})", "127.0.0.1 1884 5"},
        {R"({"mqtt": {"url": "a", "port": 1}, "mqtt_url": "b", "mqtt_port": 2})", "a 1 5"},
        {R"({"mqtt_url": "b"})", "b 1883 5"},
        {R"({"mqtt_url": "b", "mqtt_port": 2})", "b 2 5"},
        {R"({"mqtt_port": 2})", "127.0.0.1 1883 5"},  // read beside mqtt_url alone
        {R"({"log": {"max_size": 7, "is_debug": true}})", "127.0.0.1 1883 7 debug"},
        {R"({"log": {"is_debug": true}, "log_maxsize": 9})", "127.0.0.1 1883 5 debug"},
        {R"({"log_maxsize": 9, "log_debug": true})", "127.0.0.1 1883 9 debug"},
        {R"({"log": {"quiet": true}, "log_quiet": false})", "127.0.0.1 1883 5 quiet"},
        {R"({"log": {}, "log_quiet": true})", "127.0.0.1 1883 5"},
        {R"({"log_quiet": true})", "127.0.0.1 1883 5 quiet"},
        {R"({"log_debug": true})", "127.0.0.1 1883 5"},  // read beside log_maxsize alone
    };
    for (auto const& [root, settings] : rows) {
        auto const config = load(root);
        ASSERT_NE(config, nullptr) << root;
        EXPECT_EQ(xCommon::xString::Format("%s %d %d%s%s", config->mqtt.url, config->mqtt.port, config->log.max_size,
                                           config->log.is_debug ? " debug" : "", config->log.quiet ? " quiet" : ""),
                  settings)
            << root;
    }
}

TEST(Root, FaultySettingsOfBrokerOrLogRefuseTheFile) {
    std::string const no_broker = "tcp_set : конфиг не содержит настроек TCP/MQTT";
    for (auto const& [text, reason] : {std::pair{R"({"mqtt": {}})", no_broker},
                                       {R"({"mqtt": []})", no_broker},
                                       {R"({"mqtt": "10.0.0.1"})", no_broker},
                                       {R"({"log": 5})", ""},
                                       {R"({"log": {"max_size": "5"}})", ""},
                                       {R"({"log_maxsize": []})", ""}}) {
        LogCapture const log(false);
        EXPECT_EQ(load(text), nullptr) << text;
        ASSERT_EQ(log.entries().size(), 1U) << text;
        EXPECT_THAT(log.entries()[0], testing::StartsWith("[3] [ostrand::Config] exception : " + reason)) << text;
    }
}

TEST(Root, OptionalKeysOfTheBrokerCostThemselvesAlone) {
    TempFolder const folder;
    std::string const password = folder.write("password", "x");
    struct Row {
        std::string mqtt;
        std::string read;
        std::vector<std::string> lines;
    };
    std::string const head = "[3] [n] ключ 'mqtt.";
    std::string const wrong_type = "' : неверный тип значения : ключ пропущен.";
    xCommon::LogItem const teller(nullptr, "n");
    Row const rows[] = {
        {R"("port": 1)", "", {}},
        {R"("user": "u", "password": "s3cret", "protocol": "5")", "u s3cret v5", {}},
        {R"("user": 5, "password": ["s3cret"], "availability": 1, "age": true)",
         "age",
         {head + "user" + wrong_type, head + "password" + wrong_type, head + "availability" + wrong_type}},
        {R"("user": "u", "password": "s3cret", "password_file": ")" + password + "\"",
         "u file",
         {head + "password' : пропущен : пароль берётся из 'password_file'.",
          head + "password_file' : файл доступен для чтения всем : " + password + "."}},
        {R"("password": "s3cret")", "s3cret", {head + "user' : не указан : пароль не передаётся."}},
        {R"("tls": {})", "tls", {}},
        {R"("tls": true)", "tls", {head + "tls' : неверный тип значения : TLS с настройками по умолчанию."}},
        {R"("tls": {"ca_file": 1, "insecure": true, "min_version": "1.3"})",
         "tls insecure 1.3",
         {head + "tls.ca_file" + wrong_type,
          head + "tls.insecure' : имя узла в сертификате брокера не проверяется (insecure)."}},
        {R"("tls": {"min_version": "1.1"}, "protocol": "4")",
         "tls",
         {head + "protocol' : недопустимое значение : принято 3.1.1.",
          head + "tls.min_version' : недопустимое значение : принято 1.2."}},
        {R"("status_topic": "a/7/")", "a/7/port/p a/7/port/p/line", {}},
        {R"("status_topic": "a/#")",
         "",
         {head + "status_topic' : топик непригоден для публикации : состояние не публикуется."}},
        {R"("discovery": {"node": "n", "prefix": "ha/"})", "ha n", {}},
        {R"("discovery": {"prefix": "ha"})",
         "",
         {head + "discovery.node' : не указан : сообщения обнаружения не публикуются."}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.mqtt);
        LogCapture const log(false);
        broker_set const broker(sample::json("{" + row.mqtt + "}"), &teller);
        std::string read = broker.access.user + " " + broker.access.password;
        read += broker.access.password_file.empty() ? "" : " file";
        read += broker.access.mqtt_5 ? " v5" : "";
        if (broker.access.tls) {
            read += std::string(" tls") + (broker.access.tls->insecure ? " insecure" : "");
            read += broker.access.tls->only_1_3 ? " 1.3" : "";
        }
        read += std::string(broker.availability ? " availability" : "") + (broker.age ? " age " : " ");
        read += broker.state_topic("p") + " " + broker.line_topic("p") + " ";
        read += broker.discovery ? broker.discovery->prefix + " " + broker.discovery->node : "";
        std::erase_if(read,
                      [at = ' '](char symbol) mutable { return std::exchange(at, symbol) == ' ' && symbol == ' '; });
        EXPECT_EQ(read.substr(0, read.find_last_not_of(' ') + 1), row.read);
        EXPECT_EQ(log.entries(), row.lines);
    }
    // A name with which the topic couldn't be published costs the presence of that port, not its values.
    EXPECT_EQ(load(R"({"mqtt": {"status_topic": "a"}})")->broker.state_topic("p#"), "");
}

TEST(Tree, NamesThatNoTopicCanHave) {
    LogCapture const log(false);
    auto const config = load(R"({"ports": [
        {"name": "p+", "type": "base.null", "devices": [{"name": "d#", "type": "mb-rtu", "sid": 1, "params": [
            {"name": "a\u0007", "reg_addr": 1, "value_type": "u16"},
            {"name": "off+", "reg_addr": 1, "value_type": "u16", "enabled": false},
            {"name": "w", "reg_addr": 1, "reg_type": "holding-bit", "value_type": "u16",
             "bh_list": [{"name": "b+", "offset": 0}, {"name": "c", "offset": 1}]}]}]},
        {"name": "z+", "type": "base.z2t", "zigbee": {"address": "A"}, "devices": [
            {"name": "y+", "type": "z2t", "cname": "c", "sid": "0x1", "params": [{"name": "x+", "z2t_name": "T"}]},
            {"name": "y", "type": "z2t", "cname": "c#", "sid": "0x2", "params": [{"name": "x", "z2t_name": "T"}]}]}]})");
    ASSERT_NE(config, nullptr);
    std::vector<std::string> names;
    for (std::string const& entry : log.entries()) {
        names.push_back(entry.substr(entry.rfind(' ') + 1));
    }
    EXPECT_THAT(names, ElementsAre("p+", "d#", "a\\x07", "b+", "z+_A", "x+", "c#_0x2"));
    EXPECT_TRUE(log.has("[3] [p+] имя непригодно для топика, публикации не будет : p+"));
}

TEST(Root, NamesThatTheBrokerCannotTellApart) {
    std::string const long_name(22, 'n');
    std::tuple<char const*, std::string, std::string, bool, int> const rows[] = {
        {"23 bytes alike", long_name + "n1", long_name + "n2", true, 1},
        {"no byte left for chance", long_name, long_name, true, 1},
        {"one is off", long_name + "n1", long_name + "n2", false, 0},
        {"a random byte each", long_name.substr(1), long_name.substr(1), true, 0},
        {"different before the cut", long_name + "1x", long_name + "2x", true, 0},
    };
    for (auto const& [guards, first, second, second_enabled, lines] : rows) {
        LogCapture const log(false);
        Json::Value root;
        for (std::string const& name : {first, second}) {
            Json::Value port = json(R"({"type": "base.null", "devices": [{"name": "d", "type": "tree"}]})");
            port["name"] = name;
            root["ports"].append(port);
        }
        root["ports"][1]["enabled"] = second_enabled;
        std::unique_ptr<Config> const config(Config::Load(root));
        EXPECT_EQ(config->ports.children.size(), 2U);
        EXPECT_EQ(log.count("одинаковый идентификатор клиента MQTT"), lines) << guards;
    }
}

TEST(Root, PortsKeepTheOrderOfTheFileAndKnowTheRoot) {
    LogCapture const log(false);
    std::string const devices =
        R"(, "type": "base.null", "devices": [{"name": "d", "type": "tree", "params": [{"name": "a"}]}]})";
    auto const config = load(R"({"ports": [{"name": "z")" + devices +
                             R"(, {"name": "nosuch", "type": "lora"}, {"name": "a")" + devices + "]}");
    EXPECT_THAT(names_of(config->ports), ElementsAre("z", "a"));
    for (auto const& port : config->ports.children) {
        EXPECT_EQ(dynamic_cast<CPort const&>(*port).cfg, config.get());
    }
    EXPECT_THAT(log.entries(), ElementsAre("[3] [Config::Load] Load : nosuch : тип элемента не найден : lora.cport. "
                                           "Элемент будет пропущен."));
    // Without ports there is a tree all the same: whoever starts it says that nothing runs.
    EXPECT_NE(load(R"({"ports": []})"), nullptr);
}

TEST(Root, FileWithoutContentIsRefused) {
    TempFolder const folder;
    std::pair<char const*, char const*> const rows[] = {
        {"{}", "exception : пустой файл конфигурации."},
        {"[]", "exception : пустой файл конфигурации."},
        {R"({"ports": []})", "exception : список портов пуст."},
        {R"({"ports": [{"name": "p", "type": "base.null"}]})", "exception : список портов пуст."},
        {"{", "driver.json"},
    };
    for (auto const& [content, reason] : rows) {
        LogCapture const log(false);
        std::unique_ptr<Config> const config(Config::Load(folder.write("driver.json", content)));
        EXPECT_EQ(config, nullptr) << content;
        EXPECT_TRUE(log.has(reason)) << content;
    }
    std::string const good = folder.write("driver.json", R"({"ports": [{"name": "p", "type": "base.null", "devices": [
        {"name": "d", "type": "tree", "params": [{"name": "a"}]}]}]})");
    std::unique_ptr<Config> const config(Config::Load(good));
    ASSERT_NE(config, nullptr);
    EXPECT_THAT(names_of(config->ports), ElementsAre("p"));
}

TEST(PortNode, KeysOfEachTransport) {
    // The type, its keys, and what is read : URL, port, path of the line, name at the bridge.
    std::tuple<char const*, char const*, char const*> const rows[] = {
        {"base.tcp", R"("tcp": {"url": "h", "port": 502})", "h 502 - -"},
        {"base.tcp", R"("tcp": {"url": "h"}, "url": "flat", "port": 7)", "h 0 - -"},
        {"base.tcp", R"("tcp": {"port": 502})", "127.0.0.1 502 - -"},
        {"base.tcp", R"("url": "flat", "port": 7)", "flat 7 - -"},
        {"base.tcp", R"("x": 1)", " -1 - -"},
        {"base.z2t", R"("zigbee": {"address": "0x12"})", " -1 - p_0x12-"},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1"}, "url": "flat")", " -1 /dev/ttyS1- -"},
        {"base.null", R"("rs": 5, "tcp": 5, "zigbee": 5, "url": 5)", " -1 - -"},
        {"base", R"("rs": 5, "tcp": 5, "zigbee": 5, "url": [])", " -1 - -"},
    };
    for (auto const& [type, more, read] : rows) {
        Json::Value node = port_node(type, more);
        CPort const port(node);
        EXPECT_EQ(xCommon::xString::Format("%s %d %s- %s-", port.url, port.port, port.rs.path, port.z2t_id), read)
            << type << more;
        EXPECT_EQ(port.children.size(), 1U);
    }
}

TEST(PortNode, DriversOwnPortsLoadTheirDevicesThemselves) {
    LogCapture const log(false);
    Json::Value serial = port_node("dlms.rs.old", R"("rs": {"path": "/dev/ttyS1"})");
    CPort const port(serial);
    EXPECT_EQ(port.rs.path, "/dev/ttyS1");
    EXPECT_TRUE(port.children.empty());
    Json::Value tcp = json(R"({"name": "p", "type": "dlms.tcp", "url": "h", "port": 4059})");
    EXPECT_EQ(CPort(tcp).port, 4059);
    EXPECT_TRUE(log.entries().empty());
}

TEST(PortNode, DeviceOfATopicIsTheFirstWhoseNameLiesInIt) {
    Json::Value node = json(R"({"name": "p", "type": "base.null", "devices": [
        {"name": "m1", "type": "plain"}, {"name": "m10", "type": "plain"}, {"name": "k", "type": "plain"}]})");
    CPort port(node);
    std::pair<char const*, char const*> const rows[] = {
        {"/devices/m1/controls/a/on", "m1"},
        {"/devices/m10/controls/a/on", "m1"},
        {"x/devices/k", "k"},
        {"/devices/m2/controls/k", "none"},
        {"m1", "none"},
        {"", "none"},
    };
    for (auto const& [topic, device] : rows) {
        CBase const* const found = port.get_device(topic);
        EXPECT_EQ(found != nullptr ? found->name : "none", device) << topic;
    }
}

TEST(DeviceNode, KeysOfItsOwn) {
    Json::Value node = json(R"({"name": "d", "rs": {"baudrate": 19200}, "display_name": "Насос"})");
    CDev const personal(nullptr, node);
    EXPECT_TRUE(personal.personal_rs);
    EXPECT_EQ(personal.rs.baudrate, 19200U);
    EXPECT_EQ(personal.rs.path, "");
    EXPECT_EQ(personal.display_name, "Насос");
    for (char const* text : {R"({"name": "d"})", R"({"name": "d", "rs": null})"}) {
        node = json(text);
        EXPECT_FALSE(CDev(nullptr, node).personal_rs) << text;
    }
}

TEST(DeviceNode, AllParamsIsForModbusAlone) {
    for (auto const& [word, taken] : {std::pair{"mb-tcp", true}, std::pair{"mb-rtu", true}, std::pair{"dcon", false},
                                      std::pair{"mb-rtu2", false}, std::pair{"MB-RTU", false}}) {
        Json::Value node = json(R"({"name": "d", "all_params": true, "type": ")" + std::string(word) + "\"}");
        EXPECT_EQ(CDev(nullptr, node).all_params, taken) << word;
    }
    // Where it isn't read its type doesn't matter either.
    Json::Value node = json(R"({"name": "d", "type": "dcon", "all_params": []})");
    EXPECT_FALSE(CDev(nullptr, node).all_params);
}
