// SPDX-License-Identifier: Apache-2.0
// Every recorded vector set of tests/data/*/vectors, one test for a set and export.
#include "kit/replay.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qolsc::test {
namespace {

class Golden : public testing::Test {
public:
    Golden(std::filesystem::path path, std::string name)
        : path_(std::move(path)), name_(std::move(name)) {}
    void TestBody() override { EXPECT_EQ(replaySet(path_, name_), ""); }

private:
    std::filesystem::path path_;
    std::string name_;
};

void registerSet(const std::filesystem::path& path) {
    const std::string family = path.parent_path().parent_path().filename();
    const std::vector<std::string> names = exportsOf(path);
    for (const std::string& name : names) {
        std::string title = path.stem().string() + (name == names[0] ? "" : "_" + name);
        std::replace(title.begin(), title.end(), '-', '_');
        testing::RegisterTest(("golden_" + family).c_str(), title.c_str(), nullptr, nullptr,
                              __FILE__, __LINE__,
                              [path, name]() -> testing::Test* { return new Golden(path, name); });
    }
}

const bool kRegistered = [] {
    const std::vector<std::filesystem::path> sets = findSets(QOLSC_TEST_DATA);
    std::for_each(sets.begin(), sets.end(), registerSet);
    return !sets.empty();
}();

TEST(Golden, SetsWereFound) { EXPECT_TRUE(kRegistered); }

} // namespace
} // namespace qolsc::test
