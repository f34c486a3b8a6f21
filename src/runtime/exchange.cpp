#include "runtime/exchange.h"

#include "config/process.h"

namespace exchange {

int load(PortBase& port, xCommon::ByteList const& frame, char const* label) {
    int const length = frame.pop_buf(port.buffer, PortBase::buffer_size);
    trace_hex(port.buffer, length, label);
    return length;
}

int send(PortBase& port, int length) {
    return port.tran->write(port.buffer, length);
}

int receive(PortBase& port, int offset, int count, char const* label) {
    if (offset < 0 || count < 0 || offset + count > PortBase::buffer_size) {
        return -1;
    }
    int const got = port.tran->read_count(port.buffer + offset, count);
    trace_hex(port.buffer + offset, got, label);
    return got;
}

}  // namespace exchange
