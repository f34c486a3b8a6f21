// Pulsar meters through the real binary and broker, with a scripted peer behind a TCP port.

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/hex.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"
#include "support/wait_until.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

/// What the meter holds, by function and number as they stand in a request.
const std::map<std::string, std::string> values = {
    {"0A 0C 01 00", "D2 04 00 00"},        // u32, 1234
    {"0A 0C 03 10", "FE FF"},              // i16, -2
    {"0A 0C 03 00", "00"},                 // no
    {"01 0E 02 00 00 00", "00 00 C0 3F"},  // channel 2, 1.5
};

constexpr char params[] = R"([
    {"name": "total", "parameter_number": 1},
    {"name": "level", "parameter_number": "0x1003", "scale": 0.5, "unit": "dB"},
    {"name": "channel", "function": 1, "parameter_number": 2}])";

/// The answer to a request, with a CRC that is computed bit by bit. `id` stands in place of the request's own.
std::string answer_to(std::span<unsigned char const> request, std::string const& id = "") {
    std::string const head = hex::text(request.first(4));
    std::string const asked = hex::text(request.subspan(4, request.size() - 8));
    hex::Bytes const payload = hex::bytes(values.at(asked));
    hex::Bytes frame = hex::bytes(head + asked.substr(0, 2));
    frame.push_back(static_cast<unsigned char>(10 + payload.size()));
    frame.insert(frame.end(), payload.begin(), payload.end());
    hex::Bytes const echoed = hex::bytes(id.empty() ? hex::text(request.subspan(request.size() - 4, 2)) : id);
    frame.insert(frame.end(), echoed.begin(), echoed.end());
    hex::push_crc16(frame);
    return hex::text(frame);
}

/// A meter in the port that stays closed between sweeps, and that sweeps as often as it can.
Json::Value config_of(int broker_port, int peer_port, char const* list) {
    Json::Value config = sample::root(broker_port);
    Json::Value port = sample::tcp_port("pulsar", peer_port);
    port["poll_interval"] = 0;
    port["rto"] = 300;
    Json::Value device = sample::json(
        R"({"name": "water", "type": "pulsar-tcp", "type_device": "water_meter", "sid": 12345678, "delay": 10})");
    device["params"] = sample::json(list);
    port["devices"].append(device);
    config["ports"].append(port);
    return config;
}

std::string value_topic(std::string const& param) {
    return sample::value_topic("water_12345678", param);
}

std::string error_topic(std::string const& param) {
    return sample::error_topic("water_12345678", param);
}

}  // namespace

TEST(Pulsar, LateAndSwappedAnswersOverOneConnectionForEachSweep) {
    // Which request the n-th answer is to; -1: to none that was ever made.
    constexpr std::array plan = {-1, -1, 0, 2, 1, 5};
    Broker broker;
    TcpPeer peer;
    std::mutex mutex;
    std::vector<std::string> answers;
    peer.script().otherwise([&](std::span<unsigned char const> request) -> Reply {
        std::lock_guard const lock(mutex);
        size_t const number = answers.size();
        answers.push_back(answer_to(request));
        if (number >= plan.size()) {
            return {.hex = answers.back()};
        }
        if (plan.at(number) >= 0) {
            return {.hex = answers.at(static_cast<size_t>(plan.at(number)))};
        }
        hex::Bytes id(request.end() - 4, request.end() - 2);
        id[0] ^= 0xFFU;
        return {.hex = answer_to(request, hex::text(id))};
    });
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(config_of(broker.port(), peer.port(), params));

    ASSERT_TRUE(probe.wait_for(value_topic("total"), "1234", seconds(15))) << daemon.log().text();
    EXPECT_EQ(probe.count(error_topic("total"), "r"), 1);
    EXPECT_EQ(probe.count(error_topic("level"), "r"), 1);
    EXPECT_TRUE(wait_until([&] { return !peer.connected(); }, seconds(1)));
    EXPECT_TRUE(holds_for([&] { return !peer.connected(); }, milliseconds(1500))) << "closed between the sweeps";
    EXPECT_EQ(peer.log().requests().size(), 3U);
    EXPECT_EQ(peer.connections(), 1);

    ASSERT_TRUE(probe.wait_for_count(value_topic("channel"), 2, seconds(10))) << daemon.log().text();
    EXPECT_EQ(peer.connections(), 2);
    std::vector<std::string> seen;
    for (MqttMessage const& message : probe.messages()) {
        if (message.topic.starts_with("/devices/water_12345678/")) {
            seen.push_back(message.topic.substr(message.topic.rfind("controls/") + 9) + " " + message.payload);
        }
    }
    std::vector<std::string> const expected = {"total/meta/error r", "level/meta/error r", "total 1234",
                                               "channel 1.500",      "level -1.00 dB",     "channel 1.500"};
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(probe.last("stat/pulsar/poll"),
              "Статистика pulsar : опросов = 3 : ошибок = 2 [ 66.00 ] : вне диапазона = 0.");
}

TEST(Pulsar, TheSecondSilenceReplacesTheProcess) {
    Broker broker;
    TcpPeer peer;
    std::atomic<bool> silent = true;
    peer.script().otherwise(
        [&](std::span<unsigned char const> request) -> Reply { return {.hex = silent ? "" : answer_to(request)}; });
    Daemon daemon;
    MqttProbe probe(broker.port());
    // A limit makes no sense for a text: its publication raises, which is no reason to restart.
    daemon.start_with(config_of(broker.port(), peer.port(), R"([{"name": "total", "parameter_number": 1},
        {"name": "level", "parameter_number": "0x1003"}, {"name": "open", "parameter_number": 3, "min": 0}])"));
    ASSERT_TRUE(probe.wait_for(error_topic("total"), "r", seconds(15))) << daemon.log().text();
    ASSERT_TRUE(daemon.log().wait_for("[3] [level] исключение при опросе : tcp_read : size = 0", seconds(10)));
    silent = false;
    ASSERT_TRUE(daemon.log().wait_for("[3] [level] Выходной код : 0", seconds(5))) << daemon.log().text();
    ASSERT_TRUE(daemon.log().wait_for("Перезапуск ostrand...", seconds(10))) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("[3] [level] \nОшибка выполнения запроса PULSAR-TCP\nПопытка переподключения: true"),
              1);
    EXPECT_EQ(probe.count(error_topic("level")), 0) << "what ends in a restart isn't published";
    EXPECT_EQ(probe.count(value_topic("level")), 0);

    size_t const mark = daemon.log().mark();
    ASSERT_TRUE(probe.wait_for(value_topic("level"), "-2", seconds(15))) << daemon.log().text();
    EXPECT_TRUE(daemon.log().wait_for("[3] [open] Poll : исключение при опросе параметра : stof.", seconds(5), mark));
    EXPECT_EQ(daemon.log().count("начало работы :"), 2);
    EXPECT_EQ(daemon.log().count("Выходной код"), 1);
}

TEST(Pulsar, APeerThatIsAwayForTenSweeps) {
    Broker broker;
    TcpPeer peer;
    std::atomic<int> delay_ms = 1000;
    peer.script().otherwise([&](std::span<unsigned char const> request) -> Reply {
        return {.hex = answer_to(request), .delay_ms = delay_ms};
    });
    Daemon daemon;
    MqttProbe probe(broker.port());
    Json::Value config =
        config_of(broker.port(), peer.port(),
                  R"([{"name": "total", "parameter_number": 1}, {"name": "level", "parameter_number": "0x1003"}])");
    config["ports"][0]["rto"] = 2000;
    daemon.start_with(config);

    // It leaves in the middle of an exchange: the read fails, and then the write on a connection that can't be made.
    ASSERT_TRUE(wait_until([&] { return !peer.log().requests().empty(); }, seconds(15))) << daemon.log().text();
    peer.stop_listening();
    delay_ms = 0;
    ASSERT_TRUE(probe.wait_for(error_topic("total"), "r", seconds(5))) << daemon.log().text();
    EXPECT_TRUE(daemon.log().wait_for("br.err = ответ НЕ получен : ошибка чтения : -1", seconds(5)));
    ASSERT_TRUE(daemon.log().wait_for("[3] [level] исключение при опросе : tcp_write : size = -1", seconds(5)))
        << daemon.log().text();
    ASSERT_TRUE(daemon.log().wait_for("Перезапуск ostrand...", seconds(10))) << daemon.log().text();

    size_t const log_mark = daemon.log().mark();
    auto const sweeps = [&] {
        return daemon.log().count("[3] [water_12345678] port->tran->is_open() : false", log_mark);
    };
    ASSERT_TRUE(wait_until([&] { return sweeps() >= 2; }, seconds(15))) << daemon.log().text();
    size_t const mark = probe.mark();
    int const descriptors = daemon.descriptor_count();
    ASSERT_TRUE(wait_until([&] { return sweeps() >= 10; }, seconds(20))) << daemon.log().text();
    EXPECT_LE(daemon.descriptor_count(), descriptors + 1);
    EXPECT_EQ(probe.count(error_topic("total"), mark), 0) << "a sweep that doesn't take place fails nothing";
    EXPECT_EQ(probe.count("stat/pulsar/poll", mark), 0);
    peer.listen();
    EXPECT_TRUE(probe.wait_for(value_topic("total"), "1234", seconds(10))) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("начало работы :"), 2);
}
