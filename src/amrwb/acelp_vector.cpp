// SPDX-License-Identifier: Apache-2.0
// Vector forms of the kernels of the algebraic codebook search, for data whose sums can't saturate.
#include "amrwb/acelp.h"
#include "vector/simd.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace qolsc::acelp {

using namespace basop;
using namespace simd;

namespace {

/// Four sums of four lanes each, in order.
i128 sumsOfFour(i128 a, i128 b, i128 c, i128 d) {
    return _mm_hadd_epi32(_mm_hadd_epi32(a, b), _mm_hadd_epi32(c, d));
}

/// mult(v, +-1): positive values lose one under a positive sign, -32768 saturates under a negative
/// one. negative: -1 in lanes with a negative sign.
i128 signedLanes(i128 v, i128 negative) {
    const i128 plus = add16(v, _mm_cmpgt_epi16(v, zero()));
    return _mm_blendv_epi8(plus, subSat16(zero(), v), negative);
}

/// mult(v, v); only -32768 saturates.
i128 squares(i128 v) {
    const i128 low = _mm_srli_epi16(_mm_mullo_epi16(v, v), 15),
               high = _mm_slli_epi16(_mm_mulhi_epi16(v, v), 1);
    return _mm_min_epu16(_mm_or_si128(low, high), splat16(MAX_16));
}

/// Lanes (0..7, a bit each) in which square * best.energy exceeds energy * best.square: one product
/// pair a lane, which can't overflow since squares aren't negative.
unsigned betterLanes(i128 square, i128 energy, const Best& best) {
    const i128 pair =
        splat32(static_cast<Qol32s>(static_cast<Qol32u>(static_cast<Qol16u>(best.energy)) |
                                    static_cast<Qol32u>(static_cast<Qol16u>(-best.square)) << 16));
    const i128 low = maddPairs(_mm_unpacklo_epi16(square, energy), pair),
               high = maddPairs(_mm_unpackhi_epi16(square, energy), pair);
    const i128 more = _mm_packs_epi32(_mm_cmpgt_epi32(low, zero()), _mm_cmpgt_epi32(high, zero()));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(more, zero())));
}

/// Takes the better ones of eight pairs (x, y .. y + 7), in order: the first better lane becomes
/// the best, and the lanes behind it are tried again against it.
void takeBetter(i128 square, i128 energy, int x, int y, Best& best) {
    unsigned lanes = betterLanes(square, energy, best);
    if (lanes == 0) {
        return;
    }
    alignas(16) Qol16s squareOf[8], energyOf[8];
    store(squareOf, square);
    store(energyOf, energy);
    unsigned untried = 0xFF;
    while (lanes != 0) {
        const int k = std::countr_zero(lanes);
        best = {squareOf[k], energyOf[k], x, y + k};
        untried &= 0xFEu << k;
        lanes = betterLanes(square, energy, best) & untried;
    }
}

/// Takes the signs of both pulses into the products.
template <int Tracks>
void foldSigns(Work& w) {
    constexpr int places = kLength / Tracks;
    const int rowTracks = Tracks == 2 ? 1 : Tracks;
    for (int t = 0; t < rowTracks; ++t) {
        const Qol16s* signX = w.sign + t * places;
        const Qol16s* signY = w.sign + (t + 1) % Tracks * places;
        for (int x = 0; x < places; ++x) {
            Qol16s* row = w.xy + (t * places + x) * places;
            const i128 own = splat16(signX[x]);
            for (int y = 0; y < places; y += 8) {
                store(row + y, signedLanes(load(row + y), _mm_xor_si128(own, load(signY + y))));
            }
        }
    }
}

} // namespace

Qol64s energyOf(const Qol16s* v) {
    i128 sum = zero();
    for (int n = 0; n < kLength; n += 8) {
        const i128 x = load(v + n);
        const i128 pairs = maddPairs(x, x); // 2^31 at most: unsigned
        sum = add64(sum, _mm_unpacklo_epi32(pairs, zero()));
        sum = add64(sum, _mm_unpackhi_epi32(pairs, zero()));
    }
    return sum64(sum);
}

void correlateTarget_noOverflow(const Qol16s* target, const Qol16s* h, Qol32s* y) {
    alignas(16) Qol16s padded[2 * kLength];
    std::memcpy(padded, target, kLength * sizeof(Qol16s));
    std::memset(padded + kLength, 0, kLength * sizeof(Qol16s));
    for (int i = 0; i < kLength; i += 4) {
        i128 sum[4] = {zero(), zero(), zero(), zero()};
        for (int n = 0; n < kLength - i; n += 8) {
            const i128 response = load(h + n);
            for (int k = 0; k < 4; ++k) {
                sum[k] = add32(sum[k], maddPairs(response, load(padded + i + k + n)));
            }
        }
        const i128 s = sumsOfFour(sum[0], sum[1], sum[2], sum[3]);
        store(y + i, add32(_mm_slli_epi32(s, 1), splat32(1)));
    }
}

template <int Tracks>
void correlationTables_noOverflow(Work& w) {
    constexpr int places = kLength / Tracks;
    const Qol16s* h = w.response + kLength;
    const auto at = [](int p) { return (p % Tracks) * places + p / Tracks; };

    Qol32s energy = Tracks == 2 ? 0x10000 : 0x8000;
    for (int p = kLength - 1; p >= 0; --p) {
        energy += 2 * h[kLength - 1 - p] * h[kLength - 1 - p];
        w.xx[at(p)] = static_cast<Qol16s>(energy >> (Tracks == 2 ? 17 : 16));
    }

    // Every Tracks-th sample of the response in 32 bits, so that one step n extends the sums of all
    // distances first, first + Tracks, .. at once. 0 behind the end.
    alignas(16) Qol32s apart[Tracks][places + 8] = {};
    for (int n = 0; n < kLength; ++n) {
        apart[n % Tracks][n / Tracks] = h[n];
    }
    for (int first = 1; first < Tracks; first += 2) {
        i128 sums[places / 4];
        std::fill_n(sums, places / 4, splat32(0x4000));
        for (int n = 0; n + first < kLength; ++n) {
            const int p = kLength - 1 - n; // the later position of all these pairs
            const int top = (p - first) / Tracks;
            const Qol32s* shifted = apart[(n + first) % Tracks] + (n + first) / Tracks;
            const i128 sample = splat32(static_cast<Qol16u>(h[n]));
            alignas(16) Qol16s values[places];
            for (int k = 0; k <= top; k += 8) {
                i128& low = sums[k / 4];
                i128& high = sums[k / 4 + 1];
                low = add32(low, maddPairs(load(shifted + k), sample));
                high = add32(high, maddPairs(load(shifted + k + 4), sample));
                store(values + k, packSat16(_mm_srai_epi32(low, 15), _mm_srai_epi32(high, 15)));
            }
            // values[k] belongs to the earlier position p - first - Tracks * k.
            const int track = p % Tracks, earlier = (p - first) % Tracks;
            const bool forward = Tracks == 2 ? track == 0 : (track + 1) % Tracks == earlier;
            if (forward) {
                Qol16s* row = w.xy + (track * places + p / Tracks) * places;
                for (int k = 0; k <= top; ++k) {
                    row[top - k] = values[k];
                }
            } else {
                Qol16s* column = w.xy + earlier * places * places + p / Tracks;
                for (int k = 0; k <= top; ++k) {
                    column[(top - k) * places] = values[k];
                }
            }
        }
    }
    foldSigns<Tracks>(w);
}
template void correlationTables_noOverflow<2>(Work&);
template void correlationTables_noOverflow<4>(Work&);

void selectPlaces_vector(Work& w, Qol16s* posMax) {
    for (int t = 0; t < kTracks; ++t) {
        Qol16s* mark = w.mark + t * kPlaces;
        // The least of 32767 - mark, the earliest of equals; ranked places count as the greatest.
        alignas(16) Qol16s keys[kPlaces];
        store(keys, _mm_sub_epi16(splat16(MAX_16), load(mark)));
        store(keys + 8, _mm_sub_epi16(splat16(MAX_16), load(mark + 8)));
        for (int k = 0; k < 8; ++k) {
            const auto a = static_cast<Qol32u>(_mm_cvtsi128_si32(_mm_minpos_epu16(load(keys)))),
                       b = static_cast<Qol32u>(_mm_cvtsi128_si32(_mm_minpos_epu16(load(keys + 8))));
            const bool upper = (b & 0xFFFF) < (a & 0xFFFF);
            const int best =
                upper ? static_cast<int>(b >> 16 & 7) + 8 : static_cast<int>(a >> 16 & 7);
            keys[best] = -1;
            mark[best] = static_cast<Qol16s>(k - 8);
            if (k == 0) {
                posMax[t] = static_cast<Qol16s>(best * kTracks + t);
            }
        }
    }
}

void stageCorrelation_noOverflow(const Work& w, int track, Qol16s* cor) {
    const Qol16s* h = w.response + kLength;
    i128 rounded[4];
    for (int group = 0; group < 4; ++group) {
        const Qol16s* vec = w.vec + group * 16 + track;
        i128 sum[4] = {zero(), zero(), zero(), zero()};
        for (int n = 0; n < kLength - group * 16; n += 8) {
            const i128 response = load(h + n);
            for (int k = 0; k < 4; ++k) {
                sum[k] = add32(sum[k], maddPairs(response, load(vec + 4 * k + n)));
            }
        }
        // Doubled twice and rounded to the upper half.
        rounded[group] =
            _mm_srai_epi32(add32(sumsOfFour(sum[0], sum[1], sum[2], sum[3]), splat32(0x2000)), 14);
    }
    const Qol16s* sign = w.sign + track * kPlaces;
    const Qol16s* xx = w.xx + track * kPlaces;
    for (int half = 0; half < 2; ++half) {
        const i128 z = packSat16(rounded[2 * half], rounded[2 * half + 1]);
        store(cor + 8 * half, addSat16(signedLanes(z, load(sign + 8 * half)), load(xx + 8 * half)));
    }
}

void searchPair_alpBelow24575(const Work& w, const Stage& stage, const Qol16s* corX,
                              const Qol16s* corY, Best& best) {
    const Qol16s* dnX = w.dn + stage.trackX * kPlaces;
    const Qol16s* dnY = w.dn + stage.trackY * kPlaces;
    const Qol16s* mark = w.mark + stage.trackX * kPlaces;
    // All terms of the energy are multiples of 2^13: in that unit 32 bits hold every sum, and the
    // saturation of the last one is that of packing to 16 bits.
    const int start = 8 * stage.alp + 4;
    i128 energyY[4];
    for (int k = 0; k < 4; ++k) {
        energyY[k] = widenLow(loadLow64(corY + 4 * k));
    }
    const i128 dn0 = load(dnY), dn1 = load(dnY + 8);
    for (int x = 0; x < kPlaces; ++x) {
        if (mark[x] >= stage.count - 8) {
            continue;
        }
        const Qol16s* xy = w.xy + (stage.trackX * kPlaces + x) * kPlaces;
        const i128 energyX = splat32(start + corX[x]);
        const i128 one = splat16(add(stage.ps, dnX[x]));
        i128 e[4];
        for (int k = 0; k < 4; ++k) {
            const i128 cross = _mm_slli_epi32(widenLow(loadLow64(xy + 4 * k)), 1);
            e[k] = _mm_srai_epi32(add32(add32(energyX, energyY[k]), cross), 3);
        }
        takeBetter(squares(addSat16(one, dn0)), packSat16(e[0], e[1]), x, 0, best);
        takeBetter(squares(addSat16(one, dn1)), packSat16(e[2], e[3]), x, 8, best);
    }
}

void searchTwoTracks_vector(const Work& w, Best& best) {
    constexpr int places = kLength / 2;
    for (int x = 0; x < places; ++x) {
        const i128 one = splat16(w.dn[x]), energyX = splat16(w.xx[x]);
        for (int y = 0; y < places; y += 8) {
            const i128 energy =
                addSat16(energyX, addSat16(load(w.xx + places + y), load(w.xy + x * places + y)));
            takeBetter(squares(addSat16(one, load(w.dn + places + y))), energy, x, y, best);
        }
    }
}

} // namespace qolsc::acelp
