#include "ctl/simulate/snmp_agent.h"

#include <algorithm>
#include <iterator>
#include <span>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>

#include "drivers/xsnmp/inner_oid.h"
#include "drivers/xsnmp/library.h"
#include "foundation/xexception.h"
#include "foundation/xstring.h"

namespace sim {

namespace {

constexpr Carrier number_carrier = {-2147483648.0, 2147483647.0};

/// In names of what is a text.
constexpr char const* text_words[] = {"model", "descr", "name", "vendor", "location", "contact", "serial", "version"};

bool begins(std::vector<unsigned long> const& oid, std::initializer_list<unsigned long> head) {
    return oid.size() >= head.size() && std::equal(head.begin(), head.end(), oid.begin());
}

using Pdu = std::unique_ptr<netsnmp_pdu, decltype([](netsnmp_pdu* pdu) { snmp_free_pdu(pdu); })>;

}  // namespace

SnmpAgent::~SnmpAgent() {
    if (session_ != nullptr) {
        std::lock_guard const lock(xsnmp::library::sessions);
        snmp_sess_close(session_);
    }
}

SnmpAgent::Kind SnmpAgent::kind_of(Oid const& oid, CParam const& param) {
    if (begins(oid, {1, 3, 6, 1, 2, 1, 1, 3})) {
        return Kind::ticks;
    }
    bool const is_number = param.has_scale || param.has_min || param.has_max || !param.unit.empty();
    std::string const name = xCommon::xString::ToLower(param.name);
    bool const is_text = param.value_type == vt_str ||
                         std::any_of(std::begin(text_words), std::end(text_words),
                                     [&name](char const* word) { return name.find(word) != std::string::npos; });
    if (is_text && !is_number) {
        return Kind::text;
    }
    return is_rising(param) && !param.has_scale ? Kind::count : Kind::number;
}

void SnmpAgent::add(xsnmp::csdev& node) {
    communities_.push_back(node.community);
    for (auto const& child : node.children) {
        auto* const param = dynamic_cast<xsnmp::sparam*>(child.get());
        if (param == nullptr) {
            continue;
        }
        try {
            xsnmp::inner_oid const address(node.name, param->oid);
            Oid const oid(address.ids.begin(), address.ids.begin() + static_cast<std::ptrdiff_t>(address.length));
            objects_.emplace(oid, Object{kind_of(oid, *param), Course(*param, number_carrier)});
        } catch (xCommon::xException const&) {
            continue;  // the daemon leaves it out too
        }
    }
}

bool SnmpAgent::open(int port) {
    std::string const address = "udp:127.0.0.1:" + std::to_string(port);
    std::lock_guard const lock(xsnmp::library::sessions);
    netsnmp_transport* const transport = netsnmp_tdomain_transport(address.c_str(), 1, "udp");
    if (transport == nullptr) {
        return false;
    }
    fcntl(transport->sock, F_SETFD, FD_CLOEXEC);
    sockaddr_in own{};
    socklen_t length = sizeof(own);
    getsockname(transport->sock, reinterpret_cast<sockaddr*>(&own), &length);
    netsnmp_session settings;
    snmp_sess_init(&settings);
    settings.version = SNMP_DEFAULT_VERSION;
    settings.isAuthoritative = SNMP_SESS_UNKNOWNAUTH;
    settings.callback = [](int operation, netsnmp_session*, int, netsnmp_pdu* request, void* self) {
        return take(operation, request, self);
    };
    settings.callback_magic = this;
    session_ = snmp_sess_add(&settings, transport, nullptr, nullptr);
    port_ = ntohs(own.sin_port);
    return session_ != nullptr;
}

std::vector<int> SnmpAgent::awaited() const {
    return {snmp_sess_transport(session_)->sock};
}

void SnmpAgent::serve(std::span<pollfd const> ready, double seconds) {
    if (ready[0].revents == 0 || ready[0].fd >= FD_SETSIZE) {
        return;
    }
    seconds_ = seconds;
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ready[0].fd, &set);
    snmp_sess_read(session_, &set);
}

int SnmpAgent::take(int operation, netsnmp_pdu* request, void* self) {
    constexpr int taken = 1;
    if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && request != nullptr && request->command == SNMP_MSG_GET) {
        static_cast<SnmpAgent*>(self)->answer(*request);
    }
    return taken;
}

void SnmpAgent::answer(netsnmp_pdu& request) {
    std::string const community(reinterpret_cast<char const*>(request.community), request.community_len);
    bool const is_known = std::find(communities_.begin(), communities_.end(), community) != communities_.end();
    bool const is_struck = faults_.strikes();
    if (!is_known || (is_struck && faults_.below(2) == 0)) {
        return;
    }
    Pdu reply(snmp_clone_pdu(&request));
    if (!reply) {
        return;
    }
    reply->command = SNMP_MSG_RESPONSE;
    reply->errstat = is_struck ? SNMP_ERR_GENERR : SNMP_ERR_NOERROR;
    reply->errindex = 0;
    long place = 0;
    for (netsnmp_variable_list* variable = reply->variables; variable != nullptr && !is_struck;
         variable = variable->next_variable) {
        ++place;
        if (fill(*variable)) {
            continue;
        }
        if (request.version == SNMP_VERSION_1) {
            reply->errstat = SNMP_ERR_NOSUCHNAME;
            reply->errindex = place;
        } else {
            snmp_set_var_typed_value(variable, SNMP_NOSUCHOBJECT, nullptr, 0);
        }
    }
    // What was sent is the library's.
    if (snmp_sess_send(session_, reply.get()) != 0) {
        static_cast<void>(reply.release());
    }
}

bool SnmpAgent::fill(netsnmp_variable_list& variable) const {
    auto const found = objects_.find(Oid(variable.name, variable.name + variable.name_length));
    if (found == objects_.end()) {
        return false;
    }
    Object const& object = found->second;
    if (object.kind == Kind::text) {
        std::string const text = xCommon::xString::Format("simulated %d", static_cast<int>(seconds_) / 10 % 100);
        snmp_set_var_typed_value(&variable, ASN_OCTET_STR, text.data(), text.size());
        return true;
    }
    auto const value = static_cast<long>(object.course.whole_at(seconds_));
    unsigned char const type = object.kind == Kind::ticks   ? ASN_TIMETICKS
                               : object.kind == Kind::count ? ASN_COUNTER
                                                            : ASN_INTEGER;
    snmp_set_var_typed_integer(&variable, type, value);
    return true;
}

}  // namespace sim
