#include "drivers/modbus/pdu.h"

#include <iterator>

#include "foundation/xexception.h"

namespace modbus {

using xCommon::ByteList;
using xCommon::WordOrder;
using xCommon::xException;
using xCommon::xExceptionf;

namespace {

constexpr unsigned char read_functions[] = {1, 2, 3, 3, 3, 4, 4};  // by register kind
constexpr unsigned char write_coil = 5;
constexpr unsigned char write_register = 6;
constexpr unsigned char write_registers = 16;

constexpr char const* exception_texts[] = {
    "Неизвестная ошибка",
    "Принятый код функции не может быть обработан",
    "Адрес данных, указанный в запросе, недоступен",
    "Значение, содержащееся в поле данных запроса, является недопустимой величиной",
    "Невосстанавливаемая ошибка имела место, пока ведомое устройство пыталось выполнить затребованное действие",
    "Ведомое устройство приняло запрос и обрабатывает его, но это требует много времени. Этот ответ предохраняет "
    "ведущее устройство от генерации ошибки тайм-аута",
    "Ведомое устройство занято обработкой команды. Ведущее устройство должно повторить сообщение позже, когда ведомое "
    "освободится",
    "Ведомое устройство не может выполнить программную функцию, заданную в запросе. Этот код возвращается для "
    "неуспешного программного запроса, использующего функции с номерами 13 или 14. Ведущее устройство должно запросить "
    "диагностическую информацию или информацию об ошибках от ведомого",
    "Ведомое устройство при чтении расширенной памяти обнаружило ошибку паритета. Ведущее устройство может повторить "
    "запрос, но обычно в таких случаях требуется ремонт",
    "",
    "Шлюз неправильно настроен или перегружен запросами",
    "Slave устройства нет в сети или от него нет ответа",
};

}  // namespace

unsigned char pdu::getReadFunCode(c_param const* cp) {
    if (cp == nullptr) {
        throw xException("getReadFunCode : cp == nullptr.");
    }
    if (cp->reg_type < 0 || cp->reg_type >= static_cast<int>(std::size(read_functions))) {
        throw xExceptionf("getReadFunCode : %s : неизвестный тип регистра.", cp->name);
    }
    return read_functions[cp->reg_type];
}

unsigned char pdu::getWriteFunCode(c_param const* cp) {
    if (cp == nullptr) {
        throw xException("getWriteFunCode : cp == nullptr.");
    }
    switch (cp->reg_type) {
        case reg_coil:
            return write_coil;
        case reg_holding_m:
            return write_registers;
        case reg_holding:
        case reg_holding_bit:
            return getRegNum(cp) > 1 ? write_registers : write_register;
        default:
            throw xExceptionf("getWriteFunCode : %s : для данного типа регистра запись невозможна.", cp->name);
    }
}

unsigned short pdu::getRegNum(c_param const* cp) {
    if (cp == nullptr) {
        throw xException("getRegNum : cp == nullptr.");
    }
    return cp->reg_type < reg_holding ? 1 : value_size(cp->value_type).registers;
}

void pdu::read_request(ByteList& out, unsigned char sid, c_param const* cp) {
    if (cp == nullptr) {
        throw xException("pdu_read : cp == nullptr.");
    }
    span_request(out, sid, getReadFunCode(cp), cp->reg_addr, getRegNum(cp));
}

void pdu::span_request(ByteList& out, unsigned char sid, unsigned char function, unsigned short address,
                       unsigned short count) {
    out.push_8(sid);
    out.push_8(function);
    out.push_16(address, WordOrder::big_endian);
    out.push_16(count, WordOrder::big_endian);
}

void pdu::write_request(ByteList& out, unsigned char sid, c_param const* cp, std::string const& value) {
    if (cp == nullptr) {
        throw xException("pdu_write : cp == nullptr.");
    }
    unsigned char const function = getWriteFunCode(cp);
    out.push_8(sid);
    out.push_8(function);
    out.push_16(cp->reg_addr, WordOrder::big_endian);
    if (function == write_registers) {
        unsigned short const count = getRegNum(cp);
        out.push_16(count, WordOrder::big_endian);
        out.push_8(static_cast<unsigned char>(count * 2));
    }
    cp->GetValueFromString(out, value);
}

char const* pdu::exception_text(unsigned char code) {
    return code < std::size(exception_texts) ? exception_texts[code] : exception_texts[0];
}

char const* pdu::refusal(std::span<unsigned char const> reply) {
    bool const is_refusal = reply.size() >= head_size && (reply[1] & xCommon::refused_bit) != 0;
    return is_refusal ? exception_text(reply[2]) : "";
}

}  // namespace modbus
