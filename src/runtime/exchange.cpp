#include "runtime/exchange.h"

#include <algorithm>

#include "config/process.h"

namespace exchange {

namespace {

bool fits(int offset, int count) {
    return offset >= 0 && count >= 0 && offset + count <= PortBase::buffer_size;
}

}  // namespace

void abandon(PortBase& port, xCommon::LogItem const& node) {
    if (port.tran && port.tran->abandon()) {
        node.Log(xCommon::lmtTrace, "ответ пришёл не целиком : соединение закрыто.");
    }
}

int load(PortBase& port, xCommon::ByteList const& frame, char const* label) {
    int const length = frame.pop_buf(port.buffer, PortBase::buffer_size);
    trace_hex(*port.cport, port.buffer, length, label);
    return length;
}

int send(PortBase& port, int length) {
    return port.tran->write(port.buffer, length);
}

int receive(PortBase& port, int offset, int count, char const* label) {
    if (!fits(offset, count)) {
        return -1;
    }
    int const got = port.tran->read_count(port.buffer + offset, count);
    trace_hex(*port.cport, port.buffer + offset, got, label);
    return got;
}

int receive_frame(PortBase& port, int most, iTran::WholeFrame is_whole) {
    return port.tran->read_frame(port.buffer, std::min(most, PortBase::buffer_size), is_whole);
}

bool receive_rest(PortBase& port, int offset, int count, char const* label) {
    if (!fits(offset, count) || port.tran->read_count(port.buffer + offset, count) < count) {
        return false;
    }
    trace_hex(*port.cport, port.buffer + offset, count, label);
    return true;
}

}  // namespace exchange
