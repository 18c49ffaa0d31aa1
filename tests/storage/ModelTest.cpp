#include "tests/storage/Model.h"

#include <gtest/gtest.h>

#include <random>

namespace storage::testing {
namespace {

// Random operations against a plain map, with every rule of the format checked after each of them: an error in the
// tree's balance, in the tables, in re-use or in the moves across the cutoff shows within a few hundred steps.
TEST(ModelTest, EveryStepLeavesAPerfectFileWithTheSameContents) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        std::mt19937 random(seed);
        ModelRun run([&](unsigned below) { return static_cast<unsigned>(random() % below); });
        for (unsigned step = 0; step < 250; ++step) {
            try {
                run.step();
                if (step % 10 == 9) {
                    run.reopen();
                }
            } catch (const std::exception& wrong) {
                FAIL() << "seed " << seed << ", step " << step << ": " << wrong.what();
            }
        }
    }
}

TEST(ModelTest, StoragesBelowStoragesStayReadableHoweverDeep) {
    ModelRun run([](unsigned) { return 0; }); // one storage below all the others, and a stream in it
    for (unsigned step = 0; step < 48; ++step) {
        ASSERT_NO_THROW(run.step()) << step;
    }
    EXPECT_NO_THROW(run.reopen());
}

} // namespace
} // namespace storage::testing
