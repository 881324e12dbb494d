// SPDX-License-Identifier: Apache-2.0
// Lengths and data on which the vector layer is tested.
#pragma once

#include "kit/data.h"

#include <limits>
#include <numeric>
#include <type_traits>

namespace qolsc::test {

inline std::vector<int> lengths() {
    std::vector<int> v(100);
    std::iota(v.begin(), v.end(), 1);
    v.insert(v.end(), {127, 128, 129, 1000, 4097});
    return v;
}

template <typename T>
T element(Random& r, bool extreme) {
    if constexpr (std::is_floating_point_v<T>) {
        static constexpr double kValues[] = {-1e30, -1, -0.0, 0.0, 1, 1e30, 1e-40, 0.5};
        return static_cast<T>(extreme ? kValues[next(r) % 8] : uniformReal(r, -100, 100));
    } else {
        constexpr auto lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
        const T kValues[] = {lo, static_cast<T>(lo + 1), static_cast<T>(-1), 0, 1, hi};
        return extreme ? kValues[next(r) % 6] : static_cast<T>(next(r));
    }
}
template <typename T>
std::vector<T> someVector(Random& r, int len, bool extreme) {
    std::vector<T> v(static_cast<std::size_t>(len));
    for (T& x : v) {
        x = element<T>(r, extreme);
    }
    return v;
}

/// Equal as bit patterns, but any NaN equals any other.
template <typename T>
bool same(T a, T b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0 || (a != a && b != b);
}

} // namespace qolsc::test
