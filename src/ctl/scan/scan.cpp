#include "ctl/scan/scan.h"

#include <algorithm>
#include <charconv>
#include <ostream>
#include <set>
#include <span>
#include <stdexcept>

#include "ctl/language/phrase.h"
#include "ctl/line/hex.h"
#include "ctl/progress.h"
#include "ctl/text_columns.h"

namespace scanner {

namespace {

using Address = Asker::Address;

/// More than any protocol has, and little memory.
constexpr Address most_addresses = 100'000;

Address number_of(std::string_view text, std::string const& whole) {
    Address number = 0;
    auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size()) {
        throw std::invalid_argument(say("%s: no address and no range of addresses", whole));
    }
    return number;
}

/// Noise may be long.
std::string shown(Asker::Bytes const& bytes) {
    constexpr size_t most = 32;
    std::string const text = hex::text(std::span(bytes).first(std::min(bytes.size(), most)));
    return bytes.size() > most ? text + " ..." : text;
}

/// The columns of what is told at once and of the table, and widths for rows that come one by one.
std::vector<std::string> row_of(Found const& found) {
    return {found.protocol, found.line, std::to_string(found.address), found.device.says};
}

std::vector<int> const widths = {8, 9, 7};

class Scan {
 public:
    Scan(ScanOptions const& options, ScanLine& line, std::ostream& out, std::ostream& notes,
         std::function<bool()> const& wants_end)
        : options_(options),
          line_(line),
          out_(out),
          notes_(notes),
          asker_(line, options.timeout_ms, wants_end),
          settings_(settings_of(options)),
          addresses_(addresses_of(options.addresses)),
          progress_(work()) {}

    ScanResult run() {
        for (xserial::xco const& settings : settings_) {
            if (asker_.end() != Asker::End::none || !open(settings)) {
                break;
            }
            claimed_.clear();
            for (auto const& protocol : protocols_of(settings)) {
                sweep(*protocol, settings);
                if (protocol->is_alone()) {
                    break;
                }
            }
        }
        progress_.hide();
        tell_line();
        return std::move(result_);
    }

 private:
    enum class Control { unknown, silent, refuses, answers };

    Protocols protocols_of(xserial::xco const& settings) const {
        Protocols protocols =
            protocols_for(options_.protocols, !options_.tcp.empty() && !options_.rtu_only, !options_.no_checksum);
        if (settings.bytesize != xserial::bytesize_t::eight) {
            std::erase_if(protocols, [](auto const& protocol) { return !protocol->is_text(); });
        }
        return protocols;
    }
    std::vector<Address> addresses_of_protocol(Protocol const& protocol) const {
        std::vector<Address> result;
        std::copy_if(addresses_.begin(), addresses_.end(), std::back_inserter(result), [&protocol](Address address) {
            return address >= protocol.least_address() && address <= protocol.most_address();
        });
        return result;
    }
    size_t work() const {
        size_t requests = 0;
        for (xserial::xco const& settings : settings_) {
            for (auto const& protocol : protocols_of(settings)) {
                requests += addresses_of_protocol(*protocol).size();
            }
        }
        return requests;
    }

    /// Behind the first time the daemon may have come between.
    bool open(xserial::xco const& settings) {
        try {
            line_.open(settings);
            return true;
        } catch (std::exception const& e) {
            if (&settings == &settings_.front()) {
                throw;
            }
            note(say("the line can't be opened any more: %s", e.what()));
            result_.is_whole = false;
            return false;
        }
    }

    void sweep(Protocol& protocol, xserial::xco const& settings) {
        Control control = Control::unknown;
        std::vector<Address> const addresses = addresses_of_protocol(protocol);
        size_t const end = done_ + addresses.size();
        for (Address const address : addresses) {
            if (asker_.end() != Asker::End::none || control == Control::answers) {
                break;
            }
            progress_.show(done_++, line_.name() + "  " + protocol.word() + " " + std::to_string(address));
            if (protocol.is_text() || !claimed_.contains(address)) {
                look_at(protocol, settings, address, control);
            }
        }
        done_ = end;
    }

    void look_at(Protocol& protocol, xserial::xco const& settings, Address address, Control& control) {
        Asker::Bytes const reply = protocol.first(asker_, address);
        if (reply.empty()) {
            return;
        }
        if (control == Control::refuses && protocol.refusal(reply) == nobody_code_) {
            return;
        }
        auto device = protocol.identify(asker_, address, reply);
        if (!device) {
            return;
        }
        if (control == Control::unknown) {
            control = control_of(protocol);
            tell_control(protocol, control);
            if (control == Control::refuses && protocol.refusal(reply) == nobody_code_) {
                return;
            }
        }
        if (std::string const name = protocol.name(asker_, address); !name.empty()) {
            device->says = name + "; " + device->says;
        }
        enter({protocol.word(), address, line_.name(), settings, std::move(*device)});
        if (!protocol.is_text()) {
            claimed_.insert(address);
        }
    }

    void tell_control(Protocol const& protocol, Control control) {
        if (control == Control::refuses) {
            note(say("%s: each address refuses with code %d, as of a gateway that finds nobody", protocol.word(),
                     nobody_code_.value_or(0)));
        } else if (control == Control::answers) {
            note(say("%s: each address answers, also those that nobody has; told once", protocol.word()));
        }
    }

    /// A gateway, or something that isn't a device at all, answers where nobody can be.
    Control control_of(Protocol& protocol) {
        for (Address const address : protocol.nobody()) {
            Asker::Bytes const reply = protocol.first(asker_, address);
            if (reply.empty()) {
                return Control::silent;
            }
            nobody_code_ = protocol.refusal(reply);
        }
        return nobody_code_ ? Control::refuses : Control::answers;
    }

    /// A pseudo-terminal has no parity, and an adapter of USB alone no speed: the same device answers at several.
    void enter(Found found) {
        auto const is_same = [&found](Found const& other) {
            return other.protocol == found.protocol && other.address == found.address;
        };
        progress_.hide();
        out_ << columns::table({row_of(found)}, widths) << std::flush;
        if (std::none_of(result_.found.begin(), result_.found.end(), is_same)) {
            result_.found.push_back(std::move(found));
        }
    }

    void note(std::string const& text) {
        progress_.hide();
        notes_ << text << "\n" << std::flush;
    }

    void tell_line() {
        switch (asker_.end()) {
            case Asker::End::wanted:
                note(say("ended ahead of time"));
                break;
            case Asker::End::echo:
                note(say(
                    "each request comes back: the line or its adapter echoes what is sent; nothing can be read so"));
                result_.is_whole = false;
                break;
            case Asker::End::gone:
                note(say("the line is gone"));
                result_.is_whole = false;
                break;
            default:
                break;
        }
        if (asker_.unclear() > 0) {
            note(
                say("requests followed by what is no answer to them: %d; noise, other settings, another protocol, "
                    "or answers behind the time-out. The first: %s",
                    asker_.unclear(), shown(asker_.first_unclear())));
        }
        bool const has_mercury = std::any_of(result_.found.begin(), result_.found.end(),
                                             [](Found const& found) { return found.protocol == "mercury"; });
        if (asker_.echoes() > 0 && asker_.end() != Asker::End::echo && !has_mercury) {
            note(say("requests that came back unchanged: %d; a Mercury answers the link test so", asker_.echoes()));
        }
    }

    ScanOptions const& options_;
    ScanLine& line_;
    std::ostream& out_;
    std::ostream& notes_;
    Asker asker_;
    std::vector<xserial::xco> settings_;
    std::vector<Address> addresses_;
    Progress progress_;
    size_t done_ = 0;
    /// Addresses of binary protocols where somebody was found at the settings in force.
    std::set<Address> claimed_;
    std::optional<int> nobody_code_;
    ScanResult result_;
};

}  // namespace

std::vector<Address> addresses_of(std::vector<std::string> const& ranges) {
    std::set<Address> result;
    for (std::string const& range : ranges) {
        size_t const dash = range.find('-');
        Address const first = number_of(std::string_view(range).substr(0, dash), range);
        Address const last =
            dash == std::string::npos ? first : number_of(std::string_view(range).substr(dash + 1), range);
        if (last < first || last - first >= most_addresses || result.size() + (last - first) >= most_addresses) {
            throw std::invalid_argument(say("%s: no address and no range of addresses", range));
        }
        for (Address address = first; address <= last; ++address) {
            result.insert(address);
        }
    }
    return {result.begin(), result.end()};
}

std::vector<xserial::xco> settings_of(ScanOptions const& options) {
    if (!options.tcp.empty()) {
        return {{}};
    }
    std::vector<xserial::xco> result;
    for (unsigned int const baudrate : options.baudrates) {
        for (std::string const& parity : options.parities) {
            for (int const bytesize : options.bytesizes) {
                for (double const stopbits : options.stopbits) {
                    Json::Value node;
                    node["rs"]["path"] = options.tty;
                    node["rs"]["baudrate"] = baudrate;
                    node["rs"]["parity"] = parity;
                    node["rs"]["bytesize"] = bytesize;
                    node["rs"]["stopbits"] = stopbits;
                    result.emplace_back(node);
                }
            }
        }
    }
    return result;
}

ScanResult scan(ScanOptions const& options, ScanLine& line, std::ostream& out, std::ostream& notes,
                std::function<bool()> const& wants_end) {
    return Scan(options, line, out, notes, wants_end).run();
}

std::string table_of(std::vector<Found> const& found) {
    columns::Rows rows = {{say("protocol"), say("line"), say("address"), say("what it says")}};
    for (Found const& entry : found) {
        rows.push_back(row_of(entry));
    }
    return columns::table(rows);
}

}  // namespace scanner
