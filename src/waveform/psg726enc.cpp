// SPDX-License-Identifier: Apache-2.0
// ITU-T G.726 encoder (§2): linear samples to codes.
#include "entry/checks.h"
#include "entry/entries.h"
#include "waveform/psg726.h"

namespace qolsc {

namespace {

using namespace g726;

template <int Rate>
void encode(QolsEncodeState_G726& state, const Qol16s* pSrc, Qol8u* pDst, Qol32s len) {
    Core c = loadCore(state);
    for (Qol32s i = 0; i < len; ++i) {
        c.y = scaleFactor(c);
        const Prediction p = predict(c);
        const i128 d =
            _mm_srai_epi32(_mm_slli_epi32(_mm_sub_epi32(simd::splat32(pSrc[i]), p.se), 16), 16);
        const int negative = _mm_movemask_ps(_mm_castsi128_ps(d)) & 1;
        const Qol32s code = kRates[Rate].ind[negative][quantise<Rate>(d, c.y)];
        pDst[i] = static_cast<Qol8u>(code);
        update<Rate>(c, p, dequantise<Rate>(code, c.y));
    }
    storeCore(c, state);
}

} // namespace

QolStatus qolsEncodeGetStateSize_G726_16s8u(Qol32s* pSize) noexcept {
    return giveSize(sizeof(QolsEncodeState_G726), pSize);
}

QolStatus qolsEncodeInit_G726_16s8u(QolsEncodeState_G726* pState, QolSpchBitRate rate) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    const int index = rateIndex(rate);
    if (index < 0) {
        return qolStsRangeErr;
    }
    onCopy(pState, [=](QolsEncodeState_G726& state) { resetCore(state, index); });
    return qolStsNoErr;
}

QolStatus qolsEncode_G726_16s8u(QolsEncodeState_G726* pState, const Qol16s* pSrc, Qol8u* pDst,
                                Qol32s len) noexcept {
    if (anyNull(pState) || anyNull(pSrc) || anyNull(pDst)) {
        return qolStsNullPtrErr;
    }
    if (len == 0) {
        return qolStsSizeErr;
    }
    if (len < 0) {
        return qolStsNoErr;
    }
    onCopy(pState, [=](QolsEncodeState_G726& state) {
        withRate(state.rateIndex, [&](auto rate) { encode<rate>(state, pSrc, pDst, len); });
    });
    return qolStsNoErr;
}

} // namespace qolsc
