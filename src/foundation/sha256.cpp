#include "foundation/sha256.h"

#include <array>

#include <openssl/evp.h>

#include "foundation/xexception.h"

namespace xCommon {

std::string sha256(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned int size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), sum.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw xException("SHA-256 недоступен");
    }
    std::string text;
    for (unsigned int at = 0; at < size; ++at) {
        text.push_back(digits[sum.at(at) >> 4U]);
        text.push_back(digits[sum.at(at) & 0x0FU]);
    }
    return text;
}

}  // namespace xCommon
