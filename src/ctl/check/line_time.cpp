#include "ctl/check/line_time.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "drivers/dcon/config.h"
#include "drivers/emera/config.h"
#include "drivers/merc_2xx/pdu.h"
#include "drivers/modbus/pdu.h"
#include "drivers/pulsartcp/config.h"

namespace {

/// What one value takes: bytes of all requests and answers, how often the direction turns, and the driver's pauses.
struct Dialogue {
    char const* type;  ///< begins the device's type word
    double bytes;
    double exchanges;
    double pause_s;
};
/// The first that fits. What isn't here is not polled, or not on a line.
constexpr Dialogue dialogues[] = {
    {"mb-", 13, 1, 0},                           // and two for each register
    {"vkt7", 490, 9, 0},                         // properties and lists are read with each value
    {"dcon", 19, 1, 0},      {"merc", 6, 1, 0},  // and the answer
    {"milur", 15, 1, 0},     {"set-4tm", 14, 1, 0},
    {"emera", 50, 1, 0},                                    // and the register's name, which comes back
    {"pulsar", 28, 1, 0},    {"dlms.rs.old", 204, 3, 0.3},  // select frames, statuses and confirmations
    {"dlms.rs", 90, 1, 0.1}, {"dlms", 0, 1, 0},
    {"snmp", 0, 1, 0},
};
/// A device takes its time, and a network too.
constexpr double turnaround_s = 0.02;
/// Characters of silence around an exchange.
constexpr double frame_gaps = 7;
/// How long a Pulsar is left alone behind a sweep.
constexpr double sweep_rest_s = 3;

double bits_of_byte(xserial::xco const& rs) {
    double const parity = rs.parity == xserial::parity_t::none ? 0 : 1;
    return 1 + static_cast<double>(rs.bytesize) + parity + (rs.stopbits == xserial::stopbits_t::one ? 1 : 2);
}

class Estimate {
 public:
    Estimate(CPort const& port, CDev const& device) : device_(device) {
        xserial::xco const& rs = device.personal_rs ? device.rs : port.rs;
        byte_s_ = port.type_has("rs") && rs.baudrate > 0 ? bits_of_byte(rs) / rs.baudrate : 0;
        dialogue_ = std::find_if(std::begin(dialogues), std::end(dialogues),
                                 [&device](Dialogue const& row) { return device.type.starts_with(row.type); });
    }

    LineTime whole() const {
        LineTime sum;
        if (dialogue_ == std::end(dialogues)) {
            return sum;
        }
        bool const is_sweep = device_.type.starts_with("pulsar");
        if (device_.all_params) {
            return sets();
        }
        for (auto const& child : device_.children) {
            auto const* const param = dynamic_cast<CParam const*>(child.get());
            bool const is_command = dynamic_cast<dcon::c_param const*>(param) != nullptr && !param->read_only;
            if (param != nullptr && param->enabled && !is_command) {
                sum +=
                    of(time_of(*param), is_sweep ? device_.poll_interval : param->poll_interval, seconds(param->rto));
            }
        }
        if (is_sweep) {
            sum += of(sweep_rest_s, device_.poll_interval, sweep_rest_s);
        }
        return sum;
    }

 private:
    static LineTime of(double time, int interval, double silent_time) {
        return {time, silent_time, interval > 0 ? time / interval : 0, std::max(interval, 0)};
    }

    static double seconds(int milliseconds) { return milliseconds / 1000.0; }

    double exchange(double bytes, double exchanges) const {
        return (bytes + exchanges * frame_gaps) * byte_s_ + exchanges * turnaround_s;
    }

    double time_of(CParam const& param) const {
        double bytes = dialogue_->bytes;
        double pause = dialogue_->pause_s;
        if (auto const* const reg = dynamic_cast<modbus::c_register const*>(&param)) {
            pause += reg->poll_delay / 1000.0;
            bytes += dialogue_->exchanges > 1 ? 0 : 2.0 * modbus::value_size(param.value_type).registers;
        } else if (auto const* const energy = dynamic_cast<merc_2xx::c_param const*>(&param)) {
            bytes += merc_2xx::pdu::exp_resp_size(energy);
        } else if (auto const* const reading = dynamic_cast<emera::ecparam const*>(&param)) {
            bytes += 2.0 * static_cast<double>(reading->cmd.size());
        } else if (auto const* const meter = dynamic_cast<pulsartcp::c_dev const*>(&device_)) {
            pause += static_cast<double>(meter->delay) / 1000.0;
        }
        return exchange(bytes, dialogue_->exchanges) + pause;
    }

    /// The whole device is read from the lowest address of each function to the highest, gaps included.
    LineTime sets() const {
        constexpr int functions = 4;
        constexpr std::array<int, functions> limits = {2000, 2000, 125, 125};
        std::array<int, functions> first = {};
        std::array<int, functions> behind = {};
        for (auto const& child : device_.children) {
            auto const* const param = dynamic_cast<modbus::c_param const*>(child.get());
            if (param == nullptr || !param->enabled) {
                continue;
            }
            auto const set = static_cast<size_t>(modbus::pdu::getReadFunCode(param) - 1);
            first.at(set) = behind.at(set) == 0 ? param->reg_addr : std::min<int>(first.at(set), param->reg_addr);
            behind.at(set) = std::max(behind.at(set), param->reg_addr + modbus::pdu::getRegNum(param));
        }
        LineTime sum;
        for (size_t set = 0; set < functions; ++set) {
            int const count = behind.at(set) - first.at(set);
            int const requests = (count + limits.at(set) - 1) / limits.at(set);
            double const data = set < 2 ? count / 8.0 : 2.0 * count;
            if (count > 0) {
                sum += of(exchange(dialogue_->bytes * requests + data, requests), device_.poll_interval,
                          seconds(device_.rto));
            }
        }
        return sum;
    }

    CDev const& device_;
    Dialogue const* dialogue_;
    double byte_s_;
};

}  // namespace

LineTime& LineTime::operator+=(LineTime const& other) {
    pass_s += other.pass_s;
    silent_s += other.silent_s;
    load += other.load;
    shortest =
        shortest == 0 || other.shortest == 0 ? std::max(shortest, other.shortest) : std::min(shortest, other.shortest);
    return *this;
}

LineTime line_time(CPort const& port, CDev const& device) {
    return Estimate(port, device).whole();
}
