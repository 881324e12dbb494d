// SPDX-License-Identifier: Apache-2.0
// The loop of all element-wise functions, written once: whole blocks, and a last block that ends
// with the vector, computed before anything is stored, so that the destination may be a source.
#pragma once

#include "qolsc/status.h"
#include "vector/simd.h"

namespace qolsc {

/// Checks of the layer: null pointers, then the length.
template <typename... P>
constexpr QolStatus vectorArgs(int len, const P*... p) {
    return ((p == nullptr) || ...) ? qolStsNullPtrErr : len < 1 ? qolStsSizeErr : qolStsNoErr;
}

/// A short vector on the stack, padded with copies of its first element.
template <int N, typename T>
struct Staged {
    T v[N];
};
template <int N, typename T>
inline Staged<N, T> staged(const T* p, int len) {
    Staged<N, T> s;
    for (int i = 0; i < N; ++i) {
        s.v[i] = p[i < len ? i : 0];
    }
    return s;
}

// ---- stores of one block, by the register that a kernel returns ----

/// Two registers of a block that widens its elements.
struct TwoWords {
    simd::i128 lo, hi;
};
struct TwoFloats {
    simd::f256 lo, hi;
};
template <typename T>
inline void put(T* p, simd::i128 v) {
    simd::store(p, v);
}
template <typename T>
inline void put(T* p, TwoWords v) {
    simd::store(p, v.lo);
    simd::store(reinterpret_cast<Qol8u*>(p) + 16, v.hi);
}
inline void put(Qol32f* p, simd::f256 v) { simd::storef(p, v); }
inline void put(Qol32f* p, TwoFloats v) {
    simd::storef(p, v.lo);
    simd::storef(p + 8, v.hi);
}
inline void put(Qol32f* p, __m128 v) { _mm_storeu_ps(p, v); }
inline void put(Qol64f* p, simd::d256 v) { simd::stored(p, v); }

/// kernel(sources...) computes N elements of the destination from N elements of each source; len is
/// at least 1.
template <int N, typename Kernel, typename D, typename... S>
inline void mapBlocks(Kernel kernel, D* pDst, int len, const S*... pSrc) {
    if (len >= N) {
        const int lastStart = len - N;
        const auto last = kernel((pSrc + lastStart)...);
        for (int i = 0; i < lastStart; i += N) {
            put(pDst + i, kernel((pSrc + i)...));
        }
        put(pDst + lastStart, last);
        return;
    }
    D out[N];
    put(out, kernel(staged<N>(pSrc, len).v...));
    for (int i = 0; i < len; ++i) {
        pDst[i] = out[i];
    }
}

/// The whole function: checks, then the loop.
template <int N, typename Kernel, typename D, typename... S>
inline QolStatus mapChecked(Kernel kernel, D* pDst, int len, const S*... pSrc) {
    const QolStatus status = vectorArgs(len, pSrc..., pDst);
    if (status == qolStsNoErr) {
        mapBlocks<N>(kernel, pDst, len, pSrc...);
    }
    return status;
}

} // namespace qolsc
