// SPDX-License-Identifier: Apache-2.0
// Normalised correlations of the closed-loop pitch searches (G.729 3.7, TS 26.090 5.6.1).
#include "common/pitch_kernels.h"

#include "common/kernels.h"
#include "entry/entries.h"
#include "numeric/helpers.h"

namespace qolsc {

namespace {

constexpr int kSubframe = 40;

/// Filtered excitation of the next lag, y, from that of the last: shifted by one, plus the sample s
/// times h, shifted right, in 16 bits that wrap. Shift is 12, or 14 for a y at a quarter.
template <int Shift>
void ownFilteredExcitation_G729_16s(const Qol16s* h, Qol16s s, Qol16s* y) {
    using namespace simd;
    const i128 sample = splat16(s);
    for (int i = kSubframe - 8; i >= 0; i -= 8) {
        const i128 taps = load(h + i);
        const i128 product =
            _mm_or_si128(_mm_srli_epi16(_mm_mullo_epi16(taps, sample), Shift),
                         _mm_slli_epi16(_mm_mulhi_epi16(taps, sample), 16 - Shift));
        const i128 before = i > 0 ? load(y + i - 1) : _mm_slli_si128(load(y), 2);
        store(y + i, _mm_add_epi16(before, product));
    }
    y[0] = static_cast<Qol16s>(s >> (Shift - 12));
}

/// Correlation of target and filtered excitation over the root of its energy, for the lags low to
/// high; value[k] belongs to low + k.
template <int Shift>
void normalisedCorrelations(const Qol16s* exc, const Qol16s* target, const Qol16s* h, Qol16s* y,
                            int low, int high, Qol16s* value) {
    Qol32s energy[kMostWeightedLags], correlation[kMostWeightedLags];
    const int count = high - low + 1;
    for (int k = 0; k < count; ++k) {
        energy[k] = basop::L_shl(dotWrap(y, y, kSubframe), 1);
        correlation[k] = dotWrap(target, y, kSubframe);
        if (k + 1 < count) {
            ownFilteredExcitation_G729_16s<Shift>(h, exc[-(low + k + 1)], y);
        }
    }
    qolsc::qolsInvSqrt_32s_I(energy, count);
    for (int k = 0; k < count; ++k) {
        // The correlation counts doubled: its upper word keeps 16 bits.
        const Qol32s ch = wrap16(correlation[k] >> 15), cl = correlation[k] & 0x7FFF;
        const Qol32s eh = energy[k] >> 16, el = energy[k] >> 1 & 0x7FFF;
        value[k] = wrap16(2 * (Qol64s{ch} * eh + ((ch * el) >> 15) + ((eh * cl) >> 15)));
    }
}

} // namespace

void _qolsMeanSquareWeightedError_16s(const Qol16s* exc, const Qol16s* target, const Qol16s* h,
                                      int low, int high, Qol16s* value) {
    alignas(16) Qol16s y[kSubframe];
    qolsc::qolsConvPartial_16s_Sfs(exc - low, h, y, kSubframe, 12);
    if (energyExact(y, kSubframe) <= 0x2000000) {
        normalisedCorrelations<12>(exc, target, h, y, low, high, value);
        return;
    }
    for (Qol16s& v : y) {
        v = static_cast<Qol16s>(v >> 2);
    }
    normalisedCorrelations<14>(exc, target, h, y, low, high, value);
}

} // namespace qolsc
