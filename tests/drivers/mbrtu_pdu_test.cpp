// What no dialogue shows of Modbus frames; the dialogues are scenarios.

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "drivers/mbrtu/config.h"
#include "drivers/mbrtu/pdu.h"
#include "support/log_capture.h"

using mbrtu::pdu;

namespace {

mbrtu::c_param made(int reg_type, int value_type) {
    Json::Value node;
    node["name"] = "u";
    node["reg_addr"] = 16;
    mbrtu::c_param param(nullptr, node);
    param.reg_type = reg_type;
    param.value_type = value_type;
    return param;
}

template <typename Call>
std::string failure(Call call) {
    try {
        call();
    } catch (std::exception const& e) {
        return e.what();
    }
    return "taken";
}

}  // namespace

TEST(MbRtuPdu, WhatHasNoRequestIsRefused) {
    xCommon::ByteList out;
    for (int const kind : {modbus::reg_status, modbus::reg_input, modbus::reg_input_bit}) {
        mbrtu::c_param const param = made(kind, vt_u16);
        EXPECT_EQ(failure([&] { pdu::write(out, 5, &param, "1"); }),
                  "getWriteFunCode : u : для данного типа регистра запись невозможна.");
    }
    for (int const kind : {7, 100, -1}) {
        mbrtu::c_param const param = made(kind, vt_u16);
        EXPECT_EQ(failure([&] { pdu::read(out, 5, &param); }), "getReadFunCode : u : неизвестный тип регистра.");
    }
    mbrtu::c_param const param = made(modbus::reg_holding, vt_u16);
    EXPECT_EQ(failure([&] { pdu::write(out, 5, &param, "abc"); }), "stoul");
    EXPECT_EQ(failure([&] { pdu::write(out, 5, &param, ""); }), "u # пустое значение.");
    EXPECT_EQ(failure([&] { pdu::read(out, 5, nullptr); }), "pdu_read : cp == nullptr.");
    EXPECT_EQ(failure([&] { pdu::write(out, 5, nullptr, "1"); }), "pdu_write : cp == nullptr.");
    EXPECT_EQ(failure([] { pdu::getReadFunCode(nullptr); }), "getReadFunCode : cp == nullptr.");
    EXPECT_EQ(failure([] { pdu::getWriteFunCode(nullptr); }), "getWriteFunCode : cp == nullptr.");
    EXPECT_EQ(failure([] { pdu::getRegNum(nullptr); }), "getRegNum : cp == nullptr.");
    // Half a frame must not stay behind for whoever goes on with the list.
    EXPECT_TRUE(out.empty());

    // What is appended has the CRC of its own bytes.
    pdu::read(out, 5, &param);
    pdu::write(out, 5, &param, "1234");
    EXPECT_EQ(hex::text({out.data(), out.size()}), "05 03 00 10 00 01 84 4B 05 06 00 10 04 D2 0B 16");
}

TEST(MbRtuPdu, TheHeadOfAReplyIsNotReadBehindItsEnd) {
    for (char const* reply : {"", "05", "04 83"}) {
        hex::Bytes const bytes = hex::bytes(reply);
        auto const exact = std::make_unique<unsigned char[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), exact.get());
        EXPECT_EQ(pdu::check_head(5, {exact.get(), bytes.size()}), xCommon::HeadFault::timeout) << reply;
    }
    EXPECT_EQ(pdu::check_head(5, hex::bytes("05 03 02")), xCommon::HeadFault::none);
}

TEST(MbRtuPdu, CrcOfAReply) {
    for (char const* frame : {"05 03 02 04 D2 CB 19", "05 83 02 81 30", "05 10 00 10 00 02 41 89", "FF FF"}) {
        hex::Bytes const bytes = hex::bytes(frame);
        EXPECT_TRUE(pdu::check_crc(bytes)) << frame;
        // A single flipped bit anywhere is found.
        for (size_t bit = 0; bit < bytes.size() * 8; ++bit) {
            hex::Bytes broken = bytes;
            broken[bit / 8] = static_cast<unsigned char>(broken[bit / 8] ^ (1U << (bit % 8)));
            EXPECT_FALSE(pdu::check_crc(broken)) << frame << " bit " << bit;
        }
    }
    for (char const* frame : {"05 03 02 04 D2 19 CB", "05 03 02 04 D2 CB", "05 03 02 04 D2 CB 19 01", "CB", ""}) {
        EXPECT_FALSE(pdu::check_crc(hex::bytes(frame))) << frame;
    }
}
