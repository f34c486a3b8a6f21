#pragma once

#include "drivers/pulsartcp/handlers.h"

/// The parameters of a pulse counter.
namespace pulsartcp::pulse_counter {

void register_pulse_counter_handlers(Handlers& map);

}  // namespace pulsartcp::pulse_counter
