/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.728 low-delay CELP in 16-bit fixed point (Annex G). Vectors have five samples, in time
 * order. Filter coefficients begin at lag 1, without the leading one, with the signs of the
 * polynomial: a predictor enters a filter with a minus sign. Block floating point: value = mantissa
 * times 2^-exponent. Records may lie at any address; each has the size that its query gives. */
#ifndef QOLSC_G728_H
#define QOLSC_G728_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- hybrid window and Levinson-Durbin recursion ---- */

/** Size of the record of a hybrid window of order M, N samples a call and L samples of the
 *  non-recursive part: 2 (N + L + 2 M) + 52 bytes and 2 for each block of the span. Annex A.
 *  @param[in] valOrder  M: 50 (block 49), 10 (blocks 36 and 43)
 *  @param[in] valFrameLen  N: 20, or 4 log gains
 *  @param[in] valNonRecLen  L: 35, 30, 20
 *  @param[in] valBlock  samples that share an exponent, 0 for none
 *  @param[out] pSize  1 element: bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: valOrder, valFrameLen or
 *    valNonRecLen < 1 */
QolStatus qolsWinHybridGetStateSize_G728_16s(int valOrder, int valFrameLen, int valNonRecLen,
                                             int valBlock, int* pSize) QOL_NOEXCEPT;

/** What a hybrid window's record begins with, at its first address that is a multiple of 16. For
 *  reading alone: the standard keeps the old filter when the value at lag M is exactly 0 before it
 *  is rounded, which the 16-bit result doesn't show and these do. Blocks 37, 44 and 50. */
typedef struct QolsWinHybridState_G728 {
    const Qol16s* pWindow; /**< M+N+L weights, the newest sample's first */
    Qol16s order;          /**< M */
    Qol16s frameLen;       /**< N */
    Qol16s nonRecLen;      /**< L */
    Qol16s frameBlocks;    /**< N/block, 0 without blocks */
    Qol16s nonRecBlocks;   /**< (M+L)/block */
    Qol16s totalBlocks;    /**< (M+N+L)/block */
    Qol16s attShift;       /**< 14 for an attenuation of 12288, 15 for 8192 */
    Qol16s* pBuffer;       /**< recursive correlation of M+1 lags and its exponent, the last M+N+L
                                samples in time order, the exponents of their blocks */
} QolsWinHybridState_G728;

/** Makes the record: zero history, recursive part 0. The record holds addresses and is not to be
 *  moved. Annex A.
 *  @param[in] pWindow  M+N+L elements: window, Q15, the newest sample's weight first as the
 * standard prints it; read at every call, it must outlive the record
 *  @param[in] valOrder, valFrameLen, valNonRecLen, valBlock  as for the size
 *  @param[in] valAttenuation  of the recursive part in 1/16384 a call: 12288 or 8192; any other
 *    leaves the field as it was
 *  @param[out] pState  record of the queried size
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsWinHybridInit_G728_16s(const Qol16s* pWindow, int valOrder, int valFrameLen,
                                     int valNonRecLen, int valBlock, Qol16s valAttenuation,
                                     Qol8u* pState) QOL_NOEXCEPT;

/** Takes N samples in and gives the normalised autocorrelation of the windowed past, with the white
 *  noise correction of 257/256. Blocks 36 and 43. With an attenuation of 8192 the exponent of the
 *  recursive part is limited to 41, as in the standard's weighting analysis.
 *  @param[in] valIter  number of the call; the first one computes as every other, so that it has no
 *    effect
 *  @param[in] pSrc  N elements: new samples
 *  @param[out] pDst  M+1 elements: autocorrelation, element 0 normalised
 *  @param[in,out] pState  record
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsWinHybrid_G728_16s(int valIter, const Qol16s* pSrc, Qol16s* pDst,
                                 Qol8u* pState) QOL_NOEXCEPT;

/** The same for samples in block floating point. Block 49. A record made without blocks runs the
 *  plain form.
 *  @param[in] valIter  without effect
 *  @param[in] pSrc  N elements: mantissas
 *  @param[in] pDst1  N/block elements, read: exponents of the new blocks
 *  @param[out] pDst2  M+1 elements: autocorrelation, element 0 normalised
 *  @param[in,out] pState  record
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsWinHybridBlock_G728_16s(int valIter, const Qol16s* pSrc, Qol16s* pDst1, Qol16s* pDst2,
                                      Qol8u* pState) QOL_NOEXCEPT;

/** Levinson-Durbin recursion from the start. Blocks 37, 44, 50. An ill-conditioned input leaves
 *  coefficients of a lower order in pDstLpc, energy and scale untouched: the caller keeps its last
 *  filter.
 *  @param[in] pSrcAutoCorr  valOrder+1 elements: autocorrelation, element 0 normalised
 *  @param[in] valOrder  1 or more
 *  @param[out] pDstLpc  valOrder elements: coefficients from lag 1 on, Q(scale)
 *  @param[out] pDstRc  1 element: first reflection coefficient, Q15
 *  @param[out] pResultResidualEnergy  1 element: energy of the prediction error
 *  @param[out] pResultScale  1 element: Q-format of the coefficients, 15, 14 or 13
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: valOrder < 1 or
 *    pSrcAutoCorr[0] < 1; qolStsLevinsonOrderErr: ill-conditioned below order 12; qolStsOverflow:
 *    ill-conditioned from order 12 on */
QolStatus qolsLevinsonDurbin_G728_16s_Sfs(const Qol16s* pSrcAutoCorr, int valOrder, Qol16s* pDstLpc,
                                          Qol16s* pDstRc, Qol16s* pResultResidualEnergy,
                                          Qol16s* pResultScale) QOL_NOEXCEPT;

/** Goes on from a solution of order valOrderStart to valOrderEnd; without iterations when they are
 *  equal, from the start when valOrderStart is 0. Block 50. Failures as above.
 *  @param[in] pSrcAutoCorr  valOrderEnd+1 elements: autocorrelation
 *  @param[in] valOrderStart, valOrderEnd  0 or more
 *  @param[in,out] pSrcDstLpc  valOrderEnd elements: coefficients from lag 1 on, Q(scale)
 *  @param[in,out] pSrcDstResidualEnergy  1 element: energy of the prediction error
 *  @param[in,out] pSrcDstScale  1 element: Q-format of the coefficients, 13 to 15
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: valOrderStart < 0,
 *    valOrderEnd < valOrderStart, or, from the start, as there; qolStsScaleRangeErr: *pSrcDstScale
 *    above 15; qolStsLevinsonOrderErr: ill-conditioned below order 12 (a scale below 13 below order
 *    11); qolStsOverflow: from there on */
QolStatus qolsLevinsonDurbin_G728_16s_ISfs(const Qol16s* pSrcAutoCorr, int valOrderStart,
                                           int valOrderEnd, Qol16s* pSrcDstLpc,
                                           Qol16s* pSrcDstResidualEnergy,
                                           Qol16s* pSrcDstScale) QOL_NOEXCEPT;

/* ---- codebook search ---- */

/** Energies of all shapes behind the impulse response. Blocks 14 and 15.
 *  @param[in] pSrcImpulseResponse  5 elements, Q13
 *  @param[out] pDstEnergy  128 elements, Q5
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsImpulseResponseEnergy_G728_16s(const Qol16s* pSrcImpulseResponse,
                                             Qol16s* pDstEnergy) QOL_NOEXCEPT;

/** Shape and gain of least weighted error, the first of equals. Blocks 17 and 18; the lower rates
 *  search a part of the shapes with two gain levels. The gain index is the level, lowest first,
 * plus 4 (rate 17) or 2 when the correlation with the shape isn't above 0.
 *  @param[in] pSrcCorr  5 elements: target vector correlated with the impulse response, Q7
 *  @param[in] pSrcEnergy  128 elements: energies of the shapes, Q5, whatever the rate
 *  @param[out] pDstShapeIdx  1 element: shape, a row of the codebook
 *  @param[out] pDstGainIdx  1 element: gain index
 *  @param[out] pDstCode  1 element: code word: gain index plus 8 (rate 17) or 4 times the place in
 *    the scan
 *  @param[in] valRate  17: 16 kbit/s, 128 shapes; 14: 12.8 kbit/s, 64 shapes from 64 on; 10: 9.6
 *    kbit/s, 16 shapes (96..99, 104..107, 112..115, 120..123)
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsRangeErr: valRate not 17, 14 or 10 */
QolStatus qolsCodebookSearch_G728_16s(const Qol16s* pSrcCorr, const Qol16s* pSrcEnergy,
                                      Qol32s* pDstShapeIdx, Qol32s* pDstGainIdx, Qol16s* pDstCode,
                                      int valRate) QOL_NOEXCEPT;

/** Trellis-coded quantisation of a vector: four states, 64 levels in four subsets, five bits a
 *  sample. The interface of the trellis search is this library's own: it follows the structure of
 *  Annex J (40 kbit/s) and is not claimed to be bit-compatible with it.
 *
 *  Level i of the 64 ascending ones belongs to subset i mod 4. From an even state the branches 0
 * and 1 take subsets 0 and 2, from an odd one 1 and 3, and lead to state ((s << 1) & 2) | branch.
 * Each value is the prediction by the path's taps plus a level times val1 times 2^-val2.
 *  @param[in] pSrc1  5 elements: target vector
 *  @param[in] pSrc2  5 elements: predictor taps from lag 1 on, Q14
 *  @param[in,out] pSrc3  20 elements: the last five values of the path into each state, newest
 * first
 *  @param[out] pDst1  5 elements: codes of the best path, branch bit (16) and number of the level
 * in its subset
 *  @param[out] pDst2  5 elements: values of the best path
 *  @param[in,out] pState  4 elements: metrics of the paths, squared error >> 8; the least is taken
 *    off all when it is below 1. To begin in state 0 give the others a large metric
 *  @param[in] val1  gain mantissa, limited to 16 bits
 *  @param[in] val2  exponent of the gain; negative shifts left
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsCodebookSearchTCQ_G728_16s8u(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pSrc3,
                                           Qol8u* pDst1, Qol16s* pDst2, Qol32s* pState, Qol64s val1,
                                           Qol64s val2) QOL_NOEXCEPT;

/* ---- weighting filter ---- */

/** Size of the weighting filter's record: 64 bytes.
 *  @param[out] pSize  1 element
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsIIR16sGetStateSize_G728_16s(int* pSize) QOL_NOEXCEPT;

/** Clears the weighting filter's memory.
 *  @param[out] pState  64 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsIIR16sInit_G728_16s(Qol8u* pState) QOL_NOEXCEPT;

/** Pole-zero filter of order 10, truncated and limited to 16 bits. Block 4.
 *  @param[in] pCoeffs  20 elements: numerator from lag 1 on, then denominator, Q14
 *  @param[in] pSrc  len elements
 *  @param[out] pDst  len elements; may be pSrc
 *  @param[in] len  1 or more
 *  @param[in,out] pState  64 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len < 1 */
QolStatus qolsIIR16s_G728_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst, int len,
                              Qol8u* pState) QOL_NOEXCEPT;

/* ---- synthesis filter ---- */

/** Size of the synthesis filter's record: 144 bytes.
 *  @param[out] pSize  1 element
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsSynthesisFilterGetStateSize_G728_16s(int* pSize) QOL_NOEXCEPT;

/** Clears the synthesis filter's memory: mantissas 0, exponents 16.
 *  @param[out] pState  144 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsSynthesisFilterInit_G728_16s(Qol8u* pState) QOL_NOEXCEPT;

/** Takes the vector finished last into the memory and gives the zero-input response. Block 32.
 *  @param[in] pCoeffs  50 elements: synthesis filter, Q14
 *  @param[in] pSrcVec  5 elements: mantissas of the vector before; zeros with exponent 16 at the
 *    start
 *  @param[in] valSrcExp  its exponent
 *  @param[out] pDst  5 elements: mantissas, 15 bits
 *  @param[out] pDstExp  1 element: their exponent
 *  @param[in,out] pState  144 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsSyntesisFilterZeroInput_G728_16s(const Qol16s* pCoeffs, const Qol16s* pSrcVec,
                                               Qol16s valSrcExp, Qol16s* pDst, Qol16s* pDstExp,
                                               Qol8u* pState) QOL_NOEXCEPT;

/* ---- encoder's combined filter ---- */

/** Size of the combined filter's record: 208 bytes.
 *  @param[out] pSize  1 element
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsCombinedFilterGetStateSize_G728_16s(int* pSize) QOL_NOEXCEPT;

/** Clears the combined filter's memory: mantissas 0, exponents 16.
 *  @param[out] pState  208 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsCombinedFilterInit_G728_16s(Qol8u* pState) QOL_NOEXCEPT;

/** Zero-input response of synthesis and weighting filter. Blocks 9 and 10. One call of the
 * zero-state form follows each call of this one.
 *  @param[in] pCoeffs  50 elements: synthesis filter, Q14
 *  @param[in] pWgtCoeffs  20 elements: weighting filter, numerator, then denominator, Q14
 *  @param[out] pDstSyn  5 elements: mantissas of the synthesis filter's response, 15 bits
 *  @param[out] pDstSynExp  1 element: their exponent
 *  @param[out] pDstWgt  5 elements: weighted response, Q2
 *  @param[in,out] pState  208 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsCombinedFilterZeroInput_G728_16s(const Qol16s* pCoeffs, const Qol16s* pWgtCoeffs,
                                               Qol16s* pDstSyn, Qol16s* pDstSynExp, Qol16s* pDstWgt,
                                               Qol8u* pState) QOL_NOEXCEPT;

/** Brings the memories of both filters up to date with the chosen excitation and gives the finished
 *  vector, clipped to 4095 in Q0. Blocks 9, 10 and 22.
 *  @param[in] pCoeffs  50 elements: synthesis filter, Q14
 *  @param[in] pWgtCoeffs  20 elements: weighting filter, Q14
 *  @param[in] pSrcExc  5 elements: mantissas of the excitation
 *  @param[in] valExcExp  their exponent
 *  @param[out] pDstSyn  5 elements: mantissas of the finished vector, 14 bits
 *  @param[out] pDstSynExp  1 element: their exponent
 *  @param[in,out] pState  208 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsCombinedFilterZeroState_G728_16s(const Qol16s* pCoeffs, const Qol16s* pWgtCoeffs,
                                               const Qol16s* pSrcExc, Qol16s valExcExp,
                                               Qol16s* pDstSyn, Qol16s* pDstSynExp,
                                               Qol8u* pState) QOL_NOEXCEPT;

/* ---- post-filter and its adapter ---- */

/** Size of the post-filter adapter's record: 176 bytes.
 *  @param[out] pSize  1 element
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsPostFilterAdapterGetStateSize_G728(int* pSize) QOL_NOEXCEPT;

/** Clears the post-filter adapter's memory.
 *  @param[out] pState  176 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsPostFilterAdapterStateInit_G728(Qol8u* pState) QOL_NOEXCEPT;

/** Inverse filter of one vector of decoded speech. Block 81.
 *  @param[in] pCoeffs  10 elements: predictor of order 10, Q13
 *  @param[in] pSrc  5 elements: decoded speech, Q2
 *  @param[out] pDst  5 elements: residual, Q1
 *  @param[in,out] pState  176 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLPCInverseFilter_G728_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst,
                                        Qol8u* pState) QOL_NOEXCEPT;

/** Pitch period of the residual, once for each 20 samples. Block 82.
 *  @param[in] pSrc  240 elements: the last residual samples, newest last
 *  @param[in,out] pSrcDstPitch  1 element: pitch before (50 at the start), and found, 20 to 140
 *  @param[in,out] pState  176 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsPitchPeriodExtraction_G728_16s(const Qol16s* pSrc, int* pSrcDstPitch,
                                             Qol8u* pState) QOL_NOEXCEPT;

/** Size of the post-filter's record: 64 bytes.
 *  @param[out] pSize  1 element
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsPostFilterGetStateSize_G728_16s(int* pSize) QOL_NOEXCEPT;

/** Clears the post-filter's memories; the smoothed gain starts at 1.
 *  @param[out] pState  64 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsPostFilterInit_G728_16s(Qol8u* pState) QOL_NOEXCEPT;

/** Post-filter of one vector: long-term part, short-term part with tilt compensation, gain control.
 *  Blocks 71 to 77.
 *  @param[in] pSrc  5 elements: decoded speech, Q2
 *  @param[in] pSrcMem  5 elements: the same in Q0, with 140 samples of history before it
 *  @param[in] pCoeffs  20 elements: short-term part, numerator, then denominator, Q14
 *  @param[out] pDst  5 elements: filtered speech, Q0
 *  @param[in] valPitch  20 to 140; limited to 0 to 140
 *  @param[in] valGain  gain of the current sample in the long-term part, Q14
 *  @param[in] valTapGain  gain of the sample one pitch period back, Q16
 *  @param[in] valTilt  coefficient of the tilt compensation, Q14
 *  @param[in,out] pState  64 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsPostFilter_G728_16s(const Qol16s* pSrc, const Qol16s* pSrcMem, const Qol16s* pCoeffs,
                                  Qol16s* pDst, int valPitch, Qol16s valGain, Qol16s valTapGain,
                                  Qol16s valTilt, Qol8u* pState) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
