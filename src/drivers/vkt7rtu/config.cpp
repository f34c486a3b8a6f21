#include "drivers/vkt7rtu/config.h"

#include "config/constants.h"

namespace vkt7rtu {

namespace {

const std::string type_word = "vkt7-rtu";
/// Configurations and templates in use leave the type of plain registers out, and so make them of this one.
const std::string param_type_word = "mb-rtu";

CBFac const registrars[] = {CBFac::add<c_dev>("vkt7-rtu.cdev"), CBFac::add<c_param>("vkt7-rtu.cparam")};

constexpr modbus::RegTypes::Word words[] = {
    {"coil", reg_coil},           {"status", reg_status},           {"input", reg_input},
    {"holding-m", reg_holding_m}, {"holding-bit", reg_holding_bit}, {"input-bit", reg_input_bit}};
constexpr modbus::RegTypes reg_types = {words, reg_holding, reg_holding_bit, reg_input_bit};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, param_type_word) {}

c_param::c_param(CBase* device, Json::Value& node) : c_register(device, node, reg_types) {}

int c_param::GetRegType(Json::Value const& node) {
    return reg_types.code_of(node);
}

}  // namespace vkt7rtu
