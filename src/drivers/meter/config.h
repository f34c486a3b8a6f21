#pragma once

#include "config/cport.h"

namespace meter {

/// Configuration of a meter. The family's constructor loads the parameters.
using c_dev = CAddressDev;

}  // namespace meter
