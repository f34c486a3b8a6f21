// The broker client against a real broker, and against one that breaks off where a real one can't be made to.

#include "foundation/mq_client.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/free_port.h"
#include "support/log_capture.h"
#include "support/mqtt_probe.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;
using xCommon::svMessage;
using xCommon::SyncVector;
using xMQ::mqClient;

namespace {

std::unique_ptr<svMessage> pop(SyncVector& queue) {
    return std::unique_ptr<svMessage>(queue.PopWait(0, true));
}

/// Takes entries until a message comes, and gives its payload; empty when none comes.
std::string next_payload(SyncVector& queue) {
    std::string payload;
    wait_until(
        [&] {
            auto const entry = pop(queue);
            if (auto const* message = xMQ::mqUtils::mqCast(entry.get(), "test")) {
                payload = message->payload;
            }
            return !payload.empty();
        },
        seconds(5));
    return payload;
}

bool is_connected(mqClient& client) {
    return client.get_bool(client.connected);
}

class MqClient : public testing::Test {
 protected:
    void connect() {
        ASSERT_TRUE(client.connect("127.0.0.1", broker.port()));
        ASSERT_TRUE(client.wait_connected(5000));
    }

    LogCapture log;
    Broker broker;
    SyncVector queue;
    mqClient client{true, &queue, "test", 60};
};

}  // namespace

TEST(MqClientAlone, WhoTakesTheEntryOfAConnectionSeesTheConnection) {
    /// Holds the client between the entry and what it does next, until somebody has taken the entry.
    struct HeldQueue : SyncVector {
        void Push(std::unique_ptr<svMessage> entry) override {
            SyncVector::Push(std::move(entry));
            EXPECT_TRUE(wait_until([this] { return empty(); }, seconds(5)));
        }
    };
    Broker broker;
    HeldQueue queue;
    mqClient client(true, &queue, "test", 60);
    ASSERT_TRUE(client.connect("127.0.0.1", broker.port()));
    std::unique_ptr<svMessage> const entry(queue.PopWait(5000, true));
    ASSERT_TRUE(entry);
    EXPECT_TRUE(is_connected(client));
    EXPECT_TRUE(client.subscribe({{"a", 2}}));
}

TEST_F(MqClient, EntriesFlagAndStampFollowTheConnection) {
    connect();
    EXPECT_EQ(client.get_i64(client.stamp), 0);
    auto entry = pop(queue);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->type, svMessage::connected);

    ASSERT_TRUE(client.subscribe({{"a/+", 2}, {"b", 2}}));
    MqttProbe probe(broker.port());
    probe.publish("a/1", std::string("x\0y", 3));
    EXPECT_EQ(next_payload(queue), std::string("x\0y", 3));
    client.unsubscribe("b");
    EXPECT_TRUE(client.publish("a/3", "behind the request", 2, false));
    EXPECT_EQ(next_payload(queue), "behind the request");
    probe.publish("b", "unheard");
    probe.publish("a/2", "heard");
    EXPECT_EQ(next_payload(queue), "heard");

    broker.stop();
    ASSERT_TRUE(wait_until([&] { return !is_connected(client); }, seconds(5)));
    std::string const place = "соединение с брокером 127.0.0.1:" + std::to_string(broker.port());
    EXPECT_EQ(log.count("[1] MQTT : test : " + place + " установлено."), 1);
    EXPECT_TRUE(wait_until([&] { return log.has("[3] MQTT : test : " + place + " завершено."); }, seconds(5)));
    EXPECT_FALSE(client.publish("a", "b", 2, true));
    EXPECT_TRUE(wait_until([&] { return client.get_i64(client.stamp) >= 1; }, seconds(5)));
    broker.start();
    ASSERT_TRUE(wait_until([&] { return is_connected(client); }, seconds(10)));
    entry = pop(queue);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->type, svMessage::connected);
    client.disconnect();
    EXPECT_FALSE(is_connected(client));
    EXPECT_EQ(log.count("[1] MQTT : test : " + place + " завершено."), 1);
    EXPECT_EQ(log.count("нет соединения"), 0) << "one that stood has not failed";
}

TEST(MqClientAlone, ItKeepsTryingWhateverFailedFirst) {
    LogCapture log;
    SyncVector queue;
    for (auto const& [host, port] : {std::pair{"127.0.0.1", 0}, {"no.such.host.invalid", 1883}, {"127.0.0.1", 70000}}) {
        SCOPED_TRACE(host);
        mqClient client(true, &queue, "test", 60);
        log.clear();
        ASSERT_TRUE(client.connect(host, port));
        EXPECT_FALSE(client.wait_connected(5000));
        EXPECT_TRUE(wait_until([&] { return client.get_i64(client.stamp) >= 2; }, seconds(10)));
        EXPECT_EQ(log.count("[3] MQTT : test : нет соединения с брокером"), 1);
    }
}

// A broker that begins a clean session numbers its messages anew: what was half received before must not be executed in
// place of a new one.
TEST(MqClientAlone, AHalfReceivedMessageDiesWithItsConnection) {
    LogCapture log;
    TcpPeer broker;
    std::string const connack = "20 02 00 00";
    bool first_connection = true;
    broker.script().otherwise([&](std::span<unsigned char const> packet) {
        int const kind = packet.empty() ? 0 : packet[0] >> 4;
        if (kind == 1) {
            // The same number 1 on both connections: QoS 2, topic "t".
            return Reply{.hex = connack + (first_connection ? " 34 06 00 01 74 00 01 41" : " 34 06 00 01 74 00 01 42")};
        }
        if (kind == 5 && first_connection) {
            first_connection = false;
            return Reply{.hang_up = HangUp::before_reply};
        }
        return kind == 5 ? Reply{.hex = "62 02 00 01"} : Reply{};
    });
    SyncVector queue;
    mqClient client(true, &queue, "test", 60);
    ASSERT_TRUE(client.connect("127.0.0.1", broker.port()));
    EXPECT_EQ(next_payload(queue), "B");
}

TEST_F(MqClient, ABurstLosesNothing) {
    constexpr int number = 70000;  // more than MQTT can number at once
    MqttProbe probe(broker.port(), "burst");
    connect();
    int refused = 0;
    for (int index = 0; index < number; ++index) {
        refused += client.publish("burst", std::to_string(index), 1, false) ? 0 : 1;
    }
    EXPECT_EQ(refused, 0);
    EXPECT_TRUE(wait_until([&] { return probe.mark() == static_cast<size_t>(number); }, seconds(40))) << probe.mark();
    EXPECT_FALSE(log.has("не подтверждает"));
}

TEST_F(MqClient, AStalledBrokerIsTakenAsGoneAtItsBound) {
    connect();
    broker.stall();
    for (int index = 0; index < 10000; ++index) {
        ASSERT_TRUE(client.publish("t", "v", 2, true)) << index;
    }
    // What merely leaves this machine is no sign of life.
    EXPECT_TRUE(wait_until([&] { return !client.publish("t", "v", 0, false); }, seconds(15)));
    EXPECT_FALSE(client.publish("t", "v", 2, true));
    EXPECT_EQ(log.count("[3] MQTT : test : брокер не подтверждает сообщения, публикация приостановлена."), 1);
    broker.resume();
    EXPECT_TRUE(wait_until([&] { return client.publish("t", "last", 2, true); }, seconds(20)));
    MqttProbe probe(broker.port());
    EXPECT_TRUE(probe.wait_for("t", "last", seconds(20)));
}

TEST_F(MqClient, WhatMqttForbidsCostsOnlyItself) {
    connect();
    EXPECT_FALSE(client.subscribe({{"a#b", 2}, {"good", 2}}));
    EXPECT_EQ(log.count("[3] MQTT : подписка на топик 'a#b' невозможна"), 1);
    EXPECT_FALSE(client.publish("a/+/b", "v", 2, false));
    EXPECT_FALSE(client.publish("\xff", "v", 2, false));
    EXPECT_EQ(log.count("[3] MQTT : публикация в топик"), 2);
    EXPECT_TRUE(client.publish("good", "v", 2, false));
    EXPECT_EQ(next_payload(queue), "v");
    // Nor does a device take what is too long.
    MqttProbe probe(broker.port());
    probe.publish("good", std::string(65537, 'x'));
    probe.publish("good", std::string(65536, 'y'));
    EXPECT_EQ(next_payload(queue), std::string(65536, 'y'));
    EXPECT_EQ(log.count("[3] MQTT : test : сообщение отброшено : топик 'good' : размер 65537 байт."), 1);
}

TEST(MqClientAlone, WhatTheLibraryReportsEndsInALine) {
    /// Has room for the entry of a connection alone.
    struct FullQueue : SyncVector {
        void Push(std::unique_ptr<svMessage> entry) override {
            if (entry->type == svMessage::message) {
                throw std::runtime_error("нет места");
            }
        }
    };
    LogCapture const log;
    TcpPeer broker;
    // The first subscription is granted; the second one is refused, with a message of QoS 0 behind it: topic "t".
    broker.script().otherwise([](std::span<unsigned char const> packet) {
        bool const subscribes = packet.size() > 3 && packet[0] >> 4 == 8;
        return Reply{.hex = !subscribes      ? "20 02 00 00"
                            : packet[3] == 1 ? "90 03 00 01 00"
                                             : "90 03 00 02 80 30 04 00 01 74 41"};
    });
    FullQueue queue;
    mqClient client(true, &queue, "test", 60);
    ASSERT_TRUE(client.connect("127.0.0.1", broker.port()));
    ASSERT_TRUE(client.wait_connected(5000));
    for (int const requests : {2, 3}) {
        EXPECT_TRUE(client.subscribe({{"t", 0}}));
        EXPECT_TRUE(
            wait_until([&] { return static_cast<int>(broker.log().requests().size()) == requests; }, seconds(5)));
    }
    EXPECT_TRUE(wait_until([&] { return log.has("[3] MQTT : исключение в обработчике : нет места"); }, seconds(5)));
    EXPECT_EQ(log.count("[3] MQTT : test : брокер отказал в подписке."), 1);

    svMessage other(svMessage::connected);
    EXPECT_EQ(xMQ::mqUtils::mqCast(&other, "n"), nullptr);
    EXPECT_EQ(log.count("[4] n : запись очереди не является сообщением."), 1);
}

TEST(MqClientAlone, TheIdentityIsCutToWhatMqttAllows) {
    std::pair<std::string, std::string> const rows[] = {
        {"short", "short"},
        {"name#0123456789abcdef0123456789abcdef", "name#0123456789abcdef01"},
        {std::string("padded\0\0\0", 9), "padded"},
        {"портовыйтермин#1", "портовыйтер"},
    };
    SyncVector queue;
    for (auto const& [given, kept] : rows) {
        EXPECT_EQ(mqClient(true, &queue, given, 60).identity(), kept);
    }
}

TEST_F(MqClient, ActivateGivesAClientThatStandsOrNone) {
    EXPECT_TRUE(xMQ::mqUtils::mqActivate("127.0.0.1", broker.port(), &queue, "test", true, 60));
    FreePort const nobody;
    EXPECT_FALSE(xMQ::mqUtils::mqActivate("127.0.0.1", nobody.number(), &queue, "test", true, 60));
}
