#include "sim/device.h"

#include "sim/dlms_meter.h"
#include "sim/media_controller.h"

namespace sim {

std::unique_ptr<Device> make_device(std::string const& kind, std::string const& number) {
    if (kind == "media_ctrl") {
        return std::make_unique<MediaController>();
    }
    if (kind.starts_with("dlms.")) {
        return std::make_unique<DlmsMeter>(kind, number);
    }
    return nullptr;
}

}  // namespace sim
