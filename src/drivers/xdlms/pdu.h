#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/xdlms/config.h"

namespace xdlms {

/// What every layer's parser and every exchange gives.
struct dlms_reply {
    bool ok = false;      ///< the layer accepted the data
    bool crc_ok = false;  ///< the CRC matched; set by mac_sel and mac_frame alone
    std::string value;    ///< the decoded text; set by pdu alone
    int32_t size = 0;     ///< wpdu: length of its data; mac_sel: its size field
    uint16_t flags = 0;   ///< mac_sel: low byte of its control word
    uint8_t seq = 0;      ///< mac_sel: packet number, 0 to 15
    /// What is wrong, for the dialogue to tell. More than one where an inner list ends early and the outer one goes on.
    std::vector<std::string> faults;
};

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
    /// A whole response of `len` bytes.
    static dlms_reply parse(unsigned char const* buf, int len);
    /// The text of the data item at `pos` of `len` bytes, and `pos` behind it; empty for what has no text or isn't all
    /// there. An array or structure is its items' texts, each with "#a#" or "#s#" ahead, and one such mark behind the
    /// last; an item without text ends it without that mark.
    static std::string parse_item(unsigned char const* buf, int len, int& pos, std::vector<std::string>& faults);
};

/// The wrapper of the transport layer (IEC 62056-47), all fields big endian:
///   offset  size  field
///     0      2    version, 0x0001
///     2      2    address of the sender
///     4      2    address of the receiver
///     6      2    length n of the data
///     8      n    data
class wpdu {
 public:
    static constexpr int head_size = 8;
    static constexpr int length_position = 6;

    static void wrap(xCommon::ByteList& out, uint16_t src, uint16_t dst, xCommon::ByteList const& data);
    /// Reads the head of an answer at `pos`, of which all 8 bytes are there, and leaves `pos` behind it. `ok` if it
    /// comes from `dst`; its receiver isn't compared with `src`. `size` counts in any case, so that the data of an
    /// answer that is refused can be read off the line.
    static dlms_reply parse(unsigned char const* buf, int& pos, uint16_t src, uint16_t dst);
};

}  // namespace xdlms
