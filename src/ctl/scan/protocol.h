#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "ctl/scan/asker.h"

namespace scanner {

/// What a protocol is asked by, and what the answers prove. The frames are the drivers' own.
///
/// The first request to an unknown address changes nothing, neither in a device of its own protocol nor in one of any
/// other that shares the line. Openings of a session follow only an answer to it. As others hear it (AA: the address;
/// the binary ones with the same CRC behind them):
///
/// request                  | Modbus        | Mercury        | Milur         | SET-4TM     | VKT-7
/// -------------------------+---------------+----------------+---------------+-------------+---------------
/// modbus   AA 04 0000 0001 | (own) read    | read of times, | no function   | no function | no function
///                          |               | no channel     |               |             |
/// set-4tm  AA 00           | no function   | link test      | no function   | (own) test  | no function
/// mercury  AA 00           | no function   | (own) test     | no function   | link test   | no function
/// milur    AA 01 obj       | read, 3 bytes | opening, 8     | (own) read    | read        | no function
///                          | short         | bytes short    |               |             |
/// vkt-7    AA 03 3FFE 0000 | read of 0     | write: refused | no function,  | no function | (own) read
///                          | registers:    | without an     | no session    |             |
///                          | refused       | open channel   |               |             |
/// dcon     $AA2 sum CR     | the CRC never fits: looked through for all addresses in the tests
/// emera    /?AA! .. bcc    | the same
///
/// DCON modules take what begins with one of "$#%@~" and two digits, Emera meters what begins with "/?": no binary
/// frame does, as its second byte is a function. Why not otherwise:
/// - Modbus by function 3 is "write a parameter" to a Mercury; by function 1 the opening of its channel.
/// - Mercury by function 5 is "write a coil" to a Modbus slave that doesn't look at the length; by function 8 the
///   opening of a session of Milur and SET-4TM.
/// - VKT-7 has reads by function 3 only, and so is never asked unless it is named; its opening, function 10, writes no
///   register to a Modbus slave: the count is 0.
/// Ahead of Modbus come those whose devices refuse an unknown function as a Modbus slave does; ahead of all, the text
/// protocols: a module waits for the end of a line, and would take a binary frame for its beginning.
class Protocol {
 public:
    using Bytes = Asker::Bytes;
    using Address = Asker::Address;

    /// What a device says of itself, and what of it goes into a configuration: type, address, a parameter that it has.
    struct Device {
        std::string says;
        Json::Value node;
    };

    Protocol() = default;
    virtual ~Protocol() = default;
    Protocol(Protocol const&) = delete;
    Protocol& operator=(Protocol const&) = delete;

    /// As on the command line.
    virtual std::string word() const = 0;
    virtual Address least_address() const { return 1; }
    virtual Address most_address() const { return 247; }
    /// Nobody has these.
    virtual std::array<Address, 2> nobody() const = 0;
    /// Seven bits are enough, and nobody of the others shares its addresses.
    virtual bool is_text() const { return false; }

    /// The reply to the first request; empty where there is nobody.
    virtual Bytes first(Asker& asker, Address address) = 0;
    /// Behind a first reply. None where that, looked at closely, was somebody else's.
    virtual std::optional<Device> identify(Asker& asker, Address address, Bytes const& reply) = 0;

    /// What a device that was identified calls itself; empty for nothing. Not every device takes the question well.
    virtual std::string name(Asker& /*asker*/, Address /*address*/) { return {}; }

    /// The code, if the first reply is a refusal.
    virtual std::optional<int> refusal(Bytes const& /*reply*/) const { return {}; }
    /// What was heard rules every other protocol out on this line.
    virtual bool is_alone() const { return false; }
};

using Protocols = std::vector<std::unique_ptr<Protocol>>;

/// Those of which a session has to be opened to learn more; `all` leaves them out.
bool opens_session(std::string const& word);
/// The words of the command line, without "all".
std::vector<std::string> protocol_words();
/// Of those words, "all" among them, in the order in which they have to be asked. `has_modbus_tcp` adds that framing to
/// "modbus", `checksums` tells whether DCON modules are asked with them.
Protocols protocols_for(std::vector<std::string> const& words, bool has_modbus_tcp, bool checksums);

}  // namespace scanner
