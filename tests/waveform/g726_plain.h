// SPDX-License-Identifier: Apache-2.0
// G.726 written step by step as ITU-T G.726 tells it, one scalar operation after the other: what
// the fast coder must equal.
#pragma once

#include "numeric/rules.h"
#include "qolsc/g726.h"
#include "tables/g726.h"
#include "vector/g711.h"

#include <bit>
#include <cstdlib>

namespace qolsc::test {

struct PlainG726 {
    int rate; // 0..3
    int yu = 544, ap = 0, yl = 34816, dms = 0, dml = 0, td = 0, pk1 = 0, pk2 = 0;
    int b[6] = {}, a[2] = {}, dq[6] = {32, 32, 32, 32, 32, 32}, sr[2] = {32, 32}, dqSign[6] = {},
        srSign[2] = {};
    int y = 0, se = 0, sez = 0;
};

inline const Qol16s* const kDqln[] = {tables::reconst16_dqln, tables::reconst24_dqln,
                                      tables::reconst32_dqln, tables::reconst40_dqln};
inline const Qol32s* const kWi[] = {tables::sfa_tab16_wi, tables::sfa_tab24_wi,
                                    tables::sfa_tab32_wi, tables::sfa_tab40_wi};
inline const Qol16s* const kMap[] = {tables::asc_tab16_map, tables::asc_tab24_map,
                                     tables::asc_tab32_map, tables::asc_tab40_map};
inline const Qol16s* const kLev[] = {tables::quant16_lev, tables::quant24_lev, tables::quant32_lev,
                                     tables::quant40_lev};
inline const Qol8u* const kInd[][2] = {{tables::quant16_ind_pos, tables::quant16_ind_neg},
                                       {tables::quant24_ind_pos, tables::quant24_ind_neg},
                                       {tables::quant32_ind_pos, tables::quant32_ind_neg},
                                       {tables::quant40_ind_pos, tables::quant40_ind_neg}};
inline const Qol8u* const kSync[][2] = {{tables::sync16_ind_pos, tables::sync16_ind_neg},
                                        {tables::sync24_ind_pos, tables::sync24_ind_neg},
                                        {tables::sync32_ind_pos, tables::sync32_ind_neg},
                                        {tables::sync40_ind_pos, tables::sync40_ind_neg}};
inline constexpr int kLens[] = {3, 5, 9, 17};

inline int magnitude16(int v) { return v == -32768 ? 32767 : std::abs(v); }

inline int fmult(int c, int f, int s) {
    const int m = std::abs(c >> 2) & 0x1FFF, ce = int(std::bit_width(unsigned(m)));
    const int cm = m == 0 ? 32 : (m << 6) >> ce;
    const int e = ce + (f >> 6 & 15), p = (cm * (f & 63) + 48) >> 4, q = p * 128;
    const int v = e < 27 ? q >> (26 - e) : (q << (e - 26)) & 0x7FFF;
    return (s != 0) != (c < 0) ? -v : v;
}

inline void plainPredict(PlainG726& t) {
    const int slow = t.yl >> 6, u = qolsc::wrap16(t.yu - slow), al = t.ap >= 256 ? 64 : t.ap >> 2;
    const int product = (al * magnitude16(u)) >> 6;
    t.y = slow + (u < 0 ? -product : product);
    int sum = 0;
    for (int k = 0; k < 6; ++k) {
        sum = qolsc::wrap16(sum + fmult(t.b[k], t.dq[k], t.dqSign[k]));
    }
    t.sez = sum >> 1;
    for (int k = 0; k < 2; ++k) {
        sum = qolsc::wrap16(sum + fmult(t.a[k], t.sr[k], t.srSign[k]));
    }
    t.se = sum >> 1;
}

inline int plainInterval(const PlainG726& t, int d) {
    const int g = magnitude16(d), n = int(std::bit_width(unsigned(g))) - 1;
    const int L = n * 128 + (g == 0 ? 0 : (g * 128 >> n) & 127) - (t.y >> 2);
    int i = 0;
    while (i < kLens[t.rate] && kLev[t.rate][i] > L) {
        ++i;
    }
    return i;
}

inline int packFloat(int mag) {
    const int n = int(std::bit_width(unsigned(mag)));
    return n * 64 + (mag == 0 ? 32 : (mag << 6) >> n);
}

/// All that follows the code; returns the reconstructed value.
inline int plainUpdate(PlainG726& t, int code) {
    const int bits = t.rate + 2, sg = code >> (bits - 1), dql = kDqln[t.rate][code] + (t.y >> 2);
    const int dq = dql < 0 ? 0 : (((dql & 127) + 128) << 7) >> (14 - (dql >> 7 & 15)),
              dqs = sg ? -dq : dq;
    bool tr = false;
    if (t.td == 1) {
        const int e = t.yl >> 15, limit = e > 9 ? 31744 : (32 + (t.yl >> 10 & 31)) << e;
        tr = (limit + (limit >> 1)) >> 1 < dq;
    }
    const int yut = t.y + ((kWi[t.rate][code] - t.y) >> 5);
    t.yu = yut > 5120 ? 5120 : yut < 544 ? 544 : yut;
    t.yl += qolsc::wrap16(((-t.yl) >> 6) + t.yu);
    const int sr = qolsc::wrap16(t.se + dqs), srFloat = sr == -32768 ? 32 : packFloat(std::abs(sr));
    const int dqsez = qolsc::wrap16(t.sez + dqs), pk0 = dqsez < 0;
    int a1 = t.a[0], a2 = t.a[1];
    if (dqsez == 0) {
        a2 -= a2 >> 7;
        a1 -= a1 >> 8;
    } else {
        const int x = t.pk1 ^ pk0;
        int f = a1 >= 8192 ? 32764 : a1 <= -8192 ? -32764 : 4 * a1;
        f = (x ? f : -f) + (t.pk2 == pk0 ? 16384 : -16384);
        a2 = a2 - (a2 >> 7) + (f >> 7);
        a1 = a1 - (a1 >> 8) + (x ? -192 : 192);
    }
    a2 = a2 > 12288 ? 12288 : a2 < -12288 ? -12288 : a2;
    a1 = a1 > 15360 - a2 ? 15360 - a2 : a1 < a2 - 15360 ? a2 - 15360 : a1;
    t.td = a2 < -11776;
    for (int k = 0; k < 6; ++k) {
        const int step = dq == 0 ? 0 : sg == t.dqSign[k] ? 128 : -128;
        t.b[k] = tr ? 0 : qolsc::wrap16(t.b[k] - (t.b[k] >> (t.rate == 3 ? 9 : 8)) + step);
    }
    t.a[0] = tr ? 0 : a1;
    t.a[1] = tr ? 0 : a2;
    t.td = tr ? 0 : t.td;
    const int fi = kMap[t.rate][code];
    t.dms += (fi - t.dms) >> 5;
    t.dml += (fi * 4 - t.dml) >> 7;
    const int z = magnitude16(qolsc::wrap16(t.dms * 4 - t.dml));
    const bool steady = t.y >= 1536 && z < t.dml >> 3 && t.td == 0;
    t.ap = tr ? 256 : t.ap + ((steady ? -t.ap : 512 - t.ap) >> 4);
    for (int k = 5; k > 0; --k) {
        t.dq[k] = t.dq[k - 1];
        t.dqSign[k] = t.dqSign[k - 1];
    }
    t.dq[0] = packFloat(dq);
    t.dqSign[0] = sg;
    t.sr[1] = t.sr[0];
    t.srSign[1] = t.srSign[0];
    t.sr[0] = srFloat;
    t.srSign[0] = sr < 0;
    t.pk2 = t.pk1;
    t.pk1 = pk0;
    return sr;
}

inline int plainEncode(PlainG726& t, int sample) {
    plainPredict(t);
    const int d = qolsc::wrap16(sample - t.se), code = kInd[t.rate][d < 0][plainInterval(t, d)];
    plainUpdate(t, code);
    return code;
}

inline int plainDecode(PlainG726& t, int code, QolPCMLaw law) {
    plainPredict(t);
    const int y = t.y; // the adjustment uses the scale factor of this sample
    int v = plainUpdate(t, code);
    v = law == QOL_PCM_MULAW && v == -32768 ? 0 : law == QOL_PCM_ALAW && v == -32768 ? -2 : v;
    v = v > 8191 ? 8191 : v < -8192 ? -8192 : v;
    if (law == QOL_PCM_LINEAR) {
        return v;
    }
    t.y = y;
    const bool mu = law == QOL_PCM_MULAW;
    const int x = v * 4;
    const int p = mu ? qolsc::muLawByte(Qol16s(x < 0 && x != -32768 ? x - 1 : x))
                     : qolsc::aLawByte(Qol16s(x));
    const int dx = ((mu ? tables::_u2l : tables::_a2l)[p] >> 2) - t.se;
    const int id = kSync[t.rate][dx < 0][plainInterval(t, dx)], half = 1 << (t.rate + 1);
    const int im = code & half ? code - half : code + half;
    return id == im  ? p
           : id < im ? (mu ? tables::u2GT : tables::a2GT)[p]
                     : (mu ? tables::u2LT : tables::a2LT)[p];
}

} // namespace qolsc::test
