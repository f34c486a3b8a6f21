#include "drivers/meter/data_reply.h"

namespace meter {

int check_head(CBase const& log, HeadLines const& lines, unsigned char sid, unsigned char const* buf, int n) {
    if (n < head_size) {
        log.Log(xCommon::lmtError, lines.timeout);
        return 0;
    }
    if (buf[0] != sid) {
        log.Log(xCommon::lmtError, lines.wrong_address);
        return 0;
    }
    return (buf[1] & error_bit) == 0 ? buf[3] : head_refused;
}

int exp_resp_size(int value_type) {
    switch (value_type) {
        case vt_u16:
            return 8;
        case vt_u24:
        case vt_i24:
            return 9;
        default:
            return 10;
    }
}

}  // namespace meter
