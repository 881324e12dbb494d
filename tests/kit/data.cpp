// SPDX-License-Identifier: Apache-2.0
// Readers and generators of the test data.
#include "kit/data.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace qolsc::test {

std::string dataPath(const std::string& name) { return std::string(QOLSC_TEST_DATA "/") + name; }

std::vector<std::uint8_t> readBytes(const std::string& name) {
    std::ifstream in(dataPath(name), std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "test data missing: %s\n", dataPath(name).c_str());
        std::abort();
    }
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

std::vector<Qol16s> readWords(const std::string& name) {
    const std::vector<std::uint8_t> bytes = readBytes(name);
    std::vector<Qol16s> words(bytes.size() / 2);
    if (!words.empty()) {
        std::memcpy(words.data(), bytes.data(), words.size() * 2);
    }
    return words;
}

std::uint64_t next(Random& r) {
    r.state ^= r.state >> 12;
    r.state ^= r.state << 25;
    r.state ^= r.state >> 27;
    return r.state * 0x2545F4914F6CDD1Du;
}

std::int64_t uniform(Random& r, std::int64_t lo, std::int64_t hi) {
    return lo + static_cast<std::int64_t>(next(r) % (static_cast<std::uint64_t>(hi - lo) + 1));
}

double uniformReal(Random& r, double lo, double hi) {
    return lo + (hi - lo) * (static_cast<double>(next(r) >> 11) * 0x1p-53);
}

std::vector<Qol16s> noise16(Random& r, int count, int amplitude) {
    std::vector<Qol16s> v(static_cast<std::size_t>(count));
    for (Qol16s& x : v) {
        x = static_cast<Qol16s>(uniform(r, -amplitude, amplitude));
    }
    return v;
}

std::vector<Qol32s> noise32(Random& r, int count, std::int64_t amplitude) {
    std::vector<Qol32s> v(static_cast<std::size_t>(count));
    for (Qol32s& x : v) {
        x = static_cast<Qol32s>(uniform(r, -amplitude, amplitude));
    }
    return v;
}

std::vector<Qol32f> noisef(Random& r, int count, double amplitude) {
    std::vector<Qol32f> v(static_cast<std::size_t>(count));
    for (Qol32f& x : v) {
        x = static_cast<Qol32f>(uniformReal(r, -amplitude, amplitude));
    }
    return v;
}

std::vector<Qol16s> extremes16(Random& r, int count) {
    static constexpr Qol16s kValues[] = {-32768, -32767, -1, 0, 1, 32767};
    std::vector<Qol16s> v(static_cast<std::size_t>(count));
    for (Qol16s& x : v) {
        x = kValues[next(r) % 6];
    }
    return v;
}

} // namespace qolsc::test
