#pragma once

#include <unordered_set>
#include <vector>

#include "drivers/modbus/config.h"
#include "runtime/port_base.h"

namespace modbus {

class device;

/// The four read functions.
enum class eFunCode : unsigned char { coils = 1, discrete_inputs = 2, holding_registers = 3, input_registers = 4 };

/// Outcome of one poll of a set, in parameters.
struct SetCounters {
    unsigned long long published = 0;
    unsigned long long errors = 0;
};

/// All parameters of one kind of a device that answers to one poll: one contiguous span that covers them is read, gaps
/// and all, in as few requests as the protocol allows, and the parameters are cut out of the joined reply.
/// Requests and replies are the device's business.
class RegisterSet {
 public:
    RegisterSet(eFunCode function, unsigned short limit) : function_(function), limit_(limit) {}

    /// Widens the span to the parameter and appends it; one that stands in the set already is appended again only with
    /// an interval of 0. Raises an xExceptionf for one that reaches beyond the address 65535.
    void add(c_param* param);
    /// Reads the span and publishes what is due. One failed request fails the whole set for this poll.
    SetCounters poll(PortBase* port, device* dev);
    /// Counts and publishes a failure of what is due, without a request.
    SetCounters fail(PortBase* port, device* dev);
    SetCounters parse_and_publish(PortBase* port, device* dev, std::vector<unsigned char> const& data, bool ok);
    SetCounters publish_errors(PortBase* port, device* dev);

    bool empty() const { return params_.empty(); }
    unsigned short start() const { return start_; }
    /// 0 also for a span of all 65536 addresses, which can't be read.
    unsigned short span() const { return static_cast<unsigned short>(end_ + 1 - start_); }

 private:
    bool is_bit_set() const { return function_ <= eFunCode::discrete_inputs; }
    bool cut_out(c_param const& param, std::vector<unsigned char> const& data, BaseResult& result) const;
    bool is_error_value(c_param& param, std::vector<unsigned char> const& data) const;
    void hand_on(PortBase* port, device* dev, c_param& param, BaseResult& result) const;

    eFunCode function_;
    unsigned short limit_;
    std::vector<c_param*> params_;
    std::unordered_set<c_param const*> known_;
    unsigned int buffer_size_ = 0;
    unsigned short start_ = 0xFFFF;
    unsigned short end_ = 0;
    SetCounters counters_;
};

/// The four instances differ in nothing but function and limit (and by the function in what an address counts).
template <eFunCode Function, unsigned short Limit>
class register_set_t : public RegisterSet {
 public:
    register_set_t() : RegisterSet(Function, Limit) {}
};

}  // namespace modbus
