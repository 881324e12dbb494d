// SPDX-License-Identifier: Apache-2.0
// Test data: recorded files, reproducible random vectors, buffers between canaries.
#pragma once

#include "qolsc/types.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace qolsc::test {

/// Full path of a file under tests/data.
std::string dataPath(const std::string& name);
/// A whole file of tests/data; a missing one ends the program with its name.
std::vector<std::uint8_t> readBytes(const std::string& name);
/// The same as 16-bit little-endian words.
std::vector<Qol16s> readWords(const std::string& name);

/// Small reproducible generator (xorshift64*): the same numbers on every machine.
struct Random {
    std::uint64_t state = 0x9E3779B97F4A7C15u;
};
std::uint64_t next(Random& r);
/// Uniform in lo..hi, both included.
std::int64_t uniform(Random& r, std::int64_t lo, std::int64_t hi);
/// Uniform in [lo, hi).
double uniformReal(Random& r, double lo, double hi);
std::vector<Qol16s> noise16(Random& r, int count, int amplitude = 32767);
std::vector<Qol32s> noise32(Random& r, int count, std::int64_t amplitude = 2147483647);
std::vector<Qol32f> noisef(Random& r, int count, double amplitude = 1.0);
/// Extreme values only: least, least + 1, -1, 0, 1, greatest.
std::vector<Qol16s> extremes16(Random& r, int count);

/// A buffer of count elements, skew elements behind an aligned address, between canaries.
template <typename T>
struct Guarded {
    std::vector<std::uint8_t> raw;
    T* data;
    std::size_t count;
};

inline constexpr std::size_t kGuardBytes = 256;

template <typename T>
Guarded<T> guarded(std::size_t count, std::size_t skew = 0, std::uint8_t fill = 0x5A) {
    Guarded<T> g{std::vector<std::uint8_t>(2 * kGuardBytes + 64 + (count + skew) * sizeof(T), fill),
                 nullptr, count};
    const auto start = reinterpret_cast<std::uintptr_t>(g.raw.data()) + kGuardBytes;
    g.data = reinterpret_cast<T*>((start + 63) / 64 * 64) + skew;
    return g;
}
template <typename T>
Guarded<T> guarded(const std::vector<T>& values, std::size_t skew = 0) {
    Guarded<T> g = guarded<T>(values.size(), skew);
    if (!values.empty()) {
        std::memcpy(g.data, values.data(), values.size() * sizeof(T));
    }
    return g;
}
/// True when nothing outside the elements was written.
template <typename T>
bool intact(const Guarded<T>& g, std::uint8_t fill = 0x5A) {
    const auto* lo = reinterpret_cast<const std::uint8_t*>(g.data);
    const auto* hi = reinterpret_cast<const std::uint8_t*>(g.data + g.count);
    for (const std::uint8_t& b : g.raw) {
        if ((&b < lo || &b >= hi) && b != fill) {
            return false;
        }
    }
    return true;
}
template <typename T>
std::vector<T> values(const Guarded<T>& g) {
    return std::vector<T>(g.data, g.data + g.count);
}

} // namespace qolsc::test
