#pragma once

#include <string>

#include "ctl/simulate/bytes.h"
#include "ctl/simulate/course.h"

/// What the parameters of Pulsar meters look like.
namespace sim::pulsar {

enum class Form {
    u8,
    i8,
    u16,
    i16,
    u32,
    f32,
    yes_no,
    region,    ///< 0 or 1
    band,      ///< 1 to 3
    status,    ///< bits, mostly one of the twelve
    version,   ///< three numbers of 2 bytes, two of one
    radio_id,  ///< 8 bytes
    triple,    ///< 4 bytes, of which three count
    link,      ///< 8 bytes: two counters ahead
    state,     ///< 8 bytes: from the third on
    counter,   ///< 4, 2, 1, 1 bytes
    clock,
    none
};

/// none for a parameter that meters of that kind don't have.
Form form_of(std::string const& kind, unsigned char function, unsigned int number);
Carrier carrier_of(Form form);
Bytes payload(Form form, double raw, double seconds);

}  // namespace sim::pulsar
