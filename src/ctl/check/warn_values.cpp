#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <map>

#include "ctl/check/key_rows.h"
#include "ctl/check/warnings.h"
#include "ctl/json_text.h"
#include "drivers/merc_2xx/config.h"
#include "drivers/milur/config.h"
#include "drivers/modbus/config.h"
#include "drivers/vkt7rtu/config.h"
#include "drivers/xdlms/config.h"
#include "drivers/xsnmp/config.h"
#include "drivers/xsnmp/inner_oid.h"
#include "foundation/duk_helper.h"
#include "foundation/jutils.h"
#include "topics/writing.h"

using xCommon::jUtils;
using xCommon::xString;

namespace {

/// As Utils::jToInt() reads it, but in whole.
bool is_number(std::string const& text) {
    char* end = nullptr;
    std::strtol(text.c_str(), &end, text.find("0x") != std::string::npos ? 16 : 10);
    return !text.empty() && *end == '\0';
}

bool key_is(keys::Key const& key, std::string_view name) {
    return key.name == name;
}

bool is_bit_kind(modbus::c_param const& param) {
    return param.reg_type == modbus::reg_coil || param.reg_type == modbus::reg_status;
}

/// In the order of Unwritable.
constexpr std::array<Phrase, 5> unwritable_texts = {
    "false, but there is nothing that takes a write", "false, but the calculator takes no writes",
    "false, but inputs can't be written", "false, but this value_type can't be written",
    "false: it is neither read nor written so"};

class ValueLook {
 public:
    explicit ValueLook(WarningContext const& context) : context_(context) {
        for (TopicRow const& row : context.topics) {
            if (!row.on_topic.empty()) {
                written_.insert(row.node);
            }
        }
    }

    void look() {
        context_.each_device([this](CBase const& port, CBase const& device) {
            // In the connection shape the address of a device on TCP holds its host too, and is split ahead.
            is_split_ = port.type == "base.tcp";
            look_at_numbers(device);
            for (auto const& child : device.children) {
                auto const* const param = dynamic_cast<CParam const*>(child.get());
                if (param != nullptr && param->enabled && context_.foreign.contains(param)) {
                    look_at_foreign(*param);
                } else if (param != nullptr && param->enabled) {
                    look_at_numbers(*param);
                    look_at_pattern(*param);
                    look_at_kind(*param);
                    look_at_type(*param);
                    look_at_writing(*param);
                    look_at_object_id(*param);
                }
            }
        });
    }

 private:
    void look_at_foreign(CParam const& param) {
        Json::Value const& json = context_.loading.element(context_.loading.place_of(&param));
        context_.add(warn::foreign, param, "type",
                     jUtils::has(json, "type")
                         ? say("of another driver: the device never asks for the parameter")
                         : say("is missing: without it the parameter is one of Modbus, and never asked for"));
    }

    void look_at_numbers(CBase const& node) {
        for (Loading::Element const* const element : context_.loading.all_of(&node)) {
            Json::Value const& json = context_.loading.element(element->place);
            for (auto const& table : key_rows::tables(element->class_key)) {
                for (keys::Key const& row : table) {
                    Json::Value const& value = jUtils::at(json, row.name);
                    bool const is_split = is_split_ && json.isMember("cname") && key_is(row, "sid");
                    if (row.value.type == keys::Type::number_or_text && value.isString() && !is_split &&
                        !is_number(value.asString())) {
                        context_.add(
                            warn::number, element->place, row.name,
                            say("%s is no number: 0 is taken, or what the text begins with", key_rows::shown(value)));
                    }
                }
            }
        }
    }

    void look_at_pattern(CParam const& param) {
        bool const has_small = std::any_of(param.error_value.begin(), param.error_value.end(),
                                           [](unsigned char symbol) { return std::islower(symbol) != 0; });
        if (param.has_error_value && has_small) {
            context_.add(warn::error_value, param, "error_value",
                         say("%s never matches: its digits have to be upper-case letters",
                             "\"" + xString::Shown(param.error_value) + "\""));
        }
    }

    void look_at_kind(CParam const& param) {
        auto const* const reg = dynamic_cast<modbus::c_register const*>(&param);
        for (Loading::Element const* const element : context_.loading.all_of(&param)) {
            Json::Value const& kind = jUtils::at(context_.loading.element(element->place), "reg_type");
            if (reg != nullptr && kind.isString() && !reg->knows_kind(kind.asString())) {
                context_.add(warn::register_kind, element->place, "reg_type",
                             say("%s is no kind of register: holding is taken", key_rows::shown(kind)));
            }
        }
    }

    void look_at_type(CParam const& param) {
        std::array<unsigned char, 32> const zeros{};
        int const size = static_cast<int>(zeros.size());
        if (auto const* const modbus_param = dynamic_cast<modbus::c_param const*>(&param)) {
            look_at_register(*modbus_param);
        } else if (auto const* const milur_param = dynamic_cast<milur::c_param const*>(&param)) {
            refuse_type(param, raises([&] { milur_param->getValueFromBuf(zeros.data(), size); }));
        } else if (auto const* const mercury = dynamic_cast<merc_2xx::c_param const*>(&param)) {
            refuse_type(param, raises([&] { mercury->getValueFromBuf(zeros.data(), size); }));
        }
    }

    /// A type that the driver can't read, or none.
    void refuse_type(CParam const& param, bool is_wrong) {
        if (param.value_type == vt_none) {
            context_.add(warn::value_type, param, "value_type", say("is missing: the parameter can't be read"));
        } else if (is_wrong) {
            context_.add(warn::value_type, param, "value_type", say("can't be read with this driver or register kind"));
        }
    }

    void look_at_register(modbus::c_param const& param) {
        if (dynamic_cast<vkt7rtu::c_dev const*>(param.parent) != nullptr) {
            return;  // its own table tells how a register is read
        }
        bool const is_whole = param.parent != nullptr && param.parent->all_params;
        if (is_whole && param.has_bits()) {
            context_.add(warn::whole_bits, param, "bh_list",
                         say("bits can't be in a device with all_params: the process restarts at each poll"));
        }
        if (is_whole && is_bit_kind(param)) {
            return;  // cut out of the answer bit by bit
        }
        look_at_register_type(param);
        for (auto const& [key, expression] :
             {std::pair("converter_read", param.converter_read), std::pair("converter_write", param.converter_write)}) {
            look_at_expression(param, key, expression);
        }
    }

    void look_at_register_type(modbus::c_param const& param) {
        std::array<unsigned char, 8> const zeros{};
        bool const is_bit = param.value_type == vt_bit;
        if (param.value_type != vt_none && is_bit != is_bit_kind(param)) {
            context_.add(warn::value_type, param, "value_type",
                         is_bit ? say("a register carries no bit: that is for coil and status")
                                : say("a coil or status carries nothing but a bit"));
            return;
        }
        refuse_type(param, raises([&] { static_cast<void>(param.GetValueFromBuffer(zeros.data(), 8)); }));
    }

    void look_at_expression(CParam const& param, char const* key, std::string const& expression) {
        auto const [fault, is_new] = expression_faults_.try_emplace(expression);
        if (is_new && !expression.empty()) {
            try {
                xCommon::dukHelper engine;
                engine.add_param("text", expression);
                engine.show("new Function(text); ''");
            } catch (std::exception const& e) {
                fault->second = e.what();
            }
        }
        if (!fault->second.empty()) {
            context_.add(warn::expression, param, key, say("doesn't compile: %s", fault->second));
        }
    }

    void look_at_writing(CParam const& param) {
        if (!param.read_only && !written_.contains(&param)) {
            auto const reason = static_cast<size_t>(why_not_written(param));
            context_.add(warn::not_written, param, "read_only", say(unwritable_texts.at(reason)));
        }
    }

    void look_at_object_id(CParam const& param) {
        if (auto const* const agent_param = dynamic_cast<xsnmp::sparam const*>(&param)) {
            if (raises([&] { xsnmp::inner_oid const id(param.name, agent_param->oid); })) {
                context_.add(warn::object_id, param, "oid", say("can't be translated: the parameter is never asked"));
            }
        } else if (dynamic_cast<xdlms::dparam const*>(&param) != nullptr) {
            for (Loading::Element const* const element : context_.loading.all_of(&param)) {
                look_at_pieces(*element);
            }
        }
    }

    void look_at_pieces(Loading::Element const& element) {
        std::string const text = text_at(context_.loading.element(element.place), "object_id");
        for (std::string const& piece : xString::Split(text, ".")) {
            char* end = nullptr;
            long const number = std::strtol(piece.c_str(), &end, 10);
            if (*end != '\0' || number < 0 || number > 255) {
                context_.add(warn::object_id, element.place, "object_id",
                             say("%s is no number from 0 to 255", "\"" + xString::Shown(piece) + "\""));
            }
        }
    }

    WarningContext const& context_;
    bool is_split_ = false;
    std::set<CBase const*> written_;
    std::map<std::string, std::string> expression_faults_;
};

}  // namespace

void look_at_values(WarningContext const& context) {
    ValueLook(context).look();
}
