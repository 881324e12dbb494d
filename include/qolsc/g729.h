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
/* ---- Post-processing (§3.1, §4.2; Annexes A, D, E) ---- */

/** Second-order high-pass filter of the coder's input (§3.1) and output (§4.2.5). Opaque, 24 bytes,
 * no alignment. */
typedef struct QolsHighPassState_G729 QolsHighPassState_G729;

/** Size of a high-pass filter's state.
 *  @param[out] pSize  24
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsHighPassFilterSize_G729(int* pSize) QOL_NOEXCEPT;

/** Takes in the coefficients and clears the memories.
 *  @param[in]  pCoeffs  6: a0 (not used), a1, a2 of the feedback (positive sign), b0, b1, b2; Q12
 * for scaleFactor 12 of the run, with b halved (the coder's input filter); Q13 for 13 (the
 * decoder's output filter)
 *  @param[out] pState   24 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsHighPassFilterInit_G729(const Qol16s* pCoeffs, Qol8u* pState) QOL_NOEXCEPT;

/** High-pass of input (§3.1) and output (§4.2.5): y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] +
 * a1 y[n-1] + a2 y[n-2], past outputs in double precision; in place.
 *  @param[in,out] pSrcDst      len samples
 *  @param[in]     len          at least 1
 *  @param[in]     scaleFactor  Q format of the coefficients, 12 or 13
 *  @param[in,out] pState       24 bytes
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: len below 1;
 * qolStsScaleRangeErr: scaleFactor not 12 or 13 */
QolStatus qolsHighPassFilter_G729_16s_ISfs(Qol16s* pSrcDst, int len, int scaleFactor,
                                           Qol8u* pState) QOL_NOEXCEPT;

/** Tenth-order pole-zero filter over 40 samples, the form of the weighting filter (§3.3). Rounds
 * once for each sample; the recursion feeds on the saturated output. For a bit-exact weighting
 * filter of the coder run a residual and a synthesis filter instead, which round in between.
 *  @param[in]     pCoeffs  22, Q12: b[0..10], then a[0..10] (a[0] is not used)
 *  @param[in]     pSrc     40
 *  @param[out]    pDst     40; may be pSrc
 *  @param[in,out] pMem     20: the last 10 inputs, then the last 10 outputs, oldest first
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsIIR16s_G729_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst,
                              Qol16s* pMem) QOL_NOEXCEPT;

/** qolsIIR16s_G729_16s for signals far below overflow: the 32-bit sums include the rounding term
 * and wrap.
 *  @param[in]     pCoeffs  22, Q12
 *  @param[in]     pSrc     40
 *  @param[out]    pDst     40; may be pSrc
 *  @param[in,out] pMem     20
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsIIR16sLow_G729_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst,
                                 Qol16s* pMem) QOL_NOEXCEPT;

/** LP residual (§3.3, §3.6): y[n] = sum of a[i] x[n-i], i = 0..10, rounded and saturated.
 *  @param[in]  pSrc     40 samples, with 10 samples of history in front
 *  @param[in]  pCoeffs  11, Q12
 *  @param[out] pDst     40
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsResidualFilter_G729_16s(const Qol16s* pSrc, const Qol16s* pCoeffs,
                                      Qol16s* pDst) QOL_NOEXCEPT;

/** The same for any order (30 in Annex E's backward mode).
 *  @param[in]  pCoeffs  order + 1, Q12
 *  @param[in]  order    1..len
 *  @param[in]  pSrc     len samples, with order samples of history in front
 *  @param[out] pDst     len
 *  @param[in]  len      at least 1
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: order or len below 1, or
 * order above len */
QolStatus qolsResidualFilter_G729E_16s(const Qol16s* pCoeffs, int order, const Qol16s* pSrc,
                                       Qol16s* pDst, int len) QOL_NOEXCEPT;

/** LP synthesis (§4.1.6): y[n] = a[0] x[n] - sum of a[i] y[n-i], i = 1..order, rounded and
 * saturated. Nothing tells of a saturation.
 *  @param[in]  pCoeffs  order + 1, Q12
 *  @param[in]  order    at least 1
 *  @param[in]  pSrc     len
 *  @param[out] pDst     len; may be pSrc
 *  @param[in]  len      at least 1
 *  @param[in]  pMem     order past outputs, oldest first; not written
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: order or len below 1 */
QolStatus qolsSynthesisFilter_G729E_16s(const Qol16s* pCoeffs, int order, const Qol16s* pSrc,
                                        Qol16s* pDst, int len, const Qol16s* pMem) QOL_NOEXCEPT;

/** qolsSynthesisFilter_G729E_16s in place.
 *  @param[in]     pCoeffs  order + 1, Q12
 *  @param[in]     order    at least 1
 *  @param[in,out] pSrcDst  len
 *  @param[in]     len      at least 1
 *  @param[in]     pMem     order past outputs, oldest first; not written
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: order or len below 1 */
QolStatus qolsSynthesisFilter_G729E_16s_I(const Qol16s* pCoeffs, int order, Qol16s* pSrcDst,
                                          int len, const Qol16s* pMem) QOL_NOEXCEPT;

/** LP synthesis in floating point (Annex C): y[n] = a[0] x[n] - sum of a[i] y[n-i].
 *  @param[in]     pCoeffs  order + 1
 *  @param[in]     order    1..30
 *  @param[in]     pSrc     len
 *  @param[out]    pDst     len; may be pSrc
 *  @param[in]     len      1..640
 *  @param[in,out] pMem     order past outputs, oldest first; takes the last ones
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: len outside 1..640, or
 * order outside 1..30 */
QolStatus qolsSynthesisFilter_G729_32f(const Qol32f* pCoeffs, int order, const Qol32f* pSrc,
                                       Qol32f* pDst, int len, Qol32f* pMem) QOL_NOEXCEPT;

/** Long-term post-filter (§4.2.1): the delay is searched around valDelay in steps of 1/8 sample;
 * the filter is passed over where the prediction gain is below 3 dB.
 *  @param[in]  gammaFactor   strength of the filter, Q15, 0..16384 (0.5 but in Annex E)
 *  @param[in]  valDelay      integer part of the received lag, 18..143
 *  @param[in]  pSrcResidual  40 samples of the residual, with 152 samples of history in front
 *  @param[out] pDst          40
 *  @param[out] pResultDelay  delay that was used, rounded up; 0: none, and pDst is the residual
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsSizeErr: valDelay or gammaFactor
 * outside the ranges */
QolStatus qolsLongTermPostFilter_G729_16s(Qol16s gammaFactor, int valDelay,
                                          const Qol16s* pSrcResidual, Qol16s* pDst,
                                          Qol16s* pResultDelay) QOL_NOEXCEPT;

/** Long-term post-filter of Annex A (§A.4.2.1): residual by the weighted LP filter, then one tap at
 * the best integer lag of valDelay - 3..valDelay + 3.
 *  @param[in]     valDelay         received lag, 18..145
 *  @param[in]     pSrcSpch         40 samples of synthesised speech, with 10 samples of history in
 * front
 *  @param[in]     pSrcLPC          11, Q12, A(z/0.55)
 *  @param[in,out] pSrcDstResidual  194: 154 samples of past residual, then room for the new one;
 * the caller moves the history
 *  @param[out]    pDst             40
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsSizeErr: valDelay outside 18..145 */
QolStatus qolsLongTermPostFilter_G729A_16s(Qol16s valDelay, const Qol16s* pSrcSpch,
                                           const Qol16s* pSrcLPC, Qol16s* pSrcDstResidual,
                                           Qol16s* pDst) QOL_NOEXCEPT;

/** Residual by A(z/0.55), then the long-term post-filter of the main body in speech frames; other
 * frames pass unfiltered.
 *  @param[in]     valDelay         integer part of the received lag, 0..143; at least 18 in speech
 * frames
 *  @param[in]     pSrcSpch         40 samples of synthesised speech, with 10 samples of history in
 * front
 *  @param[in]     pSrcLPC          11, Q12, not weighted
 *  @param[in,out] pSrcDstResidual  194: 154 samples of past residual, then room for the new one;
 * the caller moves the history
 *  @param[out]    pDst             40
 *  @param[out]    pResultVoice     1 when the filter was used, else 0
 *  @param[in]     frameType        0 untransmitted, 1 speech, 2 SID
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsSizeErr: valDelay above 143 or
 * frameType above 2, both taken as unsigned; also for valDelay below 18 in a speech frame, when
 * only the residual was written */
QolStatus qolsLongTermPostFilter_G729B_16s(Qol16s valDelay, const Qol16s* pSrcSpch,
                                           const Qol16s* pSrcLPC, Qol16s* pSrcDstResidual,
                                           Qol16s* pDst, Qol16s* pResultVoice,
                                           Qol16s frameType) QOL_NOEXCEPT;

/** Short-term post-filter (§4.2.2): A(z/0.55)/A(z/0.7), of which the numerator acted in the
 * residual: gain, then 1/A(z/0.7).
 *  @param[in]     pSrcLPC              11, Q12, not weighted
 *  @param[in]     pSrcFltResidual      40, output of the long-term post-filter
 *  @param[in,out] pSrcDstSpch          40, output; the 10 samples in front are the last outputs and
 * are only read
 *  @param[out]    pDstImpulseResponse  20, Q12, impulse response of A(z/0.55)/A(z/0.7)
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsShortTermPostFilter_G729_16s(const Qol16s* pSrcLPC, const Qol16s* pSrcFltResidual,
                                           Qol16s* pSrcDstSpch,
                                           Qol16s* pDstImpulseResponse) QOL_NOEXCEPT;

/** Tilt compensation (§4.2.3) with the first reflection coefficient of the impulse response.
 *  @param[in]     pSrcImpulseResponse  20, Q12, of qolsShortTermPostFilter_G729_16s
 *  @param[in,out] pSrcDst              40; the sample in front is the last input of the call before
 * and is only read
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsTiltCompensation_G729_16s(const Qol16s* pSrcImpulseResponse,
                                        Qol16s* pSrcDst) QOL_NOEXCEPT;

/** Tilt filter (§4.2.3) with a given reflection coefficient: (1 + mu z^-1) / (1 - |mu|), mu = 0.9 val for
 * val of 0 or less, else 0.2 val.
 *  @param[in]  val   reflection coefficient, Q15
 *  @param[in]  pSrc  41: the sample before, then 40
 *  @param[out] pDst  40; not inside pSrc
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsTiltCompensation_G729E_16s(Qol16s val, const Qol16s* pSrc, Qol16s* pDst) QOL_NOEXCEPT;

/** Tilt compensation of Annex A (§A.4.2.3), a pre-emphasis by 0.8 of the first reflection
 * coefficient.
 *  @param[in]     pSrcLPC             22, Q12: A(z/0.55), then A(z/0.7), 11 each
 *  @param[in,out] pSrcDstFltResidual  40; the sample in front is the memory: read, and takes the
 * last input
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsTiltCompensation_G729A_16s(const Qol16s* pSrcLPC,
                                         Qol16s* pSrcDstFltResidual) QOL_NOEXCEPT;

/** Adaptive gain control (§4.2.4): follows the ratio of the sums of magnitudes with a factor of
 * 0.9875 a sample.
 *  @param[in]     pSrc     40, the signal before the post-filter
 *  @param[in,out] pSrcDst  40, the post-filtered signal
 *  @param[in,out] pGain    gain of the last sample, Q14; 16384 at the start. A silent pSrcDst sets
 * 0.
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsGainControl_G729_16s_I(const Qol16s* pSrc, Qol16s* pSrcDst,
                                     Qol16s* pGain) QOL_NOEXCEPT;

/** Adaptive gain control of Annex A (§A.4.2.4): square root of the ratio of energies, factor 0.9.
 *  @param[in]     pSrc     40, the signal before the post-filter
 *  @param[in,out] pSrcDst  40, the post-filtered signal
 *  @param[in,out] pGain    gain of the last sample, Q12, taken as unsigned; 4096 at the start. A
 * silent pSrcDst sets 0.
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsGainControl_G729A_16s_I(const Qol16s* pSrc, Qol16s* pSrcDst,
                                      Qol16s* pGain) QOL_NOEXCEPT;

/** Gain control in floating point: for each of 40 samples g = valGain g + (1 - valGain)
 * valGainFactor, then y = g x. Against the recursion in double precision the relative error of g is
 * below 4e-6 for valGain in 0..1.
 *  @param[in]     valGainFactor  gain that is approached
 *  @param[in]     valGain        factor of the recursion, 0..1
 *  @param[in,out] pSrcDst        40
 *  @param[in,out] pGainMem       g of the last sample
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsGainControl_G729_32f_I(Qol32f valGainFactor, Qol32f valGain, Qol32f* pSrcDst,
                                     Qol32f* pGainMem) QOL_NOEXCEPT;

/** Pre-emphasis (§A.4.2.3): y[n] = x[n] - val x[n-1], the product truncated, the difference saturated; in
 * place.
 *  @param[in]     val      Q15
 *  @param[in,out] pSrcDst  len
 *  @param[in]     len      at least 1
 *  @param[in,out] pMem     the sample before; takes the last input
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: len below 1 */
QolStatus qolsPreemphasize_G729A_16s_I(Qol16s val, Qol16s* pSrcDst, int len,
                                       Qol16s* pMem) QOL_NOEXCEPT;

/** qolsPreemphasize_G729A_16s_I from one vector to another.
 *  @param[in]     val   Q15
 *  @param[in]     pSrc  len
 *  @param[out]    pDst  len
 *  @param[in]     len   at least 1
 *  @param[in,out] pMem  the sample before; takes the last input
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: len below 1 */
QolStatus qolsPreemphasize_G729A_16s(Qol16s val, const Qol16s* pSrc, Qol16s* pDst, int len,
                                     Qol16s* pMem) QOL_NOEXCEPT;

/** State of the phase dispersion of Annex D. Opaque, 20 bytes, no alignment. */
typedef struct QolsPhaseDispersionState_G729D QolsPhaseDispersionState_G729D;

/** Size of the phase dispersion's state.
 *  @param[out] pSize  20
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsPhaseDispersionGetStateSize_G729D_16s(int* pSize) QOL_NOEXCEPT;

/** Clears the state.
 *  @param[out] pState  20 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsPhaseDispersionInit_G729D_16s(Qol8u* pState) QOL_NOEXCEPT;

/** Keeps the state up to date in subframes that are not dispersed. The gains stand in another order
 * than in the run.
 *  @param[in]     valPitchGain  Q14
 *  @param[in]     valFixedGain  Q1
 *  @param[in,out] pState        20 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsPhaseDispersionUpdate_G729D_16s(Qol16s valPitchGain, Qol16s valFixedGain,
                                              Qol8u* pState) QOL_NOEXCEPT;

/** Disperses the pulses of the innovation by a circular convolution whose strength follows the
 * gains (§D.6.2).
 *  @param[in]     pSrcExcSignal      40, the whole excitation
 *  @param[out]    pDstFltExcSignal   40, the excitation with the dispersed innovation in place of
 * the plain one; may be pSrcExcSignal
 *  @param[in]     valFixedGain       Q1
 *  @param[in]     valPitchGain       Q14
 *  @param[in,out] pSrcDstInnovation  40, Q13: pulses in, dispersed innovation out
 *  @param[in,out] pState             20 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsPhaseDispersion_G729D_16s(const Qol16s* pSrcExcSignal, Qol16s* pDstFltExcSignal,
                                        Qol16s valFixedGain, Qol16s valPitchGain,
                                        Qol16s* pSrcDstInnovation, Qol8u* pState) QOL_NOEXCEPT;

/* ---- Annex B comfort noise, Annex E backward analysis ---- */

/** Recursive part of the hybrid window's autocorrelation (Annex E). Opaque, 124 bytes in both
 * forms, no alignment. */
typedef struct QolsWinHybridState_G729E QolsWinHybridState_G729E;

/** Size of the hybrid window's state.
 *  @param[out] pSize  124
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsWinHybridGetStateSize_G729E_16s(int* pSize) QOL_NOEXCEPT;

/** Size of the float form's state.
 *  @param[out] pSize  124
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsWinHybridGetStateSize_G729E_32f(int* pSize) QOL_NOEXCEPT;

/** Clears the state.
 *  @param[out] pState  124 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsWinHybridInit_G729E_16s(Qol8u* pState) QOL_NOEXCEPT;

/** Clears the float form's state.
 *  @param[out] pState  124 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsWinHybridInit_G729E_32f(Qol8u* pState) QOL_NOEXCEPT;

/** Annex E, backward analysis: autocorrelation of order 30 of past speech, once a frame.
 *  @param[in]     pSrc    the last 145 samples, oldest first
 *  @param[out]    pDst    31 lags, at most 0x3FFFFFFF
 *  @param[in,out] pState  124 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsWinHybrid_G729E_16s32s(const Qol16s* pSrc, Qol32s* pDst, Qol8u* pState) QOL_NOEXCEPT;

/** qolsWinHybrid_G729E_16s32s in floating point, without a limit.
 *  @param[in]     pSrc    the last 145 samples, oldest first
 *  @param[out]    pDst    31 lags
 *  @param[in,out] pState  124 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsWinHybrid_G729E_32f(const Qol32f* pSrc, Qol32f* pDst, Qol8u* pState) QOL_NOEXCEPT;

/** Gaussian noise of comfort-noise frames (§B.4.4): each sample is the sum of twelve uniform
 * numbers, shifted right by 7.
 *  @param[in,out] pSeed  seed of the generator
 *  @param[out]    pDst   len
 *  @param[in]     len    at least 1
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: len below 1 */
QolStatus qolsRandomNoiseExcitation_G729B_16s(Qol16s* pSeed, Qol16s* pDst, int len) QOL_NOEXCEPT;

/** The same sums as floats, each divided by 512 (not 128).
 *  @param[in,out] pSeed  seed of the generator
 *  @param[out]    pDst   len
 *  @param[in]     len    at least 1
 *  @return qolStsNoErr; in this order: qolStsNullPtrErr; qolStsBadArgErr: len below 1 */
QolStatus qolsRandomNoiseExcitation_G729B_16s32f(Qol16s* pSeed, Qol32f* pDst, int len) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
