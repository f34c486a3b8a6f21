#pragma once

#include <map>
#include <string>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/dcon/config.h"

namespace sim {

/// A DCON module.
///
///   #AAn          the value of channel n in five characters, "+1.23"
///   $AA2          configuration, "400680"
///   $AA6          state, four digits whose named bits blink, and "00"
///   @AA           the same without the last two
///   $AACn         clears the count of channel n
///   %AANNTTCCFF   takes the address NN and the configuration TTCCFF
///
/// Anything else is refused with "?AA". A wrong checksum or another address gets no answer.
class Dcon : public DeviceOf<dcon::c_dev, dcon::c_param> {
 public:
    explicit Dcon(dcon::c_dev const& node);
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;
    Bytes miscounted(Bytes reply) const override;

 private:
    bool is_same(dcon::c_dev const& node) const override { return node.sid_hex == configured_address_; }
    void add(dcon::c_param& param) override;
    std::string reply_to(std::string const& command, double seconds);
    std::string reading(char channel, double seconds) const;
    std::string state(int command, double seconds) const;
    Bytes framed(std::string reply) const;

    std::string configured_address_;
    std::string address_;
    bool has_checksums_;
    std::string settings_ = "400680";
    std::map<char, Course> channels_;
    std::map<char, double> cleared_s_;
    std::map<int, unsigned int> bits_;  ///< the named ones of both states, by the command
};

}  // namespace sim
