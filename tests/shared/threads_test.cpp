// SPDX-License-Identifier: Apache-2.0
// All families in two threads at once, each on records of its own: nothing is shared but tables, so
// both get the recorded results. Meant for the thread sanitizer (preset tsan); holds in any build.
#include "kit/replay.h"

#include <gtest/gtest.h>

#include <thread>

namespace qolsc::test {
namespace {

TEST(Threads, RecordedSetsInTwoThreadsAtOnce) {
    const std::vector<std::filesystem::path> sets = findSets(QOLSC_TEST_DATA);
    std::vector<std::string> problems[2];
    const auto run = [&sets](std::vector<std::string>* found) {
        for (const auto& set : sets) {
            for (const std::string& name : exportsOf(set)) {
                if (const std::string problem = replaySet(set, name); !problem.empty()) {
                    found->push_back(set.stem().string() + ": " + problem);
                }
            }
        }
    };
    std::thread other(run, &problems[1]);
    run(&problems[0]);
    other.join();
    EXPECT_EQ(problems[0], std::vector<std::string>());
    EXPECT_EQ(problems[1], std::vector<std::string>());
}

} // namespace
} // namespace qolsc::test
