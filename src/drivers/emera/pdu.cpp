#include "drivers/emera/pdu.h"

#include <numeric>

#include "foundation/xlog.h"

namespace emera {

using xCommon::ByteList;

namespace {

constexpr char read_command[] = "R1";
constexpr unsigned int bcc_mask = 0x7F;
constexpr size_t least_answer = 3;

/// Where the BCC of an answer has to stand, behind its first ETX, and what it has to be.
struct Tail {
    size_t at;
    unsigned int bcc;
};

Tail find_tail(std::span<unsigned char const> frame) {
    size_t index = frame[0] == epdu::soh || frame[0] == epdu::stx ? 1 : 0;
    unsigned int sum = 0;
    bool at_end = false;
    for (; index < frame.size() && !at_end; ++index) {
        sum += frame[index];
        at_end = frame[index] == epdu::etx;
    }
    return {index, sum & bcc_mask};
}

}  // namespace

void epdu::wrap(ByteList& out, std::string const& sid, std::string const& cmd) {
    if (sid.empty() || cmd.empty()) {
        return;
    }
    ByteList summed;
    summed.push_string(read_command);
    summed.push_8(stx);
    summed.push_string(cmd);
    summed.push_8(etx);

    out = ByteList();
    out.push_string("/?");
    out.push_string(sid);
    out.push_8('!');
    out.push_8(soh);
    out.pop_list(summed);
    out.push_8(static_cast<unsigned char>(std::accumulate(summed.begin(), summed.end(), 0U) & bcc_mask));
}

bool epdu::is_whole(std::span<unsigned char const> frame) {
    if (frame.size() == 1) {
        return frame[0] == nak;
    }
    // What is shorter is no answer, whatever its last byte happens to be.
    if (frame.size() < least_answer) {
        return false;
    }
    Tail const tail = find_tail(frame);
    return tail.at + 1 == frame.size() && frame[tail.at] == tail.bcc;
}

bool epdu::crc_check(unsigned char const* buf, int n) {
    if (buf == nullptr || n <= 0) {
        return false;
    }
    std::span<unsigned char const> const frame(buf, static_cast<size_t>(n));
    Tail const tail = find_tail(frame);
    // A frame without ETX, or cut behind it, has no byte there.
    bool const is_there = tail.at < frame.size();
    unsigned int const received = is_there ? frame[tail.at] : 0U;
    xCommon::global_logf(xCommon::lmtTrace, "crc = %02X : ptr [ %d ] = %02X.", tail.bcc, tail.at, received);
    return is_there && received == tail.bcc;
}

}  // namespace emera
