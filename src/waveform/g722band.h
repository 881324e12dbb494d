// SPDX-License-Identifier: Apache-2.0
// One band of the G.722 ADPCM: scale factor, predictors and their adaptation (ITU-T G.722 clauses
// 3.3 to 3.6, in the integer form of clause 6.2). The plain definition.
#pragma once

#include "numeric/rules.h"
#include "tables/g722.h"
#include "waveform/g722.h"

#include <array>

namespace qolsc::g722 {

enum class BandId { low, high };

/// What one band carries from sample to sample.
struct Band {
    Qol16s a1, a2;        ///< pole predictor, Q14
    Qol16s b[6];          ///< zero predictor, Q14
    Qol16s d[6];          ///< quantised differences, newest first
    Qol16s det, nb;       ///< scale factor and its logarithm, Q11
    Qol16s p, p1, p2;     ///< partial reconstructed signal: now, last, the one before
    Qol16s r, r1, r2;     ///< reconstructed signal
    Qol16s dq, sz, sp, s; ///< difference, predictions of zeros, poles, both
};

/// Scale factor of a logarithm (LIMIT and SCALE of clause 3.3): the lower band's table starts two
/// octaves higher.
template <BandId B>
constexpr Qol16s scaleFactor(Qol16s nb) {
    const int i = (nb >> 6) + (B == BandId::low ? 64 : 0);
    return static_cast<Qol16s>(tables::table_ila[i] * 4 + 4);
}

/// The record's index range would allow a forged logarithm to leave the table, so it is held to
/// what the adaptation can give.
template <BandId B>
inline constexpr Qol16s kNbMax = B == BandId::low ? 18432 : 22528;

/// Quantised difference of a signed relative level (Q12).
constexpr Qol16s scaled(Qol16s det, int level) { return static_cast<Qol16s>((det * level) >> 12); }

constexpr Qol16s limit(int x, int lo, int hi) {
    return static_cast<Qol16s>(x < lo ? lo : x > hi ? hi : x);
}

/// 128 (or v) for equal signs, else its negative.
constexpr int signedStep(Qol16s x, Qol16s y, int v) { return (x < 0) == (y < 0) ? v : -v; }

/// Logarithmic scale factor one step on.
template <BandId B>
inline void adaptScale(Band& s, int step) {
    s.nb = limit(wrap16(((s.nb * 127) >> 7) + step), 0, kNbMax<B>);
    s.det = scaleFactor<B>(s.nb);
}

/// Zero predictor: six signed gradient steps, leak 2^-8 (UPZERO), then the new prediction (FILTEZ).
inline void adaptZeros(Band& s) {
    const int g = s.dq == 0 ? 0 : 128;
    for (int i = 0; i < 6; ++i) {
        s.b[i] = wrap16(((s.b[i] * 32640) >> 15) + signedStep(s.dq, s.d[i], g));
    }
    for (int i = 5; i > 0; --i) {
        s.d[i] = s.d[i - 1];
    }
    s.d[0] = s.dq;
    int sum = 0;
    for (int i = 0; i < 6; ++i) {
        sum += (s.b[i] * s.d[i]) >> 14;
    }
    s.sz = saturate16(sum);
}

/// Pole predictor with its stability triangle (UPPOL2, UPPOL1), then the new prediction (FILTEP).
inline void adaptPoles(Band& s) {
    int f = saturate16(s.a1 * 4);
    if ((s.p < 0) == (s.p1 < 0)) {
        f = f == -32768 ? 32767 : -f;
    }
    const int a2 = (f >> 7) + signedStep(s.p, s.p2, 128) + ((s.a2 * 127) >> 7);
    s.a2 = limit(wrap16(a2), -12288, 12288);
    const int a1 = signedStep(s.p, s.p1, 192) + ((s.a1 * 32640) >> 15);
    s.a1 = limit(wrap16(a1), s.a2 - 15360, 15360 - s.a2);
    s.p2 = s.p1;
    s.p1 = s.p;
    s.sp = saturate16(((saturate16(2 * s.r) * s.a1) >> 15) + ((saturate16(2 * s.r1) * s.a2) >> 15));
    s.r2 = s.r1;
    s.r1 = s.r;
}

/// All that follows from a quantised difference and its logarithmic step.
template <BandId B>
inline void adapt(Band& s, Qol16s dq, int step) {
    s.dq = dq;
    adaptScale<B>(s, step);
    s.p = wrap16(dq + s.sz);
    s.r = wrap16(s.s + dq);
    adaptZeros(s);
    adaptPoles(s);
    s.s = saturate16(s.sp + s.sz);
}

// ---- codes ----

/// Signed relative level (Q12) by code, from magnitude index and sign.
template <std::size_t N, std::size_t M>
constexpr std::array<Qol16s, N> signedLevels(const std::array<Qol16s, N>& index,
                                             const std::array<Qol16s, N>& sign,
                                             const std::array<Qol16s, M>& level) {
    std::array<Qol16s, N> t{};
    for (std::size_t c = 0; c < N; ++c) {
        t[c] = static_cast<Qol16s>(sign[c] != 0 ? -level[index[c]] : level[index[c]]);
    }
    return t;
}
inline constexpr auto kLevel6 =
    signedLevels(tables::table_quant_ril6, tables::table_quant_risi6, tables::table_quant_oq6);
inline constexpr auto kLevel5 =
    signedLevels(tables::table_quant_ril5, tables::table_quant_risi5, tables::table_quant_oq5);
inline constexpr auto kLevel4 =
    signedLevels(tables::table_quant_ril4, tables::table_quant_risi4, tables::table_quant_oq4);
inline constexpr auto kLevel2 =
    signedLevels(tables::table_quant_ih2, tables::table_quant_sih, tables::table_quant_oq2);

/// Both bands one sample on, from the 4-bit core of the low code and the high code.
inline void adaptPair(Band& low, Band& high, int code4, int code2) {
    adapt<BandId::low>(low, scaled(low.det, kLevel4[code4]),
                       tables::table_quant_wl[tables::table_quant_ril4[code4]]);
    adapt<BandId::high>(high, scaled(high.det, kLevel2[code2]),
                        tables::table_quant_wh[tables::table_quant_ih2[code2]]);
}

/// 6-bit code of a low-band difference: the first interval whose upper bound exceeds its magnitude
/// (QUANTL).
inline int quantiseLow(int e, Qol16s det) {
    const int magnitude = e < 0 ? ~e : e;
    int i = 0;
    while (i < 29 && ((tables::table_quant_q6[i + 1] * det) >> 12) <= magnitude) {
        ++i;
    }
    return tables::table_misil[(e < 0 ? 0 : 32) + i + 1];
}

/// 2-bit code of a high-band difference (QUANTH); its one decision level is 564 in Q12.
inline int quantiseHigh(int e, Qol16s det) {
    const int magnitude = e < 0 ? ~e : e;
    return tables::table_misih[(e < 0 ? 0 : 3) + (magnitude < ((564 * det) >> 12) ? 1 : 2)];
}

inline void encodePair(Band& low, Band& high, const Qol16s* pSrc, Qol16s* pDst) {
    const int codeLow = quantiseLow(pSrc[0] - low.s, low.det);
    const int codeHigh = quantiseHigh(pSrc[1] - high.s, high.det);
    adaptPair(low, high, codeLow >> 2, codeHigh);
    pDst[0] = static_cast<Qol16s>(codeLow);
    pDst[1] = static_cast<Qol16s>(codeHigh);
}

/// Bits of the low code that the decoder looks at.
enum class LowBits { four = 4, five = 5, six = 6 };

/// The low output comes from the full code, the adaptation from its 4-bit core.
template <LowBits N>
inline void decodePair(Band& low, Band& high, const Qol16s* pSrc, Qol16s* pDst) {
    const int codeLow = pSrc[0] & 63, codeHigh = pSrc[1] & 3;
    const int level = N == LowBits::six    ? kLevel6[codeLow]
                      : N == LowBits::five ? kLevel5[codeLow >> 1]
                                           : kLevel4[codeLow >> 2];
    const int yl = low.s + scaled(low.det, level);
    adaptPair(low, high, codeLow >> 2, codeHigh);
    pDst[0] = limit(yl, -16384, 16383);
    pDst[1] = limit(high.r, -16384, 16383);
}

// ---- record ----

inline Band lowBand(const QolsSBADPCMState_G722& t) {
    Band s{};
    s.a1 = t.al1, s.a2 = t.al2, s.det = t.detl, s.nb = t.nbl;
    s.p = t.plt, s.p1 = t.plt1, s.p2 = t.plt2, s.r = t.rlt, s.r1 = t.rlt1, s.r2 = t.rlt2;
    s.dq = t.dlt, s.sz = t.szl, s.sp = t.spl, s.s = t.sl;
    for (int i = 0; i < 6; ++i) {
        s.b[i] = t.bl[i], s.d[i] = t.dltDelay[i];
    }
    return s;
}
inline Band highBand(const QolsSBADPCMState_G722& t) {
    Band s{};
    s.a1 = t.ah1, s.a2 = t.ah2, s.det = t.deth, s.nb = t.nbh;
    s.p = t.ph, s.p1 = t.ph1, s.p2 = t.ph2, s.r = t.rh, s.r1 = t.rh1, s.r2 = t.rh2;
    s.dq = t.dh, s.sz = t.szh, s.sp = t.sph, s.s = t.sh;
    for (int i = 0; i < 6; ++i) {
        s.b[i] = t.bh[i], s.d[i] = t.dhDelay[i];
    }
    return s;
}
inline void storeBands(const Band& low, const Band& high, QolsSBADPCMState_G722& t) {
    t.al1 = low.a1, t.al2 = low.a2, t.detl = low.det, t.nbl = low.nb;
    t.plt = low.p, t.plt1 = low.p1, t.plt2 = low.p2, t.rlt = low.r, t.rlt1 = low.r1,
    t.rlt2 = low.r2;
    t.dlt = low.dq, t.szl = low.sz, t.spl = low.sp, t.sl = low.s;
    t.ah1 = high.a1, t.ah2 = high.a2, t.deth = high.det, t.nbh = high.nb;
    t.ph = high.p, t.ph1 = high.p1, t.ph2 = high.p2, t.rh = high.r, t.rh1 = high.r1,
    t.rh2 = high.r2;
    t.dh = high.dq, t.szh = high.sz, t.sph = high.sp, t.sh = high.s;
    for (int i = 0; i < 6; ++i) {
        t.bl[i] = low.b[i], t.dltDelay[i] = low.d[i];
        t.bh[i] = high.b[i], t.dhDelay[i] = high.d[i];
    }
}

} // namespace qolsc::g722
