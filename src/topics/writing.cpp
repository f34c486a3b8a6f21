#include "topics/writing.h"

#include "drivers/dcon/config.h"
#include "drivers/modbus/pdu.h"
#include "drivers/vkt7rtu/config.h"
#include "drivers/xdlms/config.h"

namespace {

/// Of a write, ahead of the value and with it.
bool has_image(xdlms::dparam const& param) {
    xCommon::ByteList item;
    param.set_data(item, "1");
    return item.size() > 1;
}

}  // namespace

Unwritable why_not_written(CParam const& param) {
    if (dynamic_cast<vkt7rtu::c_dev const*>(param.parent) != nullptr) {
        return Unwritable::calculator;
    }
    if (auto const* const reg = dynamic_cast<modbus::c_param const*>(&param)) {
        if (raises([&] { static_cast<void>(modbus::pdu::getWriteFunCode(reg)); })) {
            return Unwritable::input;
        }
        xCommon::ByteList image;
        return raises([&] { reg->GetValueFromString(image, "1"); }) ? Unwritable::type : Unwritable::no;
    }
    if (auto const* const command = dynamic_cast<dcon::c_param const*>(&param)) {
        bool const writes = command->cmd == dcon::cmd_configure || command->cmd == dcon::cmd_clear_counter;
        return writes ? Unwritable::no : Unwritable::command;
    }
    auto const* const object = dynamic_cast<xdlms::dparam const*>(&param);
    return object == nullptr || has_image(*object) ? Unwritable::no : Unwritable::type;
}
