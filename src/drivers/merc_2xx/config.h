#pragma once

#include <array>
#include <span>
#include <string>

#include "config/cparam.h"
#include "config/cport.h"

/// Electricity meters of the Mercury family.
namespace merc_2xx {

/// Type words. The models differ in what they measure, not in how they are asked.
inline const std::array<std::string, 10> model_words = {"merc150", "merc203.2TD", "merc204", "merc208", "merc230",
                                                        "merc231", "merc234",     "merc236", "merc238", "merc350"};

/// Kinds of request, the key `reg_type`.
enum RegType : int {
    reg_array12 = 0,  ///< stored energies, of which the reply holds 3
    reg_array16 = 1,  ///< stored energies, of which the reply holds 4
    reg_param = 2     ///< an instantaneous value
};

/// Configuration of a meter.
class c_dev : public CAddressDev, public FromJson<c_dev> {
 public:
    /// Raises an xExceptionf for a missing port or `sid`, and for a device without parameters.
    c_dev(CBase* port_node, Json::Value& node);
};

/// Configuration of one value, and its reading from a reply.
class c_param : public CParam, public FromJson<c_param> {
 public:
    /// Raises an xExceptionf for a missing or unknown `reg_type` and for a key out of its limits.
    c_param(CBase* device, Json::Value& node);

    /// No limits are checked here: a device may go beyond them with what it lays over its template.
    void Compare(Json::Value& node) override;
    /// Text of the value in the `n` bytes of a reply behind its address. Raises an xExceptionf for no or too few bytes,
    /// and for a value type or an `offset` that the kind of request doesn't have.
    std::string getValueFromBuf(unsigned char const* b, int n) const;

    /// Three bytes in the order high, low, middle: the low 22 bits, and all 24.
    static int i_getValue132(unsigned char const* b);
    static unsigned int u_getValue132(unsigned char const* b);

    int reg_type = reg_param;
    unsigned char arr_num = 0;  ///< number of the array
    unsigned char month = 1;
    unsigned char tarif = 1;   ///< 0: sum of all
    unsigned char offset = 0;  ///< of the energy behind the address
    int bwri = 0;              ///< number of the instantaneous value; the wire carries its low byte

 private:
    std::string array_value(std::span<unsigned char const> data) const;
    std::string param_value(std::span<unsigned char const> data) const;
};

}  // namespace merc_2xx
