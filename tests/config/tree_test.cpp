#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include "config/config.h"
#include "config/constants.h"
#include "config/cparam.h"
#include "config/cport.h"
#include "foundation/xexception.h"
#include "runtime/ibase.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

/// A parameter that is faulty on demand, in its constructor and under an overlay.
class Param : public CParam {
 public:
    Param(CBase* parent_node, Json::Value& node) : CParam(parent_node, node) { check(node); }
    void Compare(Json::Value& node) override {
        check(node);
        CParam::Compare(node);
    }
    static CBase* create(CBase* parent, Json::Value& node) { return new Param(parent, node); }

 private:
    static void check(Json::Value const& node) {
        if (node.isMember("fault")) {
            throw xCommon::xException(node["fault"].asString());
        }
    }
};

/// A device as the drivers' are.
class Device : public CDev {
 public:
    Device(CBase* parent_node, Json::Value& node) : CDev(parent_node, node) {
        Load(this, node, "params", suffix_cparam, type);
    }
    static CBase* create(CBase* parent, Json::Value& node) { return new Device(parent, node); }
};

CBase* create_nothing(CBase* /*parent*/, Json::Value& /*node*/) {
    return nullptr;
}

CBFac const registrars[] = {{"tree.cdev", Device::create},
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

}  // namespace

TEST(Registry, FirstRegistrationStands) {
    Json::Value node = json(R"({"name": "a"})");
    std::unique_ptr<CBase> const made(CBFac::stone_map().at("tree.cparam")(nullptr, node));
    EXPECT_NE(made, nullptr);

    struct Object : IBase {
        using IBase::IBase;
    };
    IBFac const first("tree.dev", [](IBase* parent, CBase* cfg) { return new Object(parent, cfg); });
    IBFac const second("tree.dev", [](IBase*, CBase*) { return nullptr; });
    std::unique_ptr<IBase> const object(IBFac::stone_map().at("tree.dev")(nullptr, made.get()));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->cfg, made.get());
}

TEST(Registry, EveryWordOfTheCoreIsThere) {
    for (std::string const word : {"base", "base.rs", "base.tcp", "base.z2t", "base.null"}) {
        EXPECT_EQ(CBFac::stone_map().count(word + ".cport"), 1U) << word;
        EXPECT_EQ(IBFac::stone_map().count(word + ".port"), 1U) << word;
    }
    // Through the object library, or the linker would have left them out.
    EXPECT_EQ(CBFac::stone_map().count("mb-rtu.cdev"), 1U);
    EXPECT_EQ(CBFac::stone_map().count("mb-rtu.cparam"), 1U);
    EXPECT_EQ(IBFac::stone_map().count("mb-rtu.dev"), 1U);
}

TEST(ListLoader, EachFaultCostsItsLineAndItself) {
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
        {"elements that are no objects",
         R"({"list": [5, "b", null, [], [{"name": "c"}], true, 1.5, {"name": "a"}]})",
         "tree",
         {"a"},
         {nameless, nameless, nameless, nameless, nameless, nameless, nameless}},
        {"no type, the placeholder unfilled",
         R"({"list": [{"name": "a"}, {"name": "b", "type": "tree"}, {"name": "c", "type": ""}]})",
         "",
         {"b"},
         {"[3] [owner] Load : %s : элемент без типа будет пропущен.",
          "[3] [owner] Load : %s : элемент без типа будет пропущен."}},
        {"an unknown class",
         R"({"list": [{"name": "50%s", "type": "no%d"}, {"name": "a"}]})",
         "tree",
         {"a"},
         {"[3] [owner] Load : 50%s : тип элемента не найден : no%d.cparam. Элемент будет пропущен."}},
        {"an exception of the creator",
         R"({"list": [{"name": "a"}, {"name": "b", "fault": "причина %s"}, {"name": "c"}]})",
         "tree",
         {"a", "c"},
         {"[3] [owner] tree.cparam : nnm : исключение при парсинге элемента : причина %s"}},
        {"an exception of an overlay",
         R"({"list": [{"name": "a"}, {"name": "a", "fault": "причина"}, {"name": "c"}]})",
         "tree",
         {"a", "c"},
         {"[3] [owner] tree.cparam : a : исключение при парсинге элемента : причина"}},
        {"a creator that makes nothing",
         R"({"list": [{"name": "a", "type": "tree-nothing"}]})",
         "tree",
         {},
         {empty_list}},
        {"the same name twice", R"({"list": [{"name": "a"}, {"name": "b"}, {"name": "a"}]})", "tree", {"a", "b"}, {}},
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
    struct Row {
        char const* guards;
        CBase const* node;
        char const* type;
        bool enabled;
        int poll_interval, rto, sto;
        bool poll_reconnect;
    };
    Row const rows[] = {
        {"a port of its own defaults", &bare, "base.null", true, 60, 500, 500, false},
        {"a parameter under it", bare.children[0]->children[0].get(), "tree", true, 60, 500, 500, false},
        {"a port's own", &set, "base.null", true, 10, 11, 12, true},
        {"a device takes the port's", &heir, "tree", true, 10, 11, 12, true},
        {"a parameter takes them through", heir.children[0].get(), "tree", true, 10, 11, 12, true},
        {"a device's own", &own, "tree", false, 10, 21, 12, false},
        {"a parameter takes the device's", own.children[0].get(), "tree", false, 10, 21, 12, false},
        {"a parameter's own", own.children[1].get(), "tree", true, 300, 21, 0, true},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.node->type, row.type) << row.guards;
        EXPECT_EQ(row.node->enabled, row.enabled) << row.guards;
        EXPECT_EQ(row.node->poll_interval, row.poll_interval) << row.guards;
        EXPECT_EQ(row.node->rto, row.rto) << row.guards;
        EXPECT_EQ(row.node->sto, row.sto) << row.guards;
        EXPECT_EQ(row.node->poll_reconnect, row.poll_reconnect) << row.guards;
    }
    EXPECT_EQ(set.parent, nullptr);
    EXPECT_EQ(own.parent, &set);
    EXPECT_EQ(own.children[0]->parent, &own);
}

TEST(Tree, IntervalAndAClockSetBack) {
    struct Row {
        char const* guards;
        long long last_poll;
        int interval;
        long long now;
        bool due;
    };
    Row const rows[] = {
        {"never polled", 0, 60, 1000000, true},  {"one second short", 1000, 60, 1059, false},
        {"to the second", 1000, 60, 1060, true}, {"late", 1000, 60, 5000, true},
        {"set back", 1000, 60, 999, true},       {"every pass", 1000, 0, 1000, true},
    };
    CBase node("n");
    for (Row const& row : rows) {
        node.last_poll = row.last_poll;
        node.poll_interval = row.interval;
        EXPECT_EQ(node.is_due(row.now), row.due) << row.guards;
    }
}

TEST(Root, BrokerAndLogSettings) {
    struct Row {
        char const* root;
        char const* url;
        int port;
        int max_size;
        bool is_debug;
        bool quiet = false;
    };
    Row const rows[] = {
        {R"({"x": 1})", "127.0.0.1", 1883, 5, false},
        {R"({"mqtt": {"url": "10.0.0.1"}})", "10.0.0.1", 0, 5, false},  // not 1883
        {R"({"mqtt": null, "mqtt_url": "b", "log": null})", "b", 1883, 5, false},
        {R"({"mqtt": {"port": 1884}})", "127.0.0.1", 1884, 5, false},
        {R"({"mqtt": {"url": "a", "port": 1}, "mqtt_url": "b", "mqtt_port": 2})", "a", 1, 5, false},
        {R"({"mqtt_url": "b"})", "b", 1883, 5, false},
        {R"({"mqtt_url": "b", "mqtt_port": 2})", "b", 2, 5, false},
        {R"({"mqtt_port": 2})", "127.0.0.1", 1883, 5, false},  // read beside mqtt_url alone
        {R"({"log": {"max_size": 7, "is_debug": true}})", "127.0.0.1", 1883, 7, true},
        {R"({"log": {"is_debug": true}, "log_maxsize": 9})", "127.0.0.1", 1883, 5, true},
        {R"({"log_maxsize": 9, "log_debug": true})", "127.0.0.1", 1883, 9, true},
        {R"({"log": {"quiet": true}, "log_quiet": false})", "127.0.0.1", 1883, 5, false, true},
        {R"({"log": {}, "log_quiet": true})", "127.0.0.1", 1883, 5, false},
        {R"({"log_quiet": true})", "127.0.0.1", 1883, 5, false, true},
        {R"({"log_debug": true})", "127.0.0.1", 1883, 5, false},  // read beside log_maxsize alone
    };
    for (Row const& row : rows) {
        auto const config = load(row.root);
        ASSERT_NE(config, nullptr) << row.root;
        EXPECT_EQ(config->mqtt.url, row.url) << row.root;
        EXPECT_EQ(config->mqtt.port, row.port) << row.root;
        EXPECT_EQ(config->log.max_size, row.max_size) << row.root;
        EXPECT_EQ(config->log.is_debug, row.is_debug) << row.root;
        EXPECT_EQ(config->log.quiet, row.quiet) << row.root;
    }
}

TEST(Root, BrokerThatCannotBeReadRefusesTheFile) {
    for (char const* text : {R"({"mqtt": {}})", R"({"mqtt": []})", R"({"mqtt": "10.0.0.1"})"}) {
        LogCapture const log(false);
        EXPECT_EQ(load(text), nullptr) << text;
        EXPECT_THAT(log.entries(),
                    ElementsAre("[3] [ostrand::Config] exception : tcp_set : конфиг не содержит настроек TCP/MQTT"));
    }
}

TEST(Root, FaultyLogSettingsRefuseTheFile) {
    for (char const* text : {R"({"log": 5})", R"({"log": {"max_size": "5"}})", R"({"log_maxsize": []})"}) {
        LogCapture const log(false);
        EXPECT_EQ(load(text), nullptr) << text;
        EXPECT_EQ(log.count("[3] [ostrand::Config] exception : "), 1) << text;
    }
}

TEST(Root, NamesThatTheBrokerCannotTellApart) {
    std::string const long_name(22, 'n');
    struct Row {
        char const* guards;
        std::string first, second;
        bool second_enabled;
        int lines;
    };
    Row const rows[] = {
        {"23 bytes alike", long_name + "n1", long_name + "n2", true, 1},
        {"no byte left for chance", long_name, long_name, true, 1},
        {"one is off", long_name + "n1", long_name + "n2", false, 0},
        {"a random byte each", long_name.substr(1), long_name.substr(1), true, 0},
        {"different before the cut", long_name + "1x", long_name + "2x", true, 0},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        Json::Value root;
        for (std::string const& name : {row.first, row.second}) {
            Json::Value port = json(R"({"type": "base.null", "devices": [{"name": "d", "type": "tree"}]})");
            port["name"] = name;
            root["ports"].append(port);
        }
        root["ports"][1]["enabled"] = row.second_enabled;
        std::unique_ptr<Config> const config(Config::Load(root));
        EXPECT_EQ(config->ports.children.size(), 2U);
        EXPECT_EQ(log.count("одинаковый идентификатор клиента MQTT"), row.lines) << row.guards;
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
    struct Row {
        char const* content;
        char const* reason;
    };
    Row const rows[] = {
        {"{}", "exception : пустой файл конфигурации."},
        {"[]", "exception : пустой файл конфигурации."},
        {R"({"ports": []})", "exception : список портов пуст."},
        {R"({"ports": [{"name": "p", "type": "base.null"}]})", "exception : список портов пуст."},
        {"{", "driver.json"},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        std::unique_ptr<Config> const config(Config::Load(folder.write("driver.json", row.content)));
        EXPECT_EQ(config, nullptr) << row.content;
        EXPECT_TRUE(log.has(row.reason)) << row.content;
    }
    std::string const good = folder.write("driver.json", R"({"ports": [{"name": "p", "type": "base.null", "devices": [
        {"name": "d", "type": "tree", "params": [{"name": "a"}]}]}]})");
    std::unique_ptr<Config> const config(Config::Load(good));
    ASSERT_NE(config, nullptr);
    EXPECT_THAT(names_of(config->ports), ElementsAre("p"));
}
