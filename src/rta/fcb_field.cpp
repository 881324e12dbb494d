// SPDX-License-Identifier: Apache-2.0
// Correlations of the algebraic codebook search of the RTA family.
#include "rta/fcb_tracks.h"
#include "vector/simd.h"

#include <cstring>

namespace qolsc::rta {

using namespace simd;

namespace {

void takeEnergies(Field& f) {
    std::memset(f.diag, 0, sizeof f.diag);
    for (int i = 0; i < f.n * kTracks; ++i) {
        f.diag[placeOf(i)] = 0.5f * f.matrix[kRow * i + placeOf(i)];
    }
}

/// The pulses of all tracks but one.
struct Placed {
    int count, places[kMostPulses];
    const Qol32f* rows[kMostPulses]; // of the matrix
    Qol32f signs[kMostPulses];
};
Placed placedWithout(const Field& f, const Pulses& pulses, int track) {
    Placed placed;
    placed.count = 0;
    for (int t = 0; t < kTracks; ++t) {
        for (int p = 0; t != track && p < pulses[t].count; ++p) {
            if (const int k = pulses[t].rank[p]; k >= 0) {
                placed.places[placed.count] = placeOf(t, k);
                placed.rows[placed.count] = f.matrix + kRow * (t + kTracks * k);
                placed.signs[placed.count] = pulses[t].sign[p];
                ++placed.count;
            }
        }
    }
    return placed;
}

Sums sumsOf(const Field& f, const Placed& placed) {
    Sums s{0, 0};
    for (int p = 0; p < placed.count; ++p) {
        const int place = placed.places[p];
        Qol32f before = 0;
        for (int q = 0; q < p; ++q) {
            before += placed.signs[q] * placed.rows[q][place];
        }
        s.num += placed.signs[p] * f.d[place];
        s.den += f.diag[place] + placed.signs[p] * before;
    }
    return s;
}

} // namespace

void correlateImpulsesPlain(Field& f, const Qol32f* imp) {
    int places[kMostLength];
    for (int i = 0; i < f.len; ++i) {
        places[i] = placeOf(i);
    }
    for (int k = 0; k < f.len; ++k) {
        Qol32f sum = 0;
        for (int m = 0; m < f.len - k; ++m) {
            sum += 2 * imp[m] * imp[m + k];
            const int j = f.len - 1 - m, i = j - k;
            f.matrix[kRow * i + places[j]] = f.matrix[kRow * j + places[i]] = sum;
        }
    }
    takeEnergies(f);
}

// Row i is the one below it moved up by a position, and 2 imp[len - 1 - i] times the reversed
// response: the same sums in the same order. By track, moving up takes the next track's vectors,
// and for the last track the first one's from the second rank on.
void correlateImpulses(Field& f, const Qol32f* imp) {
    constexpr int kLast = placeOf(kTracks - 1, 0);
    Qol32f reversed[kRow] = {};
    for (int i = 0; i < f.len; ++i) {
        reversed[placeOf(i)] = imp[f.len - 1 - i];
    }
    const f256 butLast = _mm256_castsi256_ps(_mm256_setr_epi32(-1, -1, -1, -1, -1, -1, -1, 0));
    constexpr Qol32f kNothing[kRow] = {};
    const Qol32f* below = kNothing;
    for (int i = f.len - 1; i >= 0; --i) {
        Qol32f* row = f.matrix + kRow * i;
        const f256 factor = splatf(2 * imp[f.len - 1 - i]);
        const auto put = [&](int place, f256 moved) {
            storef(row + place, addf(moved, mulf(factor, loadf(reversed + place))));
        };
        for (int place = 0; place < kLast; place += 8) {
            put(place, loadf(below + place + kRanks));
        }
        put(kLast, loadf(below + 1));
        put(kLast + 8, _mm256_and_ps(loadf(below + 9), butLast));
        below = row;
    }
    takeEnergies(f);
}

Sums sumsWithoutPlain(Field& f, const Pulses& pulses, int track) {
    const Placed placed = placedWithout(f, pulses, track);
    for (int k = 0; track >= 0 && k < kRanks; ++k) {
        f.cross[k] = 0;
        for (int p = 0; p < placed.count; ++p) {
            f.cross[k] += placed.signs[p] * placed.rows[p][placeOf(track, k)];
        }
    }
    return sumsOf(f, placed);
}

Sums sumsWithout(Field& f, const Pulses& pulses, int track) {
    const Placed placed = placedWithout(f, pulses, track);
    if (track >= 0) {
        f256 low = zerof(), high = low;
        for (int p = 0; p < placed.count; ++p) {
            const Qol32f* row = placed.rows[p] + placeOf(track, 0);
            const f256 sign = splatf(placed.signs[p]);
            low = addf(low, mulf(sign, loadf(row)));
            high = addf(high, mulf(sign, loadf(row + 8)));
        }
        storef(f.cross, low);
        storef(f.cross + 8, high);
    }
    return sumsOf(f, placed);
}

} // namespace qolsc::rta
