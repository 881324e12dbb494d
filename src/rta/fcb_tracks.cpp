// SPDX-License-Identifier: Apache-2.0
// One track's pulses beside those already placed: every position, or pair of positions, with every
// combination of signs is scored straight from the correlation matrix.
#include "rta/fcb_tracks.h"

#include "vector/simd.h"

namespace qolsc::rta {

using namespace simd;

namespace {

constexpr Qol32f kNone = -2.0f, kNoEnergy = -1.0f;
constexpr Qol32f kSigns[2] = {1.0f, -1.0f};

/// Candidates are numbered in the order of the search: signs outermost, then ranks.
constexpr int numberOf(int s0, int s1, int k0, int k1) {
    return ((s0 * 2 + s1) * 16 + k0) * 16 + k1;
}

TrackPulses pulsesOf(int number, int count) {
    const int k0 = number >> 4 & 15, k1 = number & 15, s1 = number >> 8 & 1, s0 = number >> 9;
    if (count == 1) {
        return {1, {k1, -1}, {kSigns[s1], 0}};
    }
    return {2, {k0, k1}, {kSigns[s0], kSigns[s1]}};
}

TrackPulses nothing(int count) { return {count, {-1, -1}, {0, 0}}; }

/// Best candidate so far of each lane.
struct Best {
    f256 value, number;
};

/// num^2 / den, or kNoEnergy where the energy isn't above 0.
f256 criterion(f256 num, f256 den) {
    const f256 positive = _mm256_cmp_ps(den, zerof(), _CMP_GT_OQ);
    return _mm256_blendv_ps(splatf(kNoEnergy), _mm256_div_ps(mulf(num, num), den), positive);
}
Qol32f criterion(Qol32f num, Qol32f den) { return den > 0 ? num * num / den : kNoEnergy; }

void offer(Best& best, f256 value, f256 number, f256 allowed) {
    const f256 better = _mm256_and_ps(_mm256_cmp_ps(value, best.value, _CMP_GT_OQ), allowed);
    best.value = _mm256_blendv_ps(best.value, value, better);
    best.number = _mm256_blendv_ps(best.number, number, better);
}

/// Number of the best candidate over all lanes, the lowest on a tie; -1 when none was allowed.
int winner(const Best& best) {
    alignas(32) Qol32f value[8], number[8];
    _mm256_store_ps(value, best.value);
    _mm256_store_ps(number, best.number);
    int w = 0;
    for (int i = 1; i < 8; ++i) {
        if (value[i] > value[w] || (value[i] == value[w] && number[i] < number[w])) {
            w = i;
        }
    }
    return value[w] == kNone ? -1 : static_cast<int>(number[w]);
}

/// Lanes' ranks from k on, and those of them in lo..n-1.
f256 ranks(int k) {
    return addf(splatf(static_cast<Qol32f>(k)), _mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7));
}
f256 within(f256 rank, int lo, int n) {
    return _mm256_and_ps(_mm256_cmp_ps(rank, splatf(static_cast<Qol32f>(lo)), _CMP_GE_OQ),
                         _mm256_cmp_ps(rank, splatf(static_cast<Qol32f>(n)), _CMP_LT_OQ));
}

} // namespace

TrackPulses searchTrackOnePlain(const Field& f, int t, Sums placed) {
    int best = -1;
    Qol32f most = kNone;
    for (int s = 0; s < 2; ++s) {
        for (int k = 0; k < f.n; ++k) {
            const int i = t * f.n + k;
            const Qol32f num = placed.num + kSigns[s] * f.d[i];
            const Qol32f den = placed.den + f.diag[i] + 2 * kSigns[s] * f.cross[i];
            if (criterion(num, den) > most) {
                most = criterion(num, den);
                best = numberOf(0, s, 0, k);
            }
        }
    }
    return best < 0 ? nothing(1) : pulsesOf(best, 1);
}

TrackPulses ownSearchTrackOnePulseSigns(const Field& f, int t, Sums placed) {
    Best best{splatf(kNone), zerof()};
    for (int s = 0; s < 2; ++s) {
        for (int k = 0; k < f.n; k += 8) {
            const int i = t * f.n + k;
            const f256 num = addf(splatf(placed.num), mulf(splatf(kSigns[s]), loadf(f.d + i)));
            const f256 den = addf(addf(splatf(placed.den), loadf(f.diag + i)),
                                  mulf(splatf(2 * kSigns[s]), loadf(f.cross + i)));
            const f256 rank = ranks(k);
            offer(best, criterion(num, den),
                  addf(splatf(static_cast<Qol32f>(numberOf(0, s, 0, 0))), rank),
                  within(rank, 0, f.n));
        }
    }
    const int number = winner(best);
    return number < 0 ? nothing(1) : pulsesOf(number, 1);
}

TrackPulses searchTrackTwoPlain(const Field& f, int t, Sums placed) {
    int best = -1;
    Qol32f most = kNone;
    for (int signs = 0; signs < 4; ++signs) {
        const Qol32f s0 = kSigns[signs >> 1], s1 = kSigns[signs & 1];
        for (int k0 = 0; k0 < f.n; ++k0) {
            const int i0 = t * f.n + k0;
            const Qol32f num0 = placed.num + s0 * f.d[i0];
            const Qol32f den0 = placed.den + f.diag[i0] + 2 * s0 * f.cross[i0];
            // Two pulses on one position must have one sign, or they cancel.
            for (int k1 = s0 == s1 ? k0 : k0 + 1; k1 < f.n; ++k1) {
                const int i1 = t * f.n + k1;
                const Qol32f num = num0 + s1 * f.d[i1];
                const Qol32f den =
                    den0 + f.diag[i1] + 2 * s1 * (f.cross[i1] + s0 * f.matrix[kRow * i0 + i1]);
                if (criterion(num, den) > most) {
                    most = criterion(num, den);
                    best = numberOf(signs >> 1, signs & 1, k0, k1);
                }
            }
        }
    }
    return best < 0 ? nothing(2) : pulsesOf(best, 2);
}

TrackPulses ownSearchTrackTwoPulsesSigns(const Field& f, int t, Sums placed) {
    Best best{splatf(kNone), zerof()};
    for (int signs = 0; signs < 4; ++signs) {
        const Qol32f s0 = kSigns[signs >> 1], s1 = kSigns[signs & 1];
        for (int k0 = 0; k0 < f.n; ++k0) {
            const int i0 = t * f.n + k0, low = s0 == s1 ? k0 : k0 + 1;
            const f256 num0 = splatf(placed.num + s0 * f.d[i0]);
            const f256 den0 = splatf(placed.den + f.diag[i0] + 2 * s0 * f.cross[i0]);
            for (int k = low & ~7; k < f.n; k += 8) {
                const int i1 = t * f.n + k;
                const f256 num = addf(num0, mulf(splatf(s1), loadf(f.d + i1)));
                const f256 both =
                    addf(loadf(f.cross + i1), mulf(splatf(s0), loadf(f.matrix + kRow * i0 + i1)));
                const f256 den = addf(addf(den0, loadf(f.diag + i1)), mulf(splatf(2 * s1), both));
                const f256 rank = ranks(k);
                const int number = numberOf(signs >> 1, signs & 1, k0, 0);
                offer(best, criterion(num, den), addf(splatf(static_cast<Qol32f>(number)), rank),
                      within(rank, low, f.n));
            }
        }
    }
    const int number = winner(best);
    return number < 0 ? nothing(2) : pulsesOf(number, 2);
}

} // namespace qolsc::rta
