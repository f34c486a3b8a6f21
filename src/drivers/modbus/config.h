#pragma once

#include <memory>
#include <span>
#include <string>

#include "config/cparam.h"
#include "config/cport.h"
#include "drivers/bholding/bholding.h"
#include "foundation/byte_list.h"

/// What Modbus over a serial line and over TCP have in common: configuration, values, request bodies, and the part of
/// the dialogue that is above the frame.
namespace modbus {

/// Register kinds, the key `reg_type`.
enum RegType : int {
    reg_coil = 0,
    reg_status = 1,
    reg_holding = 2,
    reg_holding_m = 3,  ///< holding registers that are always written by function 16
    reg_holding_bit = 4,
    reg_input = 5,
    reg_input_bit = 6
};

/// Registers and bytes of a value type.
struct ValueSize {
    int value_type;
    unsigned short registers;
    int least_bytes;  ///< what a value is read from
};

/// The row of a value type; types that need no row of their own have one register and one byte.
ValueSize value_size(int value_type);

/// Configuration of one slave.
class c_dev : public CAddressDev {
 public:
    /// `type_word` is the driver's: the default type of the parameters. Raises an xExceptionf for a missing port or
    /// `sid`, and for a device without parameters.
    c_dev(CBase* port_node, Json::Value& node, std::string const& type_word);
    static keys::Tables key_tables();

    int poll_delay = 0;  ///< ms, pause before each single request
};

/// The words of the key `reg_type` in one driver.
struct RegTypes {
    struct Word {
        char const* text;
        int code;
    };
    std::span<Word const> words;
    int other;  ///< code of a text that is no kind's, and of none
    int holding_bit;
    int input_bit;

    /// Any text gives a code, without a message: configurations in use spell it in many ways.
    int code_of(Json::Value const& node) const;
    bool knows(std::string_view text) const;
};

/// Configuration of one register, as far as it is the same wherever registers have addresses and kinds.
class c_register : public CParam {
 public:
    /// Raises an xExceptionf for a missing `reg_addr`, an xException for faulty bits. `types` outlives it.
    c_register(CBase* device, Json::Value& node, RegTypes const& types);
    static keys::Tables key_tables();

    void Compare(Json::Value& node) override;
    bool knows_kind(std::string_view text) const { return types_.knows(text); }
    bool has_bits() const { return reg_type == types_.holding_bit || reg_type == types_.input_bit; }

    /// Address on the wire of the first register or coil.
    unsigned short reg_addr = 0;
    int reg_type;
    /// The bits of a "holding-bit" or "input-bit"; null for all other kinds, and for one that only an overlay without
    /// `bh_list` made a bit kind.
    std::unique_ptr<bholding::bhold> bits;
    unsigned short poll_delay = 0;  ///< ms

 private:
    RegTypes const& types_;
};

/// Configuration of one parameter, and the conversion between its text and its register image.
class c_param : public c_register {
 public:
    /// Raises what c_register raises.
    c_param(CBase* device, Json::Value& node);
    static keys::Tables key_tables();

    /// Code of the key `reg_type`.
    static int GetRegType(Json::Value const& node);

    /// Text of the value at the beginning of `len` bytes. Raises an xExceptionf for too few bytes and for a value type
    /// that registers can't hold.
    std::string GetValueFromBuffer(unsigned char const* buf, int len) const;
    /// Appends the register image of `value`. Raises an xExceptionf for a value type that can't be written, and
    /// std::invalid_argument or std::out_of_range for text that is no number.
    void GetValueFromString(xCommon::ByteList& out, std::string const& value) const;
    /// The value through `converter_read` or `converter_write`; a faulty expression raises the evaluator's exception.
    std::string CalculateReadExpression(std::string const& value) const;
    std::string CalculateWriteExpression(std::string const& value) const;

    std::string converter_read;
    std::string converter_write;
};

}  // namespace modbus
