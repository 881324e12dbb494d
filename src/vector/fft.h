// SPDX-License-Identifier: Apache-2.0
// Fourier transforms of real vectors of N = 2^order elements.
//
// Layouts of the spectrum, R and I the parts of bin k:
//   CCS   N + 2 elements: R0, 0, R1, I1, ..., R(N/2), 0
//   Pack  N elements: R0, R1, I1, ..., R(N/2)
//   Perm  N elements: R0, R(N/2), R1, I1, ...
// Source and destination may be the same memory. A record is read-only after Init, so threads may
// share it when each has its own buffer.
#pragma once

#include "qolsc/status.h"

namespace qolsc {

/// Normalisation: where the result is divided.
enum FftFlag : int { fftDivFwdByN = 1, fftDivInvByN = 2, fftDivBySqrtN = 4, fftNoDiv = 8 };

/// Specification record; begins at a 64-byte boundary of the memory given to Init.
struct QolsFFTSpec_R_32f {
    Qol32s id; ///< 6 while valid, else 0
    Qol32s order;
    Qol32s doScaleFwd;
    Qol32s doScaleInv;
    Qol32f normFactor; ///< 1/N or 1/sqrt(N)
    Qol32s hint;
    Qol32s workSize;  ///< bytes of work buffer that a run needs
    Qol32s allocated; ///< 1 when FFTInitAlloc made the record
    const Qol8u* pBitRev;
    const Qol32f* pTwiddle;
    Qol8u* pAllocBase;
    const Qol32f* pTwdReal; ///< recombination of the half-length complex spectrum
    const Qol32f* pTwdCcs;
};

/// The 16-bit form; the float record lies 64 bytes behind it.
struct QolsFFTSpec_R_16s32s {
    Qol32s id; ///< 0x434D414F while valid, else 0
    Qol32s order;
    Qol32s hint;
    Qol32s workSize;
    Qol32s allocated;
};

/// Bytes of record, initialisation buffer (0 up to order 10) and work buffer (0 when none is used).
/// An order below 0 or above 30 gives qolStsFftOrderErr, then null pointers qolStsNullPtrErr, a
/// flag other than 1, 2, 4, 8 qolStsFftFlagErr, order 30 qolStsFftOrderErr.
QolStatus qolsFFTGetSize_R_32f(int order, int flag, int hint, Qol32s* pSpecSize, Qol32s* pInitSize,
                               Qol32s* pWorkSize) noexcept;
QolStatus qolsFFTGetSize_R_16s32s(int order, int flag, int hint, Qol32s* pSpecSize,
                                  Qol32s* pInitSize, Qol32s* pWorkSize) noexcept;

/// Builds the record in pSpecMem. pInitBuf may be null up to order 10 and may be released
/// afterwards. Statuses: qolStsNullPtrErr, qolStsFftOrderErr, qolStsFftFlagErr (id is then 0).
QolStatus qolsFFTInit_R_32f(QolsFFTSpec_R_32f** ppSpec, int order, int flag, int hint,
                            Qol8u* pSpecMem, Qol8u* pInitBuf) noexcept;
QolStatus qolsFFTInit_R_16s32s(QolsFFTSpec_R_16s32s** ppSpec, int order, int flag, int hint,
                               Qol8u* pSpecMem, Qol8u* pInitBuf) noexcept;
/// The same in memory of its own, to be ended by FFTFree; qolStsMemAllocErr when there is none.
QolStatus qolsFFTInitAlloc_R_32f(QolsFFTSpec_R_32f** ppSpec, int order, int flag,
                                 int hint) noexcept;
/// Invalidates the record and releases it if FFTInitAlloc made it.
QolStatus qolsFFTFree_R_32f(QolsFFTSpec_R_32f* pSpec) noexcept;
/// Bytes that pBuffer of a run must have: room for its alignment included, 0 when none is used.
QolStatus qolsFFTGetBufSize_R_32f(const QolsFFTSpec_R_32f* pSpec, Qol32s* pSize) noexcept;

// Transforms. A null pBuffer makes the run allocate its work memory (qolStsMemAllocErr when there
// is none). Null record, then a record that isn't valid (qolStsContextMatchErr), then other nulls.

QolStatus qolsFFTFwd_RToPerm_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept;
QolStatus qolsFFTFwd_RToPack_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept;
QolStatus qolsFFTFwd_RToCCS_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                Qol8u* pBuffer) noexcept;
QolStatus qolsFFTInv_PermToR_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept;
QolStatus qolsFFTInv_PackToR_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                 Qol8u* pBuffer) noexcept;
QolStatus qolsFFTInv_CCSToR_32f(const Qol32f* pSrc, Qol32f* pDst, const QolsFFTSpec_R_32f* pSpec,
                                Qol8u* pBuffer) noexcept;

/// Through the float transform; results times 2 to the minus scaleFactor, rounded to nearest,
/// saturated.
QolStatus qolsFFTFwd_RToCCS_16s32s_Sfs(const Qol16s* pSrc, Qol32s* pDst,
                                       const QolsFFTSpec_R_16s32s* pSpec, int scaleFactor,
                                       Qol8u* pBuffer) noexcept;
QolStatus qolsFFTInv_CCSToR_32s16s_Sfs(const Qol32s* pSrc, Qol16s* pDst,
                                       const QolsFFTSpec_R_16s32s* pSpec, int scaleFactor,
                                       Qol8u* pBuffer) noexcept;

} // namespace qolsc
