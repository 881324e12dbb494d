// SPDX-License-Identifier: Apache-2.0
// Records, layouts and checks of the real transforms.
#include "vector/fft.h"

#include "entry/checks.h"
#include "qolcore.h"
#include "vector/fft_kernels.h"
#include "vector/vector.h"

#include <math.h>
#include <string.h>

namespace qolsc {
namespace {

constexpr Qol32s kFloatId = 6, kWordId = 0x434D414F;
constexpr int kHeadBytes = 144; // kept clear for the record
constexpr int kHeadRoom = 192;  // whole cache lines in front of the tables
constexpr int kLastStaged = 19, kMostOrder = 29;
constexpr int kLine = 64;
static_assert(sizeof(QolsFFTSpec_R_32f) <= kHeadBytes && sizeof(QolsFFTSpec_R_16s32s) <= kLine);

bool validFlag(int flag) {
    return flag == fftDivFwdByN || flag == fftDivInvByN || flag == fftDivBySqrtN ||
           flag == fftNoDiv;
}

constexpr Qol64s roundUp(Qol64s x) { return (x + kLine - 1) & ~Qol64s{kLine - 1}; }

struct Sizes {
    Qol32s spec, init, work;
};
Sizes sizesOf(int order) {
    const Qol64s length = Qol64s{1} << order, half = length / 2;
    Sizes s = {208, 0, 0};
    if (order > kLastStaged) {
        s.spec = kHeadRoom + kLine + fft::largeTableBytes(order);
    } else if (order > 7) {
        const Qol64s base = ((8 * half + 71) & ~63LL) + (((half & ~3LL) + 67) & ~63LL);
        s.spec = static_cast<Qol32s>(base + 2 * roundUp(2 * length) + 256);
        s.work = static_cast<Qol32s>(roundUp(8 * half) + kLine);
    } else if (order > 4) {
        s.spec = static_cast<Qol32s>(2 * roundUp(2 * length) + 256);
    }
    if (order > 10) {
        s.init = static_cast<Qol32s>(((length + 67) & ~63LL) + kLine);
    }
    return s;
}

/// A whole size query; sizes(order) tells them.
QolStatus giveSizes(Sizes (*sizes)(int), int order, int flag, Qol32s* pSpecSize, Qol32s* pInitSize,
                    Qol32s* pWorkSize) {
    if (order < 0 || order > kMostOrder + 1) {
        return qolStsFftOrderErr;
    }
    if (anyNull(pSpecSize, pInitSize, pWorkSize)) {
        return qolStsNullPtrErr;
    }
    if (!validFlag(flag)) {
        return qolStsFftFlagErr;
    }
    if (order > kMostOrder) {
        return qolStsFftOrderErr;
    }
    const Sizes s = sizes(order);
    *pSpecSize = s.spec;
    *pInitSize = s.init;
    *pWorkSize = s.work;
    return qolStsNoErr;
}

/// Where the parts of a spectrum of N elements lie.
enum class Layout { perm, pack, ccs };

int spectrumLength(Layout layout, int length) { return length + (layout == Layout::ccs ? 2 : 0); }

fft::Spectrum spectrumIn(Layout layout, Qol32f* p, Qol64s length) {
    switch (layout) {
    case Layout::perm:
        return {p + 2, p, p + 1};
    case Layout::pack:
        return {p + 1, p, p + length - 1};
    default:
        return {p + 2, p, p + length};
    }
}
fft::ConstSpectrum spectrumFrom(Layout layout, const Qol32f* p, Qol64s length) {
    if (length == 1) {
        return {p, p[0], 0};
    }
    const fft::Spectrum s = spectrumIn(layout, const_cast<Qol32f*>(p), length);
    return {s.pairs, *s.first, *s.last};
}

/// A work buffer: the caller's, or an allocated one.
struct Work {
    Qol8u* p;
    Qol8u* owned;
};
bool acquire(Work& work, Qol8u* pBuffer, int bytes) {
    work = {nullptr, nullptr};
    if (bytes > 0) {
        work.p = pBuffer != nullptr ? alignUp<kLine>(pBuffer) : (work.owned = qolsMalloc_8u(bytes));
    }
    return bytes == 0 || work.p != nullptr;
}

void forwardInPlaceLarge(const QolsFFTSpec_R_32f& spec, const Qol32f* pSrc, Qol32f* pDst,
                         Layout layout, Qol32f factor) {
    const size_t length = size_t{1} << spec.order;
    memmove(pDst, pSrc, length * sizeof(Qol32f));
    fft::forwardLarge(spec.order, reinterpret_cast<const Qol8u*>(spec.pTwiddle), pDst, factor);
    const Qol32f last = pDst[1];
    if (layout == Layout::pack) {
        memmove(pDst + 1, pDst + 2, (length - 2) * sizeof(Qol32f));
        pDst[length - 1] = last;
    } else if (layout == Layout::ccs) {
        pDst[length] = last;
    }
}

void inverseInPlaceLarge(const QolsFFTSpec_R_32f& spec, const Qol32f* pSrc, Qol32f* pDst,
                         Layout layout, Qol32f factor) {
    const size_t length = size_t{1} << spec.order;
    const fft::ConstSpectrum s = spectrumFrom(layout, pSrc, static_cast<Qol64s>(length));
    memmove(pDst + 2, s.pairs, (length - 2) * sizeof(Qol32f));
    pDst[0] = s.first;
    pDst[1] = s.last;
    fft::inverseLarge(spec.order, reinterpret_cast<const Qol8u*>(spec.pTwiddle), pDst, factor);
}

constexpr Qol32s idOf(const QolsFFTSpec_R_32f*) { return kFloatId; }
constexpr Qol32s idOf(const QolsFFTSpec_R_16s32s*) { return kWordId; }

template <typename Spec>
QolStatus runArgs(const Spec* pSpec, const void* a, const void* b) {
    return pSpec == nullptr               ? qolStsNullPtrErr
           : pSpec->id != idOf(pSpec)     ? qolStsContextMatchErr
           : a == nullptr || b == nullptr ? qolStsNullPtrErr
                                          : qolStsNoErr;
}

template <Layout L>
QolStatus forward(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                  Qol8u* pBuffer) {
    if (const QolStatus status = runArgs(pSpec, pSrc, pDst)) {
        return status;
    }
    const int order = pSpec->order;
    const Qol64s length = Qol64s{1} << order;
    const Qol32f factor = pSpec->doScaleFwd ? pSpec->normFactor : 1.0f;
    const fft::Spectrum dst = spectrumIn(L, pDst, length);
    if (order < 7) {
        fft::forwardSmall(order, pSrc, dst, factor);
    } else if (order == 7) {
        fft::forward7(pSrc, dst, factor);
    } else if (order <= kLastStaged) {
        Work work;
        if (!acquire(work, pBuffer, pSpec->workSize)) {
            return qolStsMemAllocErr;
        }
        fft::forwardStaged(order, pSpec->pTwiddle, pSpec->pTwdReal, pSrc, dst, pDst, factor,
                           reinterpret_cast<Qol32f*>(work.p));
        qolsFree(work.owned);
    } else {
        forwardInPlaceLarge(*pSpec, pSrc, pDst, L, factor);
    }
    if constexpr (L == Layout::ccs) {
        pDst[1] = 0;
        if (order > 0) {
            pDst[length + 1] = 0;
        }
    }
    return qolStsNoErr;
}

template <Layout L>
QolStatus inverse(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                  Qol8u* pBuffer) {
    if (const QolStatus status = runArgs(pSpec, pSrc, pDst)) {
        return status;
    }
    const int order = pSpec->order;
    const Qol32f factor = pSpec->doScaleInv ? pSpec->normFactor : 1.0f;
    if (order > kLastStaged) {
        inverseInPlaceLarge(*pSpec, pSrc, pDst, L, factor);
        return qolStsNoErr;
    }
    const int length = 1 << order;
    const fft::ConstSpectrum src = spectrumFrom(L, pSrc, length);
    if (order < 7) {
        fft::inverseSmall(order, src, pDst, factor);
        return qolStsNoErr;
    }
    if (order == 7) {
        fft::inverse7(src, pDst, factor);
        return qolStsNoErr;
    }
    Work work;
    if (!acquire(work, pBuffer, pSpec->workSize)) {
        return qolStsMemAllocErr;
    }
    fft::inverseStaged(order, pSpec->pTwiddle, pSpec->pTwdReal, src, pSrc,
                       spectrumLength(L, length), pDst, factor, reinterpret_cast<Qol32f*>(work.p));
    qolsFree(work.owned);
    return qolStsNoErr;
}

} // namespace

QolStatus qolsFFTGetSize_R_32f(int order, int flag, int, Qol32s* pSpecSize, Qol32s* pInitSize,
                               Qol32s* pWorkSize) noexcept {
    return giveSizes(sizesOf, order, flag, pSpecSize, pInitSize, pWorkSize);
}

QolStatus qolsFFTInit_R_32f(QolsFFTSpec_R_32f** ppSpec, int order, int flag, int hint,
                            Qol8u* pSpecMem, Qol8u* pInitBuf) noexcept {
    if (ppSpec == nullptr) {
        return qolStsNullPtrErr;
    }
    if (order < 0 || order > kMostOrder) {
        return qolStsFftOrderErr;
    }
    if (pSpecMem == nullptr) {
        return qolStsNullPtrErr;
    }
    Qol8u* const base = alignUp<kLine>(pSpecMem);
    auto* const spec = reinterpret_cast<QolsFFTSpec_R_32f*>(base);
    memset(base, 0, kHeadBytes);
    if (!validFlag(flag)) {
        return qolStsFftFlagErr;
    }
    if (order > 10 && pInitBuf == nullptr) {
        return qolStsNullPtrErr;
    }
    const Qol64f length = static_cast<Qol64f>(Qol64s{1} << order);
    spec->order = order;
    spec->hint = hint;
    spec->doScaleFwd = flag == fftDivFwdByN || flag == fftDivBySqrtN;
    spec->doScaleInv = flag == fftDivInvByN || flag == fftDivBySqrtN;
    spec->normFactor =
        static_cast<Qol32f>(flag == fftDivBySqrtN ? 1 / __builtin_sqrt(length) : 1 / length);
    spec->workSize = sizesOf(order).work;
    auto* const tables = reinterpret_cast<Qol32f*>(base + kHeadRoom);
    if (order > kLastStaged) {
        fft::buildLargeTables(order, reinterpret_cast<Qol8u*>(tables));
        spec->pTwiddle = tables;
    } else if (order > 7) {
        Qol32f* const recombination = tables + fft::stagedTwiddleCount(order);
        fft::buildStagedTables(order, tables, recombination);
        spec->pTwiddle = tables;
        spec->pTwdReal = spec->pTwdCcs = recombination;
    }
    spec->id = kFloatId;
    *ppSpec = spec;
    return qolStsNoErr;
}

QolStatus qolsFFTInitAlloc_R_32f(QolsFFTSpec_R_32f** ppSpec, int order, int flag,
                                 int hint) noexcept {
    if (ppSpec == nullptr) {
        return qolStsNullPtrErr;
    }
    if (order < 0 || order > kMostOrder) {
        return qolStsFftOrderErr;
    }
    const Sizes sizes = sizesOf(order);
    Qol8u* const memory = qolsMalloc_8u(sizes.spec);
    Qol8u* const init = qolsMalloc_8u(sizes.init);
    QolStatus status = qolStsMemAllocErr;
    if (memory != nullptr && (init != nullptr || sizes.init == 0)) {
        status = qolsFFTInit_R_32f(ppSpec, order, flag, hint, memory, init);
    }
    qolsFree(init);
    if (status != qolStsNoErr) {
        qolsFree(memory);
        return status;
    }
    (*ppSpec)->allocated = 1;
    (*ppSpec)->pAllocBase = memory;
    return qolStsNoErr;
}

QolStatus qolsFFTFree_R_32f(QolsFFTSpec_R_32f* pSpec) noexcept {
    if (pSpec == nullptr) {
        return qolStsNullPtrErr;
    }
    if (pSpec->id != kFloatId) {
        return qolStsContextMatchErr;
    }
    pSpec->id = 0;
    if (pSpec->allocated == 1) {
        qolsFree(pSpec->pAllocBase);
    }
    return qolStsNoErr;
}

QolStatus qolsFFTGetBufSize_R_32f(const QolsFFTSpec_R_32f* pSpec, Qol32s* pSize) noexcept {
    if (const QolStatus status = runArgs(pSpec, pSize, pSize)) {
        return status;
    }
    *pSize = pSpec->workSize > 0 ? pSpec->workSize + kLine : 0;
    return qolStsNoErr;
}

QolStatus qolsFFTFwd_RToPerm_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept {
    return forward<Layout::perm>(pSrc, pDst, pSpec, pBuffer);
}
QolStatus qolsFFTFwd_RToPack_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept {
    return forward<Layout::pack>(pSrc, pDst, pSpec, pBuffer);
}
QolStatus qolsFFTFwd_RToCCS_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                Qol8u* pBuffer) noexcept {
    return forward<Layout::ccs>(pSrc, pDst, pSpec, pBuffer);
}
QolStatus qolsFFTInv_PermToR_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept {
    return inverse<Layout::perm>(pSrc, pDst, pSpec, pBuffer);
}
QolStatus qolsFFTInv_PackToR_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept {
    return inverse<Layout::pack>(pSrc, pDst, pSpec, pBuffer);
}
QolStatus qolsFFTInv_CCSToR_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                Qol8u* pBuffer) noexcept {
    return inverse<Layout::ccs>(pSrc, pDst, pSpec, pBuffer);
}

// ---- 16-bit front end ----

namespace {

const QolsFFTSpec_R_32f* innerOf(const QolsFFTSpec_R_16s32s* pSpec) {
    return reinterpret_cast<const QolsFFTSpec_R_32f*>(reinterpret_cast<const Qol8u*>(pSpec) +
                                                      kLine);
}

/// Work memory of the 16-bit form: N floats, then what the float form needs; 0 where it doesn't fit
/// the type.
Sizes wordSizesOf(int order) {
    const Sizes inner = sizesOf(order);
    const Qol64s work = inner.work + (Qol64s{4} << order) + 8 + kLine;
    return {inner.spec + 2 * kLine, inner.init > 0 ? inner.init + kLine : 0,
            static_cast<Qol32s>(work > 0x7FFFFFFF ? 0x7FFFFFFF : work)};
}

/// A run of the 16-bit form: take the source to floats, transform those in place, give the result.
template <typename Transform, typename Take, typename Give>
QolStatus throughFloats(const QolsFFTSpec_R_16s32s* pSpec, const void* pSrc, const void* pDst,
                        Qol8u* pBuffer, Transform transform, Take take, Give give) {
    if (const QolStatus status = runArgs(pSpec, pSrc, pDst)) {
        return status;
    }
    Work work;
    if (!acquire(work, pBuffer, pSpec->workSize)) {
        return qolStsMemAllocErr;
    }
    const int length = 1 << pSpec->order;
    auto* const floats = reinterpret_cast<Qol32f*>(work.p);
    auto* const behind = reinterpret_cast<Qol8u*>(floats + length); // the inner transform's buffer
    take(floats, length);
    const QolStatus status = transform(floats, floats, innerOf(pSpec), behind);
    if (status == qolStsNoErr) {
        give(floats, length);
    }
    qolsFree(work.owned);
    return status;
}

} // namespace

QolStatus qolsFFTGetSize_R_16s32s(int order, int flag, int, Qol32s* pSpecSize, Qol32s* pInitSize,
                                  Qol32s* pWorkSize) noexcept {
    return giveSizes(wordSizesOf, order, flag, pSpecSize, pInitSize, pWorkSize);
}

QolStatus qolsFFTInit_R_16s32s(QolsFFTSpec_R_16s32s** ppSpec, int order, int flag, int hint,
                               Qol8u* pSpecMem, Qol8u* pInitBuf) noexcept {
    if (ppSpec == nullptr) {
        return qolStsNullPtrErr;
    }
    if (order > kMostOrder + 1) {
        return qolStsFftOrderErr;
    }
    if (pSpecMem == nullptr) {
        return qolStsNullPtrErr;
    }
    Qol8u* const base = alignUp<kLine>(pSpecMem);
    auto* const spec = reinterpret_cast<QolsFFTSpec_R_16s32s*>(base);
    spec->id = 0;
    QolsFFTSpec_R_32f* inner;
    if (const QolStatus status =
            qolsFFTInit_R_32f(&inner, order, flag, hint, base + kLine, pInitBuf)) {
        return status;
    }
    *spec = {kWordId, order, hint, wordSizesOf(order).work, 0};
    *ppSpec = spec;
    return qolStsNoErr;
}

QolStatus qolsFFTFwd_RToCCS_16s32s_Sfs(const Qol16s* pSrc, Qol32s* pDst,
                                       const QolsFFTSpec_R_16s32s* pSpec, int scaleFactor,
                                       Qol8u* pBuffer) noexcept {
    return throughFloats(
        pSpec, pSrc, pDst, pBuffer, qolsFFTFwd_RToPerm_32f,
        [=](Qol32f* floats, int length) { qolsConvert_16s32f(pSrc, floats, length); },
        [=](const Qol32f* floats, int length) {
            qolsConvert_32f32s_Sfs(floats, pDst, length, roundNear, scaleFactor);
            if (length > 1) {
                pDst[length] = pDst[1];
                pDst[length + 1] = pDst[1] = 0;
            }
        });
}

QolStatus qolsFFTInv_CCSToR_32s16s_Sfs(const Qol32s* pSrc, Qol16s* pDst,
                                       const QolsFFTSpec_R_16s32s* pSpec, int scaleFactor,
                                       Qol8u* pBuffer) noexcept {
    return throughFloats(
        pSpec, pSrc, pDst, pBuffer, qolsFFTInv_PermToR_32f,
        [=](Qol32f* floats, int length) {
            qolsConvert_32s32f(pSrc, floats, length);
            if (length > 1) {
                floats[1] = static_cast<Qol32f>(pSrc[length]);
            }
        },
        [=](const Qol32f* floats, int length) {
            qolsConvert_32f16s_Sfs(floats, pDst, length, roundNear, scaleFactor);
        });
}

} // namespace qolsc
