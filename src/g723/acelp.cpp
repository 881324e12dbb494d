// SPDX-License-Identifier: Apache-2.0
// ACELP search of 5.3 kbit/s and its matrix of correlations (ITU-T G.723.1 2.16).
#include "g723/acelp.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/helpers.h"

namespace qolsc {

namespace g723 {

namespace {

/// Groups of fourth pulses that a subframe may look at beside what is left of the frame's count.
constexpr int kGroups = 120;

Qol32s gridThreshold(const Qol16s* d, int grid) {
    Qol32s sum = 0, most = 0;
    for (int t = 0; t < kTracks - 1; ++t) {
        Qol16s greatest = d[2 * t + grid];
        for (int k = 0; k < kPerTrack; ++k) {
            const Qol16s x = d[8 * k + 2 * t + grid];
            sum += x;
            greatest = std::max(greatest, x);
        }
        most += greatest;
    }
    const Qol32s average = sum >> 3;
    return ((wrap16(most) - average) >> 1) + average;
}

/// Each cross term times the signs of both pairs.
void ownFixedCodebookSearchCorrSign_G723_16s(const Qol16s* matrix, AcelpField& field) {
    std::copy_n(matrix, kPairs, field.matrix);
    for (int t = 0; t < kTracks; ++t) {
        for (int u = t + 1; u < kTracks; ++u) {
            const int at = blockOf(t, u);
            Qol16s signs[kPerTrack];
            for (int l = 0; l < kPerTrack; ++l) {
                signs[l] = field.sign[kTracks * l + u];
            }
            for (int k = 0; k < kPerTrack; ++k) {
                const simd::i128 s = simd::load(signs), row = simd::load(matrix + at + 8 * k);
                const simd::i128 own = simd::splat16(field.sign[kTracks * k + t]);
                simd::store(field.matrix + at + 8 * k, _mm_sign_epi16(_mm_sign_epi16(row, s), own));
            }
        }
    }
}

/// Best ratio of square and energy so far.
struct Best {
    Qol32s square = 0;
    Qol32s energy = 32767;
};

/// Energy of three pulses and its rows towards the fourth one.
struct Triple {
    Qol32s sum;
    Qol32s energy;
    const Qol16s* rows[3];
};

Triple tripleOf(const AcelpField& f, int grid, int i0, int i1, int i2) {
    const Qol16s* d = f.correlation + grid;
    const Qol16s* m = f.matrix;
    const Qol32s cross = m[blockOf(0, 1) + 8 * i0 + i1] + m[blockOf(0, 2) + 8 * i0 + i2] +
                         m[blockOf(1, 2) + 8 * i1 + i2];
    return {d[8 * i0] + d[8 * i1 + 2] + d[8 * i2 + 4],
            m[i0] + m[8 + i1] + m[16 + i2] + 2 * cross,
            {m + blockOf(0, 3) + 8 * i0, m + blockOf(1, 3) + 8 * i1, m + blockOf(2, 3) + 8 * i2}};
}

/// The fourth pulse that beats the best so far last, or -1.
int fourthPlain(const AcelpField& f, int grid, const Triple& t, Best& best) {
    int found = -1;
    for (int k = 0; k < kPerTrack; ++k) {
        const Qol32s s = saturate16(t.sum + f.correlation[8 * k + 6 + grid]);
        const Qol32s square = (s * s) >> 15;
        const Qol32s energy = wrap16(
            (t.energy + f.matrix[24 + k] + 2 * (t.rows[0][k] + t.rows[1][k] + t.rows[2][k])) >> 4);
        if (square * best.energy > best.square * energy) {
            best = {square, energy};
            found = k;
        }
    }
    return found;
}

/// Eight fourth pulses at once; only where one beats the best so far the definition looks at them.
/// last: signed correlation of track 3 on the grid.
int ownFixedCodebookSearchVec_G723(const AcelpField& f, int grid, const Triple& t,
                                   const simd::i128 last[2], Best& best) {
    using namespace simd;
    const i128 square1 = splat32(best.square), energy1 = splat32(best.energy);
    i128 beats = zero();
    for (int half = 0; half < 2; ++half) {
        const auto row = [half](const Qol16s* p) { return widenLow(loadLow64(p + 4 * half)); };
        const i128 cross = add32(add32(row(t.rows[0]), row(t.rows[1])), row(t.rows[2]));
        const i128 sum = add32(add32(splat32(t.energy), row(f.matrix + 24)), add32(cross, cross));
        // Bits 4 to 19 of the sum, as a signed word.
        const i128 energy = _mm_srai_epi32(_mm_slli_epi32(sum, 12), 16);
        const i128 wide = add32(splat32(t.sum), last[half]);
        const i128 s = widenLow(packSat16(wide, wide));
        const i128 square = _mm_srli_epi32(_mm_mullo_epi32(s, s), 15);
        beats = _mm_or_si128(beats, _mm_cmpgt_epi32(_mm_mullo_epi32(square, energy1),
                                                    _mm_mullo_epi32(square1, energy)));
    }
    return _mm_movemask_epi8(beats) == 0 ? -1 : fourthPlain(f, grid, t, best);
}

/// Loop over the first three tracks; `fourth` looks at the fourth.
template <typename Sums, typename Fourth>
AcelpResult searchTracks(const AcelpField& f, int budget, Sums candidates, Fourth fourth) {
    AcelpResult result{{0, 0, 0, 0}, 0, budget};
    Best best;
    for (int i0 = 0; i0 < kPerTrack; ++i0) {
        for (int i1 = 0; i1 < kPerTrack; ++i1) {
            const unsigned mask = candidates(i0, i1);
            for (int i2 = 0; i2 < kPerTrack; ++i2) {
                if ((mask >> i2 & 1) == 0) {
                    continue;
                }
                const Qol16s* d = f.correlation;
                const Qol32s even = d[8 * i0] + d[8 * i1 + 2] + d[8 * i2 + 4];
                const Qol32s odd = d[8 * i0 + 1] + d[8 * i1 + 3] + d[8 * i2 + 5];
                if (std::max(even, odd) <= f.threshold) {
                    continue;
                }
                const int grid = odd > even;
                const int i3 = fourth(grid, tripleOf(f, grid, i0, i1, i2), best);
                if (i3 >= 0) {
                    result = {{i0, i1, i2, i3}, grid, result.budget};
                }
                if (--result.budget <= 0) {
                    return result;
                }
            }
        }
    }
    return result;
}

} // namespace

AcelpResult ownAcelpSearchPlain_G723(const AcelpField& field, int budget) {
    return searchTracks(
        field, budget, [](int, int) { return 0xFFu; },
        [&field](int grid, const Triple& t, Best& best) {
            return fourthPlain(field, grid, t, best);
        });
}

AcelpResult ownAcelpSearch_G723(const AcelpField& field, int budget) {
    using namespace simd;
    const Qol16s* d = field.correlation;
    i128 third[2][2], last[2][2]; // by grid and half
    for (int g = 0; g < 2; ++g) {
        for (int h = 0; h < 2; ++h) {
            const auto track = [&](int t) {
                const Qol16s* p = d + 32 * h + 2 * t + g;
                return _mm_setr_epi32(p[0], p[8], p[16], p[24]);
            };
            third[g][h] = track(2);
            last[g][h] = track(3);
        }
    }
    const auto candidates = [&](int i0, int i1) {
        unsigned mask = 0;
        for (int g = 0; g < 2; ++g) {
            // The sum of three exceeds the threshold where the third exceeds what is left of it.
            const i128 rest = splat32(field.threshold - d[8 * i0 + g] - d[8 * i1 + 2 + g]);
            const i128 over =
                packSat16(_mm_cmpgt_epi32(third[g][0], rest), _mm_cmpgt_epi32(third[g][1], rest));
            mask |= static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(over, zero())));
        }
        return mask;
    };
    return searchTracks(field, budget, candidates, [&](int grid, const Triple& t, Best& best) {
        return ownFixedCodebookSearchVec_G723(field, grid, t, last[grid], best);
    });
}

void prepareAcelp_G723(const Qol16s* correlation, const Qol16s* matrix, AcelpField& field) {
    Qol16s* d = field.correlation;
    std::copy_n(correlation, kSubframe, d);
    std::fill(d + kSubframe, d + 2 * kPairs, Qol16s{0});
    for (int i = 0; i < kPairs; ++i) {
        field.sign[i] = d[2 * i] < -d[2 * i + 1] ? Qol16s{-1} : Qol16s{1};
        if (field.sign[i] < 0) {
            d[2 * i] = basop::negate(d[2 * i]);
            d[2 * i + 1] = basop::negate(d[2 * i + 1]);
        }
    }
    field.threshold = std::max(gridThreshold(d, 0), gridThreshold(d, 1));
    ownFixedCodebookSearchCorrSign_G723_16s(matrix, field);
}

namespace {

void searchFixed(const Qol16s* pFixedCorr, const Qol16s* matrix, Qol16s* pFixedSign,
                 Qol16s* pFixedPos, Qol16s* pGrid, Qol16s* pFixedVec, Qol16s* pSearchTimes) {
    AcelpField field;
    prepareAcelp_G723(pFixedCorr, matrix, field);
    const AcelpResult best = ownAcelpSearch_G723(field, *pSearchTimes + kGroups);
    *pSearchTimes = wrap16(best.budget);
    *pGrid = static_cast<Qol16s>(best.grid);
    std::fill_n(pFixedVec, kSubframe, Qol16s{0});
    for (int t = 0; t < kTracks; ++t) {
        const int position = 8 * best.place[t] + 2 * t + best.grid;
        pFixedPos[t] = static_cast<Qol16s>(position);
        pFixedSign[t] = field.sign[kTracks * best.place[t] + t];
        if (position < kSubframe) {
            pFixedVec[position] = pFixedSign[t];
        }
    }
}

/// Sums of products of the scaled response in the order of the matrix: R(p, q) is the running sum
/// at lag |p - q| up to the sample 59 - max(p, q).
void ownAutoCorrMatrix_G723_16s32s(const Qol16s* g, Qol32s* matrix) {
    Qol32s r[kPairs][kPairs]; // [smaller][larger] of the position pairs
    for (auto& row : r) {
        row[kPairs - 2] = row[kPairs - 1] = 0;
    }
    for (int lag = 0; lag < kSubframe / 2; ++lag) {
        Qol32s sum = 0;
        for (int i = 0, larger = kSubframe / 2 - 1; larger >= lag; i += 2, --larger) {
            sum = wrapAdd32(sum, wrapAdd32(g[i] * g[i + 2 * lag], g[i + 1] * g[i + 1 + 2 * lag]));
            r[larger - lag][larger] = sum;
        }
    }
    for (int t = 0; t < kTracks; ++t) {
        for (int k = 0; k < kPerTrack; ++k) {
            const int p = kTracks * k + t;
            matrix[kPerTrack * t + k] = r[p][p];
            for (int u = t + 1; u < kTracks; ++u) {
                for (int l = 0; l < kPerTrack; ++l) {
                    const int q = kTracks * l + u;
                    matrix[blockOf(t, u) + kPerTrack * k + l] = r[std::min(p, q)][std::max(p, q)];
                }
            }
        }
    }
}

void matrixOf(const Qol16s* pImpulse, Qol32s* matrix) {
    constexpr Qol64s kMostEnergy = 0x3E800000;
    const Qol64s energy = energyExact(pImpulse, kSubframe);
    const int up = energy > kMostEnergy ? -1 : basop::norm_l(static_cast<Qol32s>(2 * energy)) >> 1;
    Qol16s g[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        g[i] = basop::shl(pImpulse[i], up);
    }
    ownAutoCorrMatrix_G723_16s32s(g, matrix);
}

} // namespace

} // namespace g723

QolStatus qolsACELPFixedCodebookSearch_G723_32s16s(const Qol16s* pFixedCorr, const Qol32s* pMatrix,
                                                   Qol16s* pFixedSign, Qol16s* pFixedPos,
                                                   Qol16s* pGrid, Qol16s* pFixedVec,
                                                   Qol16s* pSearchTimes) noexcept {
    if (anyNull(pFixedCorr, pFixedSign, pFixedPos, pGrid, pFixedVec, pSearchTimes) ||
        anyNull(pMatrix)) {
        return qolStsNullPtrErr;
    }
    Qol16s matrix[g723::kMatrix];
    ownConvert_32s16s_sfs(pMatrix, matrix, g723::kMatrix, 15);
    g723::searchFixed(pFixedCorr, matrix, pFixedSign, pFixedPos, pGrid, pFixedVec, pSearchTimes);
    return qolStsNoErr;
}

QolStatus qolsACELPFixedCodebookSearch_G723_16s(const Qol16s* pFixedCorr, const Qol16s* pMatrix,
                                                Qol16s* pFixedSign, Qol16s* pFixedPos,
                                                Qol16s* pGrid, Qol16s* pFixedVec,
                                                Qol16s* pSearchTimes) noexcept {
    if (anyNull(pFixedCorr, pMatrix, pFixedSign, pFixedPos, pGrid, pFixedVec, pSearchTimes)) {
        return qolStsNullPtrErr;
    }
    g723::searchFixed(pFixedCorr, pMatrix, pFixedSign, pFixedPos, pGrid, pFixedVec, pSearchTimes);
    return qolStsNoErr;
}

QolStatus qolsToeplizMatrix_G723_16s32s(const Qol16s* pImpulse, Qol32s* pMatrix) noexcept {
    if (anyNull(pImpulse) || anyNull(pMatrix)) {
        return qolStsNullPtrErr;
    }
    g723::matrixOf(pImpulse, pMatrix);
    return qolStsNoErr;
}

QolStatus qolsToeplizMatrix_G723_16s(const Qol16s* pImpulse, Qol16s* pMatrix) noexcept {
    if (anyNull(pImpulse, pMatrix)) {
        return qolStsNullPtrErr;
    }
    Qol32s sums[g723::kMatrix];
    g723::matrixOf(pImpulse, sums);
    ownConvert_32s16s_sfs(sums, pMatrix, g723::kMatrix, 15);
    return qolStsNoErr;
}

} // namespace qolsc
