/* SPDX-License-Identifier: Apache-2.0
 * GSM full rate (ETSI EN 300 961, GSM 06.10). */
#ifndef QOLSC_GSMFR_H
#define QOLSC_GSMFR_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Downscaling and offset compensation of the encoder's input; §5.2.1, §5.2.2.
 *  @param[in]     pSrc  len samples, 16 bits, of which the upper 13 count
 *  @param[out]    pDst  len samples; may be pSrc
 *  @param[in]     len   1 or more
 *  @param[in,out] pMem  2 words: the last scaled sample and the recursive part, Q15; start with 0,
 * 0
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsHighPassFilter_GSMFR_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                       Qol32s* pMem) QOL_NOEXCEPT;

/** Pre-emphasis 1 - 0.86 z^-1 (28180 in Q15), saturated; §5.2.3.
 *  @param[in]     pSrc  len samples
 *  @param[out]    pDst  len samples; may be pSrc
 *  @param[in]     len   1 or more
 *  @param[in,out] pMem  the sample before pSrc[0]; takes the last one
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsPreemphasize_GSMFR_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                     Qol16s* pMem) QOL_NOEXCEPT;

/** De-emphasis 1 / (1 - 0.86 z^-1), upscaling by 2 and truncation to 13 bits; §5.3.5 to §5.3.7.
 *  @param[in,out] pSrcDst  len samples; the results lie in -32768..32760, three low bits clear
 *  @param[in]     len      1 or more
 *  @param[in,out] pMem     the last de-emphasised sample before upscaling
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsDeemphasize_GSMFR_16s_I(Qol16s* pSrcDst, Qol32s len, Qol16s* pMem) QOL_NOEXCEPT;

/** Reflection coefficients from the autocorrelation by the Schur recursion; §5.2.5.
 *  @param[in]  pSrc      valOrder + 1 autocorrelation values
 *  @param[out] pDst      valOrder coefficients, Q15; zeros from the first instability on
 *  @param[in]  valOrder  1 to 8; a negative order is accepted and nothing is written
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (valOrder 0 or above
 *          8) */
QolStatus qolsSchur_GSMFR_32s16s(const Qol32s* pSrc, Qol16s* pDst, Qol32s valOrder) QOL_NOEXCEPT;

/** Short-term analysis lattice of order 8, in place; §5.2.10.
 *  @param[in]     pRC      8 reflection coefficients, Q15
 *  @param[in,out] pSrcDst  len samples, then the residual
 *  @param[in]     len      1 or more
 *  @param[in,out] pMem     8 delayed values u[0] to u[7]
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsShortTermAnalysisFilter_GSMFR_16s_I(const Qol16s* pRC, Qol16s* pSrcDst, Qol32s len,
                                                  Qol16s* pMem) QOL_NOEXCEPT;

/** Short-term synthesis lattice of order 8; §5.3.4.
 *  @param[in]     pRC   8 reflection coefficients, Q15
 *  @param[in]     pSrc  len samples of the residual
 *  @param[out]    pDst  len samples; may be pSrc
 *  @param[in]     len   1 or more
 *  @param[in,out] pMem  8 delayed values v[0] to v[7] (the standard's ninth is never read)
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsShortTermSynthesisFilter_GSMFR_16s(const Qol16s* pRC, const Qol16s* pSrc,
                                                 Qol16s* pDst, Qol32s len,
                                                 Qol16s* pMem) QOL_NOEXCEPT;

/** Weighting filter of the RPE coder, 11 taps, Q13, rounded and saturated; §5.2.13.
 *  @param[in]  pSrc  len samples; 5 more must be readable on each side
 *  @param[out] pDst  len samples, apart from pSrc
 *  @param[in]  len   1 or more; the codec uses 40
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsWeightingFilter_GSMFR_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len) QOL_NOEXCEPT;

/** Inverse APCM of the 13 RPE samples; §5.2.16.
 *  @param[in]  pSrc       13 codes, 0 to 7
 *  @param[in]  valFactor  table 4.6 at the mantissa of the block's maximum, Q15
 *  @param[in]  valShift   6 less the exponent of the block's maximum
 *  @param[out] pDst       13 samples
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsScaleRangeErr (valShift
 *          negative) */
QolStatus qolsRPEQuantDecode_GSMFR_16s(const Qol16s* pSrc, Qol16s valFactor, Qol16s valShift,
                                       Qol16s* pDst) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
