// SPDX-License-Identifier: Apache-2.0
// Filter bank of the sub-band canceller: a window of several transform lengths, folded into one
// real transform per frame, and its inverse with overlap-add.
#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/echo.h"
#include "vector/fft.h"
#include "vector/simd.h"
#include "vector/vector.h"

struct QolsSubbandProcessState_32f {
    Qol32s windowLen;
    Qol32s fftLen;
    Qol32s frameSize; // hop
    Qol32f* pDelay;
    Qol32f* pWindow;
    qolsc::QolsFFTSpec_R_32f* pFFTSpec;
};

struct QolsSubbandProcessState_16s {
    Qol16s* pDelay;
    Qol16s* pWindow; // Q13
    qolsc::QolsFFTSpec_R_16s32s* pFFTSpec;
    Qol32s windowLen;
    Qol32s fftLen;
    Qol32s frameSize;
};

namespace qolsc {

namespace {

using State32f = QolsSubbandProcessState_32f;
using State16s = QolsSubbandProcessState_16s;

static_assert(sizeof(State32f) == 40 && sizeof(State16s) == 40);
constexpr Qol32s kFields16s = 48; // the fixed-point record's arrays begin at a multiple of 16

// Transform convention of the bank: forward without scaling, inverse times 1/fftLen.
constexpr int kFlag = fftDivInvByN;

constexpr Qol32s kWindowQ = 13;

Qol64s arrayBytes16s(Qol32s windowLen) { return echo::roundUp16(Qol64s{2} * windowLen); }

bool isMultiple(Qol32s windowLen, Qol32s order) {
    return order < 31 && windowLen % (Qol32s{1} << order) == 0;
}

/// First half of the built-in window of a configuration, or null.
const Qol32f* builtInHalf(Qol32s order, Qol32s frameSize, Qol32s windowLen) {
    return order == 5 && frameSize == 24 && windowLen == 128   ? tables::QolsSubbandWindow_5_24_128
           : order == 6 && frameSize == 44 && windowLen == 256 ? tables::QolsSubbandWindow_6_44_256
                                                               : nullptr;
}

void storeWindow(const Qol32f* pHalf, Qol32s i, Qol32s k, Qol32f* p) { p[i] = pHalf[k]; }
void storeWindow(const Qol32f* pHalf, Qol32s i, Qol32s k, Qol16s* p) {
    p[i] = static_cast<Qol16s>(pHalf[k] * (1 << kWindowQ)); // cut towards zero
}

template <typename T>
void fillWindow(const T* pWindow, const Qol32f* pHalf, T* p, Qol32s windowLen) {
    if (pWindow) {
        std::memcpy(p, pWindow, static_cast<std::size_t>(windowLen) * sizeof(T));
        return;
    }
    for (Qol32s i = 0; i < windowLen; ++i) {
        storeWindow(pHalf, i, i < windowLen / 2 ? i : windowLen - 1 - i, p);
    }
}

template <typename T>
QolStatus checkInit(const void* pState, Qol32s order, Qol32s frameSize, Qol32s windowLen,
                    const T* pWindow) {
    if (order < 1 || frameSize < 1 || (order < 31 && frameSize > (Qol32s{1} << order)) ||
        windowLen < 1) {
        return qolStsBadArgErr;
    }
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (!isMultiple(windowLen, order) || (!pWindow && !builtInHalf(order, frameSize, windowLen))) {
        return qolStsBadArgErr;
    }
    return qolStsNoErr;
}

using FftSizes = QolStatus (*)(int, int, int, Qol32s*, Qol32s*, Qol32s*) noexcept;

/// Checks of both size queries, then the sizes of the transform.
QolStatus transformSizes(FftSizes sizes, Qol32s order, Qol32s windowLen, const Qol32s* pStateSize,
                         const Qol32s* pInitBufSize, const Qol32s* pBufSize, Qol32s* pSpec,
                         Qol32s* pInit, Qol32s* pWork) {
    if (order < 1 || windowLen < 1) {
        return qolStsBadArgErr;
    }
    if (anyNull(pStateSize, pInitBufSize, pBufSize)) {
        return qolStsNullPtrErr;
    }
    if (!isMultiple(windowLen, order) ||
        sizes(order, kFlag, 0, pSpec, pInit, pWork) != qolStsNoErr) {
        return qolStsBadArgErr;
    }
    return qolStsNoErr;
}

// ---- kernels, float ----

/// Windowed delay line folded to fftLen samples, blocks in rising order.
void foldPlain(const Qol32f* pDelay, const Qol32f* pWindow, Qol32f* pBuf, Qol32s fftLen,
               Qol32s windowLen) {
    for (Qol32s i = 0; i < fftLen; ++i) {
        Qol32f sum = pDelay[i] * pWindow[i];
        for (Qol32s k = i + fftLen; k < windowLen; k += fftLen) {
            sum += pDelay[k] * pWindow[k];
        }
        pBuf[i] = sum;
    }
}
/// The same for lengths that are multiples of 8.
void fold8(const Qol32f* pDelay, const Qol32f* pWindow, Qol32f* pBuf, Qol32s fftLen,
           Qol32s windowLen) {
    using namespace simd;
    for (Qol32s i = 0; i < fftLen; i += 8) {
        f256 sum = mulf(loadf(pDelay + i), loadf(pWindow + i));
        for (Qol32s k = i + fftLen; k < windowLen; k += fftLen) {
            sum = addf(sum, mulf(loadf(pDelay + k), loadf(pWindow + k)));
        }
        storef(pBuf + i, sum);
    }
}

/// pDelay[i] += pBuf[i mod fftLen] * pWindow[windowLen - 1 - i].
void overlapPlain(const Qol32f* pBuf, const Qol32f* pWindow, Qol32f* pDelay, Qol32s fftLen,
                  Qol32s windowLen) {
    for (Qol32s i = 0; i < windowLen; ++i) {
        pDelay[i] += pBuf[i & (fftLen - 1)] * pWindow[windowLen - 1 - i];
    }
}
void overlap8(const Qol32f* pBuf, const Qol32f* pWindow, Qol32f* pDelay, Qol32s fftLen,
              Qol32s windowLen) {
    using namespace simd;
    for (Qol32s i = 0; i < windowLen; i += 8) {
        const f256 w = reversef(loadf(pWindow + windowLen - 8 - i));
        storef(pDelay + i, addf(loadf(pDelay + i), mulf(loadf(pBuf + (i & (fftLen - 1))), w)));
    }
}

// ---- kernels, fixed point ----

Qol32s product_Q0(Qol16s x, Qol16s w_Q13) { return (Qol32s{x} * w_Q13 + 4096) >> kWindowQ; }

void foldPlain(const Qol16s* pDelay, const Qol16s* pWindow, Qol16s* pBuf, Qol32s fftLen,
               Qol32s windowLen) {
    for (Qol32s i = 0; i < fftLen; ++i) {
        Qol16s sum = saturate16(product_Q0(pDelay[i], pWindow[i]));
        for (Qol32s k = i + fftLen; k < windowLen; k += fftLen) {
            sum = saturate16(sum + product_Q0(pDelay[k], pWindow[k]));
        }
        pBuf[i] = sum;
    }
}

/// Four rounded products; they need up to 19 bits.
struct Products {
    simd::i128 low, high;
};
Products products8(const Qol16s* x, simd::i128 w) {
    using namespace simd;
    const i128 v = load(x), lo = _mm_mullo_epi16(v, w), hi = _mm_mulhi_epi16(v, w);
    const i128 half = splat32(4096);
    return {_mm_srai_epi32(add32(_mm_unpacklo_epi16(lo, hi), half), kWindowQ),
            _mm_srai_epi32(add32(_mm_unpackhi_epi16(lo, hi), half), kWindowQ)};
}

/// The same for lengths that are multiples of 8.
void fold8(const Qol16s* pDelay, const Qol16s* pWindow, Qol16s* pBuf, Qol32s fftLen,
           Qol32s windowLen) {
    using namespace simd;
    for (Qol32s i = 0; i < fftLen; i += 8) {
        Products p = products8(pDelay + i, load(pWindow + i));
        i128 sum = packSat16(p.low, p.high);
        for (Qol32s k = i + fftLen; k < windowLen; k += fftLen) {
            p = products8(pDelay + k, load(pWindow + k));
            sum = packSat16(add32(p.low, widenLow(sum)), add32(p.high, widenHigh(sum)));
        }
        store(pBuf + i, sum);
    }
}

void overlapPlain(const Qol16s* pBuf, const Qol16s* pWindow, Qol16s* pDelay, Qol32s fftLen,
                  Qol32s windowLen) {
    for (Qol32s i = 0; i < windowLen; ++i) {
        pDelay[i] =
            saturate16(pDelay[i] + product_Q0(pBuf[i & (fftLen - 1)], pWindow[windowLen - 1 - i]));
    }
}
void overlap8(const Qol16s* pBuf, const Qol16s* pWindow, Qol16s* pDelay, Qol32s fftLen,
              Qol32s windowLen) {
    using namespace simd;
    for (Qol32s i = 0; i < windowLen; i += 8) {
        const Products p =
            products8(pBuf + (i & (fftLen - 1)), reverse16(load(pWindow + windowLen - 8 - i)));
        const i128 d = load(pDelay + i);
        store(pDelay + i, packSat16(add32(p.low, widenLow(d)), add32(p.high, widenHigh(d))));
    }
}

/// Bytes of the caller's buffer in front of the transform's work area; the float form's size leaves
/// no room for rounding.
Qol64s timeBytes(const State32f& s) { return Qol64s{4} * s.fftLen; }
Qol64s timeBytes(const State16s& s) { return echo::roundUp16(Qol64s{4} * s.fftLen); }

/// Moves the delay line down by a frame; where the new one goes.
template <typename State>
auto* shiftDelay(const State& s) {
    const std::ptrdiff_t kept = s.windowLen - s.frameSize;
    std::memmove(s.pDelay, s.pDelay + s.frameSize,
                 static_cast<std::size_t>(kept) * sizeof *s.pDelay);
    return s.pDelay + kept;
}
template <typename State>
std::size_t frameBytes(const State& s) {
    return static_cast<std::size_t>(s.frameSize) * sizeof *s.pDelay;
}

template <typename Sample, typename Number, typename State, typename Forward>
QolStatus analyse(const Sample* pSrc, Number* pDst, State* pState, Qol8u* pBuf, Forward forward) {
    if (anyNull(pSrc, pDst, pState, pBuf)) {
        return qolStsNullPtrErr;
    }
    const State& s = *alignUp<16>(pState);
    Qol8u* const pTime = alignUp<16>(pBuf);
    auto* const pFold = reinterpret_cast<Sample*>(pTime);
    std::memcpy(shiftDelay(s), pSrc, frameBytes(s));
    if (s.fftLen % 8 == 0) {
        fold8(s.pDelay, s.pWindow, pFold, s.fftLen, s.windowLen);
    } else {
        foldPlain(s.pDelay, s.pWindow, pFold, s.fftLen, s.windowLen);
    }
    return forward(pFold, &pDst->re, s.pFFTSpec, pTime + timeBytes(s)) == qolStsNoErr ? qolStsNoErr
                                                                                      : qolStsErr;
}

template <typename Number, typename Sample, typename State, typename Inverse>
QolStatus synthesise(const Number* pSrc, Sample* pDst, State* pState, Qol8u* pBuf,
                     Inverse inverse) {
    if (anyNull(pSrc, pDst, pState, pBuf)) {
        return qolStsNullPtrErr;
    }
    const State& s = *alignUp<16>(pState);
    Qol8u* const pWork = alignUp<16>(pBuf);
    auto* const pTime = reinterpret_cast<Sample*>(pWork);
    if (inverse(&pSrc->re, pTime, s.pFFTSpec, pWork + timeBytes(s)) != qolStsNoErr) {
        return qolStsErr;
    }
    std::memset(shiftDelay(s), 0, frameBytes(s));
    if (s.fftLen % 8 == 0) {
        overlap8(pTime, s.pWindow, s.pDelay, s.fftLen, s.windowLen);
    } else {
        overlapPlain(pTime, s.pWindow, s.pDelay, s.fftLen, s.windowLen);
    }
    std::memcpy(pDst, s.pDelay, frameBytes(s));
    return qolStsNoErr;
}

} // namespace

QolStatus qolsSubbandProcessGetSize_32f(Qol32s order, Qol32s windowLen, Qol32s* pStateSize,
                                        Qol32s* pInitBufSize, Qol32s* pBufSize) noexcept {
    Qol32s spec = 0, init = 0, work = 0;
    const QolStatus status = transformSizes(qolsFFTGetSize_R_32f, order, windowLen, pStateSize,
                                            pInitBufSize, pBufSize, &spec, &init, &work);
    if (status != qolStsNoErr) {
        return status;
    }
    *pStateSize = saturate32(Qol64s{8} * windowLen + sizeof(State32f) + spec + 16);
    *pInitBufSize = init;
    *pBufSize = saturate32(work + (Qol64s{4} << order) + 16);
    return qolStsNoErr;
}

QolStatus qolsSubbandProcessGetSize_16s(Qol32s order, Qol32s windowLen, Qol32s* pStateSize,
                                        Qol32s* pInitBufSize, Qol32s* pBufSize) noexcept {
    Qol32s spec = 0, init = 0, work = 0;
    const QolStatus status = transformSizes(qolsFFTGetSize_R_16s32s, order, windowLen, pStateSize,
                                            pInitBufSize, pBufSize, &spec, &init, &work);
    if (status != qolStsNoErr) {
        return status;
    }
    *pStateSize =
        saturate32(echo::roundUp16(spec) + 2 * arrayBytes16s(windowLen) + kFields16s + 16);
    *pInitBufSize = init;
    *pBufSize = saturate32(work + echo::roundUp16(Qol64s{4} << order) + 16);
    return qolStsNoErr;
}

QolStatus qolsSubbandProcessInit_32f(QolsSubbandProcessState_32f* pState, Qol32s order,
                                     Qol32s frameSize, Qol32s windowLen, const Qol32f* pWindow,
                                     Qol8u* pInitBuf) noexcept {
    const QolStatus status = checkInit(pState, order, frameSize, windowLen, pWindow);
    if (status != qolStsNoErr) {
        return status;
    }
    State32f& s = *alignUp<16>(pState);
    s.windowLen = windowLen;
    s.fftLen = Qol32s{1} << order;
    s.frameSize = frameSize;
    s.pWindow = reinterpret_cast<Qol32f*>(&s + 1);
    s.pDelay = s.pWindow + windowLen;
    fillWindow(pWindow, builtInHalf(order, frameSize, windowLen), s.pWindow, windowLen);
    std::memset(s.pDelay, 0, static_cast<std::size_t>(windowLen) * sizeof(Qol32f));
    Qol8u* pSpecMem = reinterpret_cast<Qol8u*>(s.pDelay + windowLen);
    return qolsFFTInit_R_32f(&s.pFFTSpec, order, kFlag, 0, pSpecMem, pInitBuf) == qolStsNoErr
               ? qolStsNoErr
               : qolStsErr;
}

QolStatus qolsSubbandProcessInit_16s(QolsSubbandProcessState_16s* pState, Qol32s order,
                                     Qol32s frameSize, Qol32s windowLen, const Qol16s* pWindow,
                                     Qol8u* pInitBuf) noexcept {
    const QolStatus status = checkInit(pState, order, frameSize, windowLen, pWindow);
    if (status != qolStsNoErr) {
        return status;
    }
    State16s& s = *alignUp<16>(pState);
    s.windowLen = windowLen;
    s.fftLen = Qol32s{1} << order;
    s.frameSize = frameSize;
    Qol8u* const pArrays = reinterpret_cast<Qol8u*>(&s) + kFields16s;
    const Qol64s bytes = arrayBytes16s(windowLen);
    s.pWindow = reinterpret_cast<Qol16s*>(pArrays);
    s.pDelay = reinterpret_cast<Qol16s*>(pArrays + bytes);
    fillWindow(pWindow, builtInHalf(order, frameSize, windowLen), s.pWindow, windowLen);
    std::memset(s.pDelay, 0, static_cast<std::size_t>(windowLen) * sizeof(Qol16s));
    return qolsFFTInit_R_16s32s(&s.pFFTSpec, order, kFlag, 0, pArrays + 2 * bytes, pInitBuf) ==
                   qolStsNoErr
               ? qolStsNoErr
               : qolStsErr;
}

QolStatus qolsSubbandAnalysis_32f32fc(const Qol32f* pSrc, Qol32fc* pDst,
                                      QolsSubbandProcessState_32f* pState, Qol8u* pBuf) noexcept {
    return analyse(pSrc, pDst, pState, pBuf,
                   [](auto* pFold, auto* pBands, auto* pSpec, Qol8u* pWork) {
                       return qolsFFTFwd_RToCCS_32f(pFold, pBands, pSpec, pWork);
                   });
}

QolStatus qolsSubbandAnalysis_16s32sc_Sfs(const Qol16s* pSrc, Qol32sc* pDst,
                                          QolsSubbandProcessState_16s* pState, Qol32s scaleFactor,
                                          Qol8u* pBuf) noexcept {
    return analyse(
        pSrc, pDst, pState, pBuf, [=](auto* pFold, auto* pBands, auto* pSpec, Qol8u* pWork) {
            return qolsFFTFwd_RToCCS_16s32s_Sfs(pFold, pBands, pSpec, scaleFactor, pWork);
        });
}

QolStatus qolsSubbandSynthesis_32fc32f(const Qol32fc* pSrc, Qol32f* pDst,
                                       QolsSubbandProcessState_32f* pState, Qol8u* pBuf) noexcept {
    return synthesise(pSrc, pDst, pState, pBuf,
                      [](auto* pBands, auto* pTime, auto* pSpec, Qol8u* pWork) {
                          return qolsFFTInv_CCSToR_32f(pBands, pTime, pSpec, pWork);
                      });
}

QolStatus qolsSubbandSynthesis_32sc16s_Sfs(const Qol32sc* pSrc, Qol16s* pDst,
                                           QolsSubbandProcessState_16s* pState, Qol32s scaleFactor,
                                           Qol8u* pBuf) noexcept {
    return synthesise(
        pSrc, pDst, pState, pBuf, [=](auto* pBands, auto* pTime, auto* pSpec, Qol8u* pWork) {
            return qolsFFTInv_CCSToR_32s16s_Sfs(pBands, pTime, pSpec, scaleFactor, pWork);
        });
}

} // namespace qolsc
