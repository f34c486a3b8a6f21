#include "drivers/pulsartcp/pulse_counter.h"

namespace pulsartcp::pulse_counter {

namespace {

constexpr char interference[] = "Обнаружено множество помех либо слишком коротких импульсов";

/// One sentence for the three channels: it may stand there three times.
constexpr char const* status_texts[form::status_bits] = {
    "Произошел сброс всех значений счетчиков",
    "Разрядилась батарея питания",
    "Ошибка чтения/записи EEPROM",
    "Неисправность трансивера (радио)",
    "Неисправность часового кварца",
    nullptr,
    nullptr,
    nullptr,
    interference,
    interference,
    interference,
    nullptr,
};

std::string read_0x000D(Payload& payload) {
    return form::status(payload, status_texts);
}

/// Unlike a water meter's, a version that is too short is none.
std::string read_0x0002(Payload& payload) {
    return payload.size() < 8 ? std::string() : form::version(payload);
}

constexpr HandlerRow rows[] = {
    {4, 0, form::datatime},     {1, 1, form::f32<6>},       {1, 2, form::f32<6>},      {1, 3, form::f32<6>},

    {10, 0x0000, form::u16},    {10, 0x0001, form::u32},    {10, 0x0002, read_0x0002}, {10, 0x0003, form::f32<6>},
    {10, 0x0004, form::f32<6>}, {10, 0x0005, form::f32<6>}, {10, 0x0008, form::u16},   {10, 0x0009, form::u16},
    {10, 0x000B, form::yes_no}, {10, 0x000C, form::u16},    {10, 0x000D, read_0x000D}, {10, 0x000E, form::u16},
    {10, 0x0012, form::i8},     {10, 0x0013, form::u16},    {10, 0x0017, form::u32},   {10, 0x0018, form::u32},
    {10, 0x0019, form::u32},    {10, 0x0020, form::i8},     {10, 0x0024, form::u8},
};

}  // namespace

void register_pulse_counter_handlers(Handlers& map) {
    add_handlers(map, "pulse_counter", rows);
}

}  // namespace pulsartcp::pulse_counter
