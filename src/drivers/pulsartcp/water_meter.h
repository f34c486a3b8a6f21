#pragma once

#include "drivers/pulsartcp/handlers.h"

/// The parameters of a water meter.
namespace pulsartcp::water_meter {

void register_water_meter_handlers(Handlers& map);

}  // namespace pulsartcp::water_meter
