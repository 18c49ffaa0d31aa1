#include "tests/storage/Model.h"

#include <gtest/gtest.h>

#include <random>

namespace storage::testing {
namespace {

// Random operations against a plain map, with every rule of the format checked again and again: an error in the trees
// of siblings, in the tables or in the moves across the cutoff shows within a few hundred steps.
TEST(ModelTest, EveryStepIsInMemoryAndEverySaveLeavesAPerfectFile) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        std::mt19937 random(seed);
        ModelRun run([&](unsigned below) { return static_cast<unsigned>(random() % below); });
        for (unsigned step = 0; step < 250; ++step) {
            try {
                run.step();
                if (step % 3 == 0) {
                    run.save();
                }
            } catch (const std::exception& wrong) {
                FAIL() << "seed " << seed << ", step " << step << ": " << wrong.what();
            }
        }
    }
}

} // namespace
} // namespace storage::testing
