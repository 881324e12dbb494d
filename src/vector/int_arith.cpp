// SPDX-License-Identifier: Apache-2.0
// Element-wise integer arithmetic, scaled by even rounding with saturation, and shifts.
#include "vector/map.h"
#include "vector/vector.h"

namespace qolsc {

using namespace simd;

namespace {

i128 count(int n) { return _mm_cvtsi32_si128(n); }

int clip(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

/// 0x7FFFFFFF, or 0x80000000 where x is negative.
i128 fullScale32(i128 x) { return _mm_xor_si128(_mm_srai_epi32(x, 31), splat32(0x7FFFFFFF)); }

/// mask ? b : a, by whole lanes.
i128 choose(i128 a, i128 b, i128 mask) { return _mm_blendv_epi8(a, b, mask); }

i128 shiftLeftSat32(i128 x, i128 n) {
    const i128 shifted = _mm_sll_epi32(x, n);
    const i128 held = _mm_cmpeq_epi32(_mm_sra_epi32(shifted, n), x);
    return choose(fullScale32(x), shifted, held);
}

i128 addSat32(i128 a, i128 b) {
    const i128 sum = add32(a, b);
    const i128 overflow = _mm_and_si128(_mm_xor_si128(a, sum), _mm_xor_si128(b, sum));
    return choose(sum, fullScale32(a), _mm_srai_epi32(overflow, 31));
}

/// Even rounding of x by s of 1 and more, where x plus half a unit stays within 32 bits.
struct EvenRound {
    i128 s, bias;
};
EvenRound evenRound(int s) { return {count(s), splat32((1 << (s - 1)) - 1)}; }
i128 scaleEven32(i128 x, EvenRound r) {
    const i128 odd = _mm_and_si128(_mm_sra_epi32(x, r.s), splat32(1));
    return _mm_sra_epi32(add32(add32(x, r.bias), odd), r.s);
}

/// Even rounding of the 33-bit sum a + b by s from 1 to 32: by its half h and lowest bit l. With
/// t = s - 1 the quotient is h >> t, to which one is added when the rest and l pass the half.
i128 addScaleEven32(i128 a, i128 b, i128 t, i128 restMask, i128 bias) {
    const i128 odd = _mm_xor_si128(a, b);
    const i128 h = add32(_mm_and_si128(a, b), _mm_srai_epi32(odd, 1));
    const i128 q = _mm_sra_epi32(h, t);
    const i128 sticky = _mm_and_si128(_mm_or_si128(odd, q), splat32(1));
    const i128 rest = add32(_mm_and_si128(h, restMask), add32(sticky, bias));
    return add32(q, _mm_srl_epi32(rest, t));
}
/// The case s = 1: a half remains where l is set, and goes up when h is odd.
i128 addHalveEven32(i128 a, i128 b) {
    const i128 odd = _mm_xor_si128(a, b);
    const i128 h = add32(_mm_and_si128(a, b), _mm_srai_epi32(odd, 1));
    return add32(h, _mm_and_si128(_mm_and_si128(odd, h), splat32(1)));
}

TwoWords products(const Qol16s* a, const Qol16s* b) {
    const i128 x = load(a), y = load(b), lo = _mm_mullo_epi16(x, y), hi = _mm_mulhi_epi16(x, y);
    return {_mm_unpacklo_epi16(lo, hi), _mm_unpackhi_epi16(lo, hi)};
}

/// fromConst - x or x - constant by the sign, in 32 bits, then scaled and packed.
template <typename Difference>
QolStatus scaledDifference(const Qol16s* pSrc, Qol16s* pDst, int len, int scaleFactor,
                           Difference difference) {
    if (scaleFactor > 0) {
        const EvenRound r = evenRound(scaleFactor);
        return mapChecked<8>(
            [=](const Qol16s* p) {
                const TwoWords d = difference(load(p));
                return packSat16(scaleEven32(d.lo, r), scaleEven32(d.hi, r));
            },
            pDst, len, pSrc);
    }
    // A difference of 1 reaches full scale at 15 places.
    const i128 n = count(-clip(scaleFactor, -15, 0));
    return mapChecked<8>(
        [=](const Qol16s* p) {
            const TwoWords d = difference(load(p));
            return packSat16(_mm_sll_epi32(d.lo, n), _mm_sll_epi32(d.hi, n));
        },
        pDst, len, pSrc);
}

/// Status of SubC and SubCRev above scale 16, where no difference reaches half a unit.
QolStatus zeroResult(const Qol16s* pSrc, Qol16s* pDst, int len) {
    return pSrc == nullptr ? qolStsNullPtrErr : qolsZero_16s(pDst, len);
}

/// Four sums of squares, as unsigned 64-bit values in two registers.
TwoWords squaredMagnitudes(const Qol32sc* p) {
    const i128 v0 = load(p), v1 = load(p + 2);
    const auto sums = [](i128 v) {
        const i128 im = _mm_srli_epi64(v, 32);
        return add64(_mm_mul_epi32(v, v), _mm_mul_epi32(im, im));
    };
    return {sums(v0), sums(v1)};
}

/// 64-bit lanes below 2^31 kept, others limited to 0x7FFFFFFF, where whole says that the lane holds
/// the exact value.
i128 limitLow(i128 x, i128 whole) {
    const i128 fits = _mm_and_si128(_mm_cmpeq_epi64(_mm_srli_epi64(x, 31), zero()), whole);
    return choose(splat32(0x7FFFFFFF), x, fits);
}
i128 lowWords(i128 a, i128 b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}

/// The instruction's shift of all lanes, by any count above 0.
template <int N, typename T, typename Lanes>
QolStatus shiftBy(const T* pSrc, int shift, T* pDst, int len, Lanes lanes) {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    if (shift < 0) {
        return qolStsShiftErr;
    }
    const i128 n = count(shift);
    mapBlocks<N>([=](const T* p) { return lanes(load(p), n); }, pDst, len, pSrc);
    return qolStsNoErr;
}

} // namespace

QolStatus qolsAdd_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len) noexcept {
    return mapChecked<8>(
        [](const Qol16s* a, const Qol16s* b) { return addSat16(load(a), load(b)); }, pDst, len,
        pSrc1, pSrc2);
}
QolStatus qolsSub_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len) noexcept {
    return mapChecked<8>(
        [](const Qol16s* a, const Qol16s* b) { return subSat16(load(b), load(a)); }, pDst, len,
        pSrc1, pSrc2);
}

QolStatus qolsAdd_32s_Sfs(const Qol32s* pSrc1, const Qol32s* pSrc2, Qol32s* pDst, int len,
                          int scaleFactor) noexcept {
    if (scaleFactor > 32) { // the sum is at most half a unit, and the even neighbour of that is 0
        const QolStatus status = vectorArgs(len, pSrc1, pSrc2, pDst);
        return status == qolStsNoErr ? qolsZero_32s(pDst, len) : status;
    }
    if (scaleFactor == 1) {
        return mapChecked<4>(
            [](const Qol32s* a, const Qol32s* b) { return addHalveEven32(load(a), load(b)); }, pDst,
            len, pSrc1, pSrc2);
    }
    if (scaleFactor > 1) {
        const int places = scaleFactor - 1;
        const i128 t = count(places);
        const i128 restMask = splat32(static_cast<Qol32s>((1u << places) - 1));
        const i128 bias = splat32((1 << (places - 1)) - 1);
        return mapChecked<4>(
            [=](const Qol32s* a, const Qol32s* b) {
                return addScaleEven32(load(a), load(b), t, restMask, bias);
            },
            pDst, len, pSrc1, pSrc2);
    }
    const i128 n = count(-clip(scaleFactor, -32, 0));
    return mapChecked<4>(
        [n](const Qol32s* a, const Qol32s* b) {
            return shiftLeftSat32(addSat32(load(a), load(b)), n);
        },
        pDst, len, pSrc1, pSrc2);
}

QolStatus qolsMul_16s32s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s* pDst, int len,
                             int scaleFactor) noexcept {
    if (scaleFactor > 31) { // products are 2^30 at most
        const QolStatus status = vectorArgs(len, pSrc1, pSrc2, pDst);
        return status == qolStsNoErr ? qolsZero_32s(pDst, len) : status;
    }
    if (scaleFactor > 0) {
        const EvenRound r = evenRound(scaleFactor);
        return mapChecked<8>(
            [r](const Qol16s* a, const Qol16s* b) {
                const TwoWords p = products(a, b);
                return TwoWords{scaleEven32(p.lo, r), scaleEven32(p.hi, r)};
            },
            pDst, len, pSrc1, pSrc2);
    }
    if (scaleFactor == 0) {
        return mapChecked<8>(products, pDst, len, pSrc1, pSrc2);
    }
    const i128 n = count(-clip(scaleFactor, -32, 0));
    return mapChecked<8>(
        [n](const Qol16s* a, const Qol16s* b) {
            const TwoWords p = products(a, b);
            return TwoWords{shiftLeftSat32(p.lo, n), shiftLeftSat32(p.hi, n)};
        },
        pDst, len, pSrc1, pSrc2);
}

QolStatus qolsSubC_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, int len,
                           int scaleFactor) noexcept {
    if (scaleFactor > 16) {
        return zeroResult(pSrc, pDst, len);
    }
    if (val == 0 && scaleFactor == 0) {
        return qolsMove_16s(pSrc, pDst, len);
    }
    const i128 c = splat32(val);
    return scaledDifference(pSrc, pDst, len, scaleFactor, [c](i128 x) {
        return TwoWords{sub32(widenLow(x), c), sub32(widenHigh(x), c)};
    });
}
QolStatus qolsSubCRev_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, int len,
                              int scaleFactor) noexcept {
    if (scaleFactor > 16) {
        return zeroResult(pSrc, pDst, len);
    }
    const i128 c = splat32(val);
    return scaledDifference(pSrc, pDst, len, scaleFactor, [c](i128 x) {
        return TwoWords{sub32(c, widenLow(x)), sub32(c, widenHigh(x))};
    });
}

QolStatus qolsAbs_16s(const Qol16s* pSrc, Qol16s* pDst, int len) noexcept {
    return mapChecked<8>(
        [](const Qol16s* p) { return _mm_max_epi16(load(p), subSat16(zero(), load(p))); }, pDst,
        len, pSrc);
}

QolStatus qolsMagSquared_32sc32s_Sfs(const Qol32sc* pSrc, Qol32s* pDst, int len,
                                     int scaleFactor) noexcept {
    const i128 all = splat32(-1);
    if (scaleFactor > 63) {
        const QolStatus status = vectorArgs(len, pSrc, pDst);
        return status == qolStsNoErr ? qolsZero_32s(pDst, len) : status;
    }
    if (scaleFactor > 0) {
        const i128 s = count(scaleFactor);
        const i128 restMask = _mm_set1_epi64x(static_cast<Qol64s>((1ull << scaleFactor) - 1));
        const i128 bias = _mm_set1_epi64x(static_cast<Qol64s>((1ull << (scaleFactor - 1)) - 1));
        const auto scaled = [=](i128 x) {
            const i128 q = _mm_srl_epi64(x, s);
            const i128 odd = _mm_and_si128(q, _mm_set1_epi64x(1));
            const i128 rest = add64(_mm_and_si128(x, restMask), add64(bias, odd));
            return limitLow(add64(q, _mm_srl_epi64(rest, s)), all);
        };
        return mapChecked<4>(
            [=](const Qol32sc* p) {
                const TwoWords x = squaredMagnitudes(p);
                return lowWords(scaled(x.lo), scaled(x.hi));
            },
            pDst, len, pSrc);
    }
    const i128 n = count(-clip(scaleFactor, -64, 0));
    const auto scaled = [=](i128 x) {
        const i128 shifted = _mm_sll_epi64(x, n);
        return limitLow(shifted, _mm_cmpeq_epi64(_mm_srl_epi64(shifted, n), x));
    };
    return mapChecked<4>(
        [=](const Qol32sc* p) {
            const TwoWords x = squaredMagnitudes(p);
            return lowWords(scaled(x.lo), scaled(x.hi));
        },
        pDst, len, pSrc);
}

QolStatus qolsLShiftC_16s(const Qol16s* pSrc, int shift, Qol16s* pDst, int len) noexcept {
    return shift == 0 ? qolsMove_16s(pSrc, pDst, len)
                      : shiftBy<8>(pSrc, shift, pDst, len,
                                   [](i128 x, i128 n) { return _mm_sll_epi16(x, n); });
}
QolStatus qolsLShiftC_16u(const Qol16u* pSrc, int shift, Qol16u* pDst, int len) noexcept {
    return qolsLShiftC_16s(reinterpret_cast<const Qol16s*>(pSrc), shift,
                           reinterpret_cast<Qol16s*>(pDst), len);
}

QolStatus qolsRShiftC_16s(const Qol16s* pSrc, int shift, Qol16s* pDst, int len) noexcept {
    return shift == 0 ? qolsMove_16s(pSrc, pDst, len)
                      : shiftBy<8>(pSrc, shift, pDst, len,
                                   [](i128 x, i128 n) { return _mm_sra_epi16(x, n); });
}
QolStatus qolsRShiftC_32s(const Qol32s* pSrc, int shift, Qol32s* pDst, int len) noexcept {
    if (shift == 0) {
        // A copy of whole words, whatever they hold.
        return qolsMove_32f(reinterpret_cast<const Qol32f*>(pSrc), reinterpret_cast<Qol32f*>(pDst),
                            len);
    }
    return shiftBy<4>(pSrc, shift, pDst, len, [](i128 x, i128 n) { return _mm_sra_epi32(x, n); });
}

} // namespace qolsc
