#include "ctl/scan/protocol.h"

#include <algorithm>

#include "ctl/scan/meters.h"
#include "ctl/scan/modbus.h"
#include "ctl/scan/text_protocols.h"

namespace scanner {

namespace {

struct Row {
    char const* word;
    bool opens_session;
    std::unique_ptr<Protocol> (*make)();
};

/// In the order in which they are asked, see Protocol.
constexpr Row rows[] = {
    {"dcon", false, [] { return scan_dcon(true); }},
    {"emera", false, scan_emera},
    {"set-4tm", false, scan_set4tm},
    {"mercury", true, scan_mercury},
    {"milur", true, scan_milur},
    {"vkt-7", true, scan_vkt7},
    {"modbus", false, scan_modbus_rtu},
};

}  // namespace

std::vector<std::string> protocol_words() {
    std::vector<std::string> words;
    for (Row const& row : rows) {
        words.emplace_back(row.word);
    }
    return words;
}

bool opens_session(std::string const& word) {
    return std::any_of(std::begin(rows), std::end(rows),
                       [&word](Row const& row) { return row.word == word && row.opens_session; });
}

Protocols protocols_for(std::vector<std::string> const& words, bool has_modbus_tcp, bool checksums) {
    auto const has = [&words](std::string const& word) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    Protocols result;
    if (has_modbus_tcp && (has("modbus") || has("all"))) {
        result.push_back(scan_modbus_tcp());
    }
    for (Row const& row : rows) {
        if (has(row.word) || (has("all") && !row.opens_session)) {
            bool const is_plain = row.word == std::string("dcon") && !checksums;
            result.push_back(is_plain ? scan_dcon(false) : row.make());
        }
    }
    return result;
}

}  // namespace scanner
