#pragma once

#include <array>
#include <span>

#include "foundation/frame_head.h"

/// Head of a data reply, and the refusals, of the meters that announce the length of what follows.
///
/// offset  size  field
///   0      1    address
///   1      1    function; bit 7 set: an error reply
///   2      1    object, or the error code
///   3      1    count
namespace meter {

inline constexpr int head_size = 4;
/// Bytes of the CRC that ends each frame.
inline constexpr int crc_size = 2;

/// True for exactly one reply of four bytes, to opening and closing: address, status, CRC.
bool is_short_reply(std::span<unsigned char const> frame);

struct Head {
    xCommon::HeadFault fault;
    int count;  ///< 0 with a fault
};

Head check_head(unsigned char sid, std::span<unsigned char const> head);

/// Texts of the error codes from 0 on.
inline constexpr std::array<char const*, 15> error_texts = {"Ok",
                                                            "Некорректный идентификатор функции",
                                                            "Некорректный идентификатор объекта",
                                                            "Некорректное значение данных",
                                                            "Невозможно выполнить команду",
                                                            "Запрос принят, начата обработка",
                                                            "Устройство занято",
                                                            "Ошибка доступа к памяти EEPROM",
                                                            "Сеанс связи закрыт",
                                                            "Доступ с указанным уровнем запрещён",
                                                            "Ошибка контрольной суммы",
                                                            "Некорректный фрейм",
                                                            "Не установлена защитная перемычка",
                                                            "Неверный пароль",
                                                            "Не задано расписание управления освещением"};
inline constexpr int error_rubbish = error_texts.size();

/// Code of a refusal; rubbish also for what is no reply of this meter.
int error_code(unsigned char sid, std::span<unsigned char const> reply);
char const* error_text(int code);

/// Bytes of a whole reply that carries a value of this type. The exchange doesn't need it: the head tells the length.
int exp_resp_size(int value_type);

}  // namespace meter
