// SPDX-License-Identifier: Apache-2.0
// Element-wise floating-point arithmetic.
#include "vector/map.h"
#include "vector/vector.h"

#include <string.h>

namespace qolsc {

using namespace simd;

namespace {

template <typename T>
QolStatus copyAny(const T* pSrc, T* pDst, int len) {
    const QolStatus status = vectorArgs(len, pSrc, pDst);
    if (status == qolStsNoErr) {
        memmove(pDst, pSrc, static_cast<size_t>(len) * sizeof(T));
    }
    return status;
}
template <typename T>
QolStatus clearAny(const T* pSrc, T* pDst, int len) {
    const QolStatus status = vectorArgs(len, pSrc, pDst);
    if (status == qolStsNoErr) {
        memset(pDst, 0, static_cast<size_t>(len) * sizeof(T));
    }
    return status;
}

} // namespace

QolStatus qolsAdd_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst, int len) noexcept {
    return mapChecked<8>([](const Qol32f* a, const Qol32f* b) { return addf(loadf(a), loadf(b)); },
                         pDst, len, pSrc1, pSrc2);
}
QolStatus qolsAdd_64f(const Qol64f* pSrc1, const Qol64f* pSrc2, Qol64f* pDst, int len) noexcept {
    return mapChecked<4>([](const Qol64f* a, const Qol64f* b) { return addd(loadd(a), loadd(b)); },
                         pDst, len, pSrc1, pSrc2);
}
QolStatus qolsSub_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst, int len) noexcept {
    return mapChecked<8>([](const Qol32f* a, const Qol32f* b) { return subf(loadf(b), loadf(a)); },
                         pDst, len, pSrc1, pSrc2);
}
QolStatus qolsMul_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst, int len) noexcept {
    return mapChecked<8>([](const Qol32f* a, const Qol32f* b) { return mulf(loadf(a), loadf(b)); },
                         pDst, len, pSrc1, pSrc2);
}
QolStatus qolsMul_64f(const Qol64f* pSrc1, const Qol64f* pSrc2, Qol64f* pDst, int len) noexcept {
    return mapChecked<4>([](const Qol64f* a, const Qol64f* b) { return muld(loadd(a), loadd(b)); },
                         pDst, len, pSrc1, pSrc2);
}

QolStatus qolsAddC_32f(const Qol32f* pSrc, Qol32f val, Qol32f* pDst, int len) noexcept {
    if (val == 0) {
        return copyAny(pSrc, pDst, len);
    }
    const f256 c = splatf(val);
    return mapChecked<8>([c](const Qol32f* a) { return addf(loadf(a), c); }, pDst, len, pSrc);
}
QolStatus qolsSubC_32f(const Qol32f* pSrc, Qol32f val, Qol32f* pDst, int len) noexcept {
    if (val == 0) {
        return copyAny(pSrc, pDst, len);
    }
    const f256 c = splatf(val);
    return mapChecked<8>([c](const Qol32f* a) { return subf(loadf(a), c); }, pDst, len, pSrc);
}
QolStatus qolsMulC_32f(const Qol32f* pSrc, Qol32f val, Qol32f* pDst, int len) noexcept {
    if (val == 1) {
        return copyAny(pSrc, pDst, len);
    }
    if (val == 0) {
        return clearAny(pSrc, pDst, len);
    }
    const f256 c = splatf(val);
    return mapChecked<8>([c](const Qol32f* a) { return mulf(loadf(a), c); }, pDst, len, pSrc);
}
QolStatus qolsMulC_64f(const Qol64f* pSrc, Qol64f val, Qol64f* pDst, int len) noexcept {
    if (val == 1) {
        return copyAny(pSrc, pDst, len);
    }
    if (val == 0) {
        return clearAny(pSrc, pDst, len);
    }
    const d256 c = splatd(val);
    return mapChecked<4>([c](const Qol64f* a) { return muld(loadd(a), c); }, pDst, len, pSrc);
}
QolStatus qolsMulC_32f_I(Qol32f val, Qol32f* pSrcDst, int len) noexcept {
    return val == 1 ? vectorArgs(len, pSrcDst) : qolsMulC_32f(pSrcDst, val, pSrcDst, len);
}

QolStatus qolsAddProduct_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst,
                             int len) noexcept {
    const Qol32f* pSum = pDst;
    return mapChecked<8>(
        [](const Qol32f* a, const Qol32f* b, const Qol32f* sum) {
            return addf(loadf(sum), mulf(loadf(a), loadf(b)));
        },
        pDst, len, pSrc1, pSrc2, pSum);
}

QolStatus qolsMul_32f32fc(const Qol32f* pSrc1, const Qol32fc* pSrc2, Qol32fc* pDst,
                          int len) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc1, pSrc2, pDst)) {
        return status;
    }
    int i = 0;
    for (; i + 4 <= len; i += 4) {
        const __m128 r = _mm_loadu_ps(pSrc1 + i);
        const f256 twice = _mm256_set_m128(_mm_unpackhi_ps(r, r), _mm_unpacklo_ps(r, r));
        storef(&pDst[i].re, mulf(twice, loadf(&pSrc2[i].re)));
    }
    for (; i < len; ++i) {
        pDst[i] = {pSrc1[i] * pSrc2[i].re, pSrc1[i] * pSrc2[i].im};
    }
    return qolStsNoErr;
}

QolStatus qolsMulPackConj_32f_I(const Qol32f* pSrc, Qol32f* pSrcDst, int len) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pSrcDst)) {
        return status;
    }
    pSrcDst[0] *= pSrc[0];
    if (len % 2 == 0) {
        pSrcDst[len - 1] *= pSrc[len - 1];
    }
    int i = 1;
    for (; i + 8 < len; i += 8) {
        const f256 x = loadf(pSrcDst + i), y = loadf(pSrc + i);
        // (x.re y.re + x.im y.im, x.im y.re - x.re y.im): the crossed product by the sign trick of
        // addsub on negated imaginary parts.
        const f256 direct = mulf(x, _mm256_moveldup_ps(y));
        const f256 crossed = mulf(_mm256_permute_ps(x, 0xB1), _mm256_movehdup_ps(y));
        const f256 negated = subf(zerof(), crossed);
        storef(pSrcDst + i, _mm256_addsub_ps(direct, negated));
    }
    for (; i + 1 < len; i += 2) {
        const Qol32f re = pSrcDst[i], im = pSrcDst[i + 1];
        pSrcDst[i] = re * pSrc[i] + im * pSrc[i + 1];
        pSrcDst[i + 1] = im * pSrc[i] - re * pSrc[i + 1];
    }
    return qolStsNoErr;
}

} // namespace qolsc
