#include "sim/registers.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <new>
#include <numbers>
#include <string_view>

namespace sim {

namespace {

void put_text(uint16_t* registers, std::string_view text) {
    for (size_t at = 0; at + 1 < text.size(); at += 2) {
        auto const high = static_cast<unsigned char>(text[at]);
        auto const low = static_cast<unsigned char>(text[at + 1]);
        registers[at / 2] = static_cast<uint16_t>(high << 8U | low);
    }
}

void put_u32(uint16_t* registers, uint32_t value) {
    registers[0] = static_cast<uint16_t>(value >> 16U);
    registers[1] = static_cast<uint16_t>(value & 0xFFFFU);
}

/// Not modbus_set_float_abcd(): in libmodbus 3.1.6 it exchanges the bytes of each register.
void put_float(uint16_t* registers, float value) {
    put_u32(registers, std::bit_cast<uint32_t>(value));
}

double wave(double seconds, double period_s) {
    return std::sin(2 * std::numbers::pi * seconds / period_s);
}

bool odd(double seconds, double step_s) {
    return std::fmod(seconds / step_s, 2) >= 1;
}

}  // namespace

Registers::Registers(double phase_s)
    : mapping_(modbus_mapping_new(count, count, count, count), &modbus_mapping_free), phase_s_(phase_s) {
    if (!mapping_) {
        throw std::bad_alloc();
    }
    uint16_t* const holding = mapping_->tab_registers;
    holding[0] = 215;
    holding[1] = 1;
    put_float(holding + 2, 1.5F);
    put_text(holding + 4, "BOILER 1");
    holding[8] = 100;
    refresh(0);
}

void Registers::refresh(double seconds) {
    double const moved = seconds + phase_s_;
    uint16_t const* const holding = mapping_->tab_registers;
    uint16_t* const input = mapping_->tab_input_registers;
    auto const set_point = static_cast<int16_t>(holding[0]);

    auto const temperature = static_cast<int16_t>(std::lround(set_point + 30 * wave(moved, 60)));
    bool const too_warm = temperature > set_point;
    input[0] = static_cast<uint16_t>(temperature);
    put_u32(input + 1, static_cast<uint32_t>(moved * 3));
    put_float(input + 3, static_cast<float>(3 + wave(moved, 40)));
    unsigned int const pump = holding[1] & 1U;
    unsigned int const warm_bit = too_warm ? 2U : 0U;
    unsigned int const blink_bit = odd(moved, 1) ? 4U : 0U;
    input[5] = static_cast<uint16_t>(pump | warm_bit | blink_bit);
    put_text(input + 6, too_warm ? "COOLING " : "HEATING ");
    input[10] = static_cast<uint16_t>(std::fmod(moved, 100) * 4095 / 100);

    uint8_t* const discrete = mapping_->tab_input_bits;
    discrete[0] = odd(moved, 2) ? 1 : 0;
    discrete[1] = mapping_->tab_bits[0];
    discrete[2] = too_warm ? 1 : 0;
}

}  // namespace sim
