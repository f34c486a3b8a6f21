#include "ctl/topics/writing.h"

#include "drivers/dcon/config.h"
#include "drivers/modbus/pdu.h"
#include "drivers/vkt7rtu/config.h"
#include "drivers/xdlms/config.h"

namespace {

constexpr Phrase no_type = "false, but this value_type can't be written";

/// Of a write, ahead of the value and with it.
bool has_image(xdlms::dparam const& param) {
    xCommon::ByteList item;
    param.set_data(item, "1");
    return item.size() > 1;
}

}  // namespace

std::optional<Phrase> why_not_written(CParam const& param) {
    if (dynamic_cast<vkt7rtu::c_dev const*>(param.parent) != nullptr) {
        return Phrase("false, but the calculator takes no writes");
    }
    if (auto const* const reg = dynamic_cast<modbus::c_param const*>(&param)) {
        if (raises([&] { static_cast<void>(modbus::pdu::getWriteFunCode(reg)); })) {
            return Phrase("false, but inputs can't be written");
        }
        xCommon::ByteList image;
        return raises([&] { reg->GetValueFromString(image, "1"); }) ? std::optional(no_type) : std::nullopt;
    }
    if (auto const* const command = dynamic_cast<dcon::c_param const*>(&param)) {
        bool const writes = command->cmd == dcon::cmd_configure || command->cmd == dcon::cmd_clear_counter;
        return writes ? std::nullopt : std::optional(Phrase("false: it is neither read nor written so"));
    }
    auto const* const object = dynamic_cast<xdlms::dparam const*>(&param);
    return object == nullptr || has_image(*object) ? std::nullopt : std::optional(no_type);
}
