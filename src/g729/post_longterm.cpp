// SPDX-License-Identifier: Apache-2.0
// Long-term post-filter of ITU-T G.729 (§4.2.1): search of the delay in steps of 1/8 sample, choice
// between the short and the long interpolation filter, gains.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"
#include "tables/g729_post.h"

namespace qolsc {
namespace {

using namespace basop;
using g729::dot40;
using g729::kSubframe;

constexpr int kHistory = 152; // longest delay 145 and half of the long filter behind it
constexpr int kPhases = 7;    // fractions 1/8..7/8
constexpr int kShortRow = 48; // 41 interpolated samples, rounded up to whole vectors

/// Numerator and denominator of the gain of one delay: 16-bit words and the right shifts that
/// made them.
struct Gain {
    Qol16s num = 0, den = 1;
    int shNum = 0, shDen = 0;
};

/// Outcome of the search: delay of 0 where no filter is to act.
struct Choice {
    int delay = 0;
    int phase = 0; // in eighths that the true delay lies below `delay`
    const Qol16s* y = nullptr;
    Gain gain;
};

/// Right shift that brings a positive 32-bit value to 15 bits; 0 where it fits.
int shiftTo15Bits(Qol32s x) {
    const int s = 16 - norm_l(x);
    return s > 0 ? s : 0;
}

/// The 192 samples with 12 significant bits and the sign, so that no doubled sum of 40 products
/// leaves 32 bits. Returns the right shift (negative: left) that was applied.
int justify13(const Qol16s* residual, Qol16s* scaled) {
    simd::i128 bits = simd::zero();
    for (int i = -kHistory; i < kSubframe; i += 8) {
        bits = _mm_or_si128(bits, _mm_abs_epi16(simd::load(residual + i)));
    }
    alignas(16) Qol16u lanes[8];
    simd::store(lanes, bits);
    unsigned all = 0;
    for (const Qol16u lane : lanes) {
        all |= lane;
    }
    // |-32768| has 16 bits as a word; the standard saturates it to 15.
    const int width = std::bit_width(all) < 15 ? std::bit_width(all) : 15;
    const int shift = all == 0 ? 3 : width - 12;
    const simd::i128 right = _mm_cvtsi32_si128(shift > 0 ? shift : 0),
                     left = _mm_cvtsi32_si128(shift < 0 ? -shift : 0);
    for (int i = 0; i < kHistory + kSubframe; i += 8) {
        const simd::i128 v = simd::load(residual - kHistory + i);
        simd::store(scaled + i, _mm_sll_epi16(_mm_sra_epi16(v, right), left));
    }
    return shift;
}

/// The 41 samples around each fraction between delay + 1 and delay, by the four-tap filters: row
/// p holds phase p + 1, its sample m is x[m + 1 - delay - i] summed over the taps i.
void interpolateShort(const Qol16s* x, int delay, Qol16s (*y)[kShortRow]) {
    simd::i128 taps[kPhases][2];
    for (int p = 0; p < kPhases; ++p) {
        const Qol16s* h = tables::g729::tab_hup_s[p];
        taps[p][0] = _mm_set1_epi32((h[0] & 0xFFFF) | h[1] * 65536);
        taps[p][1] = _mm_set1_epi32((h[2] & 0xFFFF) | h[3] * 65536);
    }
    const simd::i128 half = simd::splat32(1 << 14);
    const Qol16s* past = x + 1 - delay;
    for (int m = 0; m < kShortRow; m += 8) {
        const simd::i128 v0 = simd::load(past + m), v1 = simd::load(past + m - 1),
                         v2 = simd::load(past + m - 2), v3 = simd::load(past + m - 3);
        const simd::i128 lo01 = _mm_unpacklo_epi16(v0, v1), hi01 = _mm_unpackhi_epi16(v0, v1),
                         lo23 = _mm_unpacklo_epi16(v2, v3), hi23 = _mm_unpackhi_epi16(v2, v3);
        for (int p = 0; p < kPhases; ++p) {
            const simd::i128 lo = simd::add32(simd::maddPairs(lo01, taps[p][0]),
                                              simd::maddPairs(lo23, taps[p][1])),
                             hi = simd::add32(simd::maddPairs(hi01, taps[p][0]),
                                              simd::maddPairs(hi23, taps[p][1]));
            simd::store(y[p] + m, simd::packSat16(_mm_srai_epi32(simd::add32(lo, half), 15),
                                                  _mm_srai_epi32(simd::add32(hi, half), 15)));
        }
    }
}

/// True when c^2 / e of the first pair is greater than of the second.
bool better(Qol16s c, Qol16s e, Dpf cSquareBest, Qol16s eBest) {
    return Mpy_32_16(L_Extract(L_mult(c, c)), eBest) > Mpy_32_16(cSquareBest, e);
}

/// Best of the three integer delays around `centre`; 0 when none correlates.
int searchInteger(const Qol16s* x, int centre, Qol32s* pMax) {
    int best = 0;
    Qol32s max = 0;
    for (int delay = centre - 1; delay <= centre + 1; ++delay) {
        const Qol32s c = dot40(x, x - delay);
        if (c > max) {
            max = c;
            best = delay;
        }
    }
    *pMax = 2 * max;
    return best;
}

/// x points at the current subframe of the scaled signal; y gives room for the interpolations.
Choice searchDelay(int centre, const Qol16s* x, Qol16s (*y)[kShortRow]) {
    Choice none;
    const Qol32s energyX = 2 * dot40(x, x);
    Qol32s cInteger;
    const int delay = energyX == 0 ? 0 : searchInteger(x, centre, &cInteger);
    if (delay == 0) {
        return none;
    }
    const Qol32s eInteger = 2 * dot40(x - delay, x - delay);
    if (eInteger < 1) {
        return none;
    }

    interpolateShort(x, delay, y);
    Qol32s energy[kPhases][2], correlation[kPhases][2];
    Qol32s eMax = eInteger, cMax = cInteger;
    for (int p = 0; p < kPhases; ++p) {
        const Qol32s first = dot40(y[p], y[p]),
                     edges = y[p][kSubframe] * y[p][kSubframe] - y[p][0] * y[p][0];
        energy[p][0] = 2 * first;
        energy[p][1] = 2 * (first + edges);
        for (int side = 0; side < 2; ++side) {
            const Qol32s c = 2 * dot40(x, y[p] + side);
            correlation[p][side] = c < 0 ? 0 : c;
            eMax = energy[p][side] > eMax ? energy[p][side] : eMax;
            cMax = c > cMax ? c : cMax;
        }
    }
    const int shX = shiftTo15Bits(energyX);
    Gain best;
    best.shDen = shiftTo15Bits(eMax);
    // |c| is below the greater of the two energies, so their shift serves the correlations too.
    best.shNum = best.shDen > shX ? best.shDen : shX;
    best.num = static_cast<Qol16s>(cInteger >> best.shNum);
    best.den = static_cast<Qol16s>(eInteger >> best.shDen);
    Choice choice;
    choice.delay = delay;
    choice.y = x - delay;
    Dpf cSquare = L_Extract(L_mult(best.num, best.num));
    for (int p = 0; p < kPhases; ++p) {
        for (int side = 0; side < 2; ++side) {
            const auto c = static_cast<Qol16s>(correlation[p][side] >> best.shNum),
                       e = static_cast<Qol16s>(energy[p][side] >> best.shDen);
            if (better(c, e, cSquare, best.den)) {
                best.num = c;
                best.den = e;
                cSquare = L_Extract(L_mult(c, c));
                choice.delay = delay - side + 1;
                choice.phase = p + 1;
                choice.y = y[p] + side;
            }
        }
    }
    // Half the energy must be predicted: c^2 >= e0 e / 2, with the shifts of the words undone.
    if (best.num == 0 || best.den <= 1) {
        return none;
    }
    const int shift = 2 * best.shNum - best.shDen - shX + 1; // at least 1
    const Qol32s ee = L_mult(best.den, static_cast<Qol16s>(energyX >> shX));
    if (L_mult(best.num, best.num) < L_shr(ee, shift)) {
        return none;
    }
    choice.gain = best;
    return choice;
}

/// The signal of a fractional delay by the 16-tap filter, into y, and its gain.
Gain interpolateLong(const Qol16s* x, int delay, int phase, Qol16s* y) {
    const Qol16s* h = tables::g729::tab_hup_l[phase - 1];
    const Qol16s* past = x + 8 - delay;
    simd::i128 acc[kSubframe / 8][2] = {};
    for (int i = 0; i < 16; i += 2) {
        const simd::i128 taps = _mm_set1_epi32((h[i] & 0xFFFF) | h[i + 1] * 65536);
        for (int v = 0; v < kSubframe / 8; ++v) {
            const simd::i128 v0 = simd::load(past + 8 * v - i),
                             v1 = simd::load(past + 8 * v - i - 1);
            acc[v][0] = simd::add32(acc[v][0], simd::maddPairs(_mm_unpacklo_epi16(v0, v1), taps));
            acc[v][1] = simd::add32(acc[v][1], simd::maddPairs(_mm_unpackhi_epi16(v0, v1), taps));
        }
    }
    const simd::i128 half = simd::splat32(1 << 14);
    for (int v = 0; v < kSubframe / 8; ++v) {
        simd::store(y + 8 * v, simd::packSat16(_mm_srai_epi32(simd::add32(acc[v][0], half), 15),
                                               _mm_srai_epi32(simd::add32(acc[v][1], half), 15)));
    }
    const Qol32s c = 2 * dot40(x, y), e = 2 * dot40(y, y);
    Gain g;
    g.shNum = shiftTo15Bits(c < 0 ? 0 : c);
    g.shDen = shiftTo15Bits(e);
    g.num = static_cast<Qol16s>((c < 0 ? 0 : c) >> g.shNum);
    g.den = static_cast<Qol16s>(e >> g.shDen);
    return g;
}

/// True when the long filter predicts strictly better than the short one.
bool longIsBetter(const Gain& shortGain, const Gain& longGain) {
    if (longGain.den == 0) {
        return false;
    }
    const Qol32s s = Mpy_32_16(L_Extract(L_mult(shortGain.num, shortGain.num)), longGain.den);
    const Qol32s l = Mpy_32_16(L_Extract(L_mult(longGain.num, longGain.num)), shortGain.den);
    const int shift = 2 * (longGain.shNum - shortGain.shNum) + shortGain.shDen - longGain.shDen;
    return shift > 0 ? l > L_shr(s, shift) : L_shr(l, -shift) > s;
}

/// Weight of the undelayed signal, Q15: 1 / (1 + gamma min(num/den, 1)).
Qol16s gainOfSignal(Gain g, Qol16s gamma) {
    const int shift = g.shNum - g.shDen;
    const Qol16s num = shift < 0 ? shr(g.num, -shift) : g.num,
                 den = shift < 0 ? g.den : shr(g.den, shift);
    if (num >= den && gamma == 16384) {
        return 21845;
    }
    const Qol16s limited = num >= den ? den : num;
    const int half = den >> 1;
    const int part = gamma == 16384 ? limited >> 2 : mult_r(gamma, limited) >> 1;
    const int sum = half + part;
    return sum == half || sum < 1 ? Qol16s{32767} : static_cast<Qol16s>((half << 15) / sum);
}

void mix(Qol16s g, const Qol16s* x, const Qol16s* y, Qol16s* dst) {
    for (int n = 0; n < kSubframe; ++n) {
        dst[n] = saturate16((g * x[n] + (32768 - g) * y[n] + 16384) >> 15);
    }
}

/// Returns the delay, 0 where the residual passes unfiltered.
int longTermFilter(Qol16s gamma, int centre, const Qol16s* residual, Qol16s* dst) {
    // Room behind the subframe for whole vectors.
    alignas(16) Qol16s scaled[kHistory + kSubframe + 8];
    alignas(16) Qol16s yShort[kPhases][kShortRow], y[kSubframe];
    std::memset(scaled + kHistory + kSubframe, 0, 8 * sizeof(*scaled));
    const int shift = justify13(residual, scaled);
    const Qol16s* x = scaled + kHistory;
    Choice choice = searchDelay(centre, x, yShort);
    if (choice.delay == 0) {
        std::memcpy(dst, residual, kSubframe * sizeof(*dst));
        return 0;
    }
    if (choice.phase == 0) {
        std::memcpy(y, residual - choice.delay, sizeof(y));
    } else {
        const Gain longGain = interpolateLong(x, choice.delay, choice.phase, y);
        if (longIsBetter(choice.gain, longGain)) {
            choice.gain = longGain;
        } else {
            std::memcpy(y, choice.y, sizeof(y));
        }
        for (Qol16s& v : y) {
            v = shl(v, shift);
        }
    }
    mix(gainOfSignal(choice.gain, gamma), residual, y, dst);
    return choice.delay;
}

} // namespace

QolStatus qolsLongTermPostFilter_G729_16s(Qol16s gammaFactor, int valDelay,
                                          const Qol16s* pSrcResidual, Qol16s* pDst,
                                          Qol16s* pResultDelay) noexcept {
    if (anyNull(pSrcResidual, pDst, pResultDelay)) {
        return qolStsNullPtrErr;
    }
    if (valDelay < 18 || valDelay > 143 || static_cast<Qol16u>(gammaFactor) > 16384) {
        return qolStsSizeErr;
    }
    *pResultDelay = static_cast<Qol16s>(longTermFilter(gammaFactor, valDelay, pSrcResidual, pDst));
    return qolStsNoErr;
}

} // namespace qolsc
