#pragma once

#include <string>
#include <vector>

#include "drivers/emera/config.h"
#include "runtime/typed_device.h"

namespace emera {

/// The dialogue with one meter: every poll is one exchange of its own, nothing is kept in between. Takes no writes.
class edev : public PolledDevice<ecdev, ecparam>, public FromNode<edev> {
 public:
    edev(IBase* port_object, CBase* node);

    /// Name and address, "flat_12".
    std::string get_device_name() override;

    /// One exchange. Raises the exception of std::stoi for a "date_time" of something other than digits.
    BaseResult get_response(ecparam* param) override;

    /// True when the `n` bytes are an answer with brackets in it; false after a line in the parameter's log.
    static bool res_check(ecparam const* param, unsigned char const* buf, int n);
    /// The texts in the brackets, in their order.
    static std::vector<std::string> res_parse(unsigned char const* buf, int n);
    /// What is published: the text itself, or for a "date_time" a number of seconds.
    static std::string res_format(ecparam const* param, std::string const& value);
    /// Cuts off what stands ahead of an inner opening bracket.
    static std::string reg_check(std::string const& text);
    /// The number in `len` characters from `pos`; 0 unless the text goes on behind them. Raises what std::stoi raises.
    static int get_int(std::string const& text, int pos, int len);
};

}  // namespace emera
