// SPDX-License-Identifier: Apache-2.0
// What the noise filter holds of its signal: a ring of samples, and their energy over two windows.
#include "noise/pscnr.h"
#include "vector/simd.h"
#include "vector/vector.h"

#include <cstring>

namespace qolsc::noise {

using namespace simd;

namespace {

/// Blocks after which the energies are summed anew, so that their rounding doesn't pile up; those
/// of whole 16-bit numbers are exact.
constexpr Qol16s kSumEvery = 64;

Qol64f sumOfSquares(const Qol32f* x, Qol32s len) {
    Qol64f sum = 0;
    if (len > 0) {
        qolsDotProd_32f64f(x, x, len, &sum);
    }
    return sum;
}

/// Samples at place `from` of the ring and behind, in a row.
const Qol32f* inARow(const State& s, Qol32s from, Qol32s len, Qol32f* row) {
    const Qol32s first = s.historyCap - from;
    if (len <= first) {
        return s.pHistory + from;
    }
    std::memcpy(row, s.pHistory + from, static_cast<std::size_t>(first) * sizeof *row);
    std::memcpy(row + first, s.pHistory, static_cast<std::size_t>(len - first) * sizeof *row);
    return row;
}

void sumAnew(State& s) {
    Qol32f row[kMostWindow];
    const Qol32s n = s.historyCount < s.shortWindow ? s.historyCount : s.shortWindow;
    s.longEnergy = sumOfSquares(s.pHistory, s.historyCount);
    s.shortEnergy = energyOf(newest(s, n, 0, row), n);
    s.blocksToSum = kSumEvery;
}

} // namespace

Qol64f energyOf(const Qol32f* x, Qol32s len) {
    d256 sum = splatd(0);
    for (Qol32s i = 0; i < len; i += 4) {
        const d256 v = widened(x + i);
        sum = addd(sum, muld(v, v));
    }
    return sumd(sum);
}

const Qol32f* newest(const State& s, Qol32s len, Qol32s back, Qol32f* row) {
    const Qol32s from = s.historyEnd - len - back;
    return inARow(s, from < 0 ? from + s.historyCap : from, len, row);
}

void takeIn(State& s, const Qol32f* x) {
    Qol32f row[kBlock];
    const Qol64f added = energyOf(x, kBlock);
    if (s.historyCount >= s.shortWindow) {
        s.shortEnergy -= energyOf(newest(s, kBlock, s.shortWindow - kBlock, row), kBlock);
    }
    if (const Qol32s leaving = s.historyCount + kBlock - s.historyCap; leaving > 0) {
        // The oldest samples stand where the next one goes, but for the first time around.
        const Qol32s oldest = s.historyCount < s.historyCap ? 0 : s.historyEnd;
        s.longEnergy -= sumOfSquares(inARow(s, oldest, leaving, row), leaving);
        s.historyCount -= leaving;
    }
    s.shortEnergy += added;
    s.longEnergy += added;
    const Qol32s room = s.historyCap - s.historyEnd, n = room < kBlock ? room : kBlock;
    std::memcpy(s.pHistory + s.historyEnd, x, static_cast<std::size_t>(n) * sizeof *x);
    std::memcpy(s.pHistory, x + n, static_cast<std::size_t>(kBlock - n) * sizeof *x);
    s.historyEnd = n < kBlock ? kBlock - n : room == kBlock ? 0 : s.historyEnd + kBlock;
    s.historyCount += kBlock;
    s.isTransformed = 0;
    if (--s.blocksToSum <= 0) {
        sumAnew(s);
    }
}

} // namespace qolsc::noise
