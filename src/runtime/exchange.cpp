#include "runtime/exchange.h"

#include <algorithm>

#include "config/process.h"
#include "foundation/crc.h"

using xCommon::lmtError;

namespace {

constexpr Exchange::Texts silent = {};

}  // namespace

Exchange::Exchange(PortBase& port, xCommon::LogItem const& node) : Exchange(port, node, silent) {}

void Exchange::prepare(CBase const& time_outs) {
    port_.tran->flush();
    port_.tran->set_timeout(time_outs.rto, time_outs.sto);
}

void Exchange::load(xCommon::ByteList const& frame) {
    request_size_ = frame.pop_buf(port_.buffer, PortLine::buffer_size);
    trace(0, request_size_, texts_.request);
}

int Exchange::send() {
    return port_.tran->write(port_.buffer, request_size_);
}

std::span<unsigned char const> Exchange::head(int count) {
    int const got = port_.tran->read_count(port_.buffer, std::min(count, PortLine::buffer_size));
    trace(0, got, texts_.head);
    size_ = std::max(got, 0);
    return answer();
}

int Exchange::arrival() {
    int const got = port_.tran->read(port_.buffer, PortLine::buffer_size);
    size_ = std::max(got, 0);
    return got;
}

int Exchange::whole(int most, iTran::WholeFrame is_whole) {
    int const got = port_.tran->read_frame(port_.buffer, std::min(most, PortLine::buffer_size), is_whole);
    trace(0, got, texts_.head);
    size_ = std::max(got, 0);
    return got;
}

bool Exchange::rest(int count) {
    bool const fits = count >= 0 && size_ + count <= PortLine::buffer_size;
    int const read = fits ? port_.tran->read_count(port_.buffer + size_, count) : -1;
    bool const came = fits && read == count;
    int const got = std::max(read, 0);
    if (came || texts_.traced != Traced::whole) {
        int const from = texts_.traced == Traced::all ? 0 : size_;
        trace(from, size_ + got - from, texts_.rest);
    }
    size_ += got;
    if (!came && texts_.no_rest != nullptr) {
        node_.Log(lmtError, texts_.no_rest);
    }
    return came;
}

bool Exchange::is_good(xCommon::HeadFault fault, char const* subject) const {
    char const* const text = texts_.head_faults.at(static_cast<size_t>(fault));
    if (text != nullptr) {
        node_.Logf(lmtError, xCommon::RuntimeFormat(text), subject);
    }
    return fault == xCommon::HeadFault::none;
}

bool Exchange::has_crc(int least, char const* subject) const {
    bool const fits = size_ >= least && xCommon::crc16::ends(answer());
    if (!fits) {
        node_.Logf(lmtError, xCommon::RuntimeFormat(texts_.wrong_crc), subject);
    }
    return fits;
}

bool Exchange::run(CBase const& time_outs, xCommon::ByteList const& request, int head_size, int tail, int echoed) {
    prepare(time_outs);
    send(request);
    auto const start = head(head_size);
    auto const found = xCommon::head_fault(start, *request.begin(), static_cast<size_t>(head_size));
    std::string const code = start.empty() ? "" : std::to_string(start.back());
    bool const came = is_good(found, code.c_str()) && rest(tail);
    if (!came) {
        if (found == xCommon::HeadFault::none || found == xCommon::HeadFault::timeout) {
            abandon(port_, node_);
        }
        return false;
    }
    bool const is_echo = echoed <= std::ssize(request) && echoed <= size_ &&
                         std::equal(request.begin(), request.begin() + echoed, answer().begin());
    return has_crc() && is_good(is_echo ? xCommon::HeadFault::none : xCommon::HeadFault::other_request);
}

void Exchange::abandon(PortBase& port, xCommon::LogItem const& node) {
    if (port.tran && port.tran->abandon()) {
        node.Log(xCommon::lmtTrace, "ответ пришёл не целиком : соединение закрыто.");
    }
}

void Exchange::trace(int from, int count, char const* label) const {
    if (label != nullptr) {
        trace_hex(*port_.cport, port_.buffer + from, count, label);
    }
}
