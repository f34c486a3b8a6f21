#pragma once

#include <array>
#include <span>
#include <string>

#include "drivers/dcon/config.h"
#include "foundation/byte_list.h"

namespace dcon {

/// What is wrong with the head of an answer, in the order in which it is looked for.
enum class Fault { none, refused, timeout, wrong_address };
/// The line about each.
inline constexpr std::array<char const*, 4> fault_texts = {"", "неверная команда.", "ответ НЕ получен : timeout.",
                                                           "не совпали slave_id."};

/// Frames of the text protocol. Stateless: bytes in, bytes out.
///
/// Request                                         Answer
///   offset  size  field                             offset  size  field
///     0      1    lead, of the command                0      1    lead; "?" (3F): refused
///     1      2    address, two digits 0 to F          1      2    address; not in an answer to 13 and 21
///     3      l    letter, of the command           1 or 3    d    data
///   3+l      a    argument                            ..    0, 2  checksum, where it is switched on
///     ..    0, 2  checksum, where it is on            ..     1    CR (0D)
///     ..     1    CR (0D)
///
/// cmd  lead  letter  argument                         data of the answer
///   1   %            8: the new configuration         none
///   9   #            1: channel                       5
///  10   $    2       none                             6
///  13   $    6       none                             6, of which the first four are the state
///  15   $    C       1: counter                       none
///  21   @            none                             4
///
/// Checksum: the sum of all bytes ahead of it modulo 256, as two upper-case hexadecimal digits. All the rest is text.
///
/// Channel A of module 1, and an answer "+1.23":
///   23 30 31 41 43 35 0D                              #01AC5
///   3E 30 31 2B 31 2E 32 33 38 45 0D                  >01+1.238E
class pdu {
 public:
    /// Lead of an answer and the two digits of the address.
    static constexpr int head_size = 3;

    /// A request or an answer as it goes over the wire: the text, its checksum where they are on, CR.
    static xCommon::ByteList line(std::string const& text, bool has_checksum);
    /// The checksum as it stands on the wire.
    static std::string calculate_crc(xCommon::ByteList const& bytes);
    /// Appends the frame of a command that reads, and nothing for any other.
    static void get_read_cmd(xCommon::ByteList& out, c_param const* param);
    /// Appends the frame of a command that writes, and nothing for any other. Nothing too, and the text of what is
    /// wrong, for a value of the wrong length; null for all others.
    static char const* get_write_cmd(xCommon::ByteList& out, c_param const* param, std::string const& value);
    /// Bytes ahead of the data of an answer, which are read first.
    static int get_head_size(c_param const* param);
    /// Bytes of data in an answer; -1 for a number that is no command.
    static int get_resp_size(c_param const* param);
    /// What keeps the bytes from being the beginning of an answer to this parameter. An answer to command 1 comes from
    /// `expected_sid`, the address that it sets.
    static Fault check_head(c_param const* param, std::span<unsigned char const> head, std::string const& expected_sid);
    /// The value in the `len` bytes behind the head. Raises an xExceptionf for a state of other than hexadecimal
    /// digits.
    static std::string get_value(c_param const* param, unsigned char const* data, int len);
    /// The bytes up to the first zero: what modules send is text.
    static std::string text_of(std::span<unsigned char const> bytes);
};

}  // namespace dcon
