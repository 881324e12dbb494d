// SPDX-License-Identifier: Apache-2.0
// Closed-loop pitch search of AMR, lag coding and decoding, adaptive vector.
// 3GPP TS 26.090 §5.6.1, §6.1; lost frames TS 26.091 §6.
#include "common/pitch_kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_pitch.h"
#include "numeric/basop.h"
#include "tables/gsm_pitch.h"
#include "vector/simd.h"

#include <algorithm>

namespace qolsc {

namespace amr {

using namespace basop;
using simd::i128;

namespace {

constexpr int kTaps = 10; // on either side of an interpolated sample

// Phase of the interpolation in sixths and the sample in front of it.
struct Phase {
    const Qol16s* x;
    int sixths;
};
Phase phaseOf(const Qol16s* exc, int lag, int frac, bool thirds) {
    const int sixths = thirds ? -2 * frac : -frac;
    return sixths < 0 ? Phase{exc - lag - 1, sixths + 6} : Phase{exc - lag, sixths};
}

Qol16s interpolated(Phase p, int n) {
    using tables::inter_6_l;
    Qol32s s = 0;
    for (int i = 0; i < kTaps; ++i) {
        s = L_mac(s, p.x[n - i], inter_6_l[p.sixths + 6 * i]);
        s = L_mac(s, p.x[n + 1 + i], inter_6_l[6 - p.sixths + 6 * i]);
    }
    return round_fx(s);
}

// The taps of one phase have magnitudes that sum up to 61708 at most, so that samples up to this
// never saturate a sum.
constexpr Qol16s kSafeSample = 17000;

bool allBelow(const Qol16s* first, int count, Qol16s limit) {
    i128 most = simd::zero();
    for (int i = 0; i < count; i += 8) {
        // Blocks of eight from the front, the last one flush with the end.
        const i128 x = simd::load(first + std::min(i, count - 8));
        most = _mm_max_epu16(most, _mm_abs_epi16(x));
    }
    const i128 above = _mm_subs_epu16(most, simd::splat16(limit));
    return _mm_testz_si128(above, above) != 0;
}

i128 interpolated8(const Qol16s* x, const i128* taps) {
    i128 lo = simd::splat32(0x4000), hi = lo;
    for (int i = 0; i < kTaps; ++i) {
        const i128 a = simd::load(x - i), b = simd::load(x + 1 + i);
        lo = simd::add32(lo, simd::maddPairs(_mm_unpacklo_epi16(a, b), taps[i]));
        hi = simd::add32(hi, simd::maddPairs(_mm_unpackhi_epi16(a, b), taps[i]));
    }
    return simd::packSat16(_mm_srai_epi32(lo, 15), _mm_srai_epi32(hi, 15));
}

} // namespace

void adaptiveVectorPlain(Qol16s* exc, int lag, int frac, bool thirds) {
    const Phase p = phaseOf(exc, lag, frac, thirds);
    for (int n = 0; n < kSubframe; ++n) {
        exc[n] = interpolated(p, n);
    }
}

void adaptiveVector(Qol16s* exc, int lag, int frac, bool thirds) {
    // Eight samples need nothing of themselves from lag 18 on.
    if (lag < 18) {
        adaptiveVectorPlain(exc, lag, frac, thirds);
        return;
    }
    const Phase p = phaseOf(exc, lag, frac, thirds);
    i128 taps[kTaps];
    for (int i = 0; i < kTaps; ++i) {
        taps[i] = _mm_unpacklo_epi16(simd::splat16(tables::inter_6_l[p.sixths + 6 * i]),
                                     simd::splat16(tables::inter_6_l[6 - p.sixths + 6 * i]));
    }
    for (int n = 0; n < kSubframe; n += 8) {
        if (allBelow(p.x + n - (kTaps - 1), 8 + 2 * kTaps - 1, kSafeSample)) {
            simd::store(exc + n, interpolated8(p.x + n, taps));
        } else {
            for (int k = n; k < n + 8; ++k) {
                exc[k] = interpolated(p, k);
            }
        }
    }
}

namespace {

constexpr int kMargin = 4; // lags on either side that the interpolation of the correlation needs

struct Lag {
    int whole;
    int frac;
};

// Correlation between two lags, c at the whole lag.
Qol16s interpolatedCorrelation(const Qol16s* c, int frac, bool thirds) {
    using tables::inter_6;
    int f = thirds ? 2 * frac : frac;
    if (f < 0) {
        f += 6;
        --c;
    }
    Qol32s s = 0;
    for (int i = 0; i < kMargin; ++i) {
        s = L_mac(s, c[-i], inter_6[f + 6 * i]);
        s = L_mac(s, c[1 + i], inter_6[6 - f + 6 * i]);
    }
    return round_fx(s);
}

// The best fraction of first..last, the first of equals; one that reaches half a step beyond the
// code's fractions belongs to the neighbouring lag.
Lag bestFraction(const Qol16s* c, int lag, int first, int last, bool thirds) {
    Qol16s most = interpolatedCorrelation(c, first, thirds);
    int best = first;
    for (int f = first + 1; f <= last; ++f) {
        const Qol16s v = interpolatedCorrelation(c, f, thirds);
        if (v > most) {
            most = v;
            best = f;
        }
    }
    if (!thirds) {
        return best == -3 ? Lag{lag - 1, 3} : Lag{lag, best};
    }
    return best == -2 ? Lag{lag - 1, 1} : best == 2 ? Lag{lag + 1, -1} : Lag{lag, best};
}

// The largest correlation in the window (the later of equals), then its fraction.
Lag searchLag(const Qol16s* value, LagWindow w, bool absolute, int prevLag, const LagRules& rules) {
    const auto at = [&](int t) { return value + kMargin + t - w.low; };
    int lag = w.low;
    for (int t = w.low + 1; t <= w.high; ++t) {
        if (*at(t) >= *at(lag)) {
            lag = t;
        }
    }
    int first = rules.firstFrac, last = rules.lastFrac;
    if (absolute) {
        if (lag > rules.maxFracLag) {
            return {lag, 0};
        }
    } else if (rules.fourBits) {
        const int p = fourBitReference(prevLag, w);
        if (lag < p - 2 || lag > p + 1) {
            return {lag, 0};
        }
        first = lag == p - 2 ? 0 : first;
        last = lag == p + 1 ? 0 : last;
    }
    return bestFraction(at(lag), lag, first, last, rules.thirds);
}

int lagIndex(Lag lag, LagWindow w, bool absolute, int prevLag, const LagRules& rules) {
    const int t = lag.whole, f = lag.frac;
    if (!rules.thirds) {
        return !absolute ? 6 * (t - w.low) + 3 + f : t <= 94 ? 6 * t - 105 + f : t + 368;
    }
    if (absolute) {
        return t <= 85 ? 3 * t - 58 + f : t + 112;
    }
    if (!rules.fourBits) {
        return 3 * (t - w.low) + 2 + f;
    }
    const int p = fourBitReference(prevLag, w);
    const int u = 3 * t + f, b = 3 * (p - 2);
    return u <= b ? t - p + 5 : u < 3 * (p + 1) ? u - b + 3 : t - p + 11;
}

// ---- decoding ----

Lag decodeSixths(int index, bool absolute, int lastLag) {
    const int q = ((index + 5) * 5462) >> 15; // (index + 5) / 6
    if (absolute) {
        return index < 463 ? Lag{q + 17, index - 6 * (q + 17) + 105} : Lag{index - 368, 0};
    }
    const LagWindow w = lagWindow(lastLag, 5, 9, 18);
    return {w.low + q - 1, index - 3 - 6 * (q - 1)};
}

Lag decodeThirds(int index, bool absolute, int prevLag, const LagRules& rules) {
    const int q = ((index + 2) * 10923) >> 15; // (index + 2) / 3
    if (absolute) {
        return index < 197 ? Lag{q + 19, index - 3 * (q + 19) + 58} : Lag{index - 112, 0};
    }
    const LagWindow w = lagWindow(prevLag, rules.deltaLow, rules.deltaRange, rules.minLag);
    if (!rules.fourBits) {
        return {w.low + q - 1, index - 2 - 3 * (q - 1)};
    }
    const int p = fourBitReference(prevLag, w);
    if (index < 4) {
        return {p - 5 + index, 0};
    }
    if (index < 12) {
        const int k = (((index - 5) * 10923) >> 15) - 1; // (index - 5) / 3 - 1, downwards
        return {p + k, index - 9 - 3 * k};
    }
    return {p + index - 11, 0};
}

/// The lags that the decoder carries from subframe to subframe.
struct LagMemory {
    Qol16s *pPrevLag, *pLtpLag, *pLag;
};

// Lag of the subframe after concealment; the memory moves on.
Lag decodeLag122(int index, bool absolute, bool bad, LagMemory m) {
    Lag lag = decodeSixths(index, absolute, *m.pLag);
    if (bad || (!absolute && index >= 61)) {
        *m.pLtpLag = static_cast<Qol16s>(lag.whole);
        lag = {*m.pPrevLag, 0};
    }
    return lag;
}

Lag decodeLagBelow122(int index, bool absolute, bool bad, bool keepDecoded, const LagRules& rules,
                      LagMemory m) {
    Lag lag = decodeThirds(index, absolute, *m.pPrevLag, rules);
    *m.pLtpLag = static_cast<Qol16s>(lag.whole);
    if (bad) {
        if (*m.pPrevLag < kMaxLag) {
            ++*m.pPrevLag;
        }
        lag = {keepDecoded ? *m.pLtpLag : *m.pPrevLag, 0};
    }
    return lag;
}

} // namespace

} // namespace amr

QolStatus qolsAdaptiveCodebookSearch_GSMAMR_16s(const Qol16s* pTarget, const Qol16s* pImpulse,
                                                const Qol16s* pOpenLoopLag, Qol16s* pPrevLag,
                                                Qol16s* pExc, Qol16s* pFrac, Qol16s* pLagIndex,
                                                Qol16s* pAdptVec, Qol16s valSubFrame,
                                                Qol32s valRate) noexcept {
    using namespace amr;
    if (anyNull(pTarget, pImpulse, pOpenLoopLag, pPrevLag, pExc, pFrac, pLagIndex, pAdptVec)) {
        return qolStsNullPtrErr;
    }
    if (valSubFrame < 0 || valSubFrame > 3) {
        return qolStsSizeErr;
    }
    if (!isSpeechRate(valRate)) {
        return qolStsRangeErr;
    }
    const LagRules rules = lagRulesOf(valRate);
    const bool absolute = isAbsolute(valSubFrame, valRate);
    const int prevLag = *pPrevLag;
    const LagWindow w = absolute
                            ? lagWindow(pOpenLoopLag[valSubFrame ? 1 : 0], rules.absoluteLow,
                                        rules.absoluteRange, rules.minLag)
                            : lagWindow(prevLag, rules.deltaLow, rules.deltaRange, rules.minLag);
    Qol16s* exc = pExc + kExcPast;
    Qol16s value[kMostWeightedLags];
    _qolsMeanSquareWeightedError_16s(exc, pTarget, pImpulse, w.low - kMargin, w.high + kMargin,
                                     value);
    const Lag lag = searchLag(value, w, absolute, prevLag, rules);
    *pPrevLag = static_cast<Qol16s>(lag.whole);
    *pFrac = static_cast<Qol16s>(lag.frac);
    *pLagIndex = static_cast<Qol16s>(lagIndex(lag, w, absolute, prevLag, rules));
    adaptiveVector(exc, lag.whole, lag.frac, rules.thirds);
    std::copy_n(exc, kSubframe, pAdptVec);
    return qolStsNoErr;
}

QolStatus qolsAdaptiveCodebookDecode_GSMAMR_16s(Qol32s valLagIndex, Qol16s* pPrevLag,
                                                Qol16s* pLtpLag, Qol16s* pExc, Qol16s* pLag,
                                                Qol16s* pAdptVec, Qol16s valSubFrame, Qol16s valBfi,
                                                Qol16s valBackgroundNoise, Qol16s valVoicedHangover,
                                                Qol32s valRate) noexcept {
    using namespace amr;
    if (anyNull(pPrevLag, pLtpLag, pExc, pLag, pAdptVec)) {
        return qolStsNullPtrErr;
    }
    if (valSubFrame < 0 || valSubFrame > 3) {
        return qolStsSizeErr;
    }
    if (!isSpeechRate(valRate) || (valRate != kRate122 && valLagIndex >= 512)) {
        return qolStsRangeErr;
    }
    const LagRules rules = lagRulesOf(valRate);
    const bool absolute = isAbsolute(valSubFrame, valRate);
    const int index = valLagIndex & 511;
    const bool keepDecoded = valBackgroundNoise != 0 && valVoicedHangover > 4 && valRate <= kRate59;
    const LagMemory memory = {pPrevLag, pLtpLag, pLag};
    const Lag lag = valRate == kRate122 ? decodeLag122(index, absolute, valBfi != 0, memory)
                                        : decodeLagBelow122(index, absolute, valBfi != 0,
                                                            keepDecoded, rules, memory);
    // Codes and memories that no encoder makes must not lead outside the buffer. Lag 144 is the
    // neighbour that fractions below it belong to.
    const int whole = std::clamp(lag.whole, kTaps + 1, kMaxLag + 1);
    *pLag = static_cast<Qol16s>(whole);
    Qol16s* exc = pExc + kExcPast;
    adaptiveVector(exc, whole, lag.frac, rules.thirds);
    std::copy_n(exc, kSubframe, pAdptVec);
    return qolStsNoErr;
}

} // namespace qolsc
