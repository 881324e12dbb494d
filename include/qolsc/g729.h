/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.729 and its annexes A, B, D, E and I. */
#ifndef QOLSC_G729_H
#define QOLSC_G729_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- LP analysis and LSP conversion ---- */

/** Windowed autocorrelation of an analysis frame, lags 0 to 12, scaled so that lag 0 fills the
 *  word. G.729 3.2.1, B.3.1.1.
 *  @param[in] pSrc  240 samples: 120 past, 80 of the frame, 40 ahead
 *  @param[out] pNorm  exponent of the result: the scaling down applied plus 1, less the
 *    normalising shift
 *  @param[out] pDst  13 elements: normalised autocorrelation
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsAutoCorr_G729B(const Qol16s* pSrc, Qol16s* pNorm, Qol32s* pDst) QOL_NOEXCEPT;

/** Lag window of 60 Hz bandwidth expansion. G.729 3.2.1.
 *  @param[in,out] pSrcDst  len elements: autocorrelation from lag 1 on
 *  @param[in] len  1 to 12
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len <= 0; qolStsSizeErr:
 *    len > 12 */
QolStatus qolsLagWindow_G729_32s_I(Qol32s* pSrcDst, int len) QOL_NOEXCEPT;

/** Levinson-Durbin recursion in double-precision format. G.729 3.2.2. On qolStsOverflow nothing
 *  is written and the caller keeps its last filter.
 *  @param[in] pSrcAutoCorr  order+1 elements: normalised autocorrelation
 *  @param[in] order  1 to 30
 *  @param[out] pDstLpc  order+1 elements: LPC vector, Q12, element 0 is 4096
 *  @param[out] pDstRc  order elements: reflection coefficients, Q15
 *  @param[out] pResultResidualEnergy  energy of the prediction error
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: order < 1 or order > 30;
 *    qolStsOverflow: ill-conditioned; outputs untouched */
QolStatus qolsLevinsonDurbin_G729_32s16s(const Qol32s* pSrcAutoCorr, int order, Qol16s* pDstLpc,
                                         Qol16s* pDstRc,
                                         Qol16s* pResultResidualEnergy) QOL_NOEXCEPT;

/** The recursion at order 10 with the first two reflection coefficients. G.729 3.2.2, B.3.1. They
 *  are written even with qolStsOverflow, when they are meaningless.
 *  @param[in] pSrcAutoCorr  11 elements: normalised autocorrelation
 *  @param[out] pDstLpc  11 elements: LPC vector, Q12, element 0 is 4096
 *  @param[out] pDstRc  2 elements: first two reflection coefficients, Q15
 *  @param[out] pResultResidualEnergy  energy of the prediction error
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOverflow: ill-conditioned; pDstRc
 *    is written with meaningless values then */
QolStatus qolsLevinsonDurbin_G729B(const Qol32s* pSrcAutoCorr, Qol16s* pDstLpc, Qol16s* pDstRc,
                                   Qol16s* pResultResidualEnergy) QOL_NOEXCEPT;

/** Levinson-Durbin recursion in floating point. G.729 3.2.2. A reflection coefficient beyond
 *  0.999451 ends it early with a residual energy of 0.001; the LPC vector is then partly updated.
 *  @param[in] pSrcAutoCorr  order+1 elements: autocorrelation
 *  @param[in] order  1 or more
 *  @param[out] pDstLpc  order+1 elements: LPC vector, element 0 is 1
 *  @param[out] pDstRc  order elements: reflection coefficients
 *  @param[out] pResultResidualEnergy  energy of the prediction error
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: order < 1 */
QolStatus qolsLevinsonDurbin_G729_32f(const Qol32f* pSrcAutoCorr, int order, Qol32f* pDstLpc,
                                      Qol32f* pDstRc, Qol32f* pResultResidualEnergy) QOL_NOEXCEPT;

/** LPC to LSP on a grid of 60 intervals with 4 bisections. G.729 3.2.3. With fewer than 10 roots
 *  the previous vector is returned.
 *  @param[in] pSrcLpc  11 elements: LPC vector, Q12, element 0 is 4096
 *  @param[in] pSrcPrevLsp  10 elements: previous LSP, Q15
 *  @param[out] pDstLsp  10 elements: LSP as cosines, Q15, descending
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLPCToLSP_G729_16s(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp,
                                Qol16s* pDstLsp) QOL_NOEXCEPT;

/** LPC to LSP on a grid of 50 intervals with 2 bisections. G.729 A.3.2.3.
 *  @param[in] pSrcLpc  11 elements: LPC vector, Q12, element 0 is 4096
 *  @param[in] pSrcPrevLsp  10 elements: previous LSP, Q15
 *  @param[out] pDstLsp  10 elements: LSP as cosines, Q15, descending
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLPCToLSP_G729A_16s(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp,
                                 Qol16s* pDstLsp) QOL_NOEXCEPT;

/** LPC to LSP on a grid of 60 intervals with 4 bisections, two grid points a step and once more
 *  with one where roots are missing. G.729 3.2.3.
 *  @param[in] pSrcLpc  11 elements: LPC vector, element 0 is 1
 *  @param[in] pSrcPrevLsp  10 elements: previous LSP
 *  @param[out] pDstLsp  10 elements: LSP as cosines, descending
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLPCToLSP_G729_32f(const Qol32f* pSrcLpc, const Qol32f* pSrcPrevLsp,
                                Qol32f* pDstLsp) QOL_NOEXCEPT;

/** LPC to LSP on a grid of 50 intervals with 2 bisections. G.729 A.3.2.3.
 *  @param[in] pSrcLpc  11 elements: LPC vector, element 0 is 1
 *  @param[in] pSrcPrevLsp  10 elements: previous LSP
 *  @param[out] pDstLsp  10 elements: LSP as cosines, descending
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLPCToLSP_G729A_32f(const Qol32f* pSrcLpc, const Qol32f* pSrcPrevLsp,
                                 Qol32f* pDstLsp) QOL_NOEXCEPT;

/** LSP to LPC. G.729 3.2.6. The coefficients saturate.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, Q15, descending
 *  @param[out] pDstLpc  11 elements: LPC vector, Q12, element 0 is 4096
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSPToLPC_G729_16s(const Qol16s* pSrcLsp, Qol16s* pDstLpc) QOL_NOEXCEPT;

/** LSP to LPC. G.729 3.2.6.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, descending
 *  @param[out] pDstLpc  11 elements: LPC vector, element 0 is 1
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSPToLPC_G729_32f(const Qol32f* pSrcLsp, Qol32f* pDstLpc) QOL_NOEXCEPT;

/** LSF to LSP. G.729 3.2.4.
 *  @param[in] pSrcLsf  10 elements: LSF, Q13 radians, ascending
 *  @param[out] pDstLsp  10 elements: LSP as cosines, Q15, descending
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsLsfRangeErr: a negative scaled
 *    frequency met while converting; earlier elements stay written */
QolStatus qolsLSFToLSP_G729_16s(const Qol16s* pSrcLsf, Qol16s* pDstLsp) QOL_NOEXCEPT;

/** LSP to LSF. G.729 3.2.4.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, Q15, descending
 *  @param[out] pDstLsf  10 elements: LSF, Q13 radians, ascending
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSPToLSF_G729_16s(const Qol16s* pSrcLsp, Qol16s* pDstLsf) QOL_NOEXCEPT;

/** LSP to normalised LSF. G.729 3.3.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, Q15, descending
 *  @param[out] pDstLsf  10 elements: frequency over the sampling rate, Q15
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSPToLSF_Norm_G729_16s(const Qol16s* pSrcLsp, Qol16s* pDstLsf) QOL_NOEXCEPT;

/** Sum of the halves, each truncated. G.729 3.2.5.
 *  @param[in] pSrc1  len elements
 *  @param[in] pSrc2  len elements
 *  @param[out] pDst  len elements: (pSrc1 >> 1) + (pSrc2 >> 1)
 *  @param[in] len  1 or more
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len < 1 */
QolStatus qolsInterpolate_G729_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                   int len) QOL_NOEXCEPT;

/** Weighted sum with each product shifted by itself. G.729 3.2.5.
 *  @param[in] pSrc1  len elements
 *  @param[in] val1  weight of pSrc1
 *  @param[in] pSrc2  len elements
 *  @param[in] val2  weight of pSrc2
 *  @param[out] pDst  len elements: (pSrc1 val1 >> scaleFactor) + (pSrc2 val2 >> scaleFactor),
 *    saturated
 *  @param[in] len  1 or more
 *  @param[in] scaleFactor  0 or more, acts as 31 at most
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsScaleRangeErr: scaleFactor < 0;
 *    qolStsBadArgErr: len < 1 */
QolStatus qolsInterpolateC_G729_16s_Sfs(const Qol16s* pSrc1, Qol16s val1, const Qol16s* pSrc2,
                                        Qol16s val2, Qol16s* pDst, int len,
                                        int scaleFactor) QOL_NOEXCEPT;

/** Weighted sum, rounded and shifted once. G.729 3.2.5.
 *  @param[in] pSrc1  len elements
 *  @param[in] val1  weight of pSrc1
 *  @param[in] pSrc2  len elements
 *  @param[in] val2  weight of pSrc2
 *  @param[out] pDst  len elements: (pSrc1 val1 + pSrc2 val2 + half) >> scaleFactor, saturated
 *  @param[in] len  1 or more
 *  @param[in] scaleFactor  0 or more, acts as 31 at most
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsScaleRangeErr: scaleFactor < 0;
 *    qolStsBadArgErr: len < 1 */
QolStatus qolsInterpolateC_NR_G729_16s_Sfs(const Qol16s* pSrc1, Qol16s val1, const Qol16s* pSrc2,
                                           Qol16s val2, Qol16s* pDst, int len,
                                           int scaleFactor) QOL_NOEXCEPT;

/** Weighted sum. G.729 3.2.5. The vectors may overlap.
 *  @param[in] pSrc1  len elements
 *  @param[in] val1  weight of pSrc1
 *  @param[in] pSrc2  len elements
 *  @param[in] val2  weight of pSrc2
 *  @param[out] pDst  len elements: val1 pSrc1 + val2 pSrc2
 *  @param[in] len  1 or more
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len < 1 */
QolStatus qolsInterpolateC_G729_32f(const Qol32f* pSrc1, Qol32f val1, const Qol32f* pSrc2,
                                    Qol32f val2, Qol32f* pDst, int len) QOL_NOEXCEPT;

/* ---- LSP quantisation and decoding ---- */

/** LSF quantiser of 18 bits. G.729 3.2.4. Returns the status of qolsLSFDecode_G729_16s.
 *  @param[in] pSrcLsf  10 elements: LSF, Q13 radians, ascending
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first,
 *    Q13
 *  @param[out] pDstQLsf  10 elements: quantised LSF, Q13
 *  @param[out] pDstIdx  4 elements: mode, L1, L2, L3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsLsfLowBound / qolStsLsfHighBound /
 *    qolStsLsfBothBounds (warnings 13, 14, 15): bounds applied, result valid */
QolStatus qolsLSFQuant_G729_16s(const Qol16s* pSrcLsf, Qol16s* pPrevFreq, Qol16s* pDstQLsf,
                                Qol16s* pDstIdx) QOL_NOEXCEPT;

/** The 18-bit quantiser from LSP to LSP. G.729 3.2.4. Bound warnings are dropped.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, Q15, descending
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first,
 *    Q13
 *  @param[out] pDstQLsp  10 elements: quantised LSP, Q15
 *  @param[out] pDstIdx  2 elements: mode << 7 | L1, then L2 << 5 | L3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsLsfRangeErr: passed on from
 *    qolsLSFToLSP_G729_16s */
QolStatus qolsLSPQuant_G729_16s(const Qol16s* pSrcLsp, Qol16s* pPrevFreq, Qol16s* pDstQLsp,
                                Qol16s* pDstIdx) QOL_NOEXCEPT;

/** The 18-bit quantiser without commitment: the history stays, its new row is returned. G.729
 *  Annex E.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, Q15, descending
 *  @param[in] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first, Q13
 *  @param[out] pDstFreq  10 elements: new history row, Q13
 *  @param[out] pDstQLsp  10 elements: quantised LSP, Q15
 *  @param[out] pDstIdx  2 elements: mode << 7 | L1, then L2 << 5 | L3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsLsfRangeErr: passed on from
 *    qolsLSFToLSP_G729_16s */
QolStatus qolsLSPQuant_G729E_16s(const Qol16s* pSrcLsp, const Qol16s* pPrevFreq, Qol16s* pDstFreq,
                                 Qol16s* pDstQLsp, Qol16s* pDstIdx) QOL_NOEXCEPT;

/** The 18-bit quantiser without commitment in floating point. G.729 Annexes C+, E.
 *  @param[in] pSrcLsp  10 elements: LSP as cosines, descending
 *  @param[in] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first
 *  @param[out] pDstFreq  10 elements: new history row
 *  @param[out] pDstQLsp  10 elements: quantised LSP
 *  @param[out] pDstIdx  2 elements: mode << 7 | L1, then L2 << 5 | L3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSPQuant_G729E_32f(const Qol32f* pSrcLsp, const Qol32f* pPrevFreq, Qol32f* pDstFreq,
                                 Qol32f* pDstQLsp, Qol32s* pDstIdx) QOL_NOEXCEPT;

/** Decodes the LSF indices, updates the history, orders and bounds the vector. G.729 3.2.4,
 *  4.1.1. L1, L2, L3 are taken modulo 128, 32, 32.
 *  @param[in] pIdx  4 elements: mode, L1, L2, L3
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first,
 *    Q13
 *  @param[out] pDstQLsf  10 elements: quantised LSF, Q13
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: mode pIdx[0] not 0
 *    or 1, as an unsigned value; qolStsLsfLowBound / qolStsLsfHighBound / qolStsLsfBothBounds
 *    (warnings 13, 14, 15): bounds applied, result valid */
QolStatus qolsLSFDecode_G729_16s(const Qol16s* pIdx, Qol16s* pPrevFreq,
                                 Qol16s* pDstQLsf) QOL_NOEXCEPT;

/** Decodes the LSF indices. G.729 3.2.4, 4.1.1. L1, L2 or L3 outside the codebook decode zeros;
 *  the lowest bit of the mode counts.
 *  @param[in] pIdx  4 elements: mode, L1, L2, L3
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first
 *  @param[out] pDstQLsf  10 elements: quantised LSF in radians
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSFDecode_G729_32f(const Qol32s* pIdx, Qol32f* pPrevFreq,
                                 Qol32f* pDstQLsf) QOL_NOEXCEPT;

/** Moves the predictor history through an erased frame. G.729 4.4.1. The caller repeats the last
 *  LSF.
 *  @param[in] maIdx  mode of the last good frame
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first,
 *    Q13
 *  @param[in] pSrcPrevLsf  10 elements: LSF of the last good frame, Q13
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: maIdx not 0 or 1 */
QolStatus qolsLSFDecodeErased_G729_16s(int maIdx, Qol16s* pPrevFreq,
                                       const Qol16s* pSrcPrevLsf) QOL_NOEXCEPT;

/** Moves the predictor history through an erased frame. G.729 4.4.1.
 *  @param[in] maIdx  mode of the last good frame
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first
 *  @param[in] pSrcPrevLsf  10 elements: LSF of the last good frame in radians
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: maIdx not 0 or 1 */
QolStatus qolsLSFDecodeErased_G729_32f(int maIdx, Qol32f* pPrevFreq,
                                       const Qol32f* pSrcPrevLsf) QOL_NOEXCEPT;

/** LSF quantiser of noise frames, 10 bits. G.729 B.4.2.1. Returns the status of
 *  qolsLSFDecode_G729B_16s.
 *  @param[in] pSrcLsf  10 elements: LSF, Q13 radians, ascending
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first,
 *    Q13
 *  @param[out] pDstQLsf  10 elements: quantised LSF, Q13
 *  @param[out] pDstIdx  3 elements: mode, first index, second index
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsLsfLowBound / qolStsLsfHighBound /
 *    qolStsLsfBothBounds (warnings 13, 14, 15): bounds applied, result valid */
QolStatus qolsLSFQuant_G729B_16s(const Qol16s* pSrcLsf, Qol16s* pPrevFreq, Qol16s* pDstQLsf,
                                 Qol16s* pDstIdx) QOL_NOEXCEPT;

/** LSF quantiser of noise frames in floating point; it delivers cosines. G.729 B.4.2.1.
 *  @param[in] pSrcLsf  10 elements: LSF in radians, ascending
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first
 *  @param[out] pDstQLsp  10 elements: quantised LSP as cosines
 *  @param[out] pDstIdx  3 elements: mode, first index, second index
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSFQuant_G729B_32f(const Qol32f* pSrcLsf, Qol32f* pPrevFreq, Qol32f* pDstQLsp,
                                 Qol32s* pDstIdx) QOL_NOEXCEPT;

/** Decodes the LSF of a noise frame. G.729 B.4.2.1. Indices are taken modulo 2, 32, 16.
 *  @param[in] pIdx  3 elements: mode, first index, second index
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first,
 *    Q13
 *  @param[out] pDstQLsf  10 elements: quantised LSF, Q13
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsLsfLowBound / qolStsLsfHighBound /
 *    qolStsLsfBothBounds (warnings 13, 14, 15): bounds applied, result valid */
QolStatus qolsLSFDecode_G729B_16s(const Qol16s* pIdx, Qol16s* pPrevFreq,
                                  Qol16s* pDstQLsf) QOL_NOEXCEPT;

/** Decodes the LSF of a noise frame in floating point; it delivers cosines. G.729 B.4.2.1.
 *  Indices are taken modulo 2, 32, 16.
 *  @param[in] pIdx  3 elements: mode, first index, second index
 *  @param[in,out] pPrevFreq  40 elements: MA predictor history, 4 rows of 10, the newest first
 *  @param[out] pDstQLsp  10 elements: quantised LSP as cosines
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsLSFDecode_G729B_32f(const Qol32s* pIdx, Qol32f* pPrevFreq,
                                  Qol32f* pDstQLsp) QOL_NOEXCEPT;

/* ---- pitch analysis and adaptive codebook ---- */

/** Open-loop lag of a frame. G.729 3.4.
 *  @param[in] pSrc  80, 143 samples of history before it: weighted speech of the frame
 *  @param[out] pResultLag  lag, 20 to 143
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsOpenLoopPitchSearch_G729_16s(const Qol16s* pSrc, Qol16s* pResultLag) QOL_NOEXCEPT;

/** Open-loop lag of a frame on the even samples. G.729 A.3.4.
 *  @param[in] pSrc  80, 143 samples of history before it: weighted speech of the frame
 *  @param[out] pResultLag  lag, 20 to 143
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsOpenLoopPitchSearch_G729A_16s(const Qol16s* pSrc, Qol16s* pResultLag) QOL_NOEXCEPT;

/** Open-loop lag of a frame on the even samples. G.729 A.3.4.
 *  @param[in] pSrc  80, 143 samples of history before it: weighted speech of the frame
 *  @param[out] pResultLag  lag, 20 to 143
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsOpenLoopPitchSearch_G729A_32f(const Qol32f* pSrc, Qol32s* pResultLag) QOL_NOEXCEPT;

/** Closed-loop search around the open-loop lag, in thirds below 85 and in the second subframe,
 *  and the adaptive-codebook vector. G.729 3.7. Equal correlations go to the larger lag.
 *  @param[in] valOpenDelay  open-loop lag (subframe 0) or integer lag of subframe 0
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[in,out] pSrcDstExc  194 elements: excitation, 154 past samples, then the subframe,
 *    which holds the LP residual on entry and the adaptive-codebook vector on return
 *  @param[out] pDstDelay  2 elements: integer lag, then fraction in thirds (-1, 0, 1)
 *  @param[out] pDstAdptVector  40 elements: adaptive-codebook vector
 *  @param[in] subFrame  0 or 1
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: not 18 <= valOpenDelay <
 *    146, or subFrame not 0 or 1 */
QolStatus qolsAdaptiveCodebookSearch_G729_16s(int valOpenDelay, const Qol16s* pSrcAdptTarget,
                                              const Qol16s* pSrcImpulseResponse, Qol16s* pSrcDstExc,
                                              Qol16s* pDstDelay, Qol16s* pDstAdptVector,
                                              Qol16s subFrame) QOL_NOEXCEPT;

/** Closed-loop search that maximises the correlation alone. G.729 A.3.7.
 *  @param[in] valOpenDelay  open-loop lag (subframe 0) or integer lag of subframe 0
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[in,out] pSrcDstExc  194 elements: excitation, 154 past samples, then the subframe,
 *    which holds the LP residual on entry and the adaptive-codebook vector on return
 *  @param[out] pDstDelay  2 elements: integer lag, then fraction in thirds (-1, 0, 1)
 *  @param[out] pDstAdptVector  40 elements: adaptive-codebook vector
 *  @param[in] subFrame  0 or 1
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: not 18 <= valOpenDelay <
 *    146, or subFrame not 0 or 1 */
QolStatus qolsAdaptiveCodebookSearch_G729A_16s(int valOpenDelay, const Qol16s* pSrcAdptTarget,
                                               const Qol16s* pSrcImpulseResponse,
                                               Qol16s* pSrcDstExc, Qol16s* pDstDelay,
                                               Qol16s* pDstAdptVector,
                                               Qol16s subFrame) QOL_NOEXCEPT;

/** Closed-loop search of the 6.4 kbit/s coder: the second subframe has thirds near the middle of
 *  its window only. G.729 D.5.4. The vector is the caller's to build.
 *  @param[in] valOpenDelay  open-loop lag (subframe 0) or integer lag of subframe 0
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[in] pSrcExc  194 elements: excitation, 154 past samples, then the LP residual of the
 *    subframe
 *  @param[in] subFrame  0 or 1
 *  @param[out] pDstDelay  2 elements: integer lag, then fraction in thirds (-1, 0, 1)
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: not 18 <= valOpenDelay <
 *    146, or subFrame not 0 or 1 */
QolStatus qolsAdaptiveCodebookSearch_G729D_16s(int valOpenDelay, const Qol16s* pSrcAdptTarget,
                                               const Qol16s* pSrcImpulseResponse,
                                               const Qol16s* pSrcExc, Qol16s subFrame,
                                               Qol16s* pDstDelay) QOL_NOEXCEPT;

/** Adaptive-codebook vector by 1/3 interpolation, written behind the past excitation. G.729
 *  3.7.1, 4.1.3.
 *  @param[in] pDelay  2 elements: integer lag, then fraction in thirds (-1, 0, 1); the lag 18 to
 *    144
 *  @param[in,out] pSrcDstExc  194 elements: excitation, 154 past samples, then the vector
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: lag outside 18..144
 *    or fraction outside -1..1 */
QolStatus qolsDecodeAdaptiveVector_G729_16s_I(const Qol16s* pDelay,
                                              Qol16s* pSrcDstExc) QOL_NOEXCEPT;

/** The same with a copy of the vector. G.729 3.7.1, 4.1.3.
 *  @param[in] pDelay  2 elements: integer lag, then fraction in thirds (-1, 0, 1); the lag 18 to
 *    144
 *  @param[in,out] pSrcDstExc  194 elements: excitation, 154 past samples, then the vector
 *  @param[out] pDstAdptVector  40 elements: adaptive-codebook vector
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: lag outside 18..144
 *    or fraction outside -1..1 */
QolStatus qolsDecodeAdaptiveVector_G729_16s(const Qol16s* pDelay, Qol16s* pSrcDstExc,
                                            Qol16s* pDstAdptVector) QOL_NOEXCEPT;

/** Adaptive-codebook vector in floating point; the pointer is that of the current subframe. G.729
 *  3.7.1, 4.1.3.
 *  @param[in] pDelay  2 elements: integer lag, then fraction in thirds (-1, 0, 1); the lag 18 to
 *    145
 *  @param[in,out] pSrcDstExc  40, 154 past samples before it: the vector, behind the past
 *    excitation
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: lag outside 18..145
 *    or fraction outside -1..1 */
QolStatus qolsDecodeAdaptiveVector_G729_32f_I(const Qol32s* pDelay,
                                              Qol32f* pSrcDstExc) QOL_NOEXCEPT;

/** Filters the adaptive-codebook vector and finds its gain, limited to 1.2. G.729 3.7.3.
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[in] pSrcAdptVector  40 elements: adaptive-codebook vector
 *  @param[out] pDstFltAdptVector  40 elements: filtered vector
 *  @param[out] pResultAdptGain  gain, Q14, 0 to 19661
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsAdaptiveCodebookGain_G729_16s(const Qol16s* pSrcAdptTarget,
                                            const Qol16s* pSrcImpulseResponse,
                                            const Qol16s* pSrcAdptVector, Qol16s* pDstFltAdptVector,
                                            Qol16s* pResultAdptGain) QOL_NOEXCEPT;

/** The same through the weighted synthesis filter itself. G.729 A.3.7, 3.7.3.
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[in] pSrcLPC  11 elements: weighted LPC vector, Q12, element 0 is 4096
 *  @param[in] pSrcAdptVector  40 elements: adaptive-codebook vector
 *  @param[out] pDstFltAdptVector  40 elements: filtered vector
 *  @param[out] pResultAdptGain  gain, Q14, 0 to 19661
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsAdaptiveCodebookGain_G729A_16s(const Qol16s* pSrcAdptTarget, const Qol16s* pSrcLPC,
                                             const Qol16s* pSrcAdptVector,
                                             Qol16s* pDstFltAdptVector,
                                             Qol16s* pResultAdptGain) QOL_NOEXCEPT;

/** Target of the fixed-codebook search: the adaptive contribution taken off, low 16 bits kept.
 *  G.729 3.8.1.
 *  @param[in] valGain  adaptive gain, Q14
 *  @param[in] pFltAdptVector  40 elements: filtered adaptive-codebook vector
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[out] pDstAdptContribution  40 elements: remaining target
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsAdaptiveCodebookContribution_G729_16s(Qol16s valGain, const Qol16s* pFltAdptVector,
                                                    const Qol16s* pSrcAdptTarget,
                                                    Qol16s* pDstAdptContribution) QOL_NOEXCEPT;

/** Target of the fixed-codebook search. G.729 3.8.1.
 *  @param[in] valGain  adaptive gain
 *  @param[in] pFltAdptVector  40 elements: filtered adaptive-codebook vector
 *  @param[in] pSrcAdptTarget  40 elements: target of the search
 *  @param[out] pDstAdptContribution  40 elements: remaining target
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsAdaptiveCodebookContribution_G729_32f(Qol32f valGain, const Qol32f* pFltAdptVector,
                                                    const Qol32f* pSrcAdptTarget,
                                                    Qol32f* pDstAdptContribution) QOL_NOEXCEPT;

/** Filtered excitation of the next lag from that of the last: shifted by one sample, plus the
 *  impulse response times the sample that enters. G.729 3.7.
 *  @param[in] pSrc  40 elements: impulse response
 *  @param[in,out] pSrcDst  len elements: filtered excitation
 *  @param[in] len  1 or more
 *  @param[in] val  sample that enters
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len < 1 */
QolStatus qolsFilteredExcitation_G729_32f(const Qol32f* pSrc, Qol32f* pSrcDst, int len,
                                          Qol32f val) QOL_NOEXCEPT;

/** Doubled sum of products over the even positions, saturated. G.729 A.3.4.
 *  @param[in] pSrc1  len elements
 *  @param[in] pSrc2  len elements
 *  @param[in] len  1 or more
 *  @param[out] pDp  the sum; saturated with qolStsOverflow
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len < 1; qolStsOverflow:
 *    the sum overflows */
QolStatus qolsDotProd_G729A_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len,
                                   Qol32s* pDp) QOL_NOEXCEPT;

/** Sum of products over the even positions. G.729 A.3.4.
 *  @param[in] pSrc1  len elements
 *  @param[in] pSrc2  len elements
 *  @param[in] len  1 or more
 *  @param[out] pDp  the sum
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: len < 1 */
QolStatus qolsDotProd_G729A_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, int len,
                                Qol32f* pDp) QOL_NOEXCEPT;

/* ---- fixed-codebook search ---- */

/** Correlations of the scaled impulse response. G.729 3.8.1. An energy of the response below
 *  32768 gives zeros.
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[out] pDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8 cross
 *    terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsToeplizMatrix_G729_16s32s(const Qol16s* pSrcImpulseResponse,
                                        Qol32s* pDstMatrix) QOL_NOEXCEPT;

/** The same shifted right by 15. G.729 3.8.1.
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[out] pDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8 cross
 *    terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsToeplizMatrix_G729_16s(const Qol16s* pSrcImpulseResponse,
                                     Qol16s* pDstMatrix) QOL_NOEXCEPT;

/** Correlations of the impulse response. G.729 3.8.1.
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis filter
 *  @param[out] pDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8 cross
 *    terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsToeplizMatrix_G729_32f(const Qol32f* pSrcImpulseResponse,
                                     Qol32f* pDstMatrix) QOL_NOEXCEPT;

/** Correlations of the impulse response for the two-pulse codebook. G.729 D.5.8.
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis filter
 *  @param[out] pDstMatrix  552 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    terms, the first track outer, of the track pairs (1,0) (1,1) (1,2) (1,4) (3,0) (3,1) (3,2)
 *    (3,4)
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsToeplizMatrix_G729D_32f(const Qol32f* pSrcImpulseResponse,
                                      Qol32f* pDstMatrix) QOL_NOEXCEPT;

/** Nested search of the 17-bit codebook within a budget. G.729 3.8.1. The matrix is modulated by
 *  the signs in place.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in,out] pSrcDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    cross terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @param[out] pDstFixedVector  40 elements: the four pulses, 8191 or -8192
 *  @param[out] pDstFixedIndex  2 elements: sign word (bit p set: pulse p is positive), then
 *    position word k0 + 8 k1 + 64 k2 + 512 i3
 *  @param[in,out] pSearchTimes  search budget: on return what is left, to be passed to the next
 *    subframe; ignored on entry in subframe 0
 *  @param[in] subFrame  0 or 1
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: subFrame above 1 as an
 *    unsigned value */
QolStatus qolsFixedCodebookSearch_G729_16s(const Qol16s* pSrcFixedCorr, Qol16s* pSrcDstMatrix,
                                           Qol16s* pDstFixedVector, Qol16s* pDstFixedIndex,
                                           Qol16s* pSearchTimes, Qol16s subFrame) QOL_NOEXCEPT;

/** The same on the 32-bit matrix, which is first shifted right by 15 in place. G.729 3.8.1.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in,out] pSrcDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    cross terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @param[out] pDstFixedVector  40 elements: the four pulses, 8191 or -8192
 *  @param[out] pDstFixedIndex  2 elements: sign word (bit p set: pulse p is positive), then
 *    position word k0 + 8 k1 + 64 k2 + 512 i3
 *  @param[in,out] pSearchTimes  search budget: on return what is left, to be passed to the next
 *    subframe; ignored on entry in subframe 0
 *  @param[in] subFrame  0, or a later subframe
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: subFrame < 0 */
QolStatus qolsFixedCodebookSearch_G729_32s16s(const Qol16s* pSrcFixedCorr, Qol32s* pSrcDstMatrix,
                                              Qol16s* pDstFixedVector, Qol16s* pDstFixedIndex,
                                              Qol16s* pSearchTimes, Qol16s subFrame) QOL_NOEXCEPT;

/** The same in floating point. G.729 3.8.1.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in,out] pSrcDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    cross terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @param[out] pDstFixedVector  40 elements: the four pulses, 1 or -1
 *  @param[out] pDstFixedIndex  2 elements: sign word (bit p set: pulse p is positive), then
 *    position word k0 + 8 k1 + 64 k2 + 512 i3
 *  @param[in,out] pSearchTimes  search budget: on return what is left, to be passed to the next
 *    subframe; ignored on entry in subframe 0
 *  @param[in] subFrame  0, or a later subframe
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729_32f(const Qol32f* pSrcFixedCorr, Qol32f* pSrcDstMatrix,
                                           Qol32f* pDstFixedVector, Qol32s* pDstFixedIndex,
                                           Qol32s* pSearchTimes, int subFrame) QOL_NOEXCEPT;

/** Depth-first search of the 17-bit codebook. G.729 A.3.8.1. The matrix is modulated by the signs
 *  in place.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in,out] pSrcDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    cross terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @param[out] pDstFixedVector  40 elements: the four pulses, 8191 or -8192
 *  @param[out] pDstFixedIndex  2 elements: sign word (bit p set: pulse p is positive), then
 *    position word k0 + 8 k1 + 64 k2 + 512 i3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729A_16s(const Qol16s* pSrcFixedCorr, Qol16s* pSrcDstMatrix,
                                            Qol16s* pDstFixedVector,
                                            Qol16s* pDstFixedIndex) QOL_NOEXCEPT;

/** The same on the 32-bit matrix, which is first shifted right by 15 in place. G.729 A.3.8.1.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in,out] pSrcDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    cross terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @param[out] pDstFixedVector  40 elements: the four pulses, 8191 or -8192
 *  @param[out] pDstFixedIndex  2 elements: sign word (bit p set: pulse p is positive), then
 *    position word k0 + 8 k1 + 64 k2 + 512 i3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729A_32s16s(const Qol16s* pSrcFixedCorr, Qol32s* pSrcDstMatrix,
                                               Qol16s* pDstFixedVector,
                                               Qol16s* pDstFixedIndex) QOL_NOEXCEPT;

/** The same in floating point. G.729 A.3.8.1.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in,out] pSrcDstMatrix  616 correlations: 8 energies of each of the 5 tracks, then 8 x 8
 *    cross terms of the track pairs (0,1) (0,2) (0,3) (0,4) (1,2) (1,3) (1,4) (2,3) (2,4)
 *  @param[out] pDstFixedVector  40 elements: the four pulses, 1 or -1
 *  @param[out] pDstFixedIndex  2 elements: sign word (bit p set: pulse p is positive), then
 *    position word k0 + 8 k1 + 64 k2 + 512 i3
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729A_32f(const Qol32f* pSrcFixedCorr, Qol32f* pSrcDstMatrix,
                                            Qol32f* pDstFixedVector,
                                            Qol32s* pDstFixedIndex) QOL_NOEXCEPT;

/** Search of the two-pulse, 11-bit codebook. G.729 D.5.8.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[out] pDstFixedVector  40 elements: the two pulses, 8191 or -8192, added where they meet
 *  @param[out] pDstFltFixedVector  40 elements: filtered vector
 *  @param[out] pDstSign  bit p set: pulse p is positive
 *  @param[out] pDstPosition  Gray-coded positions: pulse 0 in 4 bits, pulse 1 in the 5 above
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729D_16s(const Qol16s* pSrcFixedCorr,
                                            const Qol16s* pSrcImpulseResponse,
                                            Qol16s* pDstFixedVector, Qol16s* pDstFltFixedVector,
                                            Qol16s* pDstSign, Qol16s* pDstPosition) QOL_NOEXCEPT;

/** The same in floating point. G.729 D.5.8.
 *  @param[in] pSrcFixedCorr  40 elements: correlation of the target with the impulse response
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis filter
 *  @param[out] pDstFixedVector  40 elements: the two pulses, 1 or -1, added where they meet
 *  @param[out] pDstFltFixedVector  40 elements: filtered vector
 *  @param[out] pDstSign  bit p set: pulse p is positive
 *  @param[out] pDstPosition  Gray-coded positions: pulse 0 in 4 bits, pulse 1 in the 5 above
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729D_32f(const Qol32f* pSrcFixedCorr,
                                            const Qol32f* pSrcImpulseResponse,
                                            Qol32f* pDstFixedVector, Qol32f* pDstFltFixedVector,
                                            Qol32s* pDstSign, Qol32s* pDstPosition) QOL_NOEXCEPT;

/** Search of the 35-bit (10 pulses) or 44-bit (12 pulses) codebook. G.729 E.3.8.
 *  @param[in] valMode  0: 35 bits, else 44
 *  @param[in] pSrcFixedTarget  40 elements: target of the fixed-codebook search
 *  @param[in] pSrcLtpResidual  40 elements: residual after long-term prediction
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis
 *    filter, Q12
 *  @param[out] pDstFixedVector  40 elements: the pulses, 4096 each, added where they meet
 *  @param[out] pDstFltFixedVector  40 elements: filtered vector
 *  @param[out] pDstFixedIndex  5 elements: code words: 5 of 7 bits, or 13, 10, 7, 7, 7 bits
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729E_16s(Qol16s valMode, const Qol16s* pSrcFixedTarget,
                                            const Qol16s* pSrcLtpResidual,
                                            const Qol16s* pSrcImpulseResponse,
                                            Qol16s* pDstFixedVector, Qol16s* pDstFltFixedVector,
                                            Qol16s* pDstFixedIndex) QOL_NOEXCEPT;

/** The same in floating point. G.729 E.3.8.
 *  @param[in] valMode  0: 35 bits, else 44
 *  @param[in] pSrcFixedTarget  40 elements: target of the fixed-codebook search
 *  @param[in] pSrcLtpResidual  40 elements: residual after long-term prediction
 *  @param[in] pSrcImpulseResponse  40 elements: impulse response of the weighted synthesis filter
 *  @param[out] pDstFixedVector  40 elements: the pulses, 1 each, added where they meet
 *  @param[out] pDstFltFixedVector  40 elements: filtered vector
 *  @param[out] pDstFixedIndex  5 elements: code words: 5 of 7 bits, or 13, 10, 7, 7, 7 bits
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsFixedCodebookSearch_G729E_32f(Qol16s valMode, const Qol32f* pSrcFixedTarget,
                                            const Qol32f* pSrcLtpResidual,
                                            const Qol32f* pSrcImpulseResponse,
                                            Qol32f* pDstFixedVector, Qol32f* pDstFltFixedVector,
                                            Qol32s* pDstFixedIndex) QOL_NOEXCEPT;

/* ---- gain quantisation and decoding ---- */

/** Conjugate-structure quantiser of both gains, 3 + 4 bits. G.729 3.9.
 *  @param[in] pSrcAdptTarget  40 elements: target of the adaptive-codebook search
 *  @param[in] pSrcFltAdptVector  40 elements: filtered adaptive-codebook vector
 *  @param[in] pSrcFixedVector  40 elements: fixed-codebook vector, Q13
 *  @param[in] pSrcFltFixedVector  40 elements: filtered fixed-codebook vector
 *  @param[in,out] pSrcDstEnergyErr  4 elements: quantised prediction errors in dB, Q10, the
 *    newest first; starts as four times -14336
 *  @param[out] pDstQGain  2 elements: pitch gain Q14, code gain Q1
 *  @param[out] pDstQGainIndex  2 elements: transmitted indices of the first and the second stage
 *  @param[in] tameProcess  1: pitch gains from 16383 on are passed over, else 0
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: tameProcess not 0 or 1 */
QolStatus qolsGainQuant_G729_16s(const Qol16s* pSrcAdptTarget, const Qol16s* pSrcFltAdptVector,
                                 const Qol16s* pSrcFixedVector, const Qol16s* pSrcFltFixedVector,
                                 Qol16s* pSrcDstEnergyErr, Qol16s* pDstQGain,
                                 Qol16s* pDstQGainIndex, Qol16s tameProcess) QOL_NOEXCEPT;

/** Quantiser of both gains at 6.4 kbit/s, 3 + 3 bits. G.729 D.5.9.
 *  @param[in] pSrcAdptTarget  40 elements: target of the adaptive-codebook search
 *  @param[in] pSrcFltAdptVector  40 elements: filtered adaptive-codebook vector
 *  @param[in] pSrcFixedVector  40 elements: fixed-codebook vector, Q13
 *  @param[in] pSrcFltFixedVector  40 elements: filtered fixed-codebook vector
 *  @param[in,out] pSrcDstEnergyErr  4 elements: quantised prediction errors in dB, Q10, the
 *    newest first; starts as four times -14336
 *  @param[out] pDstQGain  2 elements: pitch gain Q14, code gain Q1
 *  @param[out] pDstQGainIndex  2 elements: transmitted indices of the first and the second stage
 *  @param[in] tameProcess  1: pitch gains from 16383 on are passed over, else 0
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: tameProcess not 0 or 1 */
QolStatus qolsGainQuant_G729D_16s(const Qol16s* pSrcAdptTarget, const Qol16s* pSrcFltAdptVector,
                                  const Qol16s* pSrcFixedVector, const Qol16s* pSrcFltFixedVector,
                                  Qol16s* pSrcDstEnergyErr, Qol16s* pDstQGain,
                                  Qol16s* pDstQGainIndex, Qol16s tameProcess) QOL_NOEXCEPT;

/** Decodes both gains, or decays them in an erased frame. G.729 3.9.2, 4.1.5, 4.4.2, 4.4.3.
 *  @param[in] valFixedEnergy  sum of squares of the fixed-codebook vector
 *  @param[in,out] pSrcDstEnergyErr  4 elements: quantised prediction errors in dB, Q10, the
 *    newest first; starts as four times -14336
 *  @param[in] pIdx  2 elements: transmitted indices, taken modulo 8 and 16; null in an erased
 *    frame
 *  @param[in,out] pDstQGain  2 elements: pitch gain Q14, code gain Q1; read in an erased frame
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsDecodeGain_G729_16s(Qol32s valFixedEnergy, Qol16s* pSrcDstEnergyErr,
                                  const Qol16s* pIdx, Qol16s* pDstQGain) QOL_NOEXCEPT;

/** Decodes both gains at 6.4 kbit/s, or multiplies them by valBeta in an erased frame. G.729
 *  D.5.9, Annex I. Indices are taken modulo 8.
 *  @param[in] valFixedEnergy  sum of squares of the fixed-codebook vector
 *  @param[in] valBeta  attenuation of an erased frame, Q15
 *  @param[in,out] pSrcDstEnergyErr  4 elements: quantised prediction errors in dB, Q10, the
 *    newest first; starts as four times -14336
 *  @param[in] pIdx  2 elements: transmitted indices; null in an erased frame
 *  @param[in,out] pDstQGain  2 elements: pitch gain Q14, code gain Q1; read in an erased frame
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsDecodeGain_G729I_16s(Qol32s valFixedEnergy, Qol16s valBeta, Qol16s* pSrcDstEnergyErr,
                                   const Qol16s* pIdx, Qol16s* pDstQGain) QOL_NOEXCEPT;

/** Search of the gain codebook in a window of 4 by 8 rows. G.729 3.9.3.
 *  @param[in] pSrcGainCoeff  5 elements: coefficients of the squared pitch gain, pitch gain,
 *    squared code gain, code gain and their product
 *  @param[in] pSrcCand  2 elements: first rows of the window: 0 to 4, 0 to 8
 *  @param[out] pDstIdx  2 elements: best rows
 *  @param[in] tameProcess  1: pitch gains from 0.9999 on are passed over, else 0
 *  @param[in] valGainCode0  predicted code gain
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: tameProcess not 0 or 1,
 *    pSrcCand[0] outside 0..4, or pSrcCand[1] outside 0..8 */
QolStatus qolsGainCodebookSearch_G729_32f(const Qol32f* pSrcGainCoeff, Qol32s* pSrcCand,
                                          Qol32s* pDstIdx, int tameProcess,
                                          Qol32f valGainCode0) QOL_NOEXCEPT;

/** Search of the 6.4 kbit/s gain codebook in a window of 6 by 6 rows. G.729 D.5.9.
 *  @param[in] pSrcGainCoeff  5 elements: coefficients of the squared pitch gain, pitch gain,
 *    squared code gain, code gain and their product
 *  @param[in] pSrcCand  2 elements: first rows of the window: 0 to 2
 *  @param[out] pDstIdx  2 elements: best rows
 *  @param[in] tameProcess  1: pitch gains from 0.9999 on are passed over, else 0
 *  @param[in] valGainCode0  predicted code gain
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: tameProcess not 0 or 1, or
 *    a candidate outside 0..2 */
QolStatus qolsGainCodebookSearch_G729D_32f(const Qol32f* pSrcGainCoeff, Qol32s* pSrcCand,
                                           Qol32s* pDstIdx, int tameProcess,
                                           Qol32f valGainCode0) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
