// Who is there, as the broker tells it when the daemon, the line or a device goes. The table of the documentation is
// what is expected, at a broker that is set up as the documentation says.

#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <set>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ctl/line/wait_until.h"
#include "foundation/xstring.h"
#include "support/authority.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/relay.h"
#include "support/sample_config.h"

using std::chrono::seconds;
using xCommon::xString;

namespace {

constexpr auto limit = seconds(30);
constexpr char password[] = "kf83 hdl2";

std::vector<std::string> lines_of_page() {
    std::ifstream page(SOURCE_DIR "/docs/broker.md");
    std::vector<std::string> lines;
    for (std::string line; std::getline(page, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A fence of the page.
std::string fence(std::string const& word) {
    std::string text;
    bool is_inside = false;
    for (std::string const& line : lines_of_page()) {
        is_inside = line == "```" + word || (is_inside && line != "```");
        text += is_inside && !line.starts_with("```") ? line + "\n" : "";
    }
    return text;
}

struct Row {
    std::string event;
    std::string topic;
    std::string seen;  ///< payloads in their order
};

/// "| event | topic | seen | when |"; an empty event is that of the row above.
std::vector<Row> table() {
    std::vector<Row> rows;
    bool is_inside = false;
    for (std::string const& line : lines_of_page()) {
        is_inside = (is_inside || line == "<!-- presence -->") && line != "<!-- end -->";
        std::vector<std::string> cells = xString::Split(xString::Replace(line, "`", ""), "|");
        if (!is_inside || cells.size() != 4 || cells[0].find("---") != std::string::npos ||
            line.starts_with("| What")) {
            continue;
        }
        for (std::string& cell : cells) {
            cell = cell.substr(1, cell.find_last_not_of(' '));
        }
        rows.push_back({cells[0].empty() ? rows.back().event : cells[0], cells[1], cells[2]});
    }
    return rows;
}

class Plant {
 public:
    Plant() : slave_(std::in_place, daemon_.folder().file("line"), 17) {
        authority_.certify("broker", "IP:127.0.0.1");
        std::string const passwords = broker_.folder().file("passwords");
        EXPECT_EQ(std::system(("mosquitto_passwd -c -b " + passwords + " gateway7 '" + password + "'").c_str()), 0);
        listener_ = "password_file " + passwords + "\nacl_file " + broker_.folder().write("acl", fence("acl")) +
                    "\ncertfile " + authority_.certificate_of("broker") + "\nkeyfile " + authority_.key_of("broker") +
                    "\n";
        broker_.configure(listener_);
        broker_.start();
        relay_.emplace(broker_.port());
        probe_ = std::make_unique<MqttProbe>(broker_.open_port());
        Json::Value config = sample::root(relay_->port());
        std::string const secret = daemon_.folder().write("password", std::string(password) + "\n");
        chmod(secret.c_str(), 0600);
        config["mqtt"]["user"] = "gateway7";
        config["mqtt"]["password_file"] = secret;
        config["mqtt"]["tls"]["ca_file"] = authority_.ca_file();
        config["mqtt"]["status_topic"] = "gateways/7";
        config["mqtt"]["availability"] = true;
        Json::Value port = sample::rs_port("line1", slave_->path());
        port["poll_interval"] = 0;
        Json::Value device = sample::rtu_device("boiler", 17);
        device["params"] = sample::json(R"([{"name": "t", "reg_addr": 1, "value_type": "u16"}])");
        port["devices"].append(device);
        config["ports"].append(port);
        config_ = daemon_.write_config(config);
    }

    /// Does what the rows are about, and sees them come, and nothing else.
    void check(std::vector<Row> const& rows) {
        std::string const& event = rows.front().event;
        ASSERT_TRUE(actions_.contains(event));
        mark_ = probe_->mark();
        is_repeated_ = event.starts_with("the broker");
        actions_.at(event)(rows);
        std::set<std::string> topics;
        for (Row const& row : rows) {
            topics.insert(row.topic);
            EXPECT_TRUE(arrives(row)) << row.topic << "\n" << probe_->text(mark_) << daemon_.log().text();
        }
        for (MqttMessage const& message : probe_->messages(mark_)) {
            bool const is_presence =
                message.topic.starts_with("gateways/7/port") || message.topic.ends_with("/available");
            EXPECT_TRUE(!is_presence || topics.contains(message.topic)) << message.topic << " = " << message.payload;
        }
        MqttProbe const fresh(broker_.open_port());
        for (Row const& row : rows) {
            EXPECT_TRUE(fresh.wait_for(row.topic, xString::Split(row.seen, ", ").back(), limit)) << row.topic;
        }
    }

    std::string log() const { return daemon_.log().text(); }

 private:
    using Action = std::function<void(std::vector<Row> const&)>;

    /// Payloads behind the mark, each run of the same one once. Who subscribes anew, as the probe does behind a restart
    /// of the broker, may have missed some, and sees the last one.
    bool has_come(Row const& row) const {
        std::vector<std::string> payloads;
        for (MqttMessage const& message : probe_->on_topic(row.topic, mark_)) {
            if (payloads.empty() || payloads.back() != message.payload) {
                payloads.push_back(message.payload);
            }
        }
        return is_repeated_ ? !payloads.empty() && payloads.back() == row.seen
                            : payloads == xString::Split(row.seen, ", ");
    }
    bool arrives(Row const& row) const {
        return wait_until([&] { return has_come(row); }, limit);
    }
    bool arrives(Row const& row, char const* payload) const {
        return probe_->wait_for(row.topic, payload, limit, mark_).has_value();
    }

    void start() {
        daemon_.start({"-c", config_});
        EXPECT_TRUE(daemon_.wait_running());
    }
    void end(int signal) {
        daemon_.signal(signal);
        daemon_.wait_exit(limit);
    }
    void restart_broker(bool is_persistent) {
        broker_.configure(listener_, is_persistent
                                         ? "persistence true\npersistence_location " + broker_.folder().file("") + "\n"
                                         : "persistence false\n");
        broker_.restart();
    }

    Broker broker_{Broker::At::later};
    Authority authority_;
    Daemon daemon_;
    std::optional<LibmodbusSlave> slave_;
    std::optional<Relay> relay_;
    std::unique_ptr<MqttProbe> probe_;
    std::string listener_;
    std::string config_;
    size_t mark_ = 0;
    bool is_repeated_ = false;
    std::map<std::string, Action> actions_ = {
        {"the daemon starts", [this](auto const&) { start(); }},
        {"the daemon is started again", [this](auto const&) { start(); }},
        {"the device is silent, and answers again",
         [this](auto const& rows) { slave_->with_image([&](auto&) { EXPECT_TRUE(arrives(rows.front(), "0")); }); }},
        {"the line is unplugged, and plugged in again",
         [this](auto const& rows) {
             std::string const path = slave_->path();
             slave_.reset();
             for (Row const& row : rows) {
                 EXPECT_TRUE(arrives(row, row.topic.ends_with("line") ? "closed" : "0"));
             }
             slave_.emplace(path, 17);
         }},
        {"the broker is restarted, with persistence", [this](auto const&) { restart_broker(true); }},
        {"the broker is restarted, without persistence", [this](auto const&) { restart_broker(false); }},
        {"the gateway loses its power, and starts again",
         [this](auto const& rows) {
             relay_->hold();
             end(SIGKILL);
             start();
             EXPECT_TRUE(arrives(rows.front(), "online"));
             relay_->let_go();
         }},
        {"the daemon is killed", [this](auto const&) { end(SIGKILL); }},
        {"the daemon is ended in order", [this](auto const&) { end(SIGTERM); }},
    };
};

}  // namespace

TEST(Presence, IsSeenAsThePageTells) {
    std::vector<Row> const rows = table();
    ASSERT_GE(rows.size(), 15U);
    Plant plant;
    for (auto row = rows.begin(); row != rows.end();) {
        auto const next = std::find_if(row, rows.end(), [&](Row const& other) { return other.event != row->event; });
        SCOPED_TRACE(row->event);
        plant.check({row, next});
        row = next;
    }
    EXPECT_EQ(plant.log().find(password), std::string::npos);
}
