// SPDX-License-Identifier: Apache-2.0
// The 80-point complex transform of the G.729.1 MDCT: rows of 16 by radix 2, columns of 5 direct,
// joined by the prime-factor index map, so that no twiddles stand between.
#include "g7291/g7291.h"
#include "numeric/rules.h"

namespace qolsc::g7291 {

namespace {

constexpr int kRows = 5, kColumns = 16;

/// cos(2 pi k/16), Q15, for k = 0..4; 1 stands for itself in the butterflies.
constexpr Qol16s kCos16[] = {32767, 30274, 23170, 12540, 0};

/// cos and sin of 2 pi/5 and 4 pi/5, Q15.
constexpr Qol32s kCos5[] = {10126, -26510}, kSin5[] = {31164, 19261};

constexpr int bitReverse16(int q) {
    return (q & 1) << 3 | (q & 2) << 1 | (q & 4) >> 1 | (q & 8) >> 3;
}

/// Where element (p, q) of the array comes from and goes to. Rows are read in bit-reversed order.
struct Maps {
    Qol8u in[kRows][kColumns], out[kRows][kColumns];
};
constexpr Maps maps() {
    Maps m{};
    for (int p = 0; p < kRows; ++p) {
        for (int q = 0; q < kColumns; ++q) {
            m.in[p][bitReverse16(q)] = static_cast<Qol8u>((16 * p + 65 * q) % kPoints);
            m.out[p][q] = static_cast<Qol8u>((16 * p + 5 * q) % kPoints);
        }
    }
    return m;
}
constexpr Maps kMaps = maps();

/// Half of x, odd ones to the even neighbour: half upward would add up in the first bin, which sums
/// all points.
Qol16s halved(Qol32s x) { return static_cast<Qol16s>((x + (x >> 1 & 1)) >> 1); }

/// One radix-2 butterfly with rounded halving: a +- w b, w = exp(-j D 2 pi k/16).
template <int D>
void butterfly(Qol16s* pRe, Qol16s* pIm, int a, int b, int k) {
    const Qol32s ar = pRe[a], ai = pIm[a], br = pRe[b], bi = pIm[b];
    if (k == 0) {
        pRe[a] = halved(ar + br), pIm[a] = halved(ai + bi);
        pRe[b] = halved(ar - br), pIm[b] = halved(ai - bi);
        return;
    }
    const Qol32s c = k <= 4 ? kCos16[k] : -kCos16[8 - k];
    const Qol32s s = -D * kCos16[k <= 4 ? 4 - k : k - 4];
    const Qol32s tr = br * c - bi * s, ti = br * s + bi * c;
    const Qol32s half = 1 << 15;
    pRe[a] = static_cast<Qol16s>((ar * 32768 + tr + half) >> 16);
    pIm[a] = static_cast<Qol16s>((ai * 32768 + ti + half) >> 16);
    pRe[b] = static_cast<Qol16s>((ar * 32768 - tr + half) >> 16);
    pIm[b] = static_cast<Qol16s>((ai * 32768 - ti + half) >> 16);
}

/// Transform of one row in bit-reversed order, divided by 16.
template <int D>
void transform16(Qol16s* pRe, Qol16s* pIm) {
    for (int span = 1; span < kColumns; span *= 2) {
        for (int start = 0; start < kColumns; start += 2 * span) {
            for (int j = 0; j < span; ++j) {
                butterfly<D>(pRe, pIm, start + j, start + j + span, j * (8 / span));
            }
        }
    }
}

/// Q15 sum of five points, halved with rounding. The result fits: five magnitudes below 11586.
Qol16s column(Qol64s q15) { return saturate16((q15 + (1 << 15)) >> 16); }

/// Transform of the five rows' elements q, halved, to its places in pRe and pIm.
template <int D>
void transform5(const Qol16s (&re)[kRows][kColumns], const Qol16s (&im)[kRows][kColumns], int q,
                Qol16s* pRe, Qol16s* pIm) {
    const Qol32s sumR[] = {re[1][q] + re[4][q], re[2][q] + re[3][q]};
    const Qol32s sumI[] = {im[1][q] + im[4][q], im[2][q] + im[3][q]};
    const Qol32s difR[] = {re[1][q] - re[4][q], re[2][q] - re[3][q]};
    const Qol32s difI[] = {im[1][q] - im[4][q], im[2][q] - im[3][q]};
    const auto put = [&](int p, Qol64s r, Qol64s i) {
        pRe[kMaps.out[p][q]] = column(r);
        pIm[kMaps.out[p][q]] = column(i);
    };
    const Qol64s r0 = Qol64s{re[0][q]} * 32768, i0 = Qol64s{im[0][q]} * 32768;
    put(0, r0 + Qol64s{sumR[0] + sumR[1]} * 32768, i0 + Qol64s{sumI[0] + sumI[1]} * 32768);
    for (int p = 1; p <= 2; ++p) {
        // Second harmonic: the cosines change places, and so do the sines with one sign.
        const int u = p - 1, v = 2 - p;
        const Qol64s evenR = r0 + Qol64s{sumR[0]} * kCos5[u] + Qol64s{sumR[1]} * kCos5[v];
        const Qol64s evenI = i0 + Qol64s{sumI[0]} * kCos5[u] + Qol64s{sumI[1]} * kCos5[v];
        const Qol64s s0 = D * kSin5[u], s1 = D * (p == 1 ? kSin5[v] : -kSin5[v]);
        const Qol64s oddR = s0 * difI[0] + s1 * difI[1], oddI = s0 * difR[0] + s1 * difR[1];
        put(p, evenR + oddR, evenI - oddI);
        put(kRows - p, evenR - oddR, evenI + oddI);
    }
}

} // namespace

template <Direction D>
void ownTDAC_tfr(Qol16s* pRe, Qol16s* pIm) {
    constexpr int kSign = static_cast<int>(D);
    Qol16s re[kRows][kColumns], im[kRows][kColumns];
    for (int p = 0; p < kRows; ++p) {
        for (int q = 0; q < kColumns; ++q) {
            re[p][q] = pRe[kMaps.in[p][q]];
            im[p][q] = pIm[kMaps.in[p][q]];
        }
        transform16<kSign>(re[p], im[p]);
    }
    for (int q = 0; q < kColumns; ++q) {
        transform5<kSign>(re, im, q, pRe, pIm);
    }
}
template void ownTDAC_tfr<Direction::forward>(Qol16s*, Qol16s*);
template void ownTDAC_tfr<Direction::inverse>(Qol16s*, Qol16s*);

} // namespace qolsc::g7291
