#include "drivers/dcon/pdu.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <numeric>

#include "foundation/xexception.h"

namespace dcon {

using xCommon::ByteList;
using xCommon::xString;

namespace {

constexpr unsigned char carriage_return = 0x0D;

struct Row {
    int cmd;
    bool writes;
    char lead;
    char const* letter;
    /// Of a command that writes, and what is told about a value of another length.
    size_t argument;
    char const* wrong_argument;
    int data;  ///< bytes of an answer
    int kept;  ///< of them
};

constexpr Row rows[] = {
    {cmd_configure, true, '%', "", 8, "команда установки конфигурации должна содержать 8 символов.", 0, 0},
    {cmd_read_channel, false, '#', "", 0, "", 5, 5},
    {cmd_read_configuration, false, '$', "2", 0, "", 6, 6},
    {cmd_read_state, false, '$', "6", 0, "", 6, 4},
    {cmd_clear_counter, true, '$', "C", 1, "команда очистки счетчика должна содержать 1 символ.", 0, 0},
    {cmd_read_inputs, false, '@', "", 0, "", 4, 4},
};

/// Null for a number that is no command: an overlay may have brought it.
Row const* row_of(c_param const* param) {
    auto const* const row =
        std::find_if(std::begin(rows), std::end(rows), [param](Row const& entry) { return entry.cmd == param->cmd; });
    return row == std::end(rows) ? nullptr : row;
}

void push_frame(ByteList& out, c_param const* param, Row const& row, std::string const& argument) {
    c_dev const& device = *param->device;
    out.pop_list(pdu::line(row.lead + device.sid_hex + row.letter + argument, device.crc_enabled));
}

}  // namespace

ByteList pdu::line(std::string const& text, bool has_checksum) {
    ByteList frame;
    frame.push_string(text);
    if (has_checksum) {
        frame.push_string(calculate_crc(frame));
    }
    frame.push_8(carriage_return);
    return frame;
}

std::string pdu::calculate_crc(ByteList const& bytes) {
    return xString::Format("%02X", std::accumulate(bytes.begin(), bytes.end(), 0U) & 0xFFU);
}

void pdu::get_read_cmd(ByteList& out, c_param const* param) {
    Row const* const row = row_of(param);
    if (row != nullptr && !row->writes) {
        push_frame(out, param, *row, row->cmd == cmd_read_channel ? param->channel : "");
    }
}

char const* pdu::get_write_cmd(ByteList& out, c_param const* param, std::string const& value) {
    Row const* const row = row_of(param);
    if (row == nullptr || !row->writes) {
        return nullptr;
    }
    if (value.size() != row->argument) {
        return row->wrong_argument;
    }
    push_frame(out, param, *row, value);
    return nullptr;
}

int pdu::get_head_size(c_param const* param) {
    return param->is_state() ? 1 : head_size;
}

int pdu::get_resp_size(c_param const* param) {
    Row const* const row = row_of(param);
    return row == nullptr ? -1 : row->data;
}

Fault pdu::check_head(c_param const* param, std::span<unsigned char const> head, std::string const& expected_sid) {
    if (!head.empty() && head[0] == c_param::refusal) {
        return Fault::refused;
    }
    if (head.size() < static_cast<size_t>(get_head_size(param))) {
        return Fault::timeout;
    }
    if (param->is_state()) {
        return Fault::none;
    }
    std::string const sid(head.begin() + 1, head.begin() + head_size);
    bool const is_expected = sid == (param->cmd == cmd_configure ? expected_sid : param->device->sid_hex);
    return is_expected ? Fault::none : Fault::wrong_address;
}

std::string pdu::get_value(c_param const* param, unsigned char const* data, int len) {
    Row const* const row = row_of(param);
    if (row == nullptr || data == nullptr || len < row->kept) {
        throw xCommon::xExceptionf("ответ короче значения : %d", len);
    }
    std::string text = text_of({data, static_cast<size_t>(row->kept)});
    if (!param->is_state()) {
        return text;
    }
    bool const is_hex =
        std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
    if (text.empty() || !is_hex) {
        throw xCommon::xExceptionf("состояние не является шестнадцатеричным числом : %s", text);
    }
    return std::to_string(std::stoul(text, nullptr, 16));
}

std::string pdu::text_of(std::span<unsigned char const> bytes) {
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

}  // namespace dcon
