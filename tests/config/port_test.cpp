#include <memory>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include "config/config.h"
#include "config/cport.h"
#include "support/log_capture.h"

using testing::ElementsAre;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

CBase* create_device(CBase* parent, Json::Value& node) {
    return new CDev(parent, node);
}

CBFac const registrars[] = {{"plain.cdev", create_device}, {"dcon-like.cdev", create_device}};

/// A port's node with a device in it; `keys` are the port's further ones.
Json::Value port_node(std::string const& type, std::string const& keys) {
    return json(R"({"name": "p", "type": ")" + type + R"(", "devices": [{"name": "d", "type": "plain"}])" +
                (keys.empty() ? "" : ", " + keys) + "}");
}

}  // namespace

TEST(PortNode, KeysOfEachTransport) {
    struct Row {
        char const* guards;
        char const* type;
        char const* keys;
        char const* url;
        int port;
        char const* rs_path;
        char const* z2t_id;
    };
    Row const rows[] = {
        {"tcp object", "base.tcp", R"("tcp": {"url": "h", "port": 502})", "h", 502, "", ""},
        {"tcp object wins over flat keys", "base.tcp", R"("tcp": {"url": "h"}, "url": "flat", "port": 7)", "h", 0, "",
         ""},
        {"tcp object without url", "base.tcp", R"("tcp": {"port": 502})", "127.0.0.1", 502, "", ""},
        {"flat keys", "base.tcp", R"("url": "flat", "port": 7)", "flat", 7, "", ""},
        {"flat keys, none there", "base.tcp", "", "", -1, "", ""},
        {"bridge", "base.z2t", R"("zigbee": {"address": "0x12"})", "", -1, "", "p_0x12"},
        {"serial line", "base.rs", R"("rs": {"path": "/dev/ttyS1"}, "url": "flat")", "", -1, "/dev/ttyS1", ""},
        {"no line reads no keys", "base.null", R"("rs": 5, "tcp": 5, "zigbee": 5, "url": 5)", "", -1, "", ""},
        {"the bare word neither", "base", R"("rs": 5, "tcp": 5, "zigbee": 5, "url": [])", "", -1, "", ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.guards);
        Json::Value node = port_node(row.type, row.keys);
        CPort const port(node);
        EXPECT_EQ(port.url, row.url);
        EXPECT_EQ(port.port, row.port);
        EXPECT_EQ(port.rs.path, row.rs_path);
        EXPECT_EQ(port.z2t_id, row.z2t_id);
        EXPECT_EQ(port.children.size(), 1U);
    }
}

TEST(PortNode, RefusedSettingsCostThatPortAlone) {
    std::string const bad_rs = "#p : ctor : невалидные настройки rs-порта.";
    std::string const bad_z2t = "#p : ctor : невалидные настройки zigbee-порта";
    std::string const bad_tcp = "tcp_set : конфиг не содержит настроек TCP/MQTT";
    struct Row {
        char const* type;
        char const* keys;
        std::string reason;
    };
    Row const rows[] = {
        {"base.rs", "", bad_rs},
        {"base.rs", R"("rs": {})", bad_rs},
        {"base.rs", R"("rs": "/dev/ttyS1")", bad_rs},
        {"base.rs", R"("rs": {"path": ""})", bad_rs},
        {"base.rs", R"("rs": {"path": 5})", bad_rs},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1", "baudrate": 0})", bad_rs},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1", "baudrate": "9600"})", bad_rs},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1", "bytesize": 9})", bad_rs},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1", "parity": "Even"})", bad_rs},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1", "stopbits": 3})", bad_rs},
        {"base.rs", R"("rs": {"path": "/dev/ttyS1", "flowcontrol": "rts"})", bad_rs},
        {"base.z2t", "", bad_z2t},
        {"base.z2t", R"("zigbee": {})", bad_z2t},
        {"base.z2t", R"("zigbee": {"address": ""})", bad_z2t},
        {"base.z2t", R"("zigbee": "0x12")", bad_z2t},
        {"base.tcp", R"("tcp": {})", bad_tcp},
        {"base.tcp", R"("tcp": "h")", bad_tcp},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        Json::Value root;
        root["ports"].append(port_node(row.type, row.keys));
        Json::Value good = port_node("base.null", "");
        good["name"] = "good";
        root["ports"].append(good);
        std::unique_ptr<Config> const config(Config::Load(root));
        ASSERT_NE(config, nullptr);
        ASSERT_EQ(config->ports.children.size(), 1U) << row.type << ' ' << row.keys;
        EXPECT_EQ(config->ports.children[0]->name, "good");
        EXPECT_THAT(log.entries(), ElementsAre("[3] [Config::Load] " + std::string(row.type) +
                                               ".cport : nnm : исключение при парсинге элемента : " + row.reason))
            << row.keys;
    }
}

TEST(PortNode, WithoutAUsableDeviceIsRefused) {
    std::string const refusal =
        "[3] [Config::Load] base.null.cport : nnm : исключение при парсинге элемента : #p : "
        "список устройств пуст.";
    std::string const empty_list = "[3] [p] Load : список пуст.";
    LogCapture log(false);
    Json::Value root = json(R"({"ports": [{"name": "p", "type": "base.null"}]})");
    std::unique_ptr<Config> const no_list(Config::Load(root));
    EXPECT_THAT(log.entries(), ElementsAre(empty_list, refusal, "[3] [Config::Load] Load : список пуст."));

    log.clear();
    root = json(R"({"ports": [{"name": "p", "type": "base.null", "devices": [{"name": "x", "type": "lora"}]}]})");
    std::unique_ptr<Config> const no_class(Config::Load(root));
    EXPECT_THAT(log.entries(),
                ElementsAre("[3] [p] Load : x : тип элемента не найден : lora.cdev. Элемент будет пропущен.",
                            empty_list, refusal, "[3] [Config::Load] Load : список пуст."));
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
    struct Row {
        char const* topic;
        char const* device;
    };
    Row const rows[] = {
        {"/devices/m1/controls/a/on", "m1"},
        {"/devices/m10/controls/a/on", "m1"},
        {"x/devices/k", "k"},
        {"/devices/m2/controls/k", nullptr},
        {"m1", nullptr},
        {"", nullptr},
    };
    for (Row const& row : rows) {
        CBase const* const found = port.get_device(row.topic);
        EXPECT_EQ(found != nullptr ? found->name : "none", row.device != nullptr ? row.device : "none") << row.topic;
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
