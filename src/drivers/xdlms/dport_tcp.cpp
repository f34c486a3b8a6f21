#include "drivers/xdlms/dport_tcp.h"

#include <algorithm>

#include "config/constants.h"
#include "config/process.h"
#include "runtime/exchange.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xString;

namespace {

IBFac const registrar = IBFac::add<dport_tcp>("dlms.tcp.port");

/// The concentrator itself, and who asks for its list.
constexpr uint16_t management_address = 1;

}  // namespace

bool dport_tcp::poll_devices() {
    ByteList data;
    pdu::get(data, cad(17, "0.0.41.0.0.255", 2));
    ByteList request;
    wpdu::wrap(request, management_address, management_address, data);
    // So that the answer passes the check of its sender.
    cddev* const first = meters_.front()->node;
    first->dlms_addr = management_address;
    dlms_reply const reply = get_response(request, first, nullptr);
    if (!reply.ok) {
        return false;
    }
    // In whole, however long: it is what a device's address is looked up in by hand.
    node_->Logf(lmtInfo, "%s", xCommon::Whole{xString::Shown(reply.value, reply.value.size())});
    std::vector<std::string> const entries = xString::Split(reply.value, "#a#");
    for (auto const& meter : meters_) {
        find_address(*meter->node, entries);
    }
    return true;
}

/// An empty serial number lies in every entry, so it takes the first.
void dport_tcp::find_address(cddev& dev, std::vector<std::string> const& entries) {
    dev.enabled = false;
    auto const entry = std::find_if(entries.begin(), entries.end(), [&dev](std::string const& text) {
        return text.find(dev.sn) != std::string::npos && !xString::Split(text, "#s#").empty();
    });
    if (entry == entries.end()) {
        dev.Log(lmtError, "для устройства не определен dlms_addr и оно будет заблокировано.");
        return;
    }
    int const address = std::stoi(xString::Split(*entry, "#s#").front());
    node_->Logf(lmtTrace, "device = %s, dlms_addr = %d.", dev.name, address);
    dev.dlms_addr = static_cast<uint16_t>(address);
    dev.enabled = true;
}

dlms_reply dport_tcp::get_response(ByteList& request, cddev* dev, dparam* param) {
    xCommon::LogItem& log = param != nullptr ? static_cast<xCommon::LogItem&>(*param) : *node_;
    tran->flush_in();
    log.Log(lmtTrace, "get_response.");
    if (request.empty() || dev == nullptr) {
        return {};
    }
    trace_hex(*cport, request.data(), static_cast<int>(request.size()), xString::Format("%s : запрос.", node_->name));
    if (!tran->write_all(request)) {
        log.Log(lmtError, "не удалось отправить запрос.");
        return {};
    }
    if (!tran->read_all(buffer, wpdu::head_size)) {
        log.Log(lmtError, "не удалось получить заголовок ответа.");
        Exchange::abandon(*this, log);
        return {};
    }
    trace_hex(*cport, buffer, wpdu::head_size, xString::Format("%s : заголовок ответа.", node_->name));
    int pos = 0;
    dlms_reply reply = told(wpdu::parse(buffer, pos, node_->dlms_addr, dev->dlms_addr));
    // An address list is longer than the port's buffer.
    std::vector<unsigned char> body(static_cast<size_t>(reply.size));
    if (!reply.ok) {
        log.Log(lmtError, "ошибки при получении заголовка ответа.");
        if (reply.size > 0 && !tran->read_all(body.data(), reply.size)) {
            Exchange::abandon(*this, log);
        }
        return reply;
    }
    reply.ok = false;
    if (!tran->read_all(body.data(), reply.size)) {
        log.Log(lmtError, "не удалось получить ответ.");
        Exchange::abandon(*this, log);
        return reply;
    }
    trace_hex(*cport, body.data(), reply.size, xString::Format("%s : ответ.", node_->name));
    return told(pdu::parse(body.data(), reply.size));
}

}  // namespace xdlms
