// SPDX-License-Identifier: Apache-2.0
// Vector form of the integer DCT-IV of ITU-T G.722.1. All passes go from one buffer to another, so
// the last group of four of a block that isn't a multiple of four long just overlaps the one
// before.
#include "waveform/g7221dct.h"

#include "numeric/basop.h"
#include "tables/g7221.h"
#include "vector/simd.h"
#include "waveform/g7221tables.h"

#include <cstring>
#include <utility>

namespace qolsc {

namespace {

using simd::i128;

constexpr int kCore = kDctCore;

/// Four 16-bit values in the low half reversed.
i128 reverse4(i128 v) { return _mm_shufflelo_epi16(v, 0x1B); }

/// Stores four sums in rising order at pLow and four differences in falling order in front of
/// pHighEnd.
void storeSplit(i128 sums, i128 differences, Qol16s* pLow, Qol16s* pHighEnd) {
    const i128 v = simd::packSat16(sums, differences);
    simd::storeLow64(pLow, v);
    simd::storeLow64(pHighEnd - 4, reverse4(_mm_unpackhi_epi64(v, v)));
}

/// Calls f(j) for groups of four of 0..count-1, the last moved back to end at count.
template <typename F>
void inFours(int count, F f) {
    for (int j = 0; j + 4 <= count; j += 4) {
        f(j);
    }
    if (count % 4 != 0) {
        f(count - 4);
    }
}

// ---- butterflies ----

i128 sumPairs() { return _mm_set1_epi32(0x00010001); }
i128 differPairs() { return _mm_set1_epi32(static_cast<int>(0xFFFF0001)); }

/// Halved sums and differences of neighbours, exact to 17 bits before the shift.
void downHalved(const Qol16s* pIn, Qol16s* pOut, int len, int span) {
    for (int b = 0; b < len; b += span) {
        inFours(span / 2, [&](int j) {
            const i128 x = simd::load(pIn + b + 2 * j);
            storeSplit(_mm_srai_epi32(simd::maddPairs(x, sumPairs()), 1),
                       _mm_srai_epi32(simd::maddPairs(x, differPairs()), 1), pOut + b + j,
                       pOut + b + span - j);
        });
    }
}

/// The inverse's first butterfly: the dither goes to the first of each pair.
void downDithered(const Qol16s* pIn, Qol16s* pOut, const Qol16s* pDither, int len) {
    inFours(len / 2, [&](int j) {
        const i128 x = simd::load(pIn + 2 * j), d = simd::load(pDither + 2 * j);
        const i128 forSum = simd::addSat16(x, _mm_and_si128(d, _mm_set1_epi32(0xFFFF)));
        const i128 forDifference = simd::addSat16(x, _mm_srli_epi32(d, 16));
        storeSplit(_mm_srai_epi32(simd::maddPairs(forSum, sumPairs()), 1),
                   _mm_srai_epi32(simd::maddPairs(forDifference, differPairs()), 1), pOut + j,
                   pOut + len - j);
    });
}

/// Saturated sums and differences; the subtrahend is negated with saturation first, so -32768
/// counts as -32767.
void downSaturated(const Qol16s* pIn, Qol16s* pOut, int len, int span) {
    const i128 floor = _mm_set1_epi32(static_cast<int>(0x80018000));
    for (int b = 0; b < len; b += span) {
        inFours(span / 2, [&](int j) {
            const i128 x = simd::load(pIn + b + 2 * j);
            storeSplit(simd::maddPairs(x, sumPairs()),
                       simd::maddPairs(_mm_max_epi16(x, floor), differPairs()), pOut + b + j,
                       pOut + b + span - j);
        });
    }
}

// ---- core ----

/// Core matrix as pairs of rows, outputs padded to twelve.
struct CorePairs {
    alignas(16) Qol16s row[kCore / 2][24];
    int peak;
};
constexpr CorePairs corePairs(const std::array<Qol16s, kCore * kCore>& core) {
    CorePairs t{};
    for (int i = 0; i < kCore; ++i) {
        for (int k = 0; k < kCore; ++k) {
            const int v = core[static_cast<unsigned>(kCore * i + k)];
            t.row[i / 2][2 * k + i % 2] = static_cast<Qol16s>(v);
            t.peak = (v < 0 ? -v : v) > t.peak ? (v < 0 ? -v : v) : t.peak;
        }
    }
    return t;
}
constexpr CorePairs kCoreFwd = corePairs(tables::dct_core_a);
constexpr CorePairs kCoreInv = corePairs(tables::dct_core_s);

/// Ten-point core with a plain accumulator.
void coreBlock(const Qol16s* pIn, Qol16s* pOut, const CorePairs& core) {
    i128 acc[3] = {simd::splat32(1 << 14), simd::splat32(1 << 14), simd::splat32(1 << 14)};
    for (int i = 0; i < kCore / 2; ++i) {
        Qol32s pair;
        std::memcpy(&pair, pIn + 2 * i, sizeof(pair));
        const i128 x = simd::splat32(pair);
        for (int k = 0; k < 3; ++k) {
            acc[k] = simd::add32(acc[k], simd::maddPairs(x, simd::load(core.row[i] + 8 * k)));
        }
    }
    simd::store(pOut, simd::packSat16(_mm_srai_epi32(acc[0], 15), _mm_srai_epi32(acc[1], 15)));
    const i128 last = _mm_srai_epi32(acc[2], 15);
    const Qol32s two = _mm_cvtsi128_si32(simd::packSat16(last, last));
    std::memcpy(pOut + 8, &two, sizeof(two));
}

/// The accumulator of the definition saturates at every step. It can't while peak * sum of
/// magnitudes stays below 2^30 (products are doubled, and the rounding bit needs its place).
bool coreFits(const Qol16s* pIn, const CorePairs& core) {
    int sum = 0;
    for (int i = 0; i < kCore; ++i) {
        sum += pIn[i] < 0 ? -pIn[i] : pIn[i];
    }
    return sum < ((1 << 30) - (1 << 15)) / core.peak;
}

void corePass(const Qol16s* pIn, Qol16s* pOut, int len, const CorePairs& pairs,
              const Qol16s* pCore) {
    for (int b = 0; b < len; b += kCore) {
        if (coreFits(pIn + b, pairs)) {
            coreBlock(pIn + b, pOut + b, pairs);
        } else {
            dctCorePlain(pIn + b, pOut + b, pCore);
        }
    }
}

// ---- rotations ----

/// Rotates the halves of every block into each other. |c l + m u| stays below 1.4 * 2^30, the
/// tables' pairs being shorter than 29900, so sums don't overflow and saturate only in the packing.
template <int Shift>
void rotate(const Qol16s* pIn, Qol16s* pOut, const Qol16s* pTable, int len, int span) {
    const int h = span / 2;
    const i128 half = simd::splat32(1 << (Shift - 1));
    // Even outputs take (c, -m) and (m, c), odd ones (c, m) and (m, -c). Groups begin at even j.
    const i128 lowSigns = _mm_setr_epi16(1, -1, 1, 1, 1, -1, 1, 1);
    const i128 highSigns = _mm_setr_epi16(1, 1, 1, -1, 1, 1, 1, -1);
    for (int b = 0; b < len; b += span) {
        inFours(h, [&](int j) {
            const i128 lu =
                _mm_unpacklo_epi16(simd::loadLow64(pIn + b + j), simd::loadLow64(pIn + b + h + j));
            const i128 cm = simd::load(pTable + 2 * j);
            const i128 mc = _mm_shufflehi_epi16(_mm_shufflelo_epi16(cm, 0xB1), 0xB1);
            const i128 lo = simd::maddPairs(lu, _mm_sign_epi16(cm, lowSigns));
            const i128 hi = simd::maddPairs(lu, _mm_sign_epi16(mc, highSigns));
            storeSplit(_mm_srai_epi32(simd::add32(lo, half), Shift),
                       _mm_srai_epi32(simd::add32(hi, half), Shift), pOut + b + j,
                       pOut + b + span - j);
        });
    }
}

/// Room behind the data for loads and stores of whole vectors.
struct Buffer {
    alignas(16) Qol16s x[kDctLong + 8];
};

void addBias(const Qol16s* pSrc, const Qol16s* pBias, Qol16s* pDst) {
    for (int i = 0; i < kDctShort; i += 8) {
        simd::store(pDst + i, simd::addSat16(simd::load(pSrc + i), simd::load(pBias + i)));
    }
}

} // namespace

void ownDCTFwd_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, int len) {
    Buffer buffers[2];
    Qol16s *in = buffers[0].x, *out = buffers[1].x;
    const auto pass = [&] { std::swap(in, out); };
    if (len == kDctShort) {
        addBias(pSrc, tables::cnstAnalBias_G722, in);
    } else {
        std::memcpy(in, pSrc, static_cast<std::size_t>(len) * sizeof(Qol16s));
    }
    const int levels = dctLevels(len);
    for (int s = 0; s < levels; ++s, pass()) {
        downHalved(in, out, len, len >> s);
    }
    corePass(in, out, len, kCoreFwd, tables::dct_core_a.data());
    pass();
    for (int s = levels - 1; s >= 0; --s, pass()) {
        rotate<15>(in, out, dctRotations(kDctRotateFwd, len >> s), len, len >> s);
    }
    std::memcpy(pDst, in, static_cast<std::size_t>(len) * sizeof(Qol16s));
}

void ownDCTInv_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, int len) {
    Buffer buffers[2];
    Qol16s *in = buffers[0].x, *out = buffers[1].x;
    const auto pass = [&] { std::swap(in, out); };
    const int levels = dctLevels(len);
    downDithered(pSrc, in,
                 len == kDctShort ? tables::dct_s_dither_7kHz : tables::dct_s_dither_14kHz, len);
    for (int s = 1; s < levels; ++s, pass()) {
        downSaturated(in, out, len, len >> s);
    }
    corePass(in, out, len, kCoreInv, tables::dct_core_s.data());
    pass();
    for (int s = levels - 1; s >= 0; --s, pass()) {
        rotate<14>(in, out, dctRotations(kDctRotateInv, len >> s), len, len >> s);
    }
    if (len == kDctShort) {
        addBias(in, tables::cnstSynthesisBias7khz_G722, pDst);
    } else {
        std::memcpy(pDst, in, static_cast<std::size_t>(len) * sizeof(Qol16s));
    }
}

} // namespace qolsc
