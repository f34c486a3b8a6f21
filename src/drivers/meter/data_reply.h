#pragma once

#include <array>

#include "config/cparam.h"

/// Head of a data reply, and the refusals, of the meters that announce the length of what follows.
///
/// offset  size  field
///   0      1    address
///   1      1    function; bit 7 set: an error reply
///   2      1    object, or the error code
///   3      1    count
namespace meter {

inline constexpr int head_size = 4;
inline constexpr unsigned char error_bit = 0x80;

/// What check_head() gives for an error reply.
inline constexpr int head_refused = -1;

/// The lines of a family about a head that can't be used.
struct HeadLines {
    char const* timeout;
    char const* wrong_address;
};

/// The count byte of a head of `n` bytes; 0 behind a line on `log` for one that is too short or another meter's;
/// head_refused for an error reply, which is left to the family.
int check_head(CBase const& log, HeadLines const& lines, unsigned char sid, unsigned char const* buf, int n);

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

/// Bytes of a whole reply that carries a value of this type. The exchange doesn't need it: the head tells the length.
int exp_resp_size(int value_type);

}  // namespace meter
