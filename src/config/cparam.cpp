#include "config/cparam.h"

#include <cmath>
#include <cstdlib>
#include <iterator>

#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

constexpr char const* value_words[] = {"bit", "i8",   "u8",      "i16",     "u16",       "i24",    "u24",
                                       "i32", "u32",  "float16", "float32", "fixi16",    "fixu16", "bcd32",
                                       "str", "str2", "str4",    "str8",    "date_time", "ma",     "m0a",
                                       "m0r", "m1",   "m3",      "m6",      "m7",        ""};
/// Of the words, in their order.
constexpr int value_codes[] = {vt_bit, vt_i8,   vt_u8,      vt_i16,     vt_u16,       vt_i24,    vt_u24,
                               vt_i32, vt_u32,  vt_float16, vt_float32, vt_fixi16,    vt_fixu16, vt_bcd32,
                               vt_str, vt_str2, vt_str4,    vt_str8,    vt_date_time, vt_ma,     vt_m0a,
                               vt_m0r, vt_m1,   vt_m3,      vt_m6,      vt_m7,        vt_none};
static_assert(std::size(value_words) == std::size(value_codes));

/// In the order of their codes.
constexpr char const* order_words[] = {"big_endian", "little_endian", "mid_big_endian", "mid_little_endian"};

/// "0xFFFF" to "FFFF". The case of the digits stays: a pattern that is to match has upper-case digits, as hexStr()
/// makes them.
std::string without_hex_prefix(std::string const& text) {
    return xString::Replace(xString::Replace(text, "0X", ""), "0x", "");
}

CParam& param(xCommon::LogItem& node) {
    return static_cast<CParam&>(node);
}

/// For keys whose absence matters: the member, and that the key was there.
template <auto Has, auto Member>
void number_if_there(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    if (jUtils::has(json, key.name)) {
        // A limit is as exact as the values that it is compared with.
        keys::member<Member>(node) = static_cast<float>(jUtils::get_double(json, key.name, 0));
        keys::member<Has>(node) = true;
    }
}

void read_value_type(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    param(node).value_type = param(node).GetValueType(jUtils::get_string(json, key.name, ""));
}

void read_word_order(xCommon::LogItem& node, Json::Value const& json, keys::Key const& /*key*/) {
    param(node).word_order = param(node).GetWordOrder(json);
}

void read_correction(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    keys::of<&CParam::correction>.read(node, json, key);
    param(node).has_correction |= jUtils::has(json, key.name);
}

void read_error_value(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    if (jUtils::has(json, key.name)) {
        param(node).error_value = without_hex_prefix(jUtils::get_string(json, key.name, ""));
        param(node).has_error_value = true;
    }
}

using keys::Overlay;
using keys::Type;

/// An overlay takes these, then those of CBase, then the others.
constexpr keys::Key first_table[] = {
    {"value_type", keys::Value(Type::text, read_value_type), "", "how the bytes are read; the words are the driver's",
     "как читаются байты; набор слов зависит от драйвера", Overlay::taken, nullptr, "", value_words},
    {"word_order", keys::Value(Type::text, read_word_order), "big_endian", "order of the bytes", "порядок байтов",
     Overlay::taken, nullptr, "", order_words},
    {"read_only", keys::of<&CParam::read_only>, "true", "false: the value can be written",
     "false: значение можно записывать", Overlay::taken},
};
constexpr keys::Key table[] = {
    {"scale", keys::Value(Type::number, number_if_there<&CParam::has_scale, &CParam::scale>), "",
     "the raw value is multiplied by it", "множитель исходного значения", Overlay::taken},
    {"correction", keys::Value(Type::integer, read_correction), "", "added behind the scale",
     "прибавляется после масштаба", Overlay::taken},
    {"inverted", keys::of<&CParam::inverted>, "false", "default of the same key of the bits in `bh_list`",
     "умолчание того же ключа битов в `bh_list`", Overlay::taken},
    {"unit", keys::of<&CParam::unit>, "", "appended to the text behind a blank", "добавляется к тексту через пробел",
     Overlay::taken},
    {"min", keys::Value(Type::number, number_if_there<&CParam::has_min, &CParam::min>), "",
     "least scaled value, ahead of the correction, that is published",
     "наименьшее публикуемое значение: с масштабом, без поправки"},
    {"max", keys::Value(Type::number, number_if_there<&CParam::has_max, &CParam::max>), "",
     "highest scaled value, ahead of the correction, that is published",
     "наибольшее публикуемое значение: с масштабом, без поправки"},
    {"error_value", keys::Value(Type::text, read_error_value), "", "bytes in hexadecimal that stand for \"no value\"",
     "байты в шестнадцатеричном виде, означающие «нет значения»", Overlay::taken},
    {"debounce", keys::of<&CParam::debounce>, "0", "a changed value is held back for so long",
     "на это время задерживается изменившееся значение", Overlay::taken, nullptr, "s"},
};

std::string fixed(float value, int precision) {
    return xString::Format("%.*f", precision, value);
}

}  // namespace

CParam::CParam(CBase* parent_node, Json::Value& node) : CBase(parent_node, node) {
    keys::read(first_table, *this, node);
    keys::read(table, *this, node);
    precision = has_scale ? scale_precision(scale) : 2;
}

keys::Tables CParam::key_tables() {
    return CBase::key_tables() + first_table + table;
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
    if (!node.empty()) {
        keys::lay_over(own_keys(), *this, node);
        keys::lay_over(first_table, *this, node);
        keys::lay_over(CBase::key_tables().front(), *this, node);
        // The precision stays that of the first scale: what subscribers see keeps its digits under a new template.
        keys::lay_over(table, *this, node);
    }
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
    int const place = keys::place_of(word, value_words);
    if (place < 0) {
        throw xExceptionf("%s : неопознанный value_type = %s.", name, word);
    }
    return value_codes[place];
}

int CParam::GetWordOrder(Json::Value const& node) {
    std::string const word = jUtils::get_string(node, "word_order", order_words[0]);
    int const place = keys::place_of(word, order_words);
    if (place < 0) {
        throw xExceptionf("%s : неопознанный word_order = %s.", name, word);
    }
    return place;
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

long long CParam::whole_number(std::string const& text, long long least, long long most) const {
    char* end = nullptr;
    double const number = std::round(std::strtod(text.c_str(), &end));
    if (text.empty() || *end != '\0' ||
        !(number >= static_cast<double>(least) && number <= static_cast<double>(most))) {
        throw xExceptionf("%s # недопустимое значение : %s", name, text);
    }
    return static_cast<long long>(number);
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
