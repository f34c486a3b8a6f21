#include "drivers/vkt7rtu/config.h"

#include "config/constants.h"

namespace vkt7rtu {

namespace {

CBFac const registrars[] = {CBFac::add<c_dev>("vkt7-rtu.cdev"), CBFac::add<c_param>("vkt7-rtu.cparam")};

constexpr modbus::RegTypes::Word words[] = {{"coil", reg_coil},           {"status", reg_status},
                                            {"input", reg_input},         {"holding", reg_holding},
                                            {"holding-m", reg_holding_m}, {"holding-bit", reg_holding_bit},
                                            {"input-bit", reg_input_bit}};
constexpr modbus::RegTypes reg_types = {words, reg_holding, reg_holding_bit, reg_input_bit};

}  // namespace

c_param::c_param(CBase* device, Json::Value& node) : c_register(device, node, reg_types) {}

int c_param::GetRegType(Json::Value const& node) {
    return reg_types.code_of(node);
}

}  // namespace vkt7rtu
