#pragma once

#include <memory>
#include <string>

#include "config/cparam.h"
#include "config/cport.h"
#include "drivers/bholding/bholding.h"

/// Remote input/output modules on a serial line that speak DCON, a text protocol.
namespace dcon {

/// The key `cmd`.
enum Command : int {
    cmd_configure = 1,
    cmd_read_channel = 9,
    cmd_read_configuration = 10,
    cmd_read_state = 13,
    cmd_clear_counter = 15,
    cmd_read_inputs = 21
};

/// Configuration of one module, type word "dcon".
class c_dev : public CAddressDev, public FromJson<c_dev> {
 public:
    /// Raises an xExceptionf for a missing port or `sid`, and for a device without parameters.
    c_dev(CBase* port_node, Json::Value& node);

    /// The address as frames have it: two digits, and more for a `sid` above 255, which no module answers to.
    std::string sid_hex;
    bool crc_enabled = true;
    int crc_size = 0;  ///< bytes of a checksum on the wire
};

/// Configuration of one command. It is polled while it is `read_only`, and only written otherwise.
class c_param : public CParam, public FromJson<c_param> {
 public:
    /// Raises an xExceptionf for a parent that is no DCON device and for missing or faulty keys, an xException for
    /// faulty bits.
    c_param(CBase* device, Json::Value& node);

    /// Takes `cmd` and `channel` as they come, without the checks of the constructor: a pair that no module knows is
    /// refused when it is polled.
    void Compare(Json::Value& node) override;
    /// The answer is four hexadecimal digits, and has no address ahead of them.
    bool is_state() const { return cmd == cmd_read_state || cmd == cmd_read_inputs; }

    /// What an answer begins with when the module refuses.
    static constexpr char refusal = '?';

    int cmd = 0;
    std::string channel;
    /// Read from the file and used by nothing.
    int offset = 0;
    /// The bits of a state; null for all other commands, and for one that only an overlay made a state.
    std::unique_ptr<bholding::bhold> bits;
    c_dev const* device;
};

}  // namespace dcon
