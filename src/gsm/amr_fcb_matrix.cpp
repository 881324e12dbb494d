// SPDX-License-Identifier: Apache-2.0
// Correlations of the scaled response in track order, and the searches with eight candidates a
// step. 3GPP TS 26.090 §5.7.
#include "gsm/amr_fcb.h"

#include "common/kernels.h"
#include "gsm/amr_fcb_lanes.h"
#include "numeric/rules.h"
#include "tables/gsm_fcb.h"

#include <algorithm>
#include <utility>

namespace qolsc::amr {

namespace {

/// Response from its end and signs in track order; the signs times the sign of a row, which is
/// positive, negative or 0.
template <int Tracks>
struct Rearranged {
    static constexpr int kStride = TrackMatrix<Tracks>::kStride;
    alignas(16) Qol16s tail[Tracks][kStride];
    alignas(16) Qol16s signs[3][Tracks][kStride];
};

int signIndex(Qol16s sign) { return sign > 0 ? 0 : sign < 0 ? 1 : 2; }

// Natural order to tracks; what fills up a row is 0.
template <int Tracks>
void toTracks(const Qol16s* x, Qol16s (*tracks)[TrackMatrix<Tracks>::kStride]) {
    constexpr int kPlaces = TrackMatrix<Tracks>::kPlaces, kStride = TrackMatrix<Tracks>::kStride;
    if (kPlaces < kStride) {
        std::fill_n(&tracks[0][0], Tracks * kStride, Qol16s{0});
    }
    for (int y = 0; y < kPlaces; ++y) {
        for (int t = 0; t < Tracks; ++t) {
            tracks[t][y] = x[Tracks * y + t];
        }
    }
}

template <int Tracks>
void rearrange(const PulseProblem& p, Rearranged<Tracks>& x) {
    constexpr int kStride = TrackMatrix<Tracks>::kStride;
    Qol16s reversed[kSubframe];
    std::reverse_copy(p.h2, p.h2 + kSubframe, reversed);
    toTracks<Tracks>(reversed, x.tail);
    toTracks<Tracks>(p.sign, x.signs[2]);
    for (int t = 0; t < Tracks; ++t) {
        for (int y = 0; y < kStride; y += 8) {
            const i128 sign = simd::load(x.signs[2][t] + y);
            simd::store(x.signs[0][t] + y, simd::mulQ15(sign, simd::splat16(32767)));
            simd::store(x.signs[1][t] + y, simd::mulQ15(sign, simd::splat16(-32767)));
            simd::store(x.signs[2][t] + y, simd::zero());
        }
    }
}

// Running sums of 16 lanes at most in 32 bits.
template <int Vectors>
struct Sums {
    Pairs v[Vectors] = {};
};

// acc[y] = acc[y + 1]: the columns of the next track lie one place further on.
template <int Vectors>
void advancePlace(Sums<Vectors>& acc) {
    const auto down = [](i128 low, i128 next) { return _mm_alignr_epi8(next, low, 4); };
    for (int v = 0; v < Vectors; ++v) {
        const i128 behind = v + 1 < Vectors ? acc.v[v + 1].lo : simd::zero();
        acc.v[v] = {down(acc.v[v].lo, acc.v[v].hi), down(acc.v[v].hi, behind)};
    }
}

// R[i][j] = R[i + 1][j + 1] + h[39 - i] h[39 - j]: one run over the rows, from the last, gives the
// blocks of one class, in which a row of track t has the columns of track t + c.
template <int Tracks, int c>
void fillClass(const PulseProblem& p, const Rearranged<Tracks>& x, unsigned rows,
               TrackMatrix<Tracks>& m) {
    constexpr int kVectors = TrackMatrix<Tracks>::kStride / 8;
    const i128 half = simd::splat32(0x4000);
    Sums<kVectors> acc;
    for (int place = kSubframe / Tracks - 1; place >= 0; --place) {
        for (int t = Tracks - 1; t >= 0; --t) {
            const int i = Tracks * place + t;
            const int column = t + c < Tracks ? t + c : t + c - Tracks;
            if (column == Tracks - 1) {
                advancePlace(acc);
            }
            const i128 h = simd::splat16(p.h2[kSubframe - 1 - i]);
            for (int v = 0; v < kVectors; ++v) {
                const i128 tail = simd::load(x.tail[column] + 8 * v);
                acc.v[v] = add(acc.v[v], pairs(_mm_mullo_epi16(h, tail), _mm_mulhi_epi16(h, tail)));
            }
            if ((rows >> t & 1) == 0) {
                continue;
            }
            const Qol16s* signs = x.signs[signIndex(p.sign[i])][column];
            for (int v = 0; v < kVectors; ++v) {
                simd::store(
                    m.rr[t][place][column] + 8 * v,
                    simd::mulQ15(narrow<15>(add(acc.v[v], half)), simd::load(signs + 8 * v)));
            }
        }
    }
}

// The matrix is symmetric: the blocks of class 5 - c, transposed.
template <int c>
void mirrorClass(TrackMatrix<5>& m) {
    for (int t = 0; t < 5; ++t) {
        const int column = (t + c) % 5;
        const Qol16s* rows[8];
        i128 columns[8];
        for (int y = 0; y < 8; ++y) {
            rows[y] = m.rr[column][y][t];
        }
        transpose(rows, columns);
        for (int y = 0; y < 8; ++y) {
            simd::store(m.rr[t][y][column], columns[y]);
        }
    }
}

template <int Tracks, int c>
void fillIfWanted(const PulseProblem& p, const Rearranged<Tracks>& x, const Qol8u (&rows)[Tracks],
                  TrackMatrix<Tracks>& m) {
    if constexpr (Tracks == 5 && c > 2) {
        if (rows[c] == 31 && rows[5 - c] == 31) {
            mirrorClass<c>(m);
            return;
        }
    }
    if (rows[c]) {
        fillClass<Tracks, c>(p, x, rows[c], m);
    }
}

template <int Tracks, int... c>
void fillClasses(const PulseProblem& p, const Rearranged<Tracks>& x, const Qol8u (&rows)[Tracks],
                 TrackMatrix<Tracks>& m, std::integer_sequence<int, c...>) {
    (fillIfWanted<Tracks, c>(p, x, rows, m), ...);
}

} // namespace

template <int Tracks>
void fillTrackMatrix(const PulseProblem& p, const Qol8u (&rows)[Tracks], TrackMatrix<Tracks>& m) {
    Rearranged<Tracks> x;
    rearrange(p, x);
    toTracks<Tracks>(p.dn, m.dn);
    fillClasses(p, x, rows, m, std::make_integer_sequence<int, Tracks>{});
    Qol16s diag[kSubframe];
    Qol32s s = 0x4000;
    for (int k = 0; k < kSubframe; ++k) {
        s += p.h2[k] * p.h2[k];
        diag[kSubframe - 1 - k] = static_cast<Qol16s>(s >> 15);
    }
    toTracks<Tracks>(diag, m.diag);
    if (rows[0]) { // where two pulses share a place, one meets itself, and no sign comes in
        for (int t = 0; t < Tracks; ++t) {
            for (int y = 0; y < kSubframe / Tracks; ++y) {
                m.rr[t][y][t][y] = m.diag[t][y];
            }
        }
    }
}

template void fillTrackMatrix<4>(const PulseProblem&, const Qol8u (&)[4], TrackMatrix<4>&);
template void fillTrackMatrix<5>(const PulseProblem&, const Qol8u (&)[5], TrackMatrix<5>&);

bool searchLanes(const PulseProblem& problem, Codebook book, int subFrame, FixedSearchWork& work,
                 PulseSet& best) {
    // Every entry of the matrix is at most the energy of the scaled response: none rounds to more
    // than 32700 then, and of the sums only those saturate that the searches clip.
    if (energyExact(problem.h2, kSubframe) > Qol64s{32700} << 15) {
        return false;
    }
    if (book == Codebook::pulses8) {
        constexpr Qol8u all[4] = {15, 15, 15, 15};
        fillTrackMatrix<4>(problem, all, work.four);
        return searchDense<4>(problem, work.four, best);
    }
    if (book == Codebook::pulses10) {
        constexpr Qol8u all[5] = {31, 31, 31, 31, 31};
        fillTrackMatrix<5>(problem, all, work.five);
        return searchDense<5>(problem, work.five, best);
    }
    Qol8u rows[5] = {};
    const auto want = [&](int a, int b) {
        Qol8u& r = rows[(b - a + 5) % 5];
        r = static_cast<Qol8u>(r | 1u << a);
    };
    if (book == Codebook::pulses2of9) {
        const Qol16s* track = tables::startPos + 2 * subFrame;
        want(track[0], track[1]);
        want(track[8], track[9]);
    } else if (book == Codebook::pulses2of11) {
        for (int n = 0; n < 8; ++n) {
            want(tables::startPos1_r59[n], tables::startPos2_r59[n]);
        }
    } else {
        for (int a = 0; a < 5; ++a) {
            for (int b = 0; b < 5; ++b) {
                if (a != b) {
                    want(a, b);
                }
            }
        }
    }
    fillTrackMatrix<5>(problem, rows, work.five);
    return searchSparse(book, subFrame, work.five, best);
}

} // namespace qolsc::amr
