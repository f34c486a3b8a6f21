#pragma once

#include <memory>
#include <optional>
#include <string>

#include "config/cparam.h"
#include "drivers/bholding/bholding.h"
#include "drivers/modbus/config.h"

/// VKT-7 heat calculators: frames in the shape of Modbus RTU, a dialogue of nine requests for each value.
namespace vkt7rtu {

/// The key `reg_type`. Only the two bit kinds make a difference; the frames know none of them.
enum RegType : int {
    reg_coil = 0,
    reg_status = 1,
    reg_input = 2,
    reg_holding = 3,
    reg_holding_m = 4,
    reg_holding_bit = 5,
    reg_input_bit = 6
};

/// Configuration of a calculator, type word "vkt7-rtu": that of a Modbus slave, down to the type word of its
/// parameters. One without a `type` of its own becomes a Modbus parameter, and is a plain register here.
class c_dev : public modbus::c_dev {
 public:
    /// Raises what modbus::c_dev raises.
    c_dev(CBase* port_node, Json::Value& node);
    static CBase* create(CBase* parent, Json::Value& node);

    /// The last one that the calculator told.
    unsigned char server_version = 0;
};

/// Configuration of a parameter, type word "vkt7-rtu".
class c_param : public CParam {
 public:
    /// Raises an xExceptionf for a missing `reg_addr`, an xException for faulty bits.
    c_param(CBase* device, Json::Value& node);
    static CBase* create(CBase* parent, Json::Value& node);

    void Compare(Json::Value& node) override;
    /// Code of the key `reg_type`; any text that is no kind's, and none, gives reg_holding without a message.
    static int GetRegType(Json::Value const& node);
    bool has_bits() const { return reg_type == reg_holding_bit || reg_type == reg_input_bit; }

    /// Number of the calculator's register.
    unsigned short reg_addr = 0;
    /// The bits of a bit kind; null for all other kinds, and for one that only an overlay without `bh_list` made a bit
    /// kind.
    std::unique_ptr<bholding::bhold> bits;
    int reg_type = reg_holding;
    unsigned short poll_delay = 0;  ///< ms
};

/// A parameter as the dialogue sees it, whichever of the two classes it has.
struct Register {
    CParam* param;
    unsigned short reg_addr;
    unsigned short poll_delay;  ///< ms
    c_param* own;               ///< null for a parameter of the Modbus class
};

/// Nothing for a parameter of a foreign class.
std::optional<Register> register_of(CBase* node);

}  // namespace vkt7rtu
