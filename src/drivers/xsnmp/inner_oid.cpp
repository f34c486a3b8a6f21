#include "drivers/xsnmp/inner_oid.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>

#include "foundation/xexception.h"
#include "foundation/xstring.h"

namespace xsnmp {

namespace {

bool parse(std::string const& text, inner_oid& result) {
    // Behind a quote that isn't closed the library reads on, and behind a zero it doesn't read.
    if (text.find_first_of(std::string("\"'\0", 3)) != std::string::npos) {
        return false;
    }
    std::lock_guard const lock(library::data);
    bool const understood = text.front() == '.'
                                ? snmp_parse_oid(text.c_str(), result.ids.data(), &result.length) != nullptr
                                : read_objid(text.c_str(), result.ids.data(), &result.length) != 0;
    if (!understood) {
        library::forget_error_detail();
    }
    // One number for each piece of the text: what the library doesn't know it takes for a pattern in the end.
    return understood && result.length == xCommon::xString::Split(text, ".").size();
}

/// Of others something else would be asked for, or nothing: a request has 32 bits for a number, and one number for the
/// first two.
bool fits_request(std::span<oid const> ids) {
    if (ids.size() < 2 || ids[0] > 2 || (ids[0] < 2 && ids[1] >= 40)) {
        return false;
    }
    return std::all_of(ids.begin(), ids.end(), [](oid id) { return id <= std::numeric_limits<uint32_t>::max(); });
}

}  // namespace

inner_oid::inner_oid(std::string const& name, std::string const& text) : length(MAX_OID_LEN) {
    if (text.empty()) {
        throw xCommon::xExceptionf("#%s : inner_oid::ctor : 'oid'не может быть пустым : %s.", name, text);
    }
    if (!parse(text, *this) || !fits_request({ids.data(), length})) {
        throw xCommon::xExceptionf("#%s : inner_oid::ctor : ошибка парсинга oid : %s.", name, text);
    }
}

}  // namespace xsnmp
