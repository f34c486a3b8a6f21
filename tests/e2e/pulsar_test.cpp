// A Pulsar meter that goes away and comes back, through the real binary and broker.

#include <atomic>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;

namespace {

/// What the meter holds, by function and number as they stand in a request.
const std::map<std::string, std::string> values = {
    {"0A 0C 03 10", "FE FF"},  // i16, -2
    {"0A 0C 03 00", "00"},     // no
};

/// The answer to a request, with a CRC that is computed bit by bit.
std::string answer_to(std::span<unsigned char const> request) {
    hex::Bytes frame(request.begin(), request.begin() + 5);
    hex::Bytes const payload = hex::bytes(values.at(hex::text(request.subspan(4, 4))));
    frame.push_back(static_cast<unsigned char>(10 + payload.size()));
    frame.insert(frame.end(), payload.begin(), payload.end());
    frame.insert(frame.end(), request.end() - 4, request.end() - 2);
    hex::push_crc16(frame);
    return hex::text(frame);
}

}  // namespace

TEST(Pulsar, APeerThatIsAwayForTenSweeps) {
    Broker broker;
    TcpPeer peer;
    std::atomic<int> delay_ms = 1000;
    peer.script().otherwise([&](std::span<unsigned char const> request) -> Reply {
        return {.hex = answer_to(request), .delay_ms = delay_ms};
    });
    Daemon daemon;
    MqttProbe probe(broker.port());
    // A limit makes no sense for a text: its publication raises, which is no reason to restart.
    Json::Value config = sample::root(broker.port());
    config["ports"].append(sample::tcp_port("pulsar", peer.port()));
    config["ports"][0]["poll_interval"] = 0;
    config["ports"][0]["rto"] = 2000;
    config["ports"][0]["devices"].append(sample::json(
        R"({"name": "water", "type": "pulsar-tcp", "type_device": "water_meter", "sid": 12345678, "delay": 10,
            "params": [{"name": "level", "parameter_number": "0x1003", "scale": 0.5, "unit": "dB"},
                       {"name": "open", "parameter_number": 3, "min": 0}]})"));
    std::string const failed = sample::error_topic("water_12345678", "level");
    daemon.start_with(config);

    // It leaves in the middle of an exchange: the read fails, and then the write on a connection that can't be made.
    ASSERT_TRUE(wait_until([&] { return !peer.log().requests().empty(); }, seconds(15))) << daemon.log().text();
    peer.stop_listening();
    delay_ms = 0;
    ASSERT_TRUE(probe.wait_for(failed, "r", seconds(5))) << daemon.log().text();
    EXPECT_TRUE(daemon.log().wait_for("br.err = ответ НЕ получен : ошибка чтения : -1", seconds(5)));
    ASSERT_TRUE(daemon.log().wait_for("[3] [open] исключение при опросе : tcp_write : size = -1", seconds(5)))
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
    EXPECT_EQ(probe.count(failed, mark), 0) << "a sweep that doesn't take place fails nothing";
    EXPECT_EQ(probe.count("stat/pulsar/poll", mark), 0);
    peer.listen();
    size_t const back = daemon.log().mark();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("water_12345678", "level"), "-1.00 dB", seconds(10)))
        << daemon.log().text();
    EXPECT_TRUE(daemon.log().wait_for("[3] [open] Poll : исключение при опросе параметра : stof.", seconds(5), back));
    EXPECT_TRUE(wait_until([&] { return !peer.connected(); }, seconds(2))) << "closed between the sweeps";
    EXPECT_EQ(daemon.log().count("начало работы :"), 2);
}
