#include "drivers/xsnmp/device.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>

#include "drivers/xsnmp/inner_oid.h"
#include "drivers/xsnmp/library.h"
#include "drivers/xsnmp/port.h"
#include "foundation/xexception.h"

namespace xsnmp {

using xCommon::lmtError;
using xCommon::xString;

namespace {

constexpr long us_in_ms = 1000;
constexpr size_t text_size = 4096;

constexpr DriverWords words = {"устройством SNMP", "SNMP"};
constexpr WalkRules rules = {"Poll : исключение при опросе параметра : %s.", WalkRules::Blame::port};

/// What the library prints ahead of a value. The last row that lies in a text wins: "STRING: " lies in "Hex-STRING: "
/// too. `end` closes the value, empty: it is the whole rest.
struct Prefix {
    std::string_view text;
    std::string_view end = "";
};

constexpr Prefix prefixes[] = {
    {"STRING: "},     {"INTEGER: "},   {"Gauge32: "},   {"Counter32: "},       {"OID: "},
    {"Hex-STRING: "}, {"IpAddress: "}, {"Counter64: "}, {"Timeticks: (", ")"},
};

using Pdu = std::unique_ptr<netsnmp_pdu, decltype([](netsnmp_pdu* pdu) { snmp_free_pdu(pdu); })>;

Pdu make_request(inner_oid const& address) {
    std::lock_guard const lock(library::data);
    Pdu request(snmp_pdu_create(SNMP_MSG_GET));
    if (!request || snmp_add_null_var(request.get(), address.ids.data(), address.length) == nullptr) {
        throw std::bad_alloc();
    }
    return request;
}

}  // namespace

sdev::sdev(sport* port_object, csdev* node) : TypedDevice(port_object, node, words, rules), sport_(port_object) {
    std::erase_if(params_, [this](CParam* param) { return own_or_told(param) == nullptr; });
    if (params_.empty()) {
        throw xCommon::xExceptionf("sdev::ctor : %s : список параметров пуст.", config_->name);
    }
    init(config_->name);
}

sdev::~sdev() {
    ssn_close();
}

void sdev::init(std::string const& name) {
    library::start(name);
}

bool sdev::ssn_check() {
    return good_ || ssn_open();
}

bool sdev::ssn_open() {
    ssn_close();
    if (!open_session()) {
        config_->Log(lmtError, "ssn_open : не удалось открыть сессию. Устройство будет пропущено.");
        return false;
    }
    for (CParam* const param : params_) {
        good_ |= find_address(*own(param));
    }
    return good_;
}

bool sdev::open_session() {
    std::lock_guard const lock(library::sessions);
    netsnmp_session settings;
    snmp_sess_init(&settings);
    settings.version = config_->version == 2 ? SNMP_VERSION_2c : SNMP_VERSION_1;
    settings.peername = config_->url.data();
    settings.community = reinterpret_cast<unsigned char*>(config_->community.data());
    settings.community_len = config_->community.size();
    settings.timeout = config_->rto * us_in_ms;
    session_ = snmp_sess_open(&settings);
    if (session_ == nullptr) {
        std::lock_guard const data_lock(library::data);
        library::forget_error_detail();
        return false;
    }
    // The library doesn't, and the next configuration's process would inherit it.
    fcntl(snmp_sess_transport(session_)->sock, F_SETFD, FD_CLOEXEC);
    return true;
}

bool sdev::find_address(sparam& param) {
    if (param.address) {
        return true;
    }
    try {
        std::string const full_name = xString::Format("%s.%s.%s", port->cport->name, config_->name, param.name);
        param.address = std::make_unique<inner_oid>(full_name, param.oid);
        return true;
    } catch (std::exception const&) {
        param.Logf(lmtError, "не удалось транслировать OID [ %s ] - канал блокируется.", param.oid);
        param.enabled = false;
        return false;
    }
}

void sdev::ssn_close() {
    good_ = false;
    if (session_ != nullptr) {
        std::lock_guard const lock(library::sessions);
        snmp_sess_close(session_);
        session_ = nullptr;
    }
}

std::string sdev::ssn_get_error() const {
    char* text = nullptr;
    if (session_ != nullptr) {
        std::lock_guard const lock(library::data);
        snmp_sess_error(session_, nullptr, nullptr, &text);
    }
    std::unique_ptr<char, decltype(&std::free)> const owner(text, &std::free);
    return text != nullptr ? text : "";
}

void sdev::Poll(long long now) {
    if (!ssn_check()) {
        if (is_due(now)) {
            presence.unreachable();
        }
        return;
    }
    begin_pass();
    if (walk(now)) {
        CheckFault();
    }
}

bool sdev::goes_on() {
    return sport_->is_connected() && DevBase::goes_on();
}

bool sdev::ask(CParam& param) {
    return poll_param(own(&param));
}

bool sdev::poll_param(sparam* param) {
    if (param == nullptr) {
        return false;
    }
    try {
        if (is_lost()) {
            ssn_open();
        }
        netsnmp_pdu* answer = nullptr;
        int const status = get_response(*param, answer);
        Pdu const response(answer);
        port->tran->heard = port->tran->heard || response;
        BaseResult result;
        result.result = parse_result(param, status, response.get());
        std::string const error = ssn_get_error();
        if (!error.empty()) {
            param->Logf(lmtError, "poll_param : ошибка при опросе : %s.", error);
        }
        result.is_ok = error.empty() && !result.result.empty();
        result.is_crc_ok = result.is_ok;
        // A session of TCP without an answer may be beyond repair; the next pass opens it anew.
        good_ = good_ && (response || !is_stream());
        port->publish_result(result, this, param);
        return result.is_ok;
    } catch (std::exception const& e) {
        param->Logf(lmtError, "poll_param : исключение : %s.", e.what());
        return false;
    }
}

/// `response` is the caller's to release.
int sdev::get_response(sparam const& param, netsnmp_pdu*& response) {
    if (session_ == nullptr || !param.address) {
        return STAT_ERROR;
    }
    Pdu request = make_request(*param.address);
    // The library releases the request, whatever comes of it.
    return snmp_sess_synch_response(session_, request.release(), &response);
}

bool sdev::is_stream() const {
    return session_ != nullptr && (snmp_sess_transport(session_)->flags & NETSNMP_TRANSPORT_FLAG_STREAM) != 0;
}

/// The agent has closed the connection since the last exchange, as those do that see too little of a client.
bool sdev::is_lost() const {
    if (!is_stream()) {
        return false;
    }
    char byte = 0;
    ssize_t const waiting = recv(snmp_sess_transport(session_)->sock, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return waiting == 0 || (waiting < 0 && errno != EAGAIN && errno != EINTR);
}

std::string sdev::parse_result(sparam* param, int status, netsnmp_pdu* response) {
    // Also a time-out, whose own line below nobody sees therefore.
    if (response == nullptr) {
        param->Log(lmtError, "parse_result : resp == nullptr.");
        return "";
    }
    if (status == STAT_ERROR) {
        param->Logf(lmtError, "parse_result : ошибка : %s.", ssn_get_error());
        return "";
    }
    if (status == STAT_TIMEOUT) {
        param->Log(lmtError, "parse_result : таймаут.");
        return "";
    }
    if (status != STAT_SUCCESS) {
        return "";
    }
    if (response->errstat != SNMP_ERR_NOERROR) {
        param->Logf(lmtError, "parse_result : не удалось получить результат : %s.",
                    snmp_errstring(static_cast<int>(response->errstat)));
        return "";
    }
    std::string text(text_size, '\0');
    int length = 0;
    // An agent may answer without a variable.
    if (response->variables != nullptr && param->address) {
        std::lock_guard const lock(library::data);
        length = snprint_value(text.data(), text.size(), param->address->ids.data(), param->address->length,
                               response->variables);
    }
    if (length <= 0) {
        param->Logf(lmtError, "parse_result : ответ пуст или не поместился в буфер : %d.", length);
        return "";
    }
    text.resize(static_cast<size_t>(length));
    return parse_value(param, text);
}

std::string sdev::parse_value(sparam* param, std::string const& text) {
    if (text.empty()) {
        return "";
    }
    if (text.find("No Such") != std::string::npos) {
        param->Logf(lmtError, "parse_value : нет объекта с таким OID : [%s]. Параметр блокируется.", param->oid);
        param->enabled = false;
        return "";
    }
    std::string value;
    for (Prefix const& prefix : prefixes) {
        size_t const found = text.rfind(prefix.text);
        size_t const begin = found + prefix.text.size();
        size_t const end = text.rfind(prefix.end);
        if (found != std::string::npos && end != std::string::npos && begin <= end) {
            value = text.substr(begin, end - begin);
        }
    }
    if (value.empty()) {
        param->Logf(lmtError, "parse_value : не распознан ответ от сервера : %s.", text);
    }
    return value;
}

}  // namespace xsnmp
