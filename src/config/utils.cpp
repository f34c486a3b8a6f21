#include "config/utils.h"

#include <bit>
#include <cstdint>
#include <sstream>

#include "foundation/mq_client.h"

long long Utils::LE_int(unsigned char const* data, int count) {
    if (data == nullptr || count < 1 || count > 8) {
        return 0;
    }
    long long result = 0;
    for (int index = 0; index < count && index < 4; ++index) {
        result += static_cast<int32_t>(static_cast<uint32_t>(data[index]) << (8U * static_cast<unsigned int>(index)));
    }
    return result;
}

std::string Utils::LE_bcd32(unsigned char const* data) {
    std::string text;
    for (int index = 3; index >= 0; --index) {
        text.push_back(static_cast<char>('0' + (data[index] & 0x0FU)));
        text.push_back(static_cast<char>('0' + (data[index] >> 4U)));
    }
    return text;
}

float Utils::i16_to_float32(short half) {
    uint32_t const bits = static_cast<uint16_t>(half);
    uint32_t const sign = (bits & 0x8000U) << 16U;
    uint32_t exponent = (bits >> 10U) & 0x1FU;
    uint32_t mantissa = bits & 0x3FFU;
    uint32_t pattern = sign;
    if (exponent == 31) {
        pattern |= 0x7F800000U | (mantissa << 13U);
    } else if (exponent != 0) {
        pattern |= ((exponent + 112U) << 23U) | (mantissa << 13U);
    } else if (mantissa != 0) {
        exponent = 113;
        while ((mantissa & 0x400U) == 0) {
            mantissa <<= 1U;
            --exponent;
        }
        pattern |= (exponent << 23U) | ((mantissa & 0x3FFU) << 13U);
    }
    return static_cast<float>(pattern);
}

unsigned short Utils::float32_to_u16(float value) {
    uint32_t const bits = std::bit_cast<uint32_t>(value);
    uint32_t const sign = (bits >> 16U) & 0x8000U;
    uint32_t const magnitude = bits & 0x7FFFFFFFU;
    uint32_t half = 0;
    if (magnitude > 0x7F800000U) {
        half = 0x7E00U | ((magnitude >> 13U) & 0x3FFU);  // NaN keeps the top of its mantissa and stays quiet
    } else if (magnitude >= 0x47800000U) {
        half = 0x7C00U;  // infinity, and exponents above 15
    } else if (magnitude >= 0x38800000U) {
        uint32_t const rounded = magnitude + 0x0FFFU + ((magnitude >> 13U) & 1U);
        half = (rounded - 0x38000000U) >> 13U;  // a carry may run into the exponent, up to infinity
    } else if (magnitude >= 0x33000000U) {
        uint32_t const shift = 126U - (magnitude >> 23U);
        uint32_t const mantissa = (magnitude & 0x7FFFFFU) | 0x800000U;
        uint32_t const lost = mantissa & ((1U << shift) - 1U);
        uint32_t const halfway = 1U << (shift - 1U);
        half = mantissa >> shift;
        if (lost > halfway || (lost == halfway && (half & 1U) != 0)) {
            ++half;
        }
    }
    return static_cast<unsigned short>(sign | half);
}

int Utils::jToInt(Json::Value const& value) {
    long long number = 0;
    if (value.type() == Json::intValue) {
        number = value.asInt64();
    } else if (value.type() == Json::uintValue) {
        number = static_cast<long long>(value.asUInt64());
    } else if (value.isString()) {
        std::string const text = value.asString();
        std::istringstream stream(text);
        if (text.find("0x") != std::string::npos) {
            stream >> std::hex;
        }
        stream >> number;
    }
    return static_cast<int>(static_cast<uint64_t>(number) & 0xFFFFU);
}

void Utils::tell_unusable_name(xCommon::LogItem const& node, std::string const& name) {
    if (!xMQ::mqUtils::is_topic(name)) {
        node.Logf(xCommon::lmtError, "имя непригодно для топика, публикации не будет : %s", name);
    }
}
