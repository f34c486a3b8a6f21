#pragma once

#include <string_view>

namespace watch {

/// A message of the broker, valid while it is handed over.
struct Message {
    std::string_view topic;
    std::string_view payload;
    bool retained = false;  ///< it lay on the broker already
};

}  // namespace watch
