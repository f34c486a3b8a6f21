// The broker client at brokers that let in only whom they know: what it tells, and that it recovers by itself.

#include <functional>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "foundation/mq_client.h"
#include "support/authority.h"
#include "support/broker.h"
#include "support/log_capture.h"
#include "support/mqtt_probe.h"

using std::chrono::seconds;

namespace {

std::string text(LogCapture const& log) {
    std::string all;
    for (std::string const& entry : log.entries()) {
        all += entry + "\n";
    }
    return all;
}

class BrokerAccess : public testing::Test {
 protected:
    BrokerAccess() {
        authority.certify("broker", "IP:127.0.0.1");
        authority.certify("other", "IP:127.0.0.2,DNS:other");
        authority.certify("expired", "IP:127.0.0.1", -1);
        authority.certify("gateway", "DNS:gateway");
        stranger.certify("gateway", "DNS:gateway");
        stranger.certify("broker", "IP:127.0.0.1");
    }

    std::string with_login(std::string const& password) const {
        std::string const file = broker.folder().file(password);
        std::string const make = "mosquitto_passwd -c -b " + file + " plant '" + password + "' 2>/dev/null";
        EXPECT_EQ(std::system(make.c_str()), 0);
        return "password_file " + file + "\n";
    }
    std::string with_tls(std::string const& name) const { return with_tls(authority, name); }
    static std::string with_tls(Authority const& ca, std::string const& name) {
        return "allow_anonymous true\ncertfile " + ca.certificate_of(name) + "\nkeyfile " + ca.key_of(name) + "\n";
    }
    std::string with_client_certificates(Authority const& ca) const {
        return with_tls("broker") + "cafile " + ca.ca_file() + "\nrequire_certificate true\n";
    }

    static xMQ::Access login(std::string const& password) {
        xMQ::Access access;
        access.user = "plant";
        access.password = password;
        return access;
    }
    static xMQ::Access tls(std::string const& ca_file) {
        xMQ::Access access;
        access.tls.emplace().ca_file = ca_file;
        return access;
    }
    static xMQ::Access proved(Authority const& ca, Authority const& own) {
        xMQ::Access access = tls(ca.ca_file());
        access.tls->cert_file = own.certificate_of("gateway");
        access.tls->key_file = own.key_of("gateway");
        return access;
    }

    Broker broker{Broker::At::later};
    Authority authority;
    Authority stranger;
};

}  // namespace

TEST_F(BrokerAccess, TellsWhyItIsNotLetInAndRecoversByItself) {
    struct Row {
        char const* what;
        xMQ::Access access;
        std::string refusing;              ///< listener at first
        std::string accepting;             ///< and then
        std::vector<std::string> reasons;  ///< one of them is told, once
    };
    xMQ::Access insecure = tls(authority.ca_file());
    insecure.tls->insecure = true;
    xMQ::Access filed = login("");
    filed.password_file = broker.folder().write("filed", " of two words \r\nmore\n");
    xMQ::Access v5 = login("secret");
    v5.mqtt_5 = true;
    Row const rows[] = {
        {"login", login("secret"), with_login("other"), with_login("secret"), {"Connection Refused: not authorised"}},
        {"file", filed, with_login("other"), with_login(" of two words "), {"Connection Refused: not authorised"}},
        {"login of MQTT 5", v5, with_login("other"), with_login("secret"), {"Not authorized"}},
        {"authority",
         tls(authority.ca_file()),
         with_tls(stranger, "broker"),
         with_tls("broker"),
         {"сертификат брокера : неизвестный центр сертификации"}},
        {"expired",
         tls(authority.ca_file()),
         with_tls("expired"),
         with_tls("broker"),
         {"сертификат брокера : срок действия истёк"}},
        {"name",
         tls(authority.ca_file()),
         with_tls("other"),
         with_tls("broker"),
         {"сертификат брокера : выдан на другое имя узла"}},
        {"insecure", insecure, with_tls("expired"), with_tls("other"), {"сертификат брокера : срок действия истёк"}},
        {"plain broker",
         tls(authority.ca_file()),
         "allow_anonymous true\n",
         with_tls("broker"),
         {"TLS : wrong version number", "The connection was lost"}},
        {"client certificate",
         proved(authority, authority),
         with_client_certificates(stranger),
         with_client_certificates(authority),
         {"брокер отказал в TLS : certificate required", "брокер отказал в TLS : unknown CA",
          "брокер отказал в TLS : unknown"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        LogCapture const log;
        broker.configure(row.refusing);
        broker.restart();
        xCommon::SyncVector queue;
        xMQ::mqClient client(true, &queue, "test", 60);
        client.set_access(row.access);
        ASSERT_TRUE(client.connect("127.0.0.1", broker.port()));
        ASSERT_FALSE(client.wait_connected(5000));
        std::string const head =
            xCommon::xString::Format("[3] MQTT : test : нет соединения с брокером 127.0.0.1:%d : ", broker.port());
        auto const told = [&] {
            int count = 0;
            for (std::string const& reason : row.reasons) {
                count += log.count(head + reason);
            }
            return count;
        };
        EXPECT_EQ(told(), 1) << text(log);
        for (int round = 1; round <= 2; ++round) {
            broker.configure(row.accepting);
            broker.restart();
            ASSERT_TRUE(wait_until([&] { return client.get_bool(client.connected); }, seconds(20))) << text(log);
            EXPECT_EQ(log.count(head), round) << text(log);
            MqttProbe const probe(broker.open_port());
            for (int number = 0; number < 1000; ++number) {
                ASSERT_TRUE(client.publish("t", std::to_string(number), 2, false));
            }
            EXPECT_TRUE(probe.wait_for_count("t", 1000, seconds(20)));
            if (round == 1) {
                broker.configure(row.refusing);
                broker.restart();
                EXPECT_TRUE(wait_until([&] { return told() == 2; }, seconds(20))) << text(log);
            }
        }
        client.disconnect();
        EXPECT_FALSE(log.has("secret"));
    }
}
