// SPDX-License-Identifier: Apache-2.0
// Element-wise vector functions that all families call. Unless told otherwise: a null pointer gives
// qolStsNullPtrErr, then a length below 1 qolStsSizeErr; the destination may be exactly one of the
// sources, other overlaps are the caller's fault; any alignment is allowed.
#pragma once

#include "qolsc/status.h"
#include "vector/g711.h"

namespace qolsc {

/// Complex pair of doubles, internal use only.
struct Qol64fc {
    Qol64f re;
    Qol64f im;
};

// ---- memory ----

/// len bytes (elements) aligned at 64; null when len is not positive or memory is out.
Qol8u* qolsMalloc_8u(int len) noexcept;
Qol32f* qolsMalloc_32f(int len) noexcept;
/// Releases what the two gave; null is allowed.
void qolsFree(void* p) noexcept;

// ---- fill and copy ----

QolStatus qolsZero_8u(Qol8u* pDst, int len) noexcept;
QolStatus qolsZero_16s(Qol16s* pDst, int len) noexcept;
QolStatus qolsZero_32s(Qol32s* pDst, int len) noexcept;
QolStatus qolsZero_32f(Qol32f* pDst, int len) noexcept;
QolStatus qolsZero_64s(Qol64s* pDst, int len) noexcept;
QolStatus qolsZero_64f(Qol64f* pDst, int len) noexcept;
QolStatus qolsZero_16sc(Qol16sc* pDst, int len) noexcept;
QolStatus qolsZero_32fc(Qol32fc* pDst, int len) noexcept;
QolStatus qolsZero_64fc(Qol64fc* pDst, int len) noexcept;

QolStatus qolsSet_16s(Qol16s val, Qol16s* pDst, int len) noexcept;
QolStatus qolsSet_32s(Qol32s val, Qol32s* pDst, int len) noexcept;
QolStatus qolsSet_32f(Qol32f val, Qol32f* pDst, int len) noexcept;
QolStatus qolsSet_64f(Qol64f val, Qol64f* pDst, int len) noexcept;

QolStatus qolsCopy_8u(const Qol8u* pSrc, Qol8u* pDst, int len) noexcept;
QolStatus qolsCopy_16s(const Qol16s* pSrc, Qol16s* pDst, int len) noexcept;
QolStatus qolsCopy_32s(const Qol32s* pSrc, Qol32s* pDst, int len) noexcept;
QolStatus qolsCopy_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;
QolStatus qolsCopy_32sc(const Qol32sc* pSrc, Qol32sc* pDst, int len) noexcept;
QolStatus qolsCopy_64f(const Qol64f* pSrc, Qol64f* pDst, int len) noexcept;

/// Copies that allow any overlap.
QolStatus qolsMove_16s(const Qol16s* pSrc, Qol16s* pDst, int len) noexcept;
QolStatus qolsMove_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;

/// Reverses the order of the elements.
QolStatus qolsFlip_32f_I(Qol32f* pSrcDst, int len) noexcept;

// ---- floating-point arithmetic, one rounding per operation ----

QolStatus qolsAdd_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst, int len) noexcept;
QolStatus qolsAdd_64f(const Qol64f* pSrc1, const Qol64f* pSrc2, Qol64f* pDst, int len) noexcept;
/// pSrc2 less pSrc1.
QolStatus qolsSub_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst, int len) noexcept;
QolStatus qolsMul_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst, int len) noexcept;
QolStatus qolsMul_64f(const Qol64f* pSrc1, const Qol64f* pSrc2, Qol64f* pDst, int len) noexcept;
QolStatus qolsAddC_32f(const Qol32f* pSrc, Qol32f val, Qol32f* pDst, int len) noexcept;
QolStatus qolsSubC_32f(const Qol32f* pSrc, Qol32f val, Qol32f* pDst, int len) noexcept;
/// A factor of 1 copies and one of 0 clears, whatever the elements are.
QolStatus qolsMulC_32f(const Qol32f* pSrc, Qol32f val, Qol32f* pDst, int len) noexcept;
QolStatus qolsMulC_64f(const Qol64f* pSrc, Qol64f val, Qol64f* pDst, int len) noexcept;
QolStatus qolsMulC_32f_I(Qol32f val, Qol32f* pSrcDst, int len) noexcept;
/// pDst += pSrc1 * pSrc2, product and sum rounded each.
QolStatus qolsAddProduct_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32f* pDst,
                             int len) noexcept;
QolStatus qolsMul_32f32fc(const Qol32f* pSrc1, const Qol32fc* pSrc2, Qol32fc* pDst,
                          int len) noexcept;
/// pSrcDst times the conjugate of pSrc, both spectra in Pack layout of len elements.
QolStatus qolsMulPackConj_32f_I(const Qol32f* pSrc, Qol32f* pSrcDst, int len) noexcept;

// ---- integer arithmetic; scaleFactor: even rounding and saturation, below 0 a shift left ----

QolStatus qolsAdd_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len) noexcept;
/// pSrc2 less pSrc1.
QolStatus qolsSub_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len) noexcept;
QolStatus qolsAdd_32s_Sfs(const Qol32s* pSrc1, const Qol32s* pSrc2, Qol32s* pDst, int len,
                          int scaleFactor) noexcept;
QolStatus qolsMul_16s32s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s* pDst, int len,
                             int scaleFactor) noexcept;
/// Element less constant, and constant less element.
QolStatus qolsSubC_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, int len,
                           int scaleFactor) noexcept;
QolStatus qolsSubCRev_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, int len,
                              int scaleFactor) noexcept;
QolStatus qolsAbs_16s(const Qol16s* pSrc, Qol16s* pDst, int len) noexcept;
QolStatus qolsMagSquared_32sc32s_Sfs(const Qol32sc* pSrc, Qol32s* pDst, int len,
                                     int scaleFactor) noexcept;

// ---- shifts. A shift of 0 is the copy with the copy's own checks; then null pointers, the length,
// and a negative shift gives qolStsShiftErr ----

/// Logical, without saturation; 16 and more clears.
QolStatus qolsLShiftC_16s(const Qol16s* pSrc, int shift, Qol16s* pDst, int len) noexcept;
QolStatus qolsLShiftC_16u(const Qol16u* pSrc, int shift, Qol16u* pDst, int len) noexcept;
/// Arithmetic; the word's width and more leaves the sign.
QolStatus qolsRShiftC_16s(const Qol16s* pSrc, int shift, Qol16s* pDst, int len) noexcept;
QolStatus qolsRShiftC_32s(const Qol32s* pSrc, int shift, Qol32s* pDst, int len) noexcept;

// ---- reductions; the order of floating-point additions is free ----

/// A hint of 1 sums in single precision, any other in double.
QolStatus qolsSum_32f(const Qol32f* pSrc, int len, Qol32f* pSum, int hint) noexcept;
QolStatus qolsSum_64f(const Qol64f* pSrc, int len, Qol64f* pSum) noexcept;
/// The 32-bit sum wraps, then it is scaled.
QolStatus qolsSum_16s32s_Sfs(const Qol16s* pSrc, int len, Qol32s* pSum, int scaleFactor) noexcept;
QolStatus qolsSum_16s_Sfs(const Qol16s* pSrc, int len, Qol16s* pSum, int scaleFactor) noexcept;
QolStatus qolsSum_32s_Sfs(const Qol32s* pSrc, int len, Qol32s* pSum, int scaleFactor) noexcept;
QolStatus qolsDotProd_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, int len, Qol32f* pDp) noexcept;
/// Products and sum in double.
QolStatus qolsDotProd_32f64f(const Qol32f* pSrc1, const Qol32f* pSrc2, int len,
                             Qol64f* pDp) noexcept;
QolStatus qolsDotProd_16s64s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len,
                             Qol64s* pDp) noexcept;
/// Exact sum of squares; a positive scaleFactor truncates, a negative one shifts left by 63 at the
/// most and saturates.
QolStatus qolsNorm_L2Sqr_16s64s_Sfs(const Qol16s* pSrc, int len, Qol64s* pNorm,
                                    int scaleFactor) noexcept;
QolStatus qolsMax_16s(const Qol16s* pSrc, int len, Qol16s* pVal) noexcept;
QolStatus qolsMax_32f(const Qol32f* pSrc, int len, Qol32f* pVal) noexcept;
QolStatus qolsMin_16s(const Qol16s* pSrc, int len, Qol16s* pVal) noexcept;
QolStatus qolsMin_32f(const Qol32f* pSrc, int len, Qol32f* pVal) noexcept;
/// Largest magnitude; that of the least value is saturated.
QolStatus qolsMaxAbs_16s(const Qol16s* pSrc, int len, Qol16s* pVal) noexcept;
QolStatus qolsMaxAbs_32s(const Qol32s* pSrc, int len, Qol32s* pVal) noexcept;
/// Extreme and its first index; pIndex may be null.
QolStatus qolsMaxIndx_32s(const Qol32s* pSrc, int len, Qol32s* pVal, int* pIndex) noexcept;
QolStatus qolsMaxIndx_32f(const Qol32f* pSrc, int len, Qol32f* pVal, int* pIndex) noexcept;
QolStatus qolsMinIndx_16s(const Qol16s* pSrc, int len, Qol16s* pVal, int* pIndex) noexcept;
QolStatus qolsMinIndx_32f(const Qol32f* pSrc, int len, Qol32f* pVal, int* pIndex) noexcept;

// ---- thresholds ----

QolStatus qolsThreshold_LTVal_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f level,
                                  Qol32f value) noexcept;
QolStatus qolsThreshold_GTVal_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f level,
                                  Qol32f value) noexcept;
QolStatus qolsThreshold_GTVal_64f(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f level,
                                  Qol64f value) noexcept;
/// levelLT above levelGT gives qolStsThresholdErr.
QolStatus qolsThreshold_LTValGTVal_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f levelLT,
                                       Qol32f valueLT, Qol32f levelGT, Qol32f valueGT) noexcept;
QolStatus qolsThreshold_LTValGTVal_64f(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f levelLT,
                                       Qol64f valueLT, Qol64f levelGT, Qol64f valueGT) noexcept;
/// Magnitudes below level become level, with the element's sign. A negative level gives
/// qolStsThreshNegLevelErr.
QolStatus qolsThreshold_LTAbs_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f level) noexcept;
/// Reciprocals of the elements after their magnitudes are raised to level. At level 0 a zero
/// element gives an infinity with its sign and the warning qolStsSingularity below 2048 elements,
/// qolStsDivByZero from there on, where two threads may share the work. A negative level gives
/// qolStsThreshNegLevelErr.
QolStatus qolsThreshold_LTInv_64f(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f level) noexcept;

// ---- conversions ----

QolStatus qolsConvert_16s32s(const Qol16s* pSrc, Qol32s* pDst, int len) noexcept;
QolStatus qolsConvert_16s32f(const Qol16s* pSrc, Qol32f* pDst, int len) noexcept;
QolStatus qolsConvert_32s32f(const Qol32s* pSrc, Qol32f* pDst, int len) noexcept;
/// Limited to the finite range before the conversion.
QolStatus qolsConvert_64f32f(const Qol64f* pSrc, Qol32f* pDst, int len) noexcept;
QolStatus qolsConvert_32s16s(const Qol32s* pSrc, Qol16s* pDst, int len) noexcept;

/// Rounding of the conversions from floating point; any further mode takes halves away from zero.
enum RoundMode : int { roundZero = 0, roundNear = 1 };

/// Times 2 to the minus scaleFactor, rounded, saturated.
QolStatus qolsConvert_32f16s_Sfs(const Qol32f* pSrc, Qol16s* pDst, int len, int mode,
                                 int scaleFactor) noexcept;
QolStatus qolsConvert_32f32s_Sfs(const Qol32f* pSrc, Qol32s* pDst, int len, int mode,
                                 int scaleFactor) noexcept;

// ---- convolution and correlation; elements outside the sources count as 0 ----

/// pDst[n] = sum over k of pSrc1[k] * pSrc2[n + bias - k]. pDst overlaps neither source.
QolStatus qolsConvBiased_32f(const Qol32f* pSrc1, int len1, const Qol32f* pSrc2, int len2,
                             Qol32f* pDst, int lenDst, int bias) noexcept;
/// pDst[n] = sum over i of pSrc1[i] * pSrc2[i + n + lowLag]. pDst overlaps neither source; pBuffer
/// may be null and is not used.
QolStatus qolsCrossCorr_32f(const Qol32f* pSrc1, int len1, const Qol32f* pSrc2, int len2,
                            Qol32f* pDst, int lenDst, int lowLag, Qol8u* pBuffer) noexcept;

// ---- vector mathematics ----

/// Relative error below 2^-21 (measured: 1 unit in the last place).
QolStatus qolsExp_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;
/// The same; a zero element gives minus infinity and qolStsLnZeroArg, a negative one a NaN and
/// qolStsLnNegArg. All elements are computed.
QolStatus qolsLn_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;

/// The kernels behind them, without checks. The logarithm returns 0, 1 (a negative element) or 2 (a
/// zero and no negative one).
void qolsExp_32f_A21(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;
int qolsLn_32f_A21(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;
/// Correctly rounded but for rare cases, for magnitudes up to 2^20; no checks.
void qolsSin_32f_A24(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;
void qolsCos_32f_A24(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept;

} // namespace qolsc
