/* SPDX-License-Identifier: Apache-2.0
 * Correlation, convolution, lag search, LP filters and scaled arithmetic that all families share.
 *
 * Sums of 16-bit products are 32 bits wide and wrap unless a function says otherwise. No alignment
 * is asked for. Outputs must not overlap sources but where the form is in place (_I, _ISfs) or the
 * function says so. Every function checks in the order in which its statuses are listed; on a
 * failure nothing is written. */
#ifndef QOLSC_COMMON_H
#define QOLSC_COMMON_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- correlation ---- */

/** Autocorrelation: pDst[k] = sum of pSrc[i] pSrc[i+k] over i below len - k; 0 for k of len and
 * more.
 *  @param[in]  pSrc    len elements
 *  @param[in]  len     count of samples
 *  @param[out] pDst    lenDst elements, lags 0 to lenDst - 1
 *  @param[in]  lenDst  count of lags
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len or lenDst below 1 */
QolStatus qolsAutoCorr_16s32s(const Qol16s* pSrc, Qol32s len, Qol32s* pDst,
                              Qol32s lenDst) QOL_NOEXCEPT;

/** Autocorrelation with normalised energy (ITU-T G.729 §3.2.1): pDst[0] = (2 energy + 1) << n with
 * n its norm, the other lags = sum << (n + 1).
 *  @param[in]  pSrc    len windowed samples
 *  @param[in]  len     count of samples
 *  @param[out] pDst    lenDst elements
 *  @param[in]  lenDst  count of lags
 *  @param[out] pNorm   n
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len or lenDst below 1; qolStsOverflow
 * (warning): the energy is above 0x3FFFFFFF, nothing is stored, scale the signal down and call
 * again */
QolStatus qolsAutoCorr_NormE_16s32s(const Qol16s* pSrc, Qol32s len, Qol32s* pDst, Qol32s lenDst,
                                    Qol32s* pNorm) QOL_NOEXCEPT;

/** The same with every output rounded to its upper 16 bits. The energy saturates instead of
 * warning, and no 1 is added to it.
 *  @param[in]  pSrc    len windowed samples
 *  @param[in]  len     count of samples
 *  @param[out] pDst    lenDst elements
 *  @param[in]  lenDst  count of lags
 *  @param[out] pNorm   left shifts applied to the doubled sums; 0 for an energy of 0
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len or lenDst below 1 */
QolStatus qolsAutoCorr_NormE_NR_16s(const Qol16s* pSrc, Qol32s len, Qol16s* pDst, Qol32s lenDst,
                                    Qol32s* pNorm) QOL_NOEXCEPT;

/** Triangular correlation: pDst[k] = (sum of pSrc1[i] pSrc2[i+k] over i below len - k) >>
 * scaleFactor, truncated.
 *  @param[in]  pSrc1        len elements
 *  @param[in]  pSrc2        len elements
 *  @param[in]  len          count of samples and of outputs
 *  @param[out] pDst         len elements
 *  @param[in]  scaleFactor  right shift; negative: left shift, without saturation; either by at
 * most 31
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsCrossCorr_16s32s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                   Qol32s* pDst, Qol32s scaleFactor) QOL_NOEXCEPT;

/** pDst[k] = (sum of pSrc1[i] pSrc2[i+k] over i below len, + 16384) >> 15, the low 16 bits.
 *  @param[in]  pSrc1   len elements
 *  @param[in]  pSrc2   len + lenDst - 1 elements
 *  @param[in]  len     products in a sum
 *  @param[out] pDst    lenDst elements
 *  @param[in]  lenDst  count of lags
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len or lenDst below 1 */
QolStatus qolsCrossCorr_NR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len, Qol16s* pDst,
                               Qol32s lenDst) QOL_NOEXCEPT;

/** The same sums shifted right by scaleFactor, a half upward, saturated.
 *  @param[in]  pSrc1        len elements
 *  @param[in]  pSrc2        len + lenDst - 1 elements
 *  @param[in]  len          products in a sum
 *  @param[out] pDst         lenDst elements
 *  @param[in]  lenDst       count of lags
 *  @param[in]  scaleFactor  right shift, 0 or more
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len or lenDst below 1;
 * qolStsScaleRangeErr: negative scaleFactor */
QolStatus qolsCrossCorr_NR_16s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                   Qol16s* pDst, Qol32s lenDst, Qol32s scaleFactor) QOL_NOEXCEPT;

/** The same sums without scaling.
 *  @param[in]  pSrc1   len elements
 *  @param[in]  pSrc2   len + lenDst - 1 elements
 *  @param[in]  len     products in a sum
 *  @param[out] pDst    lenDst elements
 *  @param[in]  lenDst  count of lags
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len or lenDst below 1 */
QolStatus qolsCrossCorr_NR_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                  Qol32s* pDst, Qol32s lenDst) QOL_NOEXCEPT;

/** Triangular correlation in 16 bits (ITU-T G.729 §3.8): all sums shifted right by 18 - n, n the
 * norm (at most 17) of the largest magnitude, so that it has 13 bits.
 *  @param[in]  pSrc1  len elements (impulse response)
 *  @param[in]  pSrc2  len elements (target)
 *  @param[in]  len    count of samples and of outputs
 *  @param[out] pDst   len elements
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsCrossCorr_NormM_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                  Qol16s* pDst) QOL_NOEXCEPT;

/* ---- lag search ---- */

/** Largest sum of pSrc[i] pSrc[i+lag] over i below len for the lags lowerLag to upperLag; the
 * lowest lag of equals. An empty range gives the least 32-bit value and lowerLag.
 *  @param[in]  pSrc      len elements, upperLag elements behind them
 *  @param[in]  len       products in a sum
 *  @param[in]  lowerLag  first lag
 *  @param[in]  upperLag  last lag
 *  @param[out] pMax      the largest sum
 *  @param[out] pMaxLag   its lag
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsAutoCorrLagMax_Fwd_16s(const Qol16s* pSrc, Qol32s len, Qol32s lowerLag,
                                     Qol32s upperLag, Qol32s* pMax, Qol32s* pMaxLag) QOL_NOEXCEPT;

/** The same looking backward: sums of pSrc[i] pSrc[i-lag].
 *  @param[in]  pSrc      len elements, upperLag elements of history in front of them
 *  @param[in]  len       products in a sum
 *  @param[in]  lowerLag  first lag
 *  @param[in]  upperLag  last lag
 *  @param[out] pMax      the largest sum
 *  @param[out] pMaxLag   its lag
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsAutoCorrLagMax_Inv_16s(const Qol16s* pSrc, Qol32s len, Qol32s lowerLag,
                                     Qol32s upperLag, Qol32s* pMax, Qol32s* pMaxLag) QOL_NOEXCEPT;

/** Float form of the backward search. A sum is within (len/8 + 5) 2^-24 times the sum of the
 * magnitudes of its products, to first order. An empty range gives the lowest float and lowerLag.
 *  @param[in]  pSrc      len elements, upperLag elements of history in front of them
 *  @param[in]  len       products in a sum
 *  @param[in]  lowerLag  first lag
 *  @param[in]  upperLag  last lag
 *  @param[out] pMax      the largest sum
 *  @param[out] pMaxLag   its lag
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsAutoCorrLagMax_32f(const Qol32f* pSrc, Qol32s len, Qol32s lowerLag, Qol32s upperLag,
                                 Qol32f* pMax, Qol32s* pMaxLag) QOL_NOEXCEPT;

/** Largest positive sum of pSrc1[i] pSrc2[i+l] over i below len for l from lag down to 0; the
 * greatest lag of equals; 0 and lag when no sum is positive.
 *  @param[in]  pSrc1    len elements
 *  @param[in]  pSrc2    len + lag elements
 *  @param[in]  len      products in a sum
 *  @param[in]  lag      greatest lag
 *  @param[out] pMax     the largest sum
 *  @param[out] pMaxLag  its lag
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsRangeErr: negative lag
 */
QolStatus qolsCrossCorrLagMax_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len, Qol32s lag,
                                  Qol32s* pMax, Qol32s* pMaxLag) QOL_NOEXCEPT;

/** Float form with exact products and double sums: within (len/4 + 6) 2^-53 times the sum of the
 * magnitudes of the products, to first order.
 *  @param[in]  pSrc1    len elements
 *  @param[in]  pSrc2    len + lag elements
 *  @param[in]  len      products in a sum
 *  @param[in]  lag      greatest lag
 *  @param[out] pMax     the largest sum
 *  @param[out] pMaxLag  its lag
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsRangeErr: negative lag
 */
QolStatus qolsCrossCorrLagMax_32f64f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32s len,
                                     Qol32s lag, Qol64f* pMax, Qol32s* pMaxLag) QOL_NOEXCEPT;

/* ---- convolution ---- */

/** Truncated convolution: pDst[n] = (sum of pSrc1[k] pSrc2[n-k] over k of 0 to n) >> scaleFactor,
 * the low 16 bits.
 *  @param[in]  pSrc1        len elements
 *  @param[in]  pSrc2        len elements
 *  @param[out] pDst         len elements
 *  @param[in]  len          count of samples
 *  @param[in]  scaleFactor  right shift, 0 or more; above 31 it acts as 31
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsBadArgErr: negative scaleFactor; qolStsSizeErr: len
 * below 1 */
QolStatus qolsConvPartial_16s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                  Qol32s len, Qol32s scaleFactor) QOL_NOEXCEPT;

/** The same in 32 bits without shift.
 *  @param[in]  pSrc1  len elements
 *  @param[in]  pSrc2  len elements
 *  @param[out] pDst   len elements
 *  @param[in]  len    count of samples
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsConvPartial_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s* pDst,
                                 Qol32s len) QOL_NOEXCEPT;

/** The same with the standards' saturating accumulation, each product doubled, the sum rounded to
 * its upper 16 bits. Saturation is looked at only where the energy of either source reaches
 * 0x7FFFFFFE; below, only the rounding saturates.
 *  @param[in]  pSrc1  len elements
 *  @param[in]  pSrc2  len elements
 *  @param[out] pDst   len elements
 *  @param[in]  len    count of samples
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsConvPartial_NR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                 Qol32s len) QOL_NOEXCEPT;

/** pDst[n] = (sum + 16384) >> 15, the low 16 bits: for data that cannot overflow.
 *  @param[in]  pSrc1  len elements
 *  @param[in]  pSrc2  len elements
 *  @param[out] pDst   len elements
 *  @param[in]  len    count of samples
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsConvPartial_NR_Low_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                     Qol32s len) QOL_NOEXCEPT;

/* ---- adaptive scaling ---- */

/** Twice the dot product of the sources, shifted right in turn by one bit, pSrc1 first, until it
 * fits 32 bits.
 *  @param[in]  pSrc1   len elements
 *  @param[in]  pSrc2   len elements
 *  @param[in]  len     count of samples
 *  @param[out] pDp     the doubled dot product
 *  @param[out] pScale  shifts applied to both sources together
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsDotProdAutoScale_16s32s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                          Qol32s* pDp, Qol32s* pScale) QOL_NOEXCEPT;

/** Brings a vector to exactly *pScale bits of headroom, by one left shift or one truncating right
 * shift. A negative element counts by its complement. A vector of zeros stays and has 16 bits of
 * headroom.
 *  @param[in]     pSrc    len elements
 *  @param[out]    pDst    len elements; may be pSrc
 *  @param[in]     len     count of samples
 *  @param[in,out] pScale  headroom wanted; left shifts applied, negative for right
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: negative
 * *pScale */
QolStatus qolsAutoScale_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                            Qol32s* pScale) QOL_NOEXCEPT;

/** The same in place.
 *  @param[in,out] pSrcDst  len elements
 *  @param[in]     len      count of samples
 *  @param[in,out] pScale   headroom wanted; left shifts applied, negative for right
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: negative
 * *pScale */
QolStatus qolsAutoScale_16s_I(Qol16s* pSrcDst, Qol32s len, Qol32s* pScale) QOL_NOEXCEPT;

/* ---- LP filters ---- */

/** Synthesis 1/A(z) of order 10 (ITU-T G.729 §4.1.6): y[n] = (a[0] x[n] + 2^(scaleFactor-1) - sum
 * of a[k] y[n-k])
 *  >> scaleFactor, saturated. Without memory nothing is tested and the low 16 bits are kept. The
 * memory is only read.
 *  @param[in]  pLPC         a[0] to a[10], Q(scaleFactor)
 *  @param[in]  pSrc         len elements
 *  @param[out] pDst         len elements; may be pSrc
 *  @param[in]  len          count of samples
 *  @param[in]  scaleFactor  12 or 13
 *  @param[in]  pMem         10 past outputs, oldest first; may be null: zeros
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr:
 * scaleFactor neither 12 nor 13; qolStsOverflow (warning): a sample was saturated, the block is
 * complete */
QolStatus qolsSynthesisFilter_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst,
                                         Qol32s len, Qol32s scaleFactor,
                                         const Qol16s* pMem) QOL_NOEXCEPT;

/** The same in place; the memory is required.
 *  @param[in]     pLPC         a[0] to a[10], Q(scaleFactor)
 *  @param[in,out] pSrcDst      len elements
 *  @param[in]     len          count of samples
 *  @param[in]     scaleFactor  12 or 13
 *  @param[in]     pMem         10 past outputs, oldest first
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr:
 * scaleFactor neither 12 nor 13; qolStsOverflow (warning): a sample was saturated, the block is
 * complete */
QolStatus qolsSynthesisFilter_NR_16s_ISfs(const Qol16s* pLPC, Qol16s* pSrcDst, Qol32s len,
                                          Qol32s scaleFactor, const Qol16s* pMem) QOL_NOEXCEPT;

/** The same without test: the low 16 bits of every output are kept.
 *  @param[in]     pLPC         a[0] to a[10], Q(scaleFactor)
 *  @param[in,out] pSrcDst      len elements
 *  @param[in]     len          count of samples
 *  @param[in]     scaleFactor  12 or 13
 *  @param[in]     pMem         10 past outputs, oldest first
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr:
 * scaleFactor neither 12 nor 13 */
QolStatus qolsSynthesisFilterLow_NR_16s_ISfs(const Qol16s* pLPC, Qol16s* pSrcDst, Qol32s len,
                                             Qol32s scaleFactor, const Qol16s* pMem) QOL_NOEXCEPT;

/** Impulse response of 1/A(z): pDst[0] = a[0], the rest by the recursion on a zero source, low 16
 * bits kept.
 *  @param[in]  pLPC         a[0] to a[10], Q(scaleFactor)
 *  @param[out] pDst         len elements, Q(scaleFactor)
 *  @param[in]  len          count of samples
 *  @param[in]  scaleFactor  12 or 13
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr:
 * scaleFactor neither 12 nor 13 */
QolStatus qolsSynthesisFilterZeroStateResponse_NR_16s(const Qol16s* pLPC, Qol16s* pDst, Qol32s len,
                                                      Qol32s scaleFactor) QOL_NOEXCEPT;

/** Residual A(z): pDst[n] = sum of a[k] pSrc[n-k] over k of 0 to order, exact, shifted right with a
 * half upward, saturated.
 *  @param[in]  pCoeffs      order + 1 elements, Q(scaleFactor)
 *  @param[in]  order        8, 10 and 16 are fast
 *  @param[in]  pSrc         len elements, order elements of history in front of them
 *  @param[out] pDst         len elements
 *  @param[in]  len          count of samples
 *  @param[in]  scaleFactor  0 to 15
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: order or len below 1, or order above len;
 *      qolStsScaleRangeErr: scaleFactor outside 0 to 15 */
QolStatus qolsResidualFilter_Low_16s_Sfs(const Qol16s* pCoeffs, Qol32s order, const Qol16s* pSrc,
                                         Qol16s* pDst, Qol32s len, Qol32s scaleFactor) QOL_NOEXCEPT;

/** pDst[i] = (32768 pSrc[i] + val pSrc[i-lag] + 16384) >> 15, saturated.
 *  @param[in]  val   gain, Q15; -32768 acts as -32767
 *  @param[in]  lag   distance of the tap
 *  @param[in]  pSrc  len elements, lag elements of history in front of them
 *  @param[out] pDst  len elements
 *  @param[in]  len   count of samples
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsHarmonicFilter_NR_16s(Qol16s val, Qol32s lag, const Qol16s* pSrc, Qol16s* pDst,
                                    Qol32s len) QOL_NOEXCEPT;

/** Recursive: element i gains (val times element i - lag) >> 15, truncated, wrapping, in rising
 * order of i, so that a lag below len feeds on the output. A lag of 0 takes the element itself.
 *  @param[in]     val      gain, Q15
 *  @param[in]     lag      distance of the tap
 *  @param[in,out] pSrcDst  len elements, lag elements of history in front of them
 *  @param[in]     len      count of samples
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsHarmonicFilter_16s_I(Qol16s val, Qol32s lag, Qol16s* pSrcDst,
                                   Qol32s len) QOL_NOEXCEPT;

/** Element i gains val times element i - lag, in rising order of i; product and sum are rounded
 * once each.
 *  @param[in]     lag      distance of the tap
 *  @param[in,out] pSrcDst  len elements, lag elements of history in front of them
 *  @param[in]     len      count of samples
 *  @param[in]     val      gain
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsHarmonicFilter_32f_I(Qol32s lag, Qol32f* pSrcDst, Qol32s len,
                                   Qol32f val) QOL_NOEXCEPT;

/** Element i loses val times the input before it; product and difference are rounded once each.
 *  @param[in]     val      factor
 *  @param[in,out] pSrcDst  len elements
 *  @param[in]     len      count of samples
 *  @param[in,out] pMem     the input before the first; the last input
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsPreemphasize_32f_I(Qol32f val, Qol32f* pSrcDst, Qol32s len,
                                 Qol32f* pMem) QOL_NOEXCEPT;

/* ---- scaled arithmetic ---- */

/** Products shifted right by scaleFactor, a half upward, saturated.
 *  @param[in]  pSrc1        len elements
 *  @param[in]  pSrc2        len elements
 *  @param[out] pDst         len elements; may be either source
 *  @param[in]  len          count of elements
 *  @param[in]  scaleFactor  right shift, 0 or more
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: negative
 * scaleFactor */
QolStatus qolsMul_NR_16s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, Qol32s len,
                             Qol32s scaleFactor) QOL_NOEXCEPT;

/** The same in place.
 *  @param[in]     pSrc         len elements
 *  @param[in,out] pSrcDst      len elements
 *  @param[in]     len          count of elements
 *  @param[in]     scaleFactor  right shift, 0 or more
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: negative
 * scaleFactor */
QolStatus qolsMul_NR_16s_ISfs(const Qol16s* pSrc, Qol16s* pSrcDst, Qol32s len,
                              Qol32s scaleFactor) QOL_NOEXCEPT;

/** The same by a constant.
 *  @param[in]  pSrc         len elements
 *  @param[in]  val          factor
 *  @param[out] pDst         len elements; may be pSrc
 *  @param[in]  len          count of elements
 *  @param[in]  scaleFactor  right shift, 0 or more
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: negative
 * scaleFactor */
QolStatus qolsMulC_NR_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, Qol32s len,
                              Qol32s scaleFactor) QOL_NOEXCEPT;

/** The same by a constant in place.
 *  @param[in]     val          factor
 *  @param[in,out] pSrcDst      len elements
 *  @param[in]     len          count of elements
 *  @param[in]     scaleFactor  right shift, 0 or more
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: negative
 * scaleFactor */
QolStatus qolsMulC_NR_16s_ISfs(Qol16s val, Qol16s* pSrcDst, Qol32s len,
                               Qol32s scaleFactor) QOL_NOEXCEPT;

/** Bandwidth expansion (ITU-T G.729 §3.3): pDst[0] = pSrc[0], pDst[i] = pSrc[i] times val^i;
 * products and powers are shifted right by scaleFactor, a half upward, and keep their low 16 bits.
 *  @param[in]  pSrc         len elements
 *  @param[in]  val          base of the powers, Q(scaleFactor)
 *  @param[out] pDst         len elements; may be pSrc
 *  @param[in]  len          count of elements
 *  @param[in]  scaleFactor  right shift, 0 or more
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsScaleRangeErr: negative scaleFactor; qolStsSizeErr:
 * len below 1 */
QolStatus qolsMulPowerC_NR_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, Qol32s len,
                                   Qol32s scaleFactor) QOL_NOEXCEPT;

/** Weighted sum: each weight stands for val / 2^(16 - scaleFactor); the exact sum is shifted with a
 * half upward, saturated.
 *  @param[in]  pSrc1         len elements
 *  @param[in]  val1          weight of pSrc1
 *  @param[in]  scaleFactor1  0 or more
 *  @param[in]  pSrc2         len elements
 *  @param[in]  val2          weight of pSrc2
 *  @param[in]  scaleFactor2  0 or more
 *  @param[out] pDst          len elements; may be either source
 *  @param[in]  len           count of elements
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1; qolStsScaleRangeErr: a
 * negative scale */
QolStatus qolsInterpolateC_NR_16s(const Qol16s* pSrc1, Qol16s val1, Qol32s scaleFactor1,
                                  const Qol16s* pSrc2, Qol16s val2, Qol32s scaleFactor2,
                                  Qol16s* pDst, Qol32s len) QOL_NOEXCEPT;

/** Inverse square root by table and interpolation: x becomes 2^30 / sqrt(x) within 0.04 %;
 * 0x3FFFFFFF for x of 0 or less.
 *  @param[in,out] pSrcDst  len elements
 *  @param[in]     len      count of elements
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsSizeErr: len below 1 */
QolStatus qolsInvSqrt_32s_I(Qol32s* pSrcDst, Qol32s len) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
