#include <gtest/gtest.h>

#include <csignal>


int main(int argc, char** argv) {
    // As main() of the product does: a peer that closes must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
