#include "drivers/vkt7rtu/device.h"

#include "config/constants.h"
#include "config/process.h"
#include "drivers/modbus/device.h"
#include "drivers/modbus/pdu.h"
#include "drivers/vkt7rtu/pdu.h"
#include "drivers/vkt7rtu/registers.h"
#include "drivers/vkt7rtu/reply.h"
#include "foundation/xmisc.h"
#include "runtime/command_connection.h"
#include "runtime/exchange.h"

namespace vkt7rtu {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtTrace;

namespace {

IBFac const registrar = IBFac::add<dev>("vkt7-rtu.dev");

constexpr char trace_prefix[] = "vkt7-rtu : ";

constexpr DriverWords words = {"тепловычислителем ВКТ-7", "ВКТ-7"};

constexpr Exchange::Texts texts = {
    .head_faults = {nullptr, "операция НЕ выполнена : timeout", "операция НЕ выполнена : не совпадают sid",
                    "операция НЕ выполнена : %s"},
    .wrong_crc = "ответ НЕ получен : не совпали CRC."};

/// A parameter of the Modbus class is a plain register here, whatever kind it has.
bool is_plain(modbus::c_register const& param) {
    return dynamic_cast<c_param const*>(&param) == nullptr;
}

}  // namespace

dev::dev(IBase* port_object, CBase* node) : TypedDevice(port_object, node, words) {}

void dev::ProcConnect() {
    subscribe_commands("subscribe on : %s.");
}

void dev::add_commands(CommandMap& commands, CParam& param) {
    if (auto* const mine = own(&param)) {
        modbus::add_register_commands(commands, *this, *mine, !is_plain(*mine) && mine->reg_type == reg_holding_bit);
    }
}

bool dev::ProcMessage(std::string& topic, std::string& payload) {
    cfg->Logf(lmtTrace, "ProcMessage : %s = %s.", topic, payload);
    CommandMap::Target const target = commands_.find(topic);
    if (target.param == nullptr) {
        return false;
    }
    modbus::check_bit(target, payload);
    if (cfg->poll_reconnect) {
        // Nothing is written, but the line is left as behind any command.
        CommandConnection const connection(*this);
    }
    return true;
}

bool dev::poll_param(CParam* base_param) {
    auto* const param = own_or_told(base_param);
    if (param == nullptr) {
        return false;
    }
    xCommon::xMisc::delay(param->poll_delay);
    return modbus::guarded(*param, [this, param] {
        BaseResult result = read(param);
        if (is_plain(*param)) {
            port->publish_result(result, this, param);
        } else {
            modbus::hand_on(*this, *param, result);
        }
        return result.is_ok;
    });
}

bool dev::request(ByteList const& frame, CParam* param, unsigned char sid, std::string const& label) {
    reply_ = {};
    std::string const title = trace_prefix + label;
    Exchange::Texts titled = texts;
    titled.request = title.c_str();
    Exchange exchange(*port, *param, titled);
    int got = 0;
    try {
        exchange.prepare(*param);
        int const sent = exchange.send(frame);
        if (sent < 1) {
            param->Logf(lmtError, "ошибка записи в rs-порт, записано [%d] байт", sent);
            return false;
        }
        got = exchange.whole(PortBase::buffer_size, pdu::is_whole);
    } catch (...) {
        param->Log(lmtError, "общая ошибка чтения/записи порта");
        return false;
    }
    if (got < 1) {
        param->Logf(lmtError, "ошибка чтения из rs-порта, прочитано [%d] байт", got);
        return false;
    }
    trace_hex(*port->cport, exchange.answer().data(), got, std::string(trace_prefix) + "ответ");
    // As of a whole head, also when less has come: the rest of it is then the request's own, and the CRC refuses it.
    auto const head = exchange.held(pdu::head_size);
    if (!exchange.is_good(pdu::check_head(sid, head), modbus::pdu::refusal(head)) || !exchange.has_crc()) {
        return false;
    }
    reply_ = exchange.answer();
    return true;
}

BaseResult dev::read(modbus::c_register* param) {
    BaseResult result;
    auto const sid = static_cast<unsigned char>(config_->sid & 0xFF);
    auto const ask = [&](char const* label, auto build, auto... arguments) {
        ByteList frame;
        build(frame, sid, param, arguments...);
        return request(frame, param, sid, label);
    };

    if (!ask("1. Запрос «Начало сеанса связи»", pdu::open_session) ||
        !ask("2. Запрос на чтение данных (версия сервера)", pdu::read_data)) {
        return result;
    }
    if (auto const version = Reply::server_version(reply_)) {
        config_->server_version = *version;
    }
    param->Logf(lmtTrace, "Версия сервера: 0x%02x", config_->server_version);

    if (!ask("3. Запрос на установку типа значений (свойства)", pdu::write_values, pdu::kind_properties) ||
        !ask("4. Запрос на запись перечня свойств для чтения", pdu::write_elements_for_read) ||
        !ask("5. Запрос на чтение перечня свойств", pdu::read_data)) {
        return result;
    }
    Reply::Precisions const precisions = Reply::precisions(*param, reply_);

    RegisterRow const* const row = find_register(param->reg_addr);
    if (row == nullptr) {
        param->Logf(lmtError, "Регистр [0x%02x] не используется при получении (итоговых) текущих значений",
                    param->reg_addr);
        return result;
    }
    if (!ask("6. Запрос на запись типа значений ((итоговые) текущие значения)", pdu::write_values, row->kind) ||
        !ask("7. Запрос на чтение перечня текущих значений", pdu::read_active_elements_list) ||
        !Reply::has_register(*param, reply_, param->reg_addr)) {
        return result;
    }

    if (!ask("8. Запрос на чтение перечня элементов для чтения (значения)", pdu::read_parameters, param->reg_addr) ||
        !ask("9. Запрос на чтение данных (значения)", pdu::read_data)) {
        return result;
    }
    int const digits = row->precision == no_precision ? 0 : precisions[static_cast<size_t>(row->precision)];
    result.result = Reply::value(*param, reply_, *row, digits);
    result.is_ok = !result.result.empty();
    result.is_crc_ok = result.is_ok;
    return result;
}

}  // namespace vkt7rtu
