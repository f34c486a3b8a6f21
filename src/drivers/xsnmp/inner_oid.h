#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "drivers/xsnmp/library.h"

namespace xsnmp {

/// An object id as the library wants it.
struct inner_oid {
    /// `name` is who asks, for the text of the xExceptionf that a text is refused with: an empty one, one that isn't
    /// wholly an object id, and one with a number that doesn't go into a request.
    inner_oid(std::string const& name, std::string const& text);

    size_t length;
    std::array<oid, MAX_OID_LEN> ids = {};
};

}  // namespace xsnmp
