#include "drivers/meter/data_reply.h"

#include <algorithm>

#include "config/cparam.h"
#include "foundation/crc.h"

namespace meter {

using xCommon::HeadFault;

bool is_short_reply(std::span<unsigned char const> frame) {
    constexpr size_t size = 4;
    return frame.size() == size && xCommon::crc16::ends(frame);
}

Head check_head(unsigned char sid, std::span<unsigned char const> head) {
    HeadFault const fault = xCommon::head_fault(head, sid, head_size);
    return {fault, fault == HeadFault::none ? head[3] : 0};
}

int error_code(unsigned char sid, std::span<unsigned char const> reply) {
    bool const is_reply = reply.size() >= head_size && reply[0] == sid;
    return is_reply ? std::min<int>(reply[2], error_rubbish) : error_rubbish;
}

char const* error_text(int code) {
    return code < error_rubbish ? error_texts.at(static_cast<size_t>(code)) : "Получен мусор";
}

int exp_resp_size(int value_type) {
    bool const is_three = value_type == vt_u24 || value_type == vt_i24;
    return is_three ? 9 : value_type == vt_u16 ? 8 : 10;
}

}  // namespace meter
