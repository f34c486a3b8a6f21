#include "ctl/line/hex.h"

#include <cctype>
#include <stdexcept>

#include <zlib.h>

namespace hex {

Bytes bytes(std::string_view text) {
    std::string digits;
    for (char const symbol : text) {
        if (std::isxdigit(static_cast<unsigned char>(symbol)) != 0) {
            digits.push_back(symbol);
        } else if (std::isspace(static_cast<unsigned char>(symbol)) == 0) {
            throw std::invalid_argument("no hexadecimal text : " + std::string(text));
        }
    }
    if (digits.size() % 2 != 0) {
        throw std::invalid_argument("half a byte : " + std::string(text));
    }
    Bytes result;
    for (size_t at = 0; at < digits.size(); at += 2) {
        result.push_back(static_cast<unsigned char>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return result;
}

std::string text(std::span<unsigned char const> data) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    for (unsigned char const byte : data) {
        if (!result.empty()) {
            result.push_back(' ');
        }
        result.push_back(digits[byte >> 4U]);
        result.push_back(digits[byte & 0x0FU]);
    }
    return result;
}

void push_crc16(Bytes& frame) {
    unsigned int crc = 0xFFFF;
    for (unsigned char const byte : frame) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
        }
    }
    frame.push_back(static_cast<unsigned char>(crc & 0xFFU));
    frame.push_back(static_cast<unsigned char>(crc >> 8U));
}

std::string with_crc16(std::string const& frame) {
    Bytes data = bytes(frame);
    push_crc16(data);
    return text(data);
}

std::string with_crc32(std::string const& frame) {
    Bytes data = bytes(frame);
    unsigned long const crc = ::crc32(0, data.data(), static_cast<unsigned int>(data.size()));
    for (unsigned int const shift : {24U, 16U, 8U, 0U}) {
        data.push_back(static_cast<unsigned char>(crc >> shift));
    }
    return text(data);
}

}  // namespace hex
