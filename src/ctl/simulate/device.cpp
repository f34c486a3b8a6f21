#include "ctl/simulate/device.h"

#include "ctl/simulate/devices/dcon.h"
#include "ctl/simulate/devices/dlms_meter.h"
#include "ctl/simulate/devices/emera.h"
#include "ctl/simulate/devices/media_controller.h"
#include "ctl/simulate/devices/mercury.h"
#include "ctl/simulate/devices/milur.h"
#include "ctl/simulate/devices/modbus_slave.h"
#include "ctl/simulate/devices/pulsar.h"
#include "ctl/simulate/devices/set4tm.h"
#include "ctl/simulate/devices/vkt7.h"

namespace sim {

namespace {

template <typename Simulated>
std::unique_ptr<Device> make(CDev const& node) {
    auto const* const own = dynamic_cast<typename Simulated::Node const*>(&node);
    return own != nullptr ? std::make_unique<Simulated>(*own) : nullptr;
}

constexpr std::unique_ptr<Device> (*makers[])(CDev const&) = {
    make<RtuSlave>, make<TcpSlave>, make<Dcon>, make<Mercury>,    make<Milur>,          make<Set4tm>,
    make<Emera>,    make<Pulsar>,   make<Vkt7>, make<DlmsMeters>, make<MediaController>};

}  // namespace

Bytes Device::miscounted(Bytes reply) const {
    if (!reply.empty()) {
        reply.back() ^= 0xFFU;
    }
    return reply;
}

std::unique_ptr<Device> make_device(CDev const& node) {
    for (auto const maker : makers) {
        if (auto device = maker(node)) {
            return device;
        }
    }
    return nullptr;
}

}  // namespace sim
