#include "drivers/pulsartcp/pdu.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <span>

#include "drivers/pulsartcp/config.h"
#include "foundation/crc.h"
#include "foundation/xexception.h"
#include "foundation/xstring.h"

namespace pulsartcp {

using xCommon::ByteList;
using xCommon::net;
using xCommon::WordOrder;
using xCommon::xString;

namespace {

constexpr unsigned char function_error = 0;
constexpr unsigned char function_channels = 1;
constexpr unsigned char function_parameter = 10;

constexpr int function_at = 4;
constexpr int length_at = 5;
constexpr int head_size = 6;
constexpr int id_from_end = 4;
constexpr int crc_size = 2;
/// Head, id and CRC.
constexpr int least_size = 10;

/// Texts of the codes from 1 on.
constexpr char const* error_texts[] = {
    "отсутствует запрашиваемый код функции",
    "ошибка в битовой маске запроса",
    "ошибочная длина запроса",
    "отсутствует параметр",
    "запись заблокирована, требуется авторизация",
    "записываемое значение (параметр) находится вне заданного диапазона",
    "отсутствует запрашиваемый тип архива",
    "превышение максимального количества архивных значений за один пакет",
};

/// -1 when the length puts the id, even in part, outside of what came.
int id_of(std::span<unsigned char const> frame) {
    int position = frame[length_at] - id_from_end;
    if (position < 0 || position + 2 > static_cast<int>(frame.size())) {
        return -1;
    }
    return net::get_u16(frame.data(), position, WordOrder::little_endian);
}

unsigned int address_of(std::span<unsigned char const> frame) {
    unsigned int address = 0;
    for (unsigned char const byte : frame.first(function_at)) {
        address = address * 100U + (byte >> 4U) * 10U + (byte & 0x0FU);
    }
    return address;
}

}  // namespace

void pdu::read(ByteList& out, unsigned int address, unsigned char function, unsigned int parameter, unsigned short id,
               c_param* param) {
    if (param == nullptr) {
        throw xCommon::xException("pdu_read : _pulsartcp_param == nullptr.");
    }
    ByteList frame;
    frame.push_32(bcd_msb(address), WordOrder::big_endian);
    frame.push_8(function);
    if (function == function_parameter) {
        frame.push_8(12);
        frame.push_16(static_cast<unsigned short>(parameter), WordOrder::little_endian);
    } else if (function == function_channels) {
        frame.push_8(14);
        frame.push_32(parameter, WordOrder::little_endian);
    }
    frame.push_16(id, WordOrder::little_endian);
    out.pop_list(frame.with_crc());
}

int pdu::check_frame(c_dev* cdev, c_param*& param, Findings& found, unsigned char const* frame, int size) {
    auto const fail = [&found](int code, std::string const& reason) {
        found.failure = "ответ НЕ получен : " + reason;
        return code;
    };
    if (param == nullptr) {
        return fail(-1, "нулевой указатель _pulsartcp_param");
    }
    if (frame == nullptr) {
        return fail(-1, "нулевой указатель _frame");
    }
    if (cdev == nullptr) {
        return fail(-1, "нулевой указатель _cdev");
    }
    if (size < least_size) {
        return fail(-2, xString::Format("размер входного ответа меньше 10 байт : %d", size));
    }
    std::span<unsigned char const> const response(frame, static_cast<size_t>(size));

    int const id = id_of(response);
    found.id = id;
    auto const request = id < 0 ? cdev->save_request.end() : cdev->save_request.find(static_cast<unsigned short>(id));
    if (request == cdev->save_request.end()) {
        return fail(-3, xString::Format("не найден идентификатор запроса : %d", id));
    }
    param = request->second;
    cdev->save_request.erase(request);

    unsigned int const address = address_of(response);
    if (address != cdev->sid || address == 0) {
        return fail(-4, xString::Format("не совпал андрес устройства : %u c %u", address, cdev->sid));
    }
    unsigned char const function = response[function_at];
    if (function == function_error) {
        found.failure = print_error(response[head_size]);
        return -6;
    }
    if (function != param->function) {
        return fail(-5, xString::Format("не совпала входная функция : %d c %d", function, param->function));
    }
    if (response[length_at] > size) {
        return fail(-7, xString::Format("не совпал размер кадра : %d c %d", size, response[length_at]));
    }
    int position = size - crc_size;
    unsigned short const crc = xCommon::crc16::crc_16(frame, static_cast<unsigned short>(position));
    found.crc = crc;
    found.received_crc = net::get_u16(frame, position, WordOrder::big_endian);
    if (crc != found.received_crc) {
        return fail(-8, xString::Format("не совпали CRC : %d c %d", crc, found.received_crc));
    }
    return 0;
}

void pdu::cut_payload(std::vector<unsigned char>& frame) {
    int const length = frame.size() > length_at ? frame[length_at] : 0;
    frame.erase(frame.begin(), frame.begin() + std::min<std::ptrdiff_t>(head_size, std::ssize(frame)));
    frame.resize(std::min(frame.size(), static_cast<size_t>(std::max(length - least_size, 0))));
}

std::string pdu::print_error(unsigned char code) {
    bool const known = code >= 1 && code <= std::size(error_texts);
    return xString::Format("ответ НЕ получен : %s : 0x%02X", known ? error_texts[code - 1] : "неизвестная ошибка",
                           code);
}

unsigned short pdu::random_id() {
    std::random_device device("default");
    std::mt19937 generator(device());
    return static_cast<unsigned short>(generator() >> 16U);
}

unsigned int pdu::bcd_msb(unsigned int number) {
    unsigned int packed = 0;
    for (unsigned int shift = 0; shift < 32; shift += 4) {
        packed |= number % 10 << shift;
        number /= 10;
    }
    return packed;
}

void pdu::init_parameter_handlers(Handlers& map) {
    if (!map.empty()) {
        return;
    }
    pulse_counter::register_pulse_counter_handlers(map);
    water_meter::register_water_meter_handlers(map);
}

}  // namespace pulsartcp
