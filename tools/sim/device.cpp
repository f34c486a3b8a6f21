#include "sim/device.h"

#include <cstdlib>

#include "sim/dcon.h"
#include "sim/dlms_meter.h"
#include "sim/emera.h"
#include "sim/media_controller.h"
#include "sim/mercury.h"
#include "sim/milur.h"
#include "sim/pulsar.h"
#include "sim/set4tm.h"
#include "sim/vkt7.h"

namespace sim {

namespace {

using Maker = std::unique_ptr<Device> (*)(std::string const& kind, std::string const& number);

struct Kind {
    char const* beginning;  ///< of the type word
    Maker make;
};

template <typename Simulated>
std::unique_ptr<Device> numbered(std::string const& /*kind*/, std::string const& number) {
    return std::make_unique<Simulated>(number);
}

constexpr Kind kinds[] = {
    {"media_ctrl",
     [](auto const&, auto const&) -> std::unique_ptr<Device> { return std::make_unique<MediaController>(); }},
    {"dlms.",
     [](auto const& kind, auto const& number) -> std::unique_ptr<Device> {
         return std::make_unique<DlmsMeter>(kind, number);
     }},
    {"vkt7",
     [](auto const&, auto const& number) -> std::unique_ptr<Device> {
         return std::make_unique<Vkt7>(std::atoi(number.c_str()));
     }},
    {"merc", numbered<Mercury>},
    {"milur", numbered<Milur>},
    {"set-4tm", numbered<Set4tm>},
    {"emera", numbered<Emera>},
    {"dcon", numbered<Dcon>},
    {"pulsar", numbered<Pulsar>},
};

}  // namespace

std::unique_ptr<Device> make_device(std::string const& kind, std::string const& number) {
    for (Kind const& row : kinds) {
        if (kind.starts_with(row.beginning)) {
            return row.make(kind, number);
        }
    }
    return nullptr;
}

}  // namespace sim
