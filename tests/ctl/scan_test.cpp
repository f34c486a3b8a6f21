// What a scan asks, what it takes for a device, and the configuration that it leaves. The lines have no time here:
// what a script answers has come at once, and silence is over at once.

#include "ctl/scan/scan.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/normalise.h"
#include "config/config.h"
#include "config/cport.h"
#include "ctl/line/peer_script.h"
#include "ctl/line/tcp_far_end.h"
#include "foundation/crc.h"
#include "support/libmodbus_tcp_slave.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using scanner::addresses_of;
using scanner::configuration_of;
using scanner::Found;
using scanner::HostPort;
using scanner::ScanLine;
using scanner::ScanOptions;
using scanner::ScanResult;
using scanner::settings_text;
using scanner::tcp_scan_line;

class ScriptedLine : public ScanLine {
 public:
    void open(xserial::xco const& settings) override { settings_ = settings; }
    bool send(xCommon::ByteList const& request) override {
        std::span const bytes(request.data(), request.size());
        sent.push_back(hex::text(bytes));
        Reply const reply = script->answer(bytes);
        bool const fits = reply.baudrate == 0 || reply.baudrate == settings_.baudrate;
        pending_ = fits ? hex::bytes(reply.hex) : hex::Bytes();
        return !is_gone;
    }
    size_t receive(std::span<unsigned char> buffer, int /*wait_ms*/) override {
        size_t const count = std::min(buffer.size(), pending_.size());
        std::copy_n(pending_.begin(), count, buffer.begin());
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(count));
        return count;
    }
    bool is_open() const override { return !pending_.empty(); }
    void flush() override { pending_.clear(); }
    int transfer_ms(size_t /*bytes*/) const override { return 0; }
    std::string name() const override { return settings_text(settings_); }

    long sent_times(std::string const& frame) const { return std::count(sent.begin(), sent.end(), frame); }

    std::optional<PeerScript> script{std::in_place};
    std::vector<std::string> sent;
    bool is_gone = false;

 private:
    xserial::xco settings_;
    hex::Bytes pending_;
};

std::string crc(std::string const& frame) {
    return frame.empty() ? frame : hex::with_crc16(frame);
}

class ScanTest : public testing::Test {
 protected:
    ScanTest() { options.timeout_ms = 1; }
    /// "word line address says" of each.
    std::vector<std::string> run(std::string const& protocol, std::string const& addresses = "5") {
        options.tty = "/dev/null";
        options.protocols = {protocol};
        options.addresses = {addresses};
        return run();
    }
    std::vector<std::string> run() {
        ScanResult const result = scan(options, line, out, notes, wants_end);
        found = result.found;
        is_whole = result.is_whole;
        std::vector<std::string> texts;
        for (Found const& entry : found) {
            texts.push_back(entry.protocol + " " + entry.line + " " + std::to_string(entry.address) + " " +
                            entry.device.says);
        }
        return texts;
    }

    ScanOptions options;
    ScriptedLine line;
    std::ostringstream out;
    std::ostringstream notes;
    std::function<bool()> wants_end = [] { return false; };
    std::vector<Found> found;
    bool is_whole = false;
};

struct Exchanged {
    std::string request;
    std::string reply;
};

struct Dialogue {
    char const* what;
    char const* protocol;
    std::vector<Exchanged> wire;
    char const* says;
};

std::string const vkt_7_version = "05 03 48" + [] {
    std::string data;
    for (int at = 0; at < 72; ++at) {
        data += at == 61 ? " 31" : " 00";
    }
    return data;
}();

std::string const energies_of_5 = "2F 3F 35 21 01 52 31 02 45 54 30 50 45 28 29 03 37";

/// Each in the order in which it has to go; the addresses where nobody is stay silent.
std::vector<Dialogue> const dialogues = {
    {"an input register, and its maker's text",
     "modbus",
     {{crc("05 04 00 00 00 01"), crc("05 04 02 00 D7")},
      {crc("F8 04 00 00 00 01"), ""},
      {crc("05 2B 0E 01 00"), crc("05 2B 0E 01 01 00 00 02 00 03 41 62 63 01 01 31")}},
     "Abc 1; input 0 = 215"},
    {"no input registers",
     "modbus",
     {{crc("05 04 00 00 00 01"), crc("05 84 02")},
      {crc("05 03 00 00 00 01"), crc("05 83 02")},
      {crc("05 01 00 00 00 01"), crc("05 01 01 01")},
      {crc("F8 04 00 00 00 01"), ""},
      {crc("05 2B 0E 01 00"), crc("05 AB 01")}},
     "coil 0 = 1"},
    {"behind a late answer of somebody else",
     "set-4tm",
     {{crc("05 00"), crc("04 00 00") + crc("05 00 00")}, {crc("FA 00"), ""}},
     "answers the link test; the daemon reads no values of it yet"},
    {"a channel that is closed, and closed again",
     "mercury",
     {{crc("05 00"), crc("05 00")},
      {crc("05 05 00 00"), crc("05 05")},
      {"05 01 01 07 03 08 02 00 05 C2 B8", crc("05 00")},
      {crc("05 05 00 00"), "05 00 00 D2 04 FF FF FF FF 01 00 02 00 FF FF FF FF 6A C8"},
      {"05 02 83 21", crc("05 00")},
      {crc("FA 00"), ""}},
     "energy = 1234 Wh"},
    {"a channel that somebody else has open",
     "mercury",
     {{crc("05 00"), crc("05 00")},
      {crc("05 05 00 00"), "05 00 00 D2 04 FF FF FF FF 01 00 02 00 FF FF FF FF 6A C8"},
      {crc("FA 00"), ""}},
     "energy = 1234 Wh"},
    {"a session that is closed, and closed again",
     "milur",
     {{crc("05 01 01"), "05 81 08 00 57"},
      {"05 08 00 5C A7 31 E2 0D 9B E6 B2", "05 08 00 66 01"},
      {crc("05 01 01"), crc("05 01 01 05 F4 01 00")},
      {"05 09 01 A6 51", "05 09 01 A6 51"},
      {crc("FA 01 01"), ""}},
     "voltage = 500"},
    {"another password",
     "milur",
     {{crc("05 01 01"), "05 81 08 00 57"},
      {"05 08 00 5C A7 31 E2 0D 9B E6 B2", crc("05 88 0D")},
      {crc("FA 01 01"), ""}},
     "refuses the daemon's password (13)"},
    {"a read that waits for a session",
     "vkt-7",
     {{crc("05 03 3F FE 00 00"), crc("05 83 02")},
      {crc("05 10 3F FF 00 00 CC 80 00 00 00"), crc("05 10 3F FF 00 00")},
      {crc("05 03 3F FE 00 00"), crc(vkt_7_version)},
      {crc("F8 03 3F FE 00 00"), ""}},
     "version of its server 0x31"},
    {"a module with a name",
     "dcon",
     {{R"("$052BB\r")", R"("!05400680B8\r")"}, {R"("$05MD6\r")", R"("!05DIO16C9\r")"}, {R"("$FD2E0\r")", ""}},
     "DIO16; configuration 400680"},
    {"a module without checksums",
     "dcon",
     {{R"("$052BB\r")", R"("?05\r")"},
      {R"("$052\r")", R"("!05400600\r")"},
      {R"("$05M\r")", R"("?05\r")"},
      {R"("$FD2E0\r")", ""}},
     "configuration 400600"},
    {"energies",
     "emera",
     {{energies_of_5, "02 45 54 30 50 45 28 31 2E 35 29 03 46"},
      {"2F 3F 39 38 37 36 35 34 33 32 31 39 38 37 21 01 52 31 02 45 54 30 50 45 28 29 03 37", ""}},
     "ET0PE(1.5)"},
};

TEST_F(ScanTest, EachDeviceIsFoundByItsFramesAndLeftAsItWas) {
    for (Dialogue const& dialogue : dialogues) {
        line.script.emplace();
        line.sent.clear();
        std::vector<std::string> wanted;
        for (auto const& [request, reply] : dialogue.wire) {
            line.script->once(request, reply);
            std::vector<int> const pattern = frame_text::pattern(request);
            wanted.push_back(hex::text(hex::Bytes(pattern.begin(), pattern.end())));
        }
        std::string const whole = std::string(dialogue.protocol) + " 9600 8N1 5 " + dialogue.says;
        EXPECT_THAT(run(dialogue.protocol), ElementsAre(whole)) << dialogue.what << notes.str();
        EXPECT_EQ(line.sent, wanted) << dialogue.what;
    }
}

struct NoDevice {
    char const* what;
    char const* protocol;
    std::vector<Exchanged> wire;
};

std::vector<NoDevice> const no_devices = {
    {"a damaged answer", "modbus", {{crc("05 04 00 00 00 01"), "05 04 02 00 D7 00 00"}}},
    {"another address", "modbus", {{crc("05 04 00 00 00 01"), crc("06 04 02 00 D7")}}},
    {"another function", "modbus", {{crc("05 04 00 00 00 01"), crc("05 03 02 00 D7")}}},
    {"another length", "modbus", {{crc("05 04 00 00 00 01"), crc("05 04 04 00 D7 00 00")}}},
    {"a gateway that finds nobody", "modbus", {{crc("05 04 00 00 00 01"), crc("05 84 0B")}}},
    {"a meter that knows no such function",
     "modbus",
     {{crc("05 04 00 00 00 01"), crc("05 84 01")},
      {crc("05 03 00 00 00 01"), crc("05 83 01")},
      {crc("05 01 00 00 00 01"), crc("05 81 08")},
      {crc("05 02 00 00 00 01"), crc("05 82 01")}}},
    {"its own frame", "emera", {{energies_of_5, energies_of_5}}},
    {"a byte that is a refusal by chance", "emera", {{energies_of_5, "AA 15"}}},
    {"a sum of seven bits that fits by chance", "emera", {{energies_of_5, "02 41 42 28 29 03 57"}}},
    {"a wrong checksum", "dcon", {{R"("$052BB\r")", R"("!05400680B9\r")"}}},
    {"another module", "dcon", {{R"("$052BB\r")", R"("!06400680B9\r")"}}},
    {"a Mercury", "set-4tm", {{crc("05 00"), crc("05 00")}}},
    {"an echo", "mercury", {{crc("05 00"), crc("05 00")}, {crc("05 05 00 00"), crc("05 05 00 00")}}},
    {"a slave that refuses coils", "milur", {{crc("05 01 01"), crc("05 81 03")}}},
    {"a slave that refuses to write nothing",
     "vkt-7",
     {{crc("05 03 3F FE 00 00"), crc("05 83 03")}, {crc("05 10 3F FF 00 00 CC 80 00 00 00"), crc("05 90 03")}}},
};

TEST_F(ScanTest, NoiseAndOthersAreNoDevice) {
    for (NoDevice const& row : no_devices) {
        line.script.emplace();
        for (auto const& [request, reply] : row.wire) {
            line.script->on(request, reply);
        }
        EXPECT_THAT(run(row.protocol), IsEmpty()) << row.what;
    }
}

TEST_F(ScanTest, SilentAddressesAreAskedOnceEachAndForNoSession) {
    options.baudrates = {9600, 19200};
    EXPECT_THAT(run("all", "1-247"), IsEmpty());
    EXPECT_THAT(line.sent, SizeIs(2 * 4 * 247));
    for (std::string const& first : {crc("F7 00"), crc("F7 04 00 00 00 01")}) {
        EXPECT_EQ(line.sent_times(first), 2) << first;
    }
    for (auto const& [protocol, first] : std::vector<Exchanged>{
             {"mercury", crc("05 00")}, {"milur", crc("05 01 01")}, {"vkt-7", crc("05 03 3F FE 00 00")}}) {
        line.sent.clear();
        EXPECT_THAT(run(protocol), IsEmpty());
        EXPECT_THAT(line.sent, ElementsAre(first, first)) << protocol;
    }
}

/// A meter counts wrong passwords, whatever line they come over.
TEST_F(ScanTest, AMeterHearsThePasswordOnceWhateverTheSettings) {
    options.parities = {"none", "even"};
    line.script->on(crc("05 00"), crc("05 00")).on(crc("05 05 00 00"), crc("05 05"));
    line.script->on("05 01 01 07 03 08 02 00 05 C2 B8", crc("05 03"));
    EXPECT_THAT(run("mercury"), ElementsAre("mercury 9600 8N1 5 refuses the daemon's password (3)"));
    EXPECT_EQ(line.sent_times("05 01 01 07 03 08 02 00 05 C2 B8"), 1);
    EXPECT_THAT(out.str(), HasSubstr("9600 8E1"));
}

/// Where a CRC fits by chance, an address of a text protocol would be a command to a binary device.
TEST_F(ScanTest, NoTextFrameIsABinaryOne) {
    for (char const* protocol : {"dcon", "emera"}) {
        run(protocol, "0-255");
    }
    EXPECT_THAT(line.sent, SizeIs(256 + 255));
    for (std::string const& frame : line.sent) {
        EXPECT_FALSE(xCommon::crc16::ends(hex::bytes(frame))) << frame;
    }
}

TEST_F(ScanTest, AnEchoEndsItAndIsTold) {
    for (char const* protocol : {"all", "mercury"}) {
        line.sent.clear();
        line.script->otherwise([](std::span<unsigned char const> request) { return Reply{.hex = hex::text(request)}; });
        EXPECT_THAT(run(protocol, "1-247"), IsEmpty());
        EXPECT_THAT(line.sent.size(), testing::Le(6));
        EXPECT_THAT(notes.str(), HasSubstr("each request comes back"));
        EXPECT_FALSE(is_whole);
    }
}

TEST_F(ScanTest, WhoAnswersEverywhereIsToldOnce) {
    line.script->on("?? 04 00 00 00 01 ?? ??", "{0} 04 02 00 D7 {crc}");
    EXPECT_THAT(run("modbus", "1-247"), ElementsAre("modbus 9600 8N1 1 input 0 = 215"));
    EXPECT_THAT(notes.str(), HasSubstr("each address answers"));
    EXPECT_THAT(line.sent.size(), testing::Lt(10));
    // A gateway that refuses for those who aren't there, and a device behind it.
    line.script.emplace();
    line.script->on("?? ?? 00 00 00 01 ?? ??", "{0} 84 04 {crc}");
    line.script->on("?? 03 00 00 00 01 ?? ??", "{0} 83 04 {crc}");
    line.script->once(crc("07 04 00 00 00 01"), crc("07 04 02 00 01"));
    EXPECT_THAT(run("modbus", "1-20"), ElementsAre("modbus 9600 8N1 7 input 0 = 1"));
    EXPECT_THAT(notes.str(), HasSubstr("each address refuses with code 4"));
}

TEST_F(ScanTest, AnEndLeavesWhatWasFound) {
    line.script->on(crc("02 04 00 00 00 01"), crc("02 04 02 00 D7"));
    wants_end = [this] { return line.sent.size() >= 10; };
    EXPECT_THAT(run("modbus", "1-247"), SizeIs(1));
    EXPECT_THAT(line.sent, SizeIs(10));
    EXPECT_TRUE(is_whole);
    wants_end = [this] {
        line.is_gone = line.sent.size() >= 15;
        return false;
    };
    EXPECT_THAT(run("modbus", "1-247"), SizeIs(1));
    EXPECT_FALSE(is_whole);
}

TEST_F(ScanTest, TheConfigurationLoadsAsItIs) {
    options.baudrates = {9600, 19200};
    options.parities = {"none", "even"};
    for (int const sid : {1, 17, 18}) {
        std::string const address = hex::text(std::vector<unsigned char>{static_cast<unsigned char>(sid)});
        std::string const reply = crc(address + " 04 02 00 D7");
        line.script->on(crc(address + " 04 00 00 00 01"), Reply{.hex = reply, .baudrate = sid == 18 ? 19200U : 9600U});
    }
    for (Dialogue const& dialogue : dialogues) {
        for (auto const& [request, reply] : dialogue.wire) {
            if (std::string(dialogue.protocol) != "modbus") {
                line.script->on(request, Reply{.hex = reply, .baudrate = 9600});
            }
        }
    }
    options.tty = "/dev/null";
    options.protocols = {"all", "mercury", "milur", "vkt-7"};
    options.addresses = {"1-20"};
    run();
    std::vector<std::string> loaded;
    Json::Value root = normalise(configuration_of(options, found)).config;
    std::unique_ptr<Config> const config(Config::Load(root));
    ASSERT_TRUE(config);
    ASSERT_THAT(config->ports.children, SizeIs(1));
    for (auto const& node : config->ports.children[0]->children) {
        auto const& device = dynamic_cast<CDev const&>(*node);
        EXPECT_THAT(device.children, SizeIs(1)) << device.name;
        loaded.push_back(device.type + " " + device.name +
                         (device.personal_rs ? " " + std::to_string(device.rs.baudrate) : ""));
    }
    // At one address one of those that share their frames' shape.
    EXPECT_THAT(loaded, ElementsAre("dcon dcon_5", "emera emera", "merc230 mercury_5", "mb-rtu modbus01_1",
                                    "mb-rtu modbus17_17", "mb-rtu modbus18_18 19200"));
}

TEST_F(ScanTest, BehindTcpBothFramingsAreFound) {
    options.timeout_ms = 200;
    options.protocols = {"all"};
    LibmodbusTcpSlave slave;
    options.tcp = "127.0.0.1:" + std::to_string(slave.port());
    options.addresses = {"1-3"};
    auto const server = tcp_scan_line(options.tcp);
    ScanResult result = scan(options, *server, out, notes, wants_end);
    ASSERT_THAT(result.found, SizeIs(1)) << notes.str();
    EXPECT_EQ(result.found[0].device.node["type"], "mb-tcp");

    TcpFarEnd converter(0);
    converter.script().on(crc("11 04 00 00 00 01"), crc("11 04 02 00 D7"));
    options.tcp = "127.0.0.1:" + std::to_string(converter.port());
    options.addresses = {"17"};
    auto const remote = tcp_scan_line(options.tcp);
    result = scan(options, *remote, out, notes, wants_end);
    ASSERT_THAT(result.found, SizeIs(1)) << notes.str();
    EXPECT_EQ(result.found[0].device.node["type"], "mb-rtu");
    EXPECT_EQ(configuration_of(options, result.found)["ports"][0]["tcp"]["port"], converter.port());
    EXPECT_EQ(converter.count("00 01 00 00 00 06 11 04 00 00 00 01"), 1);
    options.rtu_only = true;
    scan(options, *remote, out, notes, wants_end);
    EXPECT_EQ(converter.count("00 01 00 00 00 06 11 04 00 00 00 01"), 1);
}

TEST(ScanAddresses, AreNumbersAndRanges) {
    EXPECT_THAT(addresses_of({"3", "1-2", "2"}), ElementsAre(1, 2, 3));
    for (char const* text : {"", "-", "1-", "x", "5-1", "1-99999999999", "99999999999999999999", "1 "}) {
        EXPECT_THROW(addresses_of({text}), std::invalid_argument) << text;
    }
    for (char const* text : {"", "host", "host:", ":502", "host:0", "host:65536", "host:5x"}) {
        EXPECT_THROW(HostPort{text}, std::invalid_argument) << text;
    }
}

}  // namespace
