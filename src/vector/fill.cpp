// SPDX-License-Identifier: Apache-2.0
// Allocation, fill, copy, move, flip.
#include "qolcore.h"
#include "vector/map.h"
#include "vector/vector.h"

#include <string.h>

namespace qolsc {
namespace {

// From here on a fill may bypass the caches.
constexpr Qol64s kLargeFillBytes = 0x200000;
constexpr int kLineBytes = 64;

bool exceedsCache(Qol64s bytes) {
    int cache = 0;
    return bytes > kLargeFillBytes && qolGetMaxCacheSizeB(&cache) == 0 && cache > 0 &&
           bytes > cache;
}

/// Fills with a 16-byte pattern whose element size divides the address: ordinary stores up to the
/// next cache line, non-temporal ones from there, ordinary ones for the rest.
void fillPastCache(simd::i128 pattern, Qol8u* p, Qol64s bytes) {
    Qol8u raw[16];
    simd::store(raw, pattern);
    const Qol8u* const end = p + bytes;
    // The pattern continues behind the head, as the head is a multiple of the element.
    for (; reinterpret_cast<uintptr_t>(p) % kLineBytes != 0; ++p) {
        *p = raw[(bytes - (end - p)) % 16];
    }
    for (; end - p >= kLineBytes; p += kLineBytes) {
        for (int i = 0; i < kLineBytes; i += 16) {
            _mm_stream_si128(reinterpret_cast<simd::i128*>(p + i), pattern);
        }
    }
    _mm_sfence();
    for (int i = 0; i < end - p; ++i) {
        p[i] = raw[i % 16];
    }
}

template <typename T>
QolStatus zeroAll(T* pDst, int len) {
    if (const QolStatus status = vectorArgs(len, pDst)) {
        return status;
    }
    const Qol64s bytes = Qol64s{len} * static_cast<Qol64s>(sizeof(T));
    if (exceedsCache(bytes)) {
        fillPastCache(simd::zero(), reinterpret_cast<Qol8u*>(pDst), bytes);
    } else {
        memset(pDst, 0, static_cast<size_t>(bytes));
    }
    return qolStsNoErr;
}

template <typename T>
void fillPlain(simd::i128 pattern, T* pDst, int len) {
    constexpr int kPerWord = 16 / static_cast<int>(sizeof(T));
    if (len < kPerWord) {
        T raw[kPerWord];
        simd::store(raw, pattern);
        for (int i = 0; i < len; ++i) {
            pDst[i] = raw[i];
        }
        return;
    }
    int i = 0;
    for (; i + 4 * kPerWord <= len; i += 4 * kPerWord) {
        const __m256 wide = _mm256_castsi256_ps(_mm256_set_m128i(pattern, pattern));
        _mm256_storeu_ps(reinterpret_cast<Qol32f*>(pDst + i), wide);
        _mm256_storeu_ps(reinterpret_cast<Qol32f*>(pDst + i + 2 * kPerWord), wide);
    }
    for (; i + kPerWord <= len; i += kPerWord) {
        simd::store(pDst + i, pattern);
    }
    simd::store(pDst + len - kPerWord, pattern);
}

template <typename T>
QolStatus setAll(simd::i128 pattern, T* pDst, int len) {
    if (const QolStatus status = vectorArgs(len, pDst)) {
        return status;
    }
    const Qol64s bytes = Qol64s{len} * static_cast<Qol64s>(sizeof(T));
    if (reinterpret_cast<uintptr_t>(pDst) % sizeof(T) == 0 && exceedsCache(bytes)) {
        fillPastCache(pattern, reinterpret_cast<Qol8u*>(pDst), bytes);
    } else {
        fillPlain(pattern, pDst, len);
    }
    return qolStsNoErr;
}

template <typename T>
QolStatus copyAll(const T* pSrc, T* pDst, int len) {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    memcpy(pDst, pSrc, static_cast<size_t>(len) * sizeof(T));
    return qolStsNoErr;
}

template <typename T>
QolStatus moveAll(const T* pSrc, T* pDst, int len) {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    memmove(pDst, pSrc, static_cast<size_t>(len) * sizeof(T));
    return qolStsNoErr;
}

simd::f256 reversed(simd::f256 v) {
    const simd::f256 inHalves = _mm256_permute_ps(v, 0x1B);
    return _mm256_permute2f128_ps(inHalves, inHalves, 1);
}

} // namespace

Qol8u* qolsMalloc_8u(int len) noexcept {
    return len < 1 ? nullptr : static_cast<Qol8u*>(qolMalloc(len));
}
Qol32f* qolsMalloc_32f(int len) noexcept {
    constexpr int kMost = 0x7FFFFFFF / static_cast<int>(sizeof(Qol32f));
    return len < 1 || len > kMost ? nullptr : static_cast<Qol32f*>(qolMalloc(len * 4));
}
void qolsFree(void* p) noexcept { qolFree(p); }

QolStatus qolsZero_8u(Qol8u* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_16s(Qol16s* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_32s(Qol32s* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_32f(Qol32f* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_64s(Qol64s* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_64f(Qol64f* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_16sc(Qol16sc* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_32fc(Qol32fc* pDst, int len) noexcept { return zeroAll(pDst, len); }
QolStatus qolsZero_64fc(Qol64fc* pDst, int len) noexcept { return zeroAll(pDst, len); }

QolStatus qolsSet_16s(Qol16s val, Qol16s* pDst, int len) noexcept {
    return setAll(simd::splat16(val), pDst, len);
}
QolStatus qolsSet_32s(Qol32s val, Qol32s* pDst, int len) noexcept {
    return setAll(simd::splat32(val), pDst, len);
}
QolStatus qolsSet_32f(Qol32f val, Qol32f* pDst, int len) noexcept {
    return setAll(_mm_castps_si128(_mm_set1_ps(val)), pDst, len);
}
QolStatus qolsSet_64f(Qol64f val, Qol64f* pDst, int len) noexcept {
    if (const QolStatus status = vectorArgs(len, pDst)) {
        return status;
    }
    fillPlain(_mm_castpd_si128(_mm_set1_pd(val)), pDst, len);
    return qolStsNoErr;
}

QolStatus qolsCopy_8u(const Qol8u* pSrc, Qol8u* pDst, int len) noexcept {
    return copyAll(pSrc, pDst, len);
}
QolStatus qolsCopy_16s(const Qol16s* pSrc, Qol16s* pDst, int len) noexcept {
    return copyAll(pSrc, pDst, len);
}
QolStatus qolsCopy_32s(const Qol32s* pSrc, Qol32s* pDst, int len) noexcept {
    return copyAll(pSrc, pDst, len);
}
QolStatus qolsCopy_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    return copyAll(pSrc, pDst, len);
}
QolStatus qolsCopy_32sc(const Qol32sc* pSrc, Qol32sc* pDst, int len) noexcept {
    return copyAll(pSrc, pDst, len);
}
QolStatus qolsCopy_64f(const Qol64f* pSrc, Qol64f* pDst, int len) noexcept {
    return copyAll(pSrc, pDst, len);
}
QolStatus qolsMove_16s(const Qol16s* pSrc, Qol16s* pDst, int len) noexcept {
    return moveAll(pSrc, pDst, len);
}
QolStatus qolsMove_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    return moveAll(pSrc, pDst, len);
}

QolStatus qolsFlip_32f_I(Qol32f* pSrcDst, int len) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrcDst)) {
        return status;
    }
    Qol32f *lo = pSrcDst, *hi = pSrcDst + len;
    for (; hi - lo >= 16; lo += 8) {
        hi -= 8;
        const simd::f256 a = simd::loadf(lo), b = simd::loadf(hi);
        simd::storef(lo, reversed(b));
        simd::storef(hi, reversed(a));
    }
    while (hi - lo > 1) {
        const Qol32f t = *lo;
        *lo++ = *--hi;
        *hi = t;
    }
    return qolStsNoErr;
}

} // namespace qolsc
