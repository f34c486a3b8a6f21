#include "drivers/merc_2xx/pdu.h"

#include <algorithm>

#include "foundation/xexception.h"

namespace merc_2xx {

using xCommon::ByteList;

namespace {

constexpr size_t password_size = 6;

constexpr char const* status_texts[] = {"Все нормально",
                                        "Недопустимая команда или параметр",
                                        "Внутренняя ошибка счетчика",
                                        "Недостаточен уровень для удовлетворения запроса",
                                        "Внутренние часы счетчика уже корректировались в течение текущих суток",
                                        "Не открыт канал связи",
                                        "Неизвестная ошибка."};

bool is_reply(std::span<unsigned char const> reply, unsigned char sid) {
    return reply.size() >= pdu::short_reply && reply[0] == sid;
}

}  // namespace

void pdu::open(ByteList& out, unsigned char sid, unsigned char level, std::string const& password) {
    if (password.size() != password_size) {
        throw xCommon::xException("merc2::pdu::open : недопустимый размер пароля.");
    }
    ByteList body = {sid, 0x01, level};
    for (char const digit : password) {
        body.push_8(static_cast<unsigned char>(digit & 0x0F));
    }
    out.pop_list(body.with_crc());
}

void pdu::close(ByteList& out, unsigned char sid) {
    out.pop_list(ByteList{sid, 0x02}.with_crc());
}

void pdu::test(ByteList& out, unsigned char sid) {
    out.pop_list(ByteList{sid, 0x00}.with_crc());
}

void pdu::read_array(ByteList& out, unsigned char sid, c_param const* cp) {
    out.pop_list(
        ByteList{sid, 0x05, static_cast<unsigned char>(cp->arr_num << 4 | (cp->month & 0x0F)), cp->tarif}.with_crc());
}

void pdu::read_param(ByteList& out, unsigned char sid, c_param const* cp) {
    out.pop_list(ByteList{sid, 0x08, 0x11, static_cast<unsigned char>(cp->bwri)}.with_crc());
}

int pdu::exp_resp_size(c_param const* cp) {
    switch (cp->reg_type) {
        case reg_array12:
            return 15;
        case reg_array16:
            return 19;
        default:
            return cp->value_type == vt_m6 || cp->value_type == vt_m7 ? 5 : 6;
    }
}

int pdu::parse_error(std::span<unsigned char const> reply, unsigned char sid) {
    return is_reply(reply, sid) ? std::min<int>(reply[1], status_unknown) : status_unknown;
}

char const* pdu::reason(std::span<unsigned char const> reply, unsigned char sid) {
    int const status = parse_error(reply, sid);
    return is_reply(reply, sid) && status != status_ok ? status_texts[status] : nullptr;
}

}  // namespace merc_2xx
