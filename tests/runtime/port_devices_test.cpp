// A port under a host of its own, without a thread, a line or a broker: devices that fail, a client that is missing.

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/config.h"
#include "runtime/port_base.h"
#include "runtime/port_host.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "transport/no_line_tran.h"

namespace {

struct Client : xMQ::mqClient {
    using mqClient::mqClient;
    bool connect(std::string const& /*host*/, int /*port*/, bool /*quiet*/) override { return connected = true; }
    void disconnect() override { connected = false; }
};

struct Host : PortHost {
    std::unique_ptr<iTran> make_line(CPort& node) override { return std::make_unique<nullTran>(&node); }
    std::unique_ptr<xMQ::mqClient> make_client(xCommon::SyncVector& queue, std::string const& identity) override {
        name = identity;
        return std::make_unique<Client>(true, &queue, identity, 60);
    }
    std::string name;
};

/// Raises in the step that its name tells.
struct Failing : DevBase {
    Failing(IBase* parent_object, CBase* node) : DevBase(parent_object, node) { fail("made"); }
    bool Start() override { return fail("started"); }
    void Stop() override { fail("stopped"); }
    bool fail(std::string const& step) const { return cfg->name == step ? throw std::runtime_error("why") : true; }
};

CBFac const node_registrars[] = {{"failing.cdev", FromJson<CDev>::create}, {"homeless.cdev", FromJson<CDev>::create}};
IBFac const registrar("failing.dev", FromNode<Failing>::create);

/// A port "p" with these devices, each as its name tells.
struct Tree {
    explicit Tree(std::vector<std::string> const& devices) {
        Json::Value root =
            sample::json(R"({"ports": [{"name": "p", "type": "base.z2t", "zigbee": {"address": "1"}}]})");
        for (std::string const& name : devices) {
            root["ports"][0]["devices"].append(sample::json(R"({"name": ")" + name + R"(", "type": ")" +
                                                            (name == "homeless" ? name : "failing") + "\"}"));
        }
        config.reset(Config::Load(root));
        port = dynamic_cast<CPort*>(config->ports.children.at(0).get());
    }
    std::unique_ptr<Config> config;
    CPort* port;
};

}  // namespace

TEST(PortDevices, OneThatFailsCostsItselfAlone) {
    LogCapture const log(false);
    Host host;
    {
        Tree const tree({"made", "homeless", "started", "stopped", "good"});
        PortBase port(&host, tree.port);
        EXPECT_TRUE(port.Start());
        EXPECT_EQ(port.devices.size(), 2U);
    }
    EXPECT_FALSE(PortBase(&host, Tree({"started"}).port).Start());
    EXPECT_THAT(log.entries(),
                testing::ElementsAre("[3] [p] #made : исключение при создании устройства : why",
                                     "[3] [p] #homeless : тип устройства (homeless) не найден. Пропущено.",
                                     "[3] [p] : started : ошибка при запуске устройства : why",
                                     "[3] [p] : stopped : ошибка при остановке устройства : why",
                                     "[3] [p] : started : ошибка при запуске устройства : why",
                                     "[3] [p] ошибка при запуске : #p : порт не смог запустить ни одно устройство."));
    Tree const tree({"good"});
    PortBase port(&host, tree.port);
    auto const raises = [](auto const& make, char const* text) {
        EXPECT_THAT(make, testing::ThrowsMessage<std::exception>(text));
    };
    raises([&] { PortBase(&host, nullptr); }, "PBase::ctor : не указан аргумент 'cport'.");
    raises([&] { PortBase(&host, Tree({"homeless"}).port); }, "PortBase::ctor : p : список устройств пуст.");
    raises([&] { DevBase(&port, nullptr); }, "DevBase::ctor : не указан 'cbase'.");
    raises([&] { DevBase(nullptr, port.devices.at(0)->cfg); }, "DevBase::ctor : good : не указан 'port'.");
}

TEST(PortBroker, WithoutAClientNothingIsSent) {
    Host host;
    Tree const tree({"good"});
    PortBase port(&host, tree.port);
    EXPECT_FALSE(port.mq_connect() || port.mq_publish("t", "v", 0, false) || port.mq_subscribe({{"t", 2}}));
    EXPECT_FALSE(port.mq_pop() || port.get_device("other"));
    EXPECT_EQ(port.get_device("good"), port.devices.at(0).get());
    port.mq_disconnect();
    port.mq_unsubscribe();
    port.pass();
    ASSERT_TRUE(port.Start());
    EXPECT_THAT(host.name, testing::MatchesRegex("p#[0-9a-f]{32}"));
}
