#pragma once

#include <span>
#include <string>

#include "config/cbase.h"

/// Codes of the key `value_type`.
enum ValueType : int {
    vt_none = 0,
    vt_bit = 3,
    vt_i32 = 5,
    vt_u32 = 6,
    vt_str = 10,
    vt_i8 = 15,
    vt_i16 = 16,
    vt_u8 = 17,
    vt_u16 = 18,
    vt_float16 = 19,
    vt_float32 = 23,
    vt_fixi16 = 40,
    vt_fixu16 = 41,
    vt_date_time = 42,
    vt_str2 = 43,
    vt_str4 = 44,
    vt_str8 = 45,
    vt_ma = 46,
    vt_m0a = 47,
    vt_m0r = 48,
    vt_m1 = 49,
    vt_m3 = 50,
    vt_m6 = 51,
    vt_m7 = 52,
    vt_u24 = 53,
    vt_i24 = 54,
    vt_bcd32 = 55
};

/// One measured or settable value of a device: how its bytes are typed and ordered, and how the raw text is scaled,
/// corrected, checked and given its unit. Base of every driver's parameter.
class CParam : public CBase {
 public:
    /// Raises an xExceptionf for an unknown `value_type` or `word_order`.
    CParam(CBase* parent, Json::Value& node);
    static keys::Tables key_tables();

    /// The rows of a class of its own that a device may lay over it; most drivers have no more to do for that.
    virtual std::span<keys::Key const> own_keys() const { return {}; }
    /// Lays the keys present in `node` over this parameter. `min` and `max` aren't overlaid, and `precision` stays as
    /// it was even under a new `scale`.
    virtual void Compare(Json::Value& node);
    /// The range check on a raw value: true if it may be published. Text that is no number raises
    /// std::invalid_argument or std::out_of_range when there is a limit to check.
    virtual bool check_value(std::string const& value);
    /// True when the bytes are not the error pattern of `error_value`.
    virtual bool check_error_value(unsigned char const* data, int length);
    /// Code of a word of the key `value_type`; raises an xExceptionf for an unknown one.
    virtual int GetValueType(std::string const& word);
    virtual int GetWordOrder(Json::Value const& node);
    /// Raw text to published text. A raw text that is no number comes back unchanged where a scale or correction
    /// should be applied.
    virtual std::string format(std::string const& value);

    /// The number of a command, for drivers that write whole ones: the nearest, as undoing a scale leaves a fraction.
    /// Raises an xExceptionf for a text that is no number in whole, and for one out of the limits.
    long long whole_number(std::string const& text, long long least, long long most) const;

    /// Digits behind the point of what has such a scale: 2, or for a scale below 1 one more than it has itself, for the
    /// length of its text from the point on counts the point. Raises an xExceptionf for one that is no number.
    static int scale_precision(float scale);

    /// Two upper-case hexadecimal digits a byte, no separator.
    std::string hexStr(unsigned char const* data, int length) const;

    int value_type = vt_none;
    int word_order = 0;  ///< numbered as xCommon::WordOrder
    bool read_only = true;
    bool has_scale = false;
    float scale = 0;
    bool has_correction = false;
    int correction = 1;
    bool inverted = false;
    int precision = 2;
    std::string unit;
    bool has_min = false;
    double min = 0;
    bool has_max = false;
    double max = 0;
    bool has_error_value = false;
    std::string error_value;
    int debounce = 0;  ///< seconds
    std::string db_value;
    long long debounce_since = 0;  ///< calendar seconds, 0 when idle
    bool in_debounce = false;
};
