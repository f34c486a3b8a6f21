#include "drivers/emera/device.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <span>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/emera/pdu.h"
#include "foundation/xmisc.h"
#include "runtime/exchange.h"

namespace emera {

using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xString;

namespace {

IBFac const registrar = IBFac::add<edev>("emera.dev");

constexpr DriverWords words = {"счётчиком Emera", "Emera"};

/// ETX and BCC behind one byte of text: a frame without a value.
constexpr int empty_reply = 3;
/// ETX and BCC.
constexpr int tail_size = 2;

struct MeterError {
    char const* code;
    char const* text;
};

constexpr MeterError meter_errors[] = {
    {"E05", "ошибка протокола"},
    {"E12", "неподдерживаемый параметр"},
    {"E17", "недопустимое значение аргумента запроса"},
    {"E18", "отсутствует параметр, определяемый значением аргумента"},
    {"E22", "размер запрошенной информации превышает размер выходного буфера"},
};

std::string error_text(std::string const& code) {
    auto const row = std::find_if(std::begin(meter_errors), std::end(meter_errors),
                                  [&code](MeterError const& error) { return code == error.code; });
    return row == std::end(meter_errors) ? code : row->text;
}

tm local_time() {
    time_t const now = xCommon::xtime::time();
    tm local = {};
    localtime_r(&now, &local);
    return local;
}

/// The meter's register for today, this month or this year.
std::string fill_dates(std::string const& cmd) {
    if (cmd.find('%') == std::string::npos) {
        return cmd;
    }
    tm const now = local_time();
    std::string text = xString::Replace(cmd, "%day%", xString::Format("%02d", now.tm_mday));
    text = xString::Replace(text, "%month%", xString::Format("%02d", now.tm_mon + 1));
    return xString::Replace(text, "%year%", xString::Format("%02d", now.tm_year % 100));
}

int text_start(unsigned char const* buf) {
    return buf[0] == epdu::stx ? 1 : 0;
}

/// The text from its start up to `end`, or up to a zero byte: the rest isn't text.
std::string text_of(unsigned char const* buf, int end) {
    std::span<unsigned char const> const bytes(buf + text_start(buf), buf + end);
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

}  // namespace

edev::edev(IBase* port_object, CBase* node) : PolledDevice(port_object, node, words) {}

std::string edev::get_device_name() {
    return xString::Format("%s_%s", config_->name, config_->sid);
}

BaseResult edev::get_response(ecparam* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, "начало опроса.");
    Exchange exchange(*port, *param);
    exchange.prepare(*param);
    std::string const cmd = fill_dates(param->cmd);
    xCommon::ByteList frame;
    epdu::wrap(frame, config_->sid, cmd);
    if (PH::IsPrintHex) {
        param->Logf(lmtTrace, "req_str : %s.", cmd);
    }
    exchange.send(frame);
    unsigned char const* const reply = exchange.answer().data();
    int const got = exchange.whole(PortBase::buffer_size, epdu::is_whole);
    if (got > 0 && reply[0] == epdu::nak) {
        param->Log(lmtError, "ответ НЕ получен : NAK.");
        return result;
    }
    if (!res_check(param, reply, got)) {
        return result;
    }
    result.is_crc_ok = true;
    std::vector<std::string> const values = res_parse(reply, got);
    if (values.empty()) {
        param->Log(lmtError, "ответ НЕ получен : результат пуст.");
        return result;
    }
    auto const offset = static_cast<size_t>(param->offset);
    std::string const& value = offset < values.size() ? values[offset] : values.front();
    // No value begins with this letter: also a code that isn't in the table is the meter's error.
    if (value.starts_with('E')) {
        param->Logf(lmtError, "ответ Не получен : ошибка = %s.", error_text(value));
        return result;
    }
    result.result = res_format(param, value);
    result.is_ok = true;
    return result;
}

bool edev::res_check(ecparam const* param, unsigned char const* buf, int n) {
    if (n < empty_reply) {
        param->Log(lmtError, "ответ НЕ получен : таймаут.");
        return false;
    }
    if (n == empty_reply) {
        param->Log(lmtError, "ответ НЕ получен : результат пуст.");
        return false;
    }
    trace_hex(param->log_root(), buf, n, "response");
    epdu::Bcc const bcc = epdu::crc_check({buf, static_cast<size_t>(n)});
    xCommon::global_logf(lmtTrace, "crc = %02X : ptr [ %d ] = %02X.", bcc.expected, bcc.at, bcc.received);
    if (!bcc.fits) {
        param->Log(lmtError, "ответ НЕ получен : не совпала CRC.");
        return false;
    }
    // Counted from the start of the text: behind an STX the ETX stays in it, which only the lines below show.
    std::string const text = text_of(buf, text_start(buf) + n - tail_size);
    if (PH::IsPrintHex) {
        param->Logf(lmtTrace, "ответ до форматирования : %s.", text);
    }
    if (text.find('(') == std::string::npos) {
        param->Logf(lmtError, "ответ НЕ получен : нет открывающей скобки : %s.", text);
        return false;
    }
    if (text.find(')') == std::string::npos) {
        param->Logf(lmtError, "ответ НЕ получен : нет закрывающей скобки : %s.", text);
        return false;
    }
    return true;
}

std::vector<std::string> edev::res_parse(unsigned char const* buf, int n) {
    std::vector<std::string> values;
    if (buf == nullptr || n < empty_reply) {
        return values;
    }
    std::string const text = text_of(buf, n - tail_size);
    size_t open = text.find('(');
    while (open != std::string::npos) {
        size_t const close = text.find(')', open + 1);
        if (close == std::string::npos) {
            break;
        }
        values.push_back(reg_check(text.substr(open + 1, close - open - 1)));
        open = text.find('(', close);
    }
    return values;
}

std::string edev::reg_check(std::string const& text) {
    std::string rest = text;
    // The position counts on while the text shrinks, so a second bracket close behind the first one stays. What meters
    // send is read in this form.
    for (size_t position = 0; (position = rest.find('(', position)) != std::string::npos;) {
        ++position;
        rest.erase(0, position);
    }
    return rest;
}

std::string edev::res_format(ecparam const* param, std::string const& value) {
    if (param->value_type != vt_date_time) {
        return value;
    }
    constexpr int digits = 2;
    tm date = local_time();
    date.tm_mday = get_int(value, 2, digits);
    date.tm_mon = get_int(value, 4, digits) - 1;
    date.tm_year = get_int(value, 6, digits) + 100;
    date.tm_hour = get_int(value, 8, digits);
    date.tm_min = get_int(value, 10, digits);
    date.tm_sec = get_int(value, 12, digits);
    // mktime() has taken the zone off already. It is taken off once more: whoever reads these values counts on it.
    long long const seconds = mktime(&date);
    return std::to_string(seconds - date.tm_gmtoff);
}

int edev::get_int(std::string const& text, int pos, int len) {
    if (pos < 0 || len < 0 || text.size() <= static_cast<size_t>(pos) + static_cast<size_t>(len)) {
        return 0;
    }
    return std::stoi(text.substr(static_cast<size_t>(pos), static_cast<size_t>(len)));
}

}  // namespace emera
