#pragma once

#include <string>

#include "drivers/xdlms/cad.h"
#include "drivers/xdlms/reply.h"

namespace xdlms {

/// Requests and responses of the application layer (IEC 62056-5-3). Of its services the get, set and action requests
/// without selective access and block transfer are spoken.
///
///   get     C0 01 C1  class(2) logical name(6) attribute(1)  00
///   set     C1 01 C1  class(2) logical name(6) attribute(1)  00  tag, value
///   action  C3 01 C1  class(2) logical name(6) method(1)     00 00 00
///   answer  C4 01 C1 00 tag, value | C5 01 C1 result | C7 01 C1 result
class pdu {
 public:
    static void get(xCommon::ByteList& out, cad const& ad);
    /// `data` has its tag ahead; empty data appends nothing at all.
    static void set(xCommon::ByteList& out, cad const& ad, xCommon::ByteList const& data);
    static void action(xCommon::ByteList& out, cad const& ad);
    /// A whole response of `len` bytes. What is refused is told in the log.
    static dlms_reply parse(unsigned char const* buf, int len);
    /// The text of the data item at `pos` of `len` bytes, and `pos` behind it; empty for what has no text or isn't all
    /// there. An array or structure is its items' texts, each with "#a#" or "#s#" ahead, and one such mark behind the
    /// last; an item without text ends it without that mark.
    static std::string parse_item(unsigned char const* buf, int len, int& pos);
};

}  // namespace xdlms
