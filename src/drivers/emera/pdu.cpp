#include "drivers/emera/pdu.h"

#include <numeric>

namespace emera {

using xCommon::ByteList;

namespace {

constexpr char read_command[] = "R1";
constexpr unsigned int bcc_mask = 0x7F;
constexpr size_t least_answer = 3;

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
    Bcc const bcc = crc_check(frame);
    return bcc.at + 1 == frame.size() && bcc.fits;
}

epdu::Bcc epdu::crc_check(std::span<unsigned char const> frame) {
    size_t at = !frame.empty() && (frame[0] == soh || frame[0] == stx) ? 1 : 0;
    unsigned int sum = 0;
    bool at_end = false;
    for (; at < frame.size() && !at_end; ++at) {
        sum += frame[at];
        at_end = frame[at] == etx;
    }
    // A frame without ETX, or cut behind it, has no byte there.
    bool const is_there = at < frame.size();
    unsigned int const received = is_there ? frame[at] : 0U;
    return {at, sum & bcc_mask, received, is_there && received == (sum & bcc_mask)};
}

}  // namespace emera
