#include "drivers/emera/pdu.h"

#include <numeric>

#include "foundation/xlog.h"

namespace emera {

using xCommon::ByteList;

namespace {

constexpr char read_command[] = "R1";
constexpr unsigned int bcc_mask = 0x7F;

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

bool epdu::crc_check(unsigned char const* buf, int n) {
    if (buf == nullptr || n <= 0) {
        return false;
    }
    int index = buf[0] == soh || buf[0] == stx ? 1 : 0;
    unsigned int sum = 0;
    bool at_end = false;
    for (; index < n && !at_end; ++index) {
        sum += buf[index];
        at_end = buf[index] == etx;
    }
    unsigned int const crc = sum & bcc_mask;
    // A frame without ETX, or cut behind it, has no byte there.
    unsigned int const received = index < n ? buf[index] : 0U;
    xCommon::global_logf(xCommon::lmtTrace, "crc = %02X : ptr [ %d ] = %02X.", crc, index, received);
    return index < n && received == crc;
}

}  // namespace emera
