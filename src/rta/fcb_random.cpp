// SPDX-License-Identifier: Apache-2.0
// Random codebook search of the RTA family: the stretch of a fixed table whose filtered form fits
// the target best. Neighbouring entries are shifted by one sample, so the filtered vector goes on
// by recursion.
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/vector.h"

#include <array>
#include <cmath>
#include <cstring>

namespace qolsc {

namespace {

constexpr int kTableSize = 1000, kEntriesPerSet = 256, kSets = 3, kGainModes = 5;

/// The library's own random numbers, uniform in (-1, 1): eight given ones, then the linear
/// congruential generator x = 1664525 x + 1013904223 modulo 2^32 from x = 1, its upper 24 bits
/// centred.
constexpr std::array<Qol32f, kTableSize> random_cb_32f = [] {
    std::array<Qol32f, kTableSize> t{-0.185012996f, -0.150405005f, -0.707266986f, -0.284099996f,
                                     0.882897973f,  -0.788627028f, 0.061005f,     0.374431014f};
    Qol32u x = 1;
    for (int i = 8; i < kTableSize; ++i) {
        x = 1664525u * x + 1013904223u;
        t[static_cast<std::size_t>(i)] = (static_cast<Qol32f>(x >> 8) + 0.5f) * 0x1p-23f - 1.0f;
    }
    return t;
}();

/// Correlation with the target and energy of a filtered entry.
struct Score {
    Qol32f cor, en;
    int entry;
};

/// Count of the values from start on that the table holds; beyond it entries read as 0.
int stored(int start, Qol32s len) { return len < kTableSize - start ? len : kTableSize - start; }

Score scoreInDouble(const Qol32f* pTarget, const Qol32f* y, Qol32s len, int entry) {
    Qol64f cor = 0, en = 0;
    qolsDotProd_32f64f(pTarget, y, len, &cor);
    qolsDotProd_32f64f(y, y, len, &en);
    return {static_cast<Qol32f>(cor), static_cast<Qol32f>(en), entry};
}

/// The filtered vector of the entry one sample further down: shifted, the new first sample s
/// filtered in.
void stepDown(const Qol32f* pImp, Qol32f s, Qol32f* y, Qol32s len) {
    for (Qol32s m = len - 1; m > 0; --m) {
        y[m] = y[m - 1] + s * pImp[m];
    }
    y[0] = s * pImp[0];
}

Qol32f gainOf(const Score& best, const Qol32f* pTarget, Qol32s len, Qol32s gainMode) {
    constexpr Qol32f kFloor[kGainModes] = {0, 0, 0.7f, 0.55f, 0.45f};
    const Qol32f g = best.en != 0 ? best.cor / best.en : 0.0f;
    if (gainMode < 2) {
        return gainMode == 1 ? 0.7f * g : g;
    }
    Qol64f energy = 0;
    qolsDotProd_32f64f(pTarget, pTarget, len, &energy);
    // r stays 0 where there is nothing to scale; the floor keeps the excitation's energy from
    // collapsing.
    const Qol32f r =
        best.en != 0 && energy != 0 ? std::sqrt(static_cast<Qol32f>(energy) / best.en) : 0.0f;
    const Qol32f floor = kFloor[gainMode] * r;
    return g > floor ? g : floor;
}

} // namespace

QolStatus qolsFixedCodebookSearchRandom_RTA_32f(const Qol32f* pTarget, const Qol32f* pImp,
                                                Qol32f* pExc, Qol32s len, Qol32s* pIndex,
                                                Qol32f* pGain, Qol32s numEntries, Qol32s tableSet,
                                                Qol32s gainMode) noexcept {
    if (anyNull(pTarget, pImp, pExc) || anyNull(pIndex) || anyNull(pGain)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (tableSet < 0 || tableSet >= kSets || gainMode < 0 || gainMode >= kGainModes ||
        numEntries < 1 || numEntries > kEntriesPerSet) {
        return qolStsRangeErr;
    }
    const int first = kEntriesPerSet * tableSet;
    const int start = first + numEntries - 1;
    Qol32f* y = pExc; // the filtered vector lies in the output until the entry itself goes there
    qolsConvBiased_32f(pImp, len, random_cb_32f.data() + start, stored(start, len), y, len, 0);
    Score best = scoreInDouble(pTarget, y, len, numEntries - 1);
    for (int e = numEntries - 2; e >= 0; --e) {
        stepDown(pImp, random_cb_32f[static_cast<std::size_t>(first + e)], y, len);
        Score s{0, 0, e};
        qolsDotProd_32f(pTarget, y, len, &s.cor);
        qolsDotProd_32f(y, y, len, &s.en);
        if (s.cor * s.cor * best.en > s.en * best.cor * best.cor) {
            best = s;
        }
    }
    const int from = first + best.entry, n = stored(from, len);
    std::memcpy(pExc, random_cb_32f.data() + from, static_cast<std::size_t>(n) * sizeof *pExc);
    std::memset(pExc + n, 0, static_cast<std::size_t>(len - n) * sizeof *pExc);
    *pIndex = best.entry;
    *pGain = gainOf(best, pTarget, len, gainMode);
    return qolStsNoErr;
}

} // namespace qolsc
