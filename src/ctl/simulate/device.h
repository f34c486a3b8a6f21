#pragma once

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

#include "config/cport.h"
#include "ctl/simulate/bytes.h"

namespace sim {

/// A simulated device: what it answers to what it hears. Used by one thread.
class Device {
 public:
    Device() = default;
    virtual ~Device() = default;
    Device(Device const&) = delete;
    Device& operator=(Device const&) = delete;

    /// Takes over the parameters of a node of its kind and address, which outlives it; false for any other.
    virtual bool take(CDev& node) = 0;
    /// The reply to one request, empty for silence. `seconds` have passed since the start.
    virtual Bytes answer(View request, double seconds) = 0;
    /// How it refuses a request that it has an answer to; empty where the protocol has no such thing.
    virtual Bytes refusal(View /*request*/) { return {}; }
    /// The reply with a checksum that doesn't fit; empty where there is none.
    virtual Bytes miscounted(Bytes reply) const;
};

/// The row of a table of value types; the other one for a type without a row.
template <typename Rows>
auto const& row_of(Rows const& rows, int value_type, auto const& other) {
    auto const* const row = std::find_if(std::begin(rows), std::end(rows),
                                         [value_type](auto const& entry) { return entry.value_type == value_type; });
    return row == std::end(rows) ? other : *row;
}

/// The device of a node; null for one that isn't on a line, or of an unknown kind.
std::unique_ptr<Device> make_device(CDev const& node);

/// A device whose configuration is of the class NodeType, with parameters of the class Param.
template <typename NodeType, typename Param>
class DeviceOf : public Device {
 public:
    using Node = NodeType;

    bool take(CDev& node) final {
        auto const* const own = dynamic_cast<Node const*>(&node);
        if (own == nullptr || !is_same(*own)) {
            return false;
        }
        for (auto const& child : node.children) {
            if (auto* const param = dynamic_cast<Param*>(child.get())) {
                add(*param);
            }
        }
        return true;
    }

 protected:
    /// The node is of this device too.
    virtual bool is_same(Node const& node) const = 0;
    virtual void add(Param& param) = 0;
};

/// One that is addressed by the low byte of its number, which each of its frames begins with.
template <typename NodeType, typename Param>
class AddressedDevice : public DeviceOf<NodeType, Param> {
 public:
    explicit AddressedDevice(NodeType const& node) : address_(low_byte(node)) {}

 protected:
    bool is_same(NodeType const& node) const override { return low_byte(node) == address_; }
    /// A frame for this device, with a good CRC.
    bool is_mine(View request, size_t least) const {
        return request.size() >= least && request[0] == address_ && has_crc(request);
    }

    unsigned char address_;

 private:
    static unsigned char low_byte(NodeType const& node) { return static_cast<unsigned char>(node.sid & 0xFF); }
};

}  // namespace sim
