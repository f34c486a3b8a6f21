#include "ctl/scan/text_protocols.h"

#include <algorithm>
#include <cctype>

#include "ctl/language/phrase.h"
#include "drivers/dcon/pdu.h"
#include "drivers/emera/pdu.h"

namespace scanner {

namespace {

using xCommon::ByteList;
using xCommon::xString;
using Bytes = Protocol::Bytes;
using Frame = Asker::Frame;

bool is_printable(std::string const& text) {
    return std::all_of(text.begin(), text.end(), [](char symbol) { return symbol >= ' ' && symbol <= '~'; });
}

class Dcon : public Protocol {
    using pdu = dcon::pdu;

 public:
    explicit Dcon(bool has_checksum) : has_checksum_(has_checksum) {}

    std::string word() const override { return "dcon"; }
    Address least_address() const override { return 0; }
    Address most_address() const override { return 255; }
    std::array<Address, 2> nobody() const override { return {0xFD, 0xFB}; }
    bool is_text() const override { return true; }

    Bytes first(Asker& asker, Address address) override {
        return ask(asker, address, configuration, has_checksum_, [&](Frame frame) {
            return is_configuration(frame, address, has_checksum_) || is_refusal(frame, address);
        });
    }
    std::optional<Device> identify(Asker& asker, Address address, Bytes const& reply) override {
        bool has_checksum = has_checksum_;
        Bytes answer = reply;
        if (is_refusal(answer, address)) {
            has_checksum = false;
            answer = ask(asker, address, configuration, has_checksum,
                         [address](Frame frame) { return is_configuration(frame, address, false); });
        }
        if (answer.empty()) {
            return {};
        }
        Json::Value node;
        node["type"] = "dcon";
        node["sid"] = static_cast<int>(address);
        node["crc_enabled"] = has_checksum;
        Json::Value& param = node["params"].append(Json::objectValue);
        param["name"] = "setup";
        param["type"] = "dcon";
        param["cmd"] = static_cast<int>(dcon::cmd_read_configuration);
        std::string const own_name = name_of(asker, address, has_checksum);
        return Device{
            (own_name.empty() ? "" : own_name + "; ") + say("configuration %s", data_of(answer, has_checksum)), node};
    }

 private:
    static constexpr char configuration = '2';
    static constexpr char name = 'M';
    static constexpr size_t configuration_size = 6;

    static std::string head(char lead, Address address) {
        return xString::Format("%c%02X", lead, static_cast<unsigned int>(address));
    }
    static Bytes ask(Asker& asker, Address address, char letter, bool has_checksum, Asker::Sound const& is_sound) {
        return asker.ask(pdu::line(head('$', address) + letter, has_checksum), is_sound);
    }
    /// What stands behind the head of an answer.
    static std::string data_of(Frame frame, bool has_checksum) {
        size_t const tail = has_checksum ? 3 : 1;
        size_t const size = frame.size() - std::min<size_t>(frame.size(), tail);
        std::string const text(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size));
        return text.substr(std::min<size_t>(text.size(), pdu::head_size));
    }
    /// With nothing but text between its head and its end.
    static bool is_answer(Frame frame, Address address, bool has_checksum) {
        std::string const data = data_of(frame, has_checksum);
        ByteList const line = pdu::line(head('!', address) + data, has_checksum);
        return is_printable(data) && frame.size() == line.size() && line.compare(frame.data());
    }
    static bool is_configuration(Frame frame, Address address, bool has_checksum) {
        std::string const data = data_of(frame, has_checksum);
        return is_answer(frame, address, has_checksum) && data.size() == configuration_size &&
               std::all_of(data.begin(), data.end(),
                           [](char digit) { return std::isxdigit(static_cast<unsigned char>(digit)) != 0; });
    }
    static bool is_refusal(Frame frame, Address address) {
        auto const is_line = [&](bool has_checksum) {
            ByteList const line = pdu::line(head(dcon::c_param::refusal, address), has_checksum);
            return frame.size() == line.size() && line.compare(frame.data());
        };
        return is_line(true) || is_line(false);
    }
    static std::string name_of(Asker& asker, Address address, bool has_checksum) {
        Bytes const answer = ask(asker, address, name, has_checksum, [=](Frame frame) {
            return is_answer(frame, address, has_checksum) || is_refusal(frame, address);
        });
        return answer.empty() || is_refusal(answer, address) ? std::string() : data_of(answer, has_checksum);
    }

    bool has_checksum_;
};

class Emera : public Protocol {
    using pdu = emera::epdu;

 public:
    std::string word() const override { return "emera"; }
    Address most_address() const override { return 999'999'999'999; }
    std::array<Address, 2> nobody() const override { return {987'654'321'987, 987'654'321'986}; }
    bool is_text() const override { return true; }

    Bytes first(Asker& asker, Address address) override {
        ByteList request;
        pdu::wrap(request, std::to_string(address), energies);
        return asker.ask(request, is_answer);
    }
    std::optional<Device> identify(Asker& /*asker*/, Address address, Bytes const& reply) override {
        Json::Value node;
        node["type"] = "emera";
        node["sid"] = std::to_string(address);
        Json::Value& param = node["params"].append(Json::objectValue);
        param["name"] = "energy";
        param["cmd"] = energies;
        param["unit"] = "kWh";
        return Device{text_of(reply), node};
    }

 private:
    static constexpr char energies[] = "ET0PE()";
    /// Its name, and the bracket of an error in its place.
    static constexpr char value[] = "ET0PE(";
    static constexpr char error[] = "(E";

    static std::string text_of(Frame frame) {
        auto const begin = frame.begin() + (!frame.empty() && frame[0] == pdu::stx ? 1 : 0);
        return {begin, std::find(begin, frame.end(), pdu::etx)};
    }
    /// The sum behind it has seven bits alone, and a refusal is one byte: only the text proves the meter.
    static bool is_answer(Frame frame) {
        std::string const text = text_of(frame);
        bool const is_named = text.starts_with(value) || text.starts_with(error);
        return is_named && text.ends_with(')') && is_printable(text) && pdu::is_whole(frame);
    }
};

}  // namespace

std::unique_ptr<Protocol> scan_dcon(bool has_checksum) {
    return std::make_unique<Dcon>(has_checksum);
}

std::unique_ptr<Protocol> scan_emera() {
    return std::make_unique<Emera>();
}

}  // namespace scanner
