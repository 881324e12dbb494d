// SPDX-License-Identifier: Apache-2.0
// Multipulse maximum-likelihood search of 6.3 kbit/s (ITU-T G.723.1 2.15).
#include "g723/multipulse.h"

#include "entry/checks.h"
#include "entry/entries.h"

#include <limits>

namespace qolsc {

namespace g723 {

void ownPlacePulsesPlain_G723(const PulseField& field, Qol16s level, int pulses, Qol16s* places,
                              Qol16s* amplitudes) {
    Qol32s w[kGridPlaces];
    bool taken[kGridPlaces] = {};
    std::copy_n(field.correlation, kGridPlaces, w);
    int place = field.place;
    for (int p = 0; p < pulses; ++p) {
        places[p] = static_cast<Qol16s>(place);
        amplitudes[p] = w[place] < 0 ? basop::negate(level) : level;
        taken[place] = true;
        if (p == pulses - 1) {
            break;
        }
        Qol32s most = -0x40000000;
        for (int l = 0; l < kGridPlaces; ++l) {
            if (taken[l]) {
                continue;
            }
            const Qol32s response = field.response[kPadded + l - places[p]];
            w[l] = saturate32(w[l] - Qol64s{amplitudes[p]} * response);
            if (basop::L_abs(w[l]) > most) {
                most = basop::L_abs(w[l]);
                place = l;
            }
        }
    }
}

void ownQuantGain_G723_BestPulse(const PulseField& field, Qol16s level, int pulses, Qol16s* places,
                                 Qol16s* amplitudes) {
    using namespace simd;
    // Each pulse takes at most 65536 levels off; below the word's end nothing saturates.
    if (Qol64s{field.most} + Qol64s{pulses} * level * 65536 > 0x7FFFFFFF) {
        return ownPlacePulsesPlain_G723(field, level, pulses, places, amplitudes);
    }
    constexpr int kVectors = kPadded / 4;
    alignas(16) Qol32s w[kPadded];
    alignas(16) Qol32s taken[kPadded] = {};
    std::copy_n(field.correlation, kPadded, w);
    taken[kPadded - 2] = taken[kPadded - 1] = -1;
    int place = field.place;
    for (int p = 0; p < pulses; ++p) {
        places[p] = static_cast<Qol16s>(place);
        amplitudes[p] = w[place] < 0 ? basop::negate(level) : level;
        taken[place] = -1;
        if (p == pulses - 1) {
            break;
        }
        const i128 amplitude = splat32(amplitudes[p]);
        const Qol32s* response = field.response + kPadded - place;
        i128 most = splat32(-1);
        for (int v = 0; v < kVectors; ++v) {
            const i128 left =
                sub32(load(w + 4 * v), _mm_mullo_epi32(amplitude, load(response + 4 * v)));
            store(w + 4 * v, left);
            most = _mm_max_epi32(most, _mm_or_si128(_mm_abs_epi32(left), load(taken + 4 * v)));
        }
        most = _mm_max_epi32(most, _mm_shuffle_epi32(most, 0x4E));
        most = _mm_max_epi32(most, _mm_shuffle_epi32(most, 0xB1));
        unsigned hits = 0;
        for (int v = 0; v < kVectors; ++v) {
            const i128 free = _mm_or_si128(_mm_abs_epi32(load(w + 4 * v)), load(taken + 4 * v));
            hits |= static_cast<unsigned>(
                        _mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(free, most))))
                    << (4 * v);
        }
        place = std::countr_zero(hits);
    }
}

PulseCode codePulses_G723(const Qol16s* vector, int grid, int pulses) {
    PulseCode result{0, 0};
    int row = kMostPulses - pulses;
    for (int j = 0; j < kGridPlaces && row < kMostPulses; ++j) {
        const Qol16s pulse = vector[grid + 2 * j];
        if (pulse == 0) {
            result.code += tables::g723::CombTbl[row][j];
        } else {
            result.signs = static_cast<Qol16s>(result.signs << 1 | (pulse < 0));
            ++row;
        }
    }
    return result;
}

namespace {

constexpr int kLevelsTried = 4;

/// Response and target with what is needed of them for all sets.
struct Search {
    const Qol16s* h;
    const Qol16s* target;
    Qol64s targetEnergy;
    PulseField field;
    Qol32s correlation[kSubframe];
    Qol16s first; ///< autocorrelation at lag 0
};

/// Autocorrelation at even lags, in words of the norm of lag 0, which is returned.
int _qolsAutoCorr_NormE_Step_NR_16s(const Qol16s* h, Qol16s* autocorrelation) {
    Qol16s g[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        g[i] = static_cast<Qol16s>(h[i] >> 1);
    }
    const Qol64s energy = energyExact(g, kSubframe);
    const bool plain = staysInside(energy, energy, 1);
    const int n = basop::norm_l(saturate32(2 * energy));
    for (int k = 0; k < kGridPlaces; ++k) {
        const Qol32s sum = dotDoubledSteps(g + 2 * k, g, kSubframe - 2 * k, plain);
        autocorrelation[k] = basop::round_fx(basop::L_shl(sum, n));
    }
    return n;
}

void prepare(Search& s) {
    Qol16s autocorrelation[kGridPlaces];
    const int n = _qolsAutoCorr_NormE_Step_NR_16s(s.h, autocorrelation);
    s.first = autocorrelation[0];
    std::fill_n(s.field.response, 2 * kPadded, 0);
    for (int k = 0; k < kGridPlaces; ++k) {
        s.field.response[kPadded + k] = s.field.response[kPadded - k] = 2 * autocorrelation[k];
    }
    s.targetEnergy = energyExact(s.target, kSubframe);
    if (staysInside(s.targetEnergy, energyExact(s.h, kSubframe), 1)) {
        corrTriangle(s.h, s.target, kSubframe, s.correlation, kSubframe);
        for (Qol32s& c : s.correlation) {
            c = basop::L_shl(2 * c, n - 4);
        }
        return;
    }
    for (int k = 0; k < kSubframe; ++k) {
        const Qol32s sum = dotDoubledSteps(s.target + k, s.h, kSubframe - k, false);
        s.correlation[k] = basop::L_shl(sum, n - 4);
    }
}

/// Takes the places of a grid and finds their maximum.
void ownComputeMaxAmplitude_G723(Search& s, int grid) {
    s.field.most = 0;
    s.field.place = 0;
    s.field.correlation[kPadded - 2] = s.field.correlation[kPadded - 1] = 0;
    for (int l = 0; l < kGridPlaces; ++l) {
        s.field.correlation[l] = s.correlation[grid + 2 * l];
        const Qol32s magnitude = basop::L_abs(s.field.correlation[l]);
        if (magnitude >= s.field.most) {
            s.field.most = magnitude;
            s.field.place = l;
        }
    }
}

/// The lowest of the four levels tried: two below the one nearest to the maximum, the higher one of
/// equally near ones.
int lowestLevel(const Search& s) {
    Qol32s least = 0x40000000;
    int nearest = 22;
    for (int i = 22; i >= 2; --i) {
        const Qol32s distance = basop::L_abs(
            basop::L_sub(basop::L_mult(tables::g723::GainDBLvls[i], s.first), s.field.most));
        if (distance < least) {
            least = distance;
            nearest = i;
        }
    }
    return nearest - 2;
}

void sortByPosition(Qol16s* positions, Qol16s* amplitudes, int n) {
    for (int end = n - 1; end > 0; --end) {
        for (int i = 0; i < end; ++i) {
            if (positions[i] > positions[i + 1]) {
                std::swap(positions[i], positions[i + 1]);
                std::swap(amplitudes[i], amplitudes[i + 1]);
            }
        }
    }
}

/// Twice the correlation of the target with the filtered pulses less their energy, saturating in
/// the order of samples.
Qol32s ownQuantGain_G723_PulseMSE(const Search& s, const Qol16s* positions,
                                  const Qol16s* amplitudes, int pulses) {
    // Six products of at most 6623 * 32768 stay inside 31 bits.
    Qol32s sums[kSubframe] = {};
    for (int p = 0; p < pulses; ++p) {
        const int from = positions[p];
        for (int n = from; n < kSubframe; ++n) {
            sums[n] += amplitudes[p] * s.h[n - from];
        }
    }
    Qol16s y[kSubframe];
    for (int n = 0; n < kSubframe; ++n) {
        y[n] = saturate16(sums[n] >> 13);
    }
    const Qol64s energy = energyExact(y, kSubframe);
    if (energy < 0x40000000 && staysInside(s.targetEnergy, energy, 2)) {
        return 2 * dotWrap(s.target, y, kSubframe) - static_cast<Qol32s>(energy);
    }
    Qol32s metric = 0;
    for (int n = 0; n < kSubframe; ++n) {
        metric = basop::L_mac(metric, s.target[n], y[n]);
        metric = basop::L_msu0(metric, y[n], y[n]);
    }
    return metric;
}

/// A pulse train of the lag's period in place of each pulse: adds the vector itself, delayed.
void expandTrain(const Qol16s* src, int lag, Qol16s* dst) {
    std::copy_n(src, kSubframe, dst);
    for (int m = lag; m < kSubframe; m += lag) {
        for (int n = m; n < kSubframe; ++n) {
            dst[n] = basop::add(dst[n], src[n - m]);
        }
    }
}

} // namespace

} // namespace g723

QolStatus qolsGainQuant_G723_16s(const Qol16s* pImpulse, Qol32s* pTarget, Qol16s* pPulsePos,
                                 Qol16s* pPulseAmp, Qol32s* pBestMetric, Qol16s* pGrid,
                                 Qol16s* pGainIndex, Qol32s valPulses, Qol32s* pImproved) noexcept {
    if (anyNull(pImpulse, pPulsePos, pPulseAmp, pGrid, pGainIndex) ||
        anyNull(pTarget, pBestMetric, pImproved)) {
        return qolStsNullPtrErr;
    }
    if (valPulses != 5 && valPulses != 6) {
        return qolStsBadArgErr;
    }
    using namespace g723;
    Search s{};
    s.h = pImpulse;
    s.target = reinterpret_cast<const Qol16s*>(pTarget);
    prepare(s);
    *pImproved = 0;
    for (int grid = 0; grid < 2; ++grid) {
        ownComputeMaxAmplitude_G723(s, grid);
        const int lowest = lowestLevel(s);
        for (int index = lowest; index < lowest + kLevelsTried; ++index) {
            Qol16s positions[kMostPulses] = {}, amplitudes[kMostPulses] = {};
            ownQuantGain_G723_BestPulse(s.field, tables::g723::GainDBLvls[index], valPulses,
                                        positions, amplitudes);
            for (int p = 0; p < valPulses; ++p) {
                positions[p] = static_cast<Qol16s>(grid + 2 * positions[p]);
            }
            sortByPosition(positions, amplitudes, valPulses);
            const Qol32s metric = ownQuantGain_G723_PulseMSE(s, positions, amplitudes, valPulses);
            if (metric > *pBestMetric) {
                *pBestMetric = metric;
                *pGrid = static_cast<Qol16s>(grid);
                *pGainIndex = static_cast<Qol16s>(index);
                std::copy_n(positions, valPulses, pPulsePos);
                std::copy_n(amplitudes, valPulses, pPulseAmp);
                *pImproved = 1;
            }
        }
    }
    return qolStsNoErr;
}

QolStatus qolsMPMLQFixedCodebookSearch_G723(Qol16s valBaseDelay, const Qol16s* pImpulse,
                                            const Qol16s* pTarget, Qol16s* pFixedVec, Qol16s* pGrid,
                                            Qol16s* pTrainFlag, Qol16s* pGainIndex,
                                            Qol16s* pSignMask, Qol32s* pPosCode,
                                            Qol16s valSubFrame) noexcept {
    if (anyNull(pImpulse, pTarget, pFixedVec, pGrid, pTrainFlag, pGainIndex, pSignMask) ||
        anyNull(pPosCode)) {
        return qolStsNullPtrErr;
    }
    if (valBaseDelay < g723::kLeastLag || valBaseDelay > g723::kMostLag || valSubFrame < 0 ||
        valSubFrame > 3) {
        return qolStsRangeErr;
    }
    using namespace g723;
    const int pulses = tables::g723::PulsesPerSbfr[valSubFrame];
    Qol16s positions[kMostPulses] = {}, amplitudes[kMostPulses] = {}, grid = 0, index = 0;
    Qol32s metric = std::numeric_limits<Qol32s>::min(), improved = 0;
    alignas(4) Qol16s target[kSubframe];
    std::copy_n(pTarget, kSubframe, target);
    const auto search = [&](const Qol16s* h) {
        qolsc::qolsGainQuant_G723_16s(h, reinterpret_cast<Qol32s*>(target), positions, amplitudes,
                                      &metric, &grid, &index, pulses, &improved);
        return improved != 0;
    };
    search(pImpulse);
    bool train = false;
    if (valBaseDelay < kShortLag) {
        Qol16s response[kSubframe];
        expandTrain(pImpulse, valBaseDelay, response);
        train = search(response);
    }
    Qol16s vector[kSubframe] = {};
    for (int p = 0; p < pulses; ++p) {
        vector[positions[p]] = amplitudes[p];
    }
    const PulseCode code = codePulses_G723(vector, grid, pulses);
    if (train) {
        expandTrain(vector, valBaseDelay, pFixedVec);
    } else {
        std::copy_n(vector, kSubframe, pFixedVec);
    }
    *pGrid = grid;
    *pTrainFlag = train;
    *pGainIndex = index;
    *pSignMask = code.signs;
    *pPosCode = code.code;
    return qolStsNoErr;
}

} // namespace qolsc
