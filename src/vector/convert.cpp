// SPDX-License-Identifier: Apache-2.0
// Conversions between element types.
#include "numeric/rules.h"
#include "vector/map.h"
#include "vector/vector.h"

#include <float.h>

namespace qolsc {

using namespace simd;

namespace {

f256 toFloat(i128 lo, i128 hi) { return _mm256_cvtepi32_ps(_mm256_set_m128i(hi, lo)); }

/// 2 to the minus s in two factors, so that every s that matters stays in range.
struct Scale {
    f256 first, second;
};
Scale scaleOf(int s) {
    constexpr int kFar = 250; // beyond: results are 0, or all nonzero elements saturate
    const int c = s < -kFar ? -kFar : s > kFar ? kFar : s;
    const auto power = [](int e) { return __builtin_bit_cast(Qol32f, (127 - e) << 23); };
    return {splatf(power(c / 2)), splatf(power(c - c / 2))};
}

/// Scaled and rounded to whole numbers in the mode's way.
template <int Mode>
f256 scaledWhole(const Qol32f* p, Scale scale) {
    const f256 x = mulf(mulf(loadf(p), scale.first), scale.second);
    if constexpr (Mode == roundZero) {
        return _mm256_round_ps(x, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    } else if constexpr (Mode == roundNear) {
        return _mm256_round_ps(x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    } else {
        const f256 whole = _mm256_round_ps(x, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
        const f256 sign = _mm256_and_ps(x, splatf(-0.0f));
        const f256 rest = _mm256_andnot_ps(splatf(-0.0f), subf(x, whole));
        const f256 up = _mm256_and_ps(_mm256_cmp_ps(rest, splatf(0.5f), _CMP_GE_OQ), splatf(1.0f));
        return addf(whole, _mm256_or_ps(up, sign));
    }
}

/// Whole numbers to 32 bits, saturated.
TwoWords toWords(f256 x) {
    // The conversion gives 0x80000000 for all that it can't hold: right below the range, inverted
    // above it.
    const __m256i raw = _mm256_cvttps_epi32(x);
    const __m256i above = _mm256_castps_si256(_mm256_cmp_ps(x, splatf(0x1p31f), _CMP_GE_OQ));
    return {_mm_xor_si128(_mm256_castsi256_si128(raw), _mm256_castsi256_si128(above)),
            _mm_xor_si128(_mm256_extractf128_si256(raw, 1), _mm256_extractf128_si256(above, 1))};
}

template <int Mode>
QolStatus toWords16(const Qol32f* pSrc, Qol16s* pDst, int len, Scale scale) {
    return mapChecked<8>(
        [scale](const Qol32f* p) {
            const TwoWords w = toWords(scaledWhole<Mode>(p, scale));
            return packSat16(w.lo, w.hi);
        },
        pDst, len, pSrc);
}
template <int Mode>
QolStatus toWords32(const Qol32f* pSrc, Qol32s* pDst, int len, Scale scale) {
    return mapChecked<8>([scale](const Qol32f* p) { return toWords(scaledWhole<Mode>(p, scale)); },
                         pDst, len, pSrc);
}

} // namespace

QolStatus qolsConvert_16s32s(const Qol16s* pSrc, Qol32s* pDst, int len) noexcept {
    return mapChecked<8>(
        [](const Qol16s* p) {
            const i128 v = load(p);
            return TwoWords{widenLow(v), widenHigh(v)};
        },
        pDst, len, pSrc);
}
QolStatus qolsConvert_16s32f(const Qol16s* pSrc, Qol32f* pDst, int len) noexcept {
    return mapChecked<8>(
        [](const Qol16s* p) {
            const i128 v = load(p);
            return toFloat(widenLow(v), widenHigh(v));
        },
        pDst, len, pSrc);
}
QolStatus qolsConvert_32s32f(const Qol32s* pSrc, Qol32f* pDst, int len) noexcept {
    return mapChecked<8>([](const Qol32s* p) { return toFloat(load(p), load(p + 4)); }, pDst, len,
                         pSrc);
}
QolStatus qolsConvert_64f32f(const Qol64f* pSrc, Qol32f* pDst, int len) noexcept {
    const d256 most = splatd(FLT_MAX), least = splatd(-FLT_MAX);
    const auto narrowed = [most, least](const Qol64f* p) {
        return _mm256_cvtpd_ps(_mm256_min_pd(most, _mm256_max_pd(least, loadd(p))));
    };
    return mapChecked<8>(
        [narrowed](const Qol64f* p) { return _mm256_set_m128(narrowed(p + 4), narrowed(p)); }, pDst,
        len, pSrc);
}
QolStatus qolsConvert_32s16s(const Qol32s* pSrc, Qol16s* pDst, int len) noexcept {
    return mapChecked<8>([](const Qol32s* p) { return packSat16(load(p), load(p + 4)); }, pDst, len,
                         pSrc);
}

QolStatus qolsConvert_32f16s_Sfs(const Qol32f* pSrc, Qol16s* pDst, int len, int mode,
                                 int scaleFactor) noexcept {
    const Scale scale = scaleOf(scaleFactor);
    return mode == roundZero   ? toWords16<roundZero>(pSrc, pDst, len, scale)
           : mode == roundNear ? toWords16<roundNear>(pSrc, pDst, len, scale)
                               : toWords16<2>(pSrc, pDst, len, scale);
}
QolStatus qolsConvert_32f32s_Sfs(const Qol32f* pSrc, Qol32s* pDst, int len, int mode,
                                 int scaleFactor) noexcept {
    const Scale scale = scaleOf(scaleFactor);
    return mode == roundZero   ? toWords32<roundZero>(pSrc, pDst, len, scale)
           : mode == roundNear ? toWords32<roundNear>(pSrc, pDst, len, scale)
                               : toWords32<2>(pSrc, pDst, len, scale);
}

} // namespace qolsc
