#include "drivers/pulsartcp/water_meter.h"

#include <array>

namespace pulsartcp::water_meter {

namespace {

constexpr char const* status_texts[form::status_bits] = {
    "Произошел сброс даты, времени, всех значений счетчиков",
    "Ошибка чтения/записи FLASH",
    "Ошибка чтения/записи EEPROM",
    "Разрядилась батарея питания",
    "Замкнут геркон",
    "Неисправность модуля RF",
    "Неисправность часового кварца",
    "Обрыв/замыкание дроселя 1",
    "Обрыв/замыкание дроселя 2",
    "Ошибка направления потока",
    "Зафиксирован расход ниже настраиваемого порога (параметр 0x0125)",
    "Зафиксирован расход выше настраиваемого порога (параметр 0x0126)",
};

std::string read_0x0010(Payload& payload) {
    return form::status(payload, status_texts);
}

/// Width of the radio's band, from 1 on.
std::string read_0x0200(Payload& payload) {
    constexpr std::array bands = {"Широкополосный", "Узкополосный", "Двухполосный"};
    if (payload.empty() || payload[0] < 1 || payload[0] > bands.size()) {
        return {};
    }
    return bands.at(payload[0] - 1U);
}

constexpr HandlerRow rows[] = {
    {4, 0, form::datatime},    {1, 1, form::f32<3>},       {1, 2, form::f32<3>},

    {10, 0x0000, form::u16},   {10, 0x0001, form::u32},    {10, 0x0002, form::version}, {10, 0x0003, form::yes_no},
    {10, 0x0010, read_0x0010}, {10, 0x0011, form::u16},    {10, 0x0012, form::u16},     {10, 0x0013, form::u32},
    {10, 0x0040, form::u16},   {10, 0x0125, form::f32<1>}, {10, 0x0126, form::f32<1>},  {10, 0x0200, read_0x0200},
    {10, 0x0204, form::u32},   {10, 0x0205, form::u32},    {10, 0x0206, form::i8},      {10, 0x0207, form::u8},
};

}  // namespace

void register_water_meter_handlers(Handlers& map) {
    add_handlers(map, "water_meter", rows);
}

}  // namespace pulsartcp::water_meter
