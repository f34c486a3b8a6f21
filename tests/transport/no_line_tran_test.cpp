#include "transport/no_line_tran.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "support/log_capture.h"
#include "transport/line_nodes.h"

using xCommon::ByteList;

namespace {

/// What a read of so many bytes hands out; nothing when it gives another count.
std::string read_text(nullTran& line, int count) {
    std::vector<unsigned char> buffer(16, 0xEE);
    int const got = line.read(buffer.data(), count);
    return got == count ? hex::text(std::span(buffer).first(static_cast<size_t>(count))) : std::string();
}

}  // namespace

TEST(NoLine, OpensAlwaysAndWritesAlwaysSucceed) {
    LogCapture const log;
    auto const node = line_nodes::none();
    std::unique_ptr<iTran> const lines[] = {std::make_unique<z2tTran>(node.get()),
                                            std::make_unique<nullTran>(node.get())};
    for (auto const& line : lines) {
        unsigned char byte = 0;
        ByteList three = line_nodes::list_of("01 02 03");
        ByteList nothing;
        EXPECT_FALSE(line->is_open());
        EXPECT_TRUE(line->reopen());
        EXPECT_TRUE(line->is_open());
        EXPECT_EQ(line->write(&byte, 5), 5);
        EXPECT_EQ(line->write(three), 3);
        EXPECT_TRUE(line->write_all(&byte, 5));
        EXPECT_TRUE(line->write_all(three));
        EXPECT_TRUE(line->write_all(nothing));
        line->flush();
        line->set_timeout(0, 0);
        line->close();
        line->close();
        EXPECT_FALSE(line->is_open());
    }
    EXPECT_TRUE(log.entries().empty());
}

TEST(NoLine, ReadsOfABridgeSucceedAndTouchNoData) {
    auto const node = line_nodes::none();
    z2tTran line(node.get());
    unsigned char buffer[] = {1, 2, 3};
    EXPECT_EQ(line.read(buffer, 3), 3);
    EXPECT_TRUE(line.read_all(buffer, 3));
    EXPECT_TRUE(line.read_all(buffer, 0));
    EXPECT_EQ(hex::text(buffer), "01 02 03");
}

TEST(NoLine, TheCannedAnswerIsHandedOutInOrderAndAnew) {
    auto const node = line_nodes::none();
    nullTran line(node.get());
    nullTran other(node.get());
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(read_text(line, 3), "11 03 02");
        EXPECT_EQ(read_text(other, 2), "00 05") << "the position is the same for all such lines";
        EXPECT_EQ(read_text(line, 2), "B9 84");
    }
    EXPECT_EQ(read_text(line, 7), "11 03 02 00 05 B9 84");

    // A read beyond it leaves the position.
    unsigned char buffer[8] = {};
    EXPECT_EQ(line.read(buffer, 8), 0);
    EXPECT_FALSE(line.read_all(buffer, 8));
    EXPECT_EQ(line.read(buffer, 0), 0);
    EXPECT_EQ(line.read(buffer, -1), 0);
    EXPECT_EQ(read_text(line, 5), "11 03 02 00 05");
    EXPECT_EQ(line.read(buffer, 3), 0);
    EXPECT_FALSE(line.read_all(buffer, 3));
    EXPECT_TRUE(line.read_all(buffer, 0));
    EXPECT_TRUE(line.read_all(buffer, 2));
    EXPECT_EQ(hex::text(std::span(buffer).first(2)), "B9 84");
}
