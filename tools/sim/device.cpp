#include "sim/device.h"

#include "sim/media_controller.h"

namespace sim {

std::unique_ptr<Device> make_device(std::string const& kind, std::string const& /*number*/) {
    if (kind == "media_ctrl") {
        return std::make_unique<MediaController>();
    }
    return nullptr;
}

}  // namespace sim
