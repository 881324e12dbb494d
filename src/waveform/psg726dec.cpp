// SPDX-License-Identifier: Apache-2.0
// ITU-T G.726 decoder (§3): codes to linear samples, or to G.711 bytes with the synchronous coding
// adjustment.
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/g711.h"
#include "waveform/psg726.h"

namespace qolsc {

namespace {

using namespace g726;

/// Reconstructed value limited to the 14-bit range. In the companded forms the value -32768 has its
/// own reading.
template <QolPCMLaw Law>
Qol32s limitSample(Qol32s sr) {
    if (Law != QOL_PCM_LINEAR && sr == -32768) {
        return Law == QOL_PCM_MULAW ? 0 : -2;
    }
    return sr > 8191 ? 8191 : sr < -8192 ? -8192 : sr;
}

/// G.711 byte of a 14-bit sample (§3, COMPRESS).
template <QolPCMLaw Law>
Qol8u compress(Qol32s sample) {
    const Qol32s x = sample * 4;
    if constexpr (Law == QOL_PCM_ALAW) {
        return aLawByte(static_cast<Qol16s>(x));
    } else {
        return muLawByte(static_cast<Qol16s>(x < 0 && x != -32768 ? x - 1 : x));
    }
}

/// Synchronous coding adjustment (§3, SYNC): where the byte would code to another code than the one
/// received, its neighbour on the side of the received one is given.
template <int Rate, QolPCMLaw Law>
Qol8u adjust(Qol8u byte, i128 se, const Difference& d, Qol32s y) {
    constexpr bool mu = Law == QOL_PCM_MULAW;
    const Qol32s expanded = (mu ? tables::_u2l[byte] : tables::_a2l[byte]) >> 2;
    const i128 dx = _mm_sub_epi32(simd::splat32(expanded), se);
    const int negative = _mm_movemask_ps(_mm_castsi128_ps(dx)) & 1;
    const int id = kRates[Rate].sync[negative][quantise<Rate>(dx, y)];
    constexpr int half = 1 << (kRates[Rate].bits - 1);
    const int im = d.sign ? d.code - half : d.code + half;
    if (id == im) {
        return byte;
    }
    return id < im ? (mu ? tables::u2GT : tables::a2GT)[byte]
                   : (mu ? tables::u2LT : tables::a2LT)[byte];
}

template <int Rate, QolPCMLaw Law>
void decode(QolsEncodeState_G726& state, const Qol8u* pSrc, Qol16s* pDst, Qol32s len) {
    constexpr int mask = (1 << kRates[Rate].bits) - 1;
    Core c = loadCore(state);
    for (Qol32s i = 0; i < len; ++i) {
        c.y = scaleFactor(c);
        const Qol32s y = c.y;
        const Prediction p = predict(c);
        const Difference d = dequantise<Rate>(pSrc[i] & mask, y);
        const i128 sr = update<Rate>(c, p, d);
        const Qol32s sample = limitSample<Law>(_mm_cvtsi128_si32(sr));
        if constexpr (Law == QOL_PCM_LINEAR) {
            pDst[i] = static_cast<Qol16s>(sample);
        } else {
            pDst[i] = adjust<Rate, Law>(compress<Law>(sample), p.se, d, y);
        }
    }
    storeCore(c, state);
}

template <int Rate>
void decodeLaw(QolsDecodeState_G726& state, const Qol8u* pSrc, Qol16s* pDst, Qol32s len) {
    switch (state.law) {
    case QOL_PCM_MULAW:
        return decode<Rate, QOL_PCM_MULAW>(state.core, pSrc, pDst, len);
    case QOL_PCM_ALAW:
        return decode<Rate, QOL_PCM_ALAW>(state.core, pSrc, pDst, len);
    default:
        return decode<Rate, QOL_PCM_LINEAR>(state.core, pSrc, pDst, len);
    }
}

} // namespace

QolStatus qolsDecodeGetStateSize_G726_8u16s(Qol32s* pSize) noexcept {
    return giveSize(sizeof(QolsDecodeState_G726), pSize);
}

QolStatus qolsDecodeInit_G726_8u16s(QolsDecodeState_G726* pState, QolSpchBitRate rate,
                                    QolPCMLaw law) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    const int index = rateIndex(rate);
    if (index < 0 || law < QOL_PCM_MULAW || law > QOL_PCM_LINEAR) {
        return qolStsRangeErr;
    }
    onCopy(pState, [=](QolsDecodeState_G726& state) {
        resetCore(state.core, index);
        state.law = static_cast<Qol16s>(law);
    });
    return qolStsNoErr;
}

QolStatus qolsDecode_G726_8u16s(QolsDecodeState_G726* pState, const Qol8u* pSrc, Qol16s* pDst,
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
    onCopy(pState, [=](QolsDecodeState_G726& state) {
        withRate(state.core.rateIndex, [&](auto rate) { decodeLaw<rate>(state, pSrc, pDst, len); });
    });
    return qolStsNoErr;
}

} // namespace qolsc
