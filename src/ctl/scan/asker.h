#pragma once

#include <functional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ctl/scan/scan_line.h"

namespace scanner {

/// Asks the addresses of a line: a request, one time-out, no second try. What doesn't come as a whole and sound reply
/// to just this request is none: noise, a late answer of somebody else, the request itself.
class Asker {
 public:
    using Bytes = std::vector<unsigned char>;
    using Frame = std::span<unsigned char const>;
    /// All of a frame, and nothing but it, is a reply to the request.
    using Sound = std::function<bool(Frame)>;
    using Address = unsigned long long;

    /// Why nothing more is asked.
    enum class End { none, wanted, echo, gone };

    Asker(ScanLine& line, int timeout_ms, std::function<bool()> wants_end)
        : line_(line), timeout_ms_(timeout_ms), wants_end_(std::move(wants_end)) {}

    /// The reply, empty for none. Behind the end there is none to anything.
    Bytes ask(xCommon::ByteList const& request, Sound const& is_sound);
    /// True once for each: an opening with a password that isn't the device's must not come again, at whatever setting.
    bool may_open(std::string const& protocol, Address address) { return opened_.emplace(protocol, address).second; }

    End end() const { return end_; }
    /// Requests that came back unchanged.
    int echoes() const { return echoes_; }
    /// Requests that were followed by something else than a reply, and the first of that.
    int unclear() const { return unclear_; }
    Bytes const& first_unclear() const { return first_unclear_; }

 private:
    Bytes receive(Sound const& is_sound);
    void look_at_rest(xCommon::ByteList const& request);

    ScanLine& line_;
    int timeout_ms_;
    std::function<bool()> wants_end_;
    Bytes arrived_;
    std::set<std::pair<std::string, Address>> opened_;
    End end_ = End::none;
    int echoes_ = 0;
    int echoes_in_a_row_ = 0;
    int unclear_ = 0;
    Bytes first_unclear_;
};

}  // namespace scanner
