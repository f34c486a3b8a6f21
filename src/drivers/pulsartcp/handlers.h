#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace pulsartcp {

/// The bytes of a response between its head and its id.
using Payload = std::vector<unsigned char>;
/// Gives the text of a payload. It is called twice on the same vector, and may change it.
using Handler = std::function<std::string(Payload&)>;
/// Kind of device, function, parameter number.
using Handlers =
    std::unordered_map<std::string, std::unordered_map<unsigned char, std::unordered_map<unsigned short, Handler>>>;

/// Each enters the parameters of one kind of device.
namespace pulse_counter {
void register_pulse_counter_handlers(Handlers& map);
}
namespace water_meter {
void register_water_meter_handlers(Handlers& map);
}

}  // namespace pulsartcp
