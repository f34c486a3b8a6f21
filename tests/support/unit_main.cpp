#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace {

/// The folder below which the paths of the product lie in the tests. They are read while static objects are made, so
/// the folder has to be there before all others.
struct TestRoot {
    TestRoot() { setenv("OSTRAND_TEST_ROOT", folder.path().c_str(), 1); }
    TempFolder folder;
};

[[gnu::init_priority(1000)]] TestRoot const root;

}  // namespace

int main(int argc, char** argv) {
    // As main() of the product does: a peer that closes must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
