#include "support/snmp_agent.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "ctl/line/wait_until.h"

using std::chrono::seconds;

namespace {

constexpr char program[] = "/usr/sbin/snmpd";

/// The answer of the directive "pass": called with type, value, "-g" and object id.
constexpr char script[] = "printf '%s\\n' \"$4\" \"$1\" \"$2\"\n";

bool is_passed(std::string const& type) {
    return type == "ipaddress" || type == "counter64" || type == "opaque";
}

}  // namespace

SnmpAgent::SnmpAgent(Objects const& objects) {
    std::string const answer = folder_.write("answer.sh", script);
    std::ostringstream text;
    text << "rocommunity kelvar 127.0.0.1\ndontLogTCPWrappersConnects yes\n";
    for (size_t index = 0; index < objects.size(); ++index) {
        auto const& [type, value] = objects[index];
        text << (is_passed(type) ? "pass " + oid(index) + " /bin/sh " + answer : "override " + oid(index)) << " "
             << type << " " << value << "\n";
    }
    folder_.write("snmpd.conf", text.str());
    start();
}

void SnmpAgent::start() {
    std::filesystem::remove(folder_.file("snmpd.log"));
    process_ = std::make_unique<ChildProcess>(ChildProcess::Launch{
        {program, "-f", "-r", "-C", "-c", folder_.file("snmpd.conf"), "-Lf", folder_.file("snmpd.log"), "-I",
         "override,pass,snmpd,vacm_conf", "udp:" + peer() + ",tcp:" + peer()},
        {{"SNMP_PERSISTENT_DIR", folder_.file("state")}, {"SNMPCONFPATH", folder_.path()}, {"MIBS", ""}},
        -1});
    // Its last line before it serves requests.
    auto const ready = [this] { return log().find("NET-SNMP version") != std::string::npos; };
    if (!wait_until([&] { return ready() || !process_->running(); }, seconds(10)) || !process_->running()) {
        process_.reset();
        throw std::runtime_error("snmpd does not run :\n" + log());
    }
}

void SnmpAgent::stop() {
    process_->signal(SIGTERM);
    process_->wait_exit(seconds(5));
    process_.reset();
}

std::string SnmpAgent::log() const {
    std::ifstream file(folder_.file("snmpd.log"));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
