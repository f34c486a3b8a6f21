#include "config/cparam.h"

#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

struct Word {
    char const* text;
    int code;
};

constexpr Word value_types[] = {{"", vt_none},           {"bit", vt_bit},
                                {"i32", vt_i32},         {"u32", vt_u32},
                                {"str", vt_str},         {"i8", vt_i8},
                                {"i16", vt_i16},         {"u8", vt_u8},
                                {"u16", vt_u16},         {"float16", vt_float16},
                                {"float32", vt_float32}, {"fixi16", vt_fixi16},
                                {"fixu16", vt_fixu16},   {"date_time", vt_date_time},
                                {"str2", vt_str2},       {"str4", vt_str4},
                                {"str8", vt_str8},       {"ma", vt_ma},
                                {"m0a", vt_m0a},         {"m0r", vt_m0r},
                                {"m1", vt_m1},           {"m3", vt_m3},
                                {"m6", vt_m6},           {"m7", vt_m7},
                                {"u24", vt_u24},         {"i24", vt_i24},
                                {"bcd32", vt_bcd32}};

constexpr Word word_orders[] = {
    {"big_endian", 0}, {"little_endian", 1}, {"mid_big_endian", 2}, {"mid_little_endian", 3}};

/// "0xFFFF" to "FFFF". The case of the digits stays: a pattern that is to match has upper-case digits, as hexStr()
/// makes them.
std::string without_hex_prefix(std::string const& text) {
    return xString::Replace(xString::Replace(text, "0X", ""), "0x", "");
}

std::string fixed(float value, int precision) {
    return xString::Format("%.*f", precision, value);
}

}  // namespace

CParam::CParam(CBase* parent_node, Json::Value& node) : CBase(parent_node, node) {
    // Virtual calls, but no driver gives these two another meaning.
    value_type = CParam::GetValueType(jUtils::get_string(node, "value_type", ""));
    word_order = CParam::GetWordOrder(node);
    read_only = jUtils::get_bool(node, "read_only", true);
    has_scale = jUtils::has(node, "scale");
    scale = static_cast<float>(jUtils::get_double(node, "scale", 0));
    precision = has_scale ? scale_precision(scale) : 2;
    has_correction = jUtils::has(node, "correction");
    correction = jUtils::get_int(node, "correction", correction);
    inverted = jUtils::get_bool(node, "inverted", false);
    unit = jUtils::get_string(node, "unit", "");
    has_min = jUtils::has(node, "min");
    min = static_cast<float>(jUtils::get_double(node, "min", 0));
    has_max = jUtils::has(node, "max");
    max = static_cast<float>(jUtils::get_double(node, "max", 0));
    has_error_value = jUtils::has(node, "error_value");
    error_value = without_hex_prefix(jUtils::get_string(node, "error_value", ""));
    debounce = jUtils::get_int(node, "debounce", 0);
}

int CParam::scale_precision(float scale) {
    if (scale >= 1.0F) {
        return 2;
    }
    std::string text = xString::Format("%f", scale);
    text.erase(text.find_last_not_of('0') + 1);
    size_t const point = text.find('.');
    if (point == std::string::npos) {
        throw xExceptionf("неверный формат scale : отсутствует точка : %s.", text);
    }
    return static_cast<int>(text.size() - point);
}

void CParam::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    if (jUtils::has(node, "value_type")) {
        value_type = GetValueType(jUtils::get_string(node, "value_type", ""));
    }
    if (jUtils::has(node, "word_order")) {
        word_order = GetWordOrder(node);
    }
    read_only = jUtils::get_bool(node, "read_only", read_only);
    poll_interval = jUtils::get_int(node, "poll_interval", poll_interval);
    rto = jUtils::get_int(node, "rto", rto);
    sto = jUtils::get_int(node, "sto", sto);
    poll_reconnect = jUtils::get_bool(node, "poll_reconnect", poll_reconnect);
    if (jUtils::has(node, "scale")) {
        // The precision stays that of the first scale: what subscribers see keeps its digits under a new template.
        scale = static_cast<float>(jUtils::get_double(node, "scale", scale));
        has_scale = true;
    }
    if (jUtils::has(node, "correction")) {
        correction = jUtils::get_int(node, "correction", correction);
        has_correction = true;
    }
    inverted = jUtils::get_bool(node, "inverted", inverted);
    unit = jUtils::get_string(node, "unit", unit);
    if (jUtils::has(node, "error_value")) {
        error_value = without_hex_prefix(jUtils::get_string(node, "error_value", error_value));
        has_error_value = true;
    }
    debounce = jUtils::get_int(node, "debounce", debounce);
}

bool CParam::check_value(std::string const& value) {
    if (value.empty() || (!has_min && !has_max)) {
        return true;
    }
    float number = std::stof(value);
    if (has_scale) {
        number *= scale;
    }
    // Written so that a value that is no number at all is out of range too.
    if ((has_min && !(number >= min)) || (has_max && !(number <= max))) {
        Logf(lmtError, "значение вне пределов диапазона : min = %0.2f : value = %0.2f : max = %0.2f.", min, number,
             max);
        return false;
    }
    return true;
}

bool CParam::check_error_value(unsigned char const* data, int length) {
    if (!has_error_value) {
        return true;
    }
    return length >= 1 && hexStr(data, length) != error_value;
}

int CParam::GetValueType(std::string const& word) {
    for (Word const& row : value_types) {
        if (word == row.text) {
            return row.code;
        }
    }
    throw xExceptionf("%s : неопознанный value_type = %s.", name, word);
}

int CParam::GetWordOrder(Json::Value const& node) {
    if (!jUtils::has(node, "word_order")) {
        return 0;
    }
    std::string const word = jUtils::get_string(node, "word_order", "");
    for (Word const& row : word_orders) {
        if (word == row.text) {
            return row.code;
        }
    }
    throw xExceptionf("%s : неопознанный word_order = %s.", name, word);
}

std::string CParam::format(std::string const& value) {
    if (value.empty()) {
        return {};
    }
    std::string text = value;
    try {
        if (has_scale) {
            // A cheap watch for leaks, in the traces of every scaled value. Without traces nobody sees the numbers.
            if (xCommon::xLog::gv != nullptr && xCommon::xLog::gv->enabled(lmtTrace)) {
                double vm = 0;
                double resident = 0;
                xCommon::xSystem::mem_usage(vm, resident);
                Logf(lmtTrace, "mem_usage : vm = %0.2f : res = %0.2f.", vm, resident);
            }
            text = fixed(xCommon::xMisc::round(std::stof(text), scale, precision), precision);
        }
        if (has_correction) {
            text = fixed(std::stof(text) + static_cast<float>(correction), precision);
        }
    } catch (std::exception const&) {
        return value;  // no number: published as it came
    }
    if (!unit.empty()) {
        text.append(" ").append(unit);
    }
    return text;
}

std::string CParam::hexStr(unsigned char const* data, int length) const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int index = 0; index < length; ++index) {
        text.push_back(digits[data[index] >> 4U]);
        text.push_back(digits[data[index] & 0x0FU]);
    }
    return text;
}
