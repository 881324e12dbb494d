/* SPDX-License-Identifier: Apache-2.0
 * AMR wideband: filters, ISF quantisers, algebraic codebook, voice activity detection and the
 * comfort-noise histories (3GPP TS 26.190, 26.192, 26.194). Every function returns qolStsNoErr or
 * the first failure in the order given; after a failure nothing has been written. */
#ifndef QOLSC_AMRWB_H
#define QOLSC_AMRWB_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Double-precision recursive high-pass filter of order 2 or 3; 40 bytes, no alignment demand. */
typedef struct QolsHighPassState_AMRWB QolsHighPassState_AMRWB;
/** Voice activity detector; 176 bytes, no alignment demand. */
typedef struct QolsVadState_AMRWB QolsVadState_AMRWB;

/* Rate codes (valRate) of the codec modes: 5 is 6.60 kbit/s, 9: 8.85, 13: 12.65, 15: 14.25,
 * 16: 15.85, 18: 18.25, 19: 19.85, 20: 23.05, 21: 23.85. The extended allocations are 25 (12 index
 * bits), 26 (20), 27 (28), 28 (36), 29 (44), 30 (52), 31 (64), 32 (72) and 22 (88). */

/* ---- filters (TS 26.190 5.2, 5.4, 6.1) ---- */

/** Size of the high-pass record.
 *  @param[in]  order  2 or 3
 *  @param[out] pSize  40
 *  @return qolStsNullPtrErr; qolStsRangeErr: order outside 2..3 */
QolStatus qolsHighPassFilterGetSize_AMRWB_16s(Qol32s order, Qol32s* pSize) QOL_NOEXCEPT;

/** Sets the coefficients and clears the history.
 *  @param[in]  pCoeffsA  order+1 denominator coefficients; element 0 isn't used, the others are
 *                        added (signs turned), Q13
 *  @param[in]  pCoeffsB  order+1 numerator coefficients
 *  @param[in]  order     2 or 3
 *  @param[out] pState    the record
 *  @return qolStsNullPtrErr; qolStsRangeErr: order outside 2..3 */
QolStatus qolsHighPassFilterInit_AMRWB_16s(const Qol16s* pCoeffsA, const Qol16s* pCoeffsB,
                                           Qol32s order,
                                           QolsHighPassState_AMRWB* pState) QOL_NOEXCEPT;

/** High-pass filter of a block whose scaling may change between calls: the history is first shifted
 *  left by the previous scaleFactor minus this one, with saturation. Output: the doubled sum of
 *  products times 8, rounded to its upper half (Q12 coefficients keep the scale of the input).
 *  @param[in]     pSrc         len samples
 *  @param[out]    pDst         len samples; may be pSrc
 *  @param[in]     len          count of samples
 *  @param[in,out] pState       the record
 *  @param[in]     scaleFactor  scale of the samples; any value, only its changes count
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsHighPassFilter_AMRWB_16s_Sfs(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                           QolsHighPassState_AMRWB* pState,
                                           Qol32s scaleFactor) QOL_NOEXCEPT;

/** High-pass filter in place, history kept as it is. Output: sum of products times 2^-scaleFactor,
 *  rounded and saturated (12 for the 50 Hz filter, 14 for the 400 Hz filter with halved
 *  denominator).
 *  @param[in,out] pSrcDst      len samples
 *  @param[in]     len          count of samples
 *  @param[in,out] pState       the record
 *  @param[in]     scaleFactor  scale of the output
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsHighPassFilter_AMRWB_16s_ISfs(Qol16s* pSrcDst, Qol32s len,
                                            QolsHighPassState_AMRWB* pState,
                                            Qol32s scaleFactor) QOL_NOEXCEPT;

/** Symmetric three-tap high-pass (pitch enhancer, TS 26.190 6.1): 1 in the middle, -pCoeffs[1] at
 *  both sides.
 *  @param[in]  pCoeffs  2 elements, element 1 is the side tap, Q15
 *  @param[in]  pSrc     len samples; with valMode other than 0 also one sample before and one
 * behind
 *  @param[out] pDst     len samples, not overlapping pSrc
 *  @param[in]  len      count of samples
 *  @param[in]  valMode  0: samples outside the block count as 0; else the true neighbours are taken
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsHighPassFilter_Direct_AMRWB_16s(const Qol16s* pCoeffs, const Qol16s* pSrc,
                                              Qol16s* pDst, Qol32s len,
                                              Qol32s valMode) QOL_NOEXCEPT;

/** Reads the history: high and low word of the past outputs, oldest first, then the past inputs,
 *  newest first.
 *  @param[in]  pState    the record
 *  @param[out] pDlyLine  6 words at order 2, 9 at order 3
 *  @param[in]  order     2 or 3
 *  @return qolStsNullPtrErr; qolStsRangeErr: order outside 2..3 */
QolStatus qolsHighPassFilterGetDlyLine_AMRWB_16s(const QolsHighPassState_AMRWB* pState,
                                                 Qol16s* pDlyLine, Qol32s order) QOL_NOEXCEPT;

/** Writes the history; the inverse of qolsHighPassFilterGetDlyLine_AMRWB_16s.
 *  @param[in]     pDlyLine  6 words at order 2, 9 at order 3
 *  @param[in,out] pState    the record
 *  @param[in]     order     2 or 3
 *  @return qolStsNullPtrErr; qolStsRangeErr: order outside 2..3 */
QolStatus qolsHighPassFilterSetDlyLine_AMRWB_16s(const Qol16s* pDlyLine,
                                                 QolsHighPassState_AMRWB* pState,
                                                 Qol32s order) QOL_NOEXCEPT;

/** Pre-emphasis in place: x[i] - val * x[i-1] in Q15, rounded, times 2^(14 - scaleFactor).
 *  @param[in]     val          factor, Q15
 *  @param[in,out] pSrcDst      len samples
 *  @param[in]     len          count of samples
 *  @param[in]     scaleFactor  0..15
 *  @param[in,out] pMem         1 word: the sample before the block; receives the last input
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1; qolStsScaleRangeErr: scaleFactor outside 0..15
 */
QolStatus qolsPreemphasize_AMRWB_16s_ISfs(Qol16s val, Qol16s* pSrcDst, Qol32s len,
                                          Qol32s scaleFactor, Qol16s* pMem) QOL_NOEXCEPT;

/** De-emphasis in place, output halved: y[i] = (x[i] + 2 * val * y[i-1]) / 2, rounded.
 *  @param[in]     val      factor, Q15
 *  @param[in,out] pSrcDst  len samples
 *  @param[in]     len      count of samples
 *  @param[in,out] pMem     1 word: the output before the block; receives the last output
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsDeemphasize_AMRWB_NR_16s_I(Qol16s val, Qol16s* pSrcDst, Qol32s len,
                                         Qol16s* pMem) QOL_NOEXCEPT;

/** De-emphasis of the 32-bit synthesis: y[i] = 16 * x[i] / 65536 + 2 * val * y[i-1], rounded; the
 *  low four bits of x aren't used.
 *  @param[in]     val   factor, Q14
 *  @param[in]     pSrc  len values
 *  @param[out]    pDst  len samples
 *  @param[in]     len   count of samples
 *  @param[in,out] pMem  1 word: the output before the block; receives the last output
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsDeemphasize_AMRWB_32s16s(Qol16s val, const Qol32s* pSrc, Qol16s* pDst, Qol32s len,
                                       Qol16s* pMem) QOL_NOEXCEPT;

/** LP synthesis with 32-bit output history; the gain of the excitation is pSrcLPC[0] >> 4.
 *  @param[in]     pSrcLPC  order+1 coefficients, Q12; pSrcLPC[0] is 4096, or 4096 >> Q for an
 *                          excitation scaled by 2^Q
 *  @param[in]     order    order of the filter
 *  @param[in]     pSrc     len samples of excitation
 *  @param[in,out] pSrcDst  len values, scaled by 2^12; order past values lie before it (bits 4..31
 *                          count)
 *  @param[in]     len      count of samples
 *  @return qolStsNullPtrErr; qolStsSizeErr: order < 1 or len < 1 */
QolStatus qolsSynthesisFilter_AMRWB_16s32s_I(const Qol16s* pSrcLPC, Qol32s order,
                                             const Qol16s* pSrc, Qol32s* pSrcDst,
                                             Qol32s len) QOL_NOEXCEPT;

/** LP residual: the doubled sum of pSrcLPC[j] * pSrc[n-j], rounded after a right shift by
 *  scaleFactor + 1.
 *  @param[in]  pSrcLPC      order+1 coefficients
 *  @param[in]  order        order of the filter, at most len
 *  @param[in]  pSrc         len samples; order samples of history lie before it
 *  @param[out] pDst         len samples, not overlapping pSrc
 *  @param[in]  len          count of samples
 *  @param[in]  scaleFactor  0..15; 11 with Q12 coefficients gives twice the residual
 *  @return qolStsNullPtrErr; qolStsSizeErr: order < 1, len < 1 or order > len;
 *          qolStsScaleRangeErr: scaleFactor outside 0..15 */
QolStatus qolsResidualFilter_AMRWB_16s_Sfs(const Qol16s* pSrcLPC, Qol32s order, const Qol16s* pSrc,
                                           Qol16s* pDst, Qol32s len,
                                           Qol32s scaleFactor) QOL_NOEXCEPT;

/* ---- ISF quantisers and conversions (TS 26.190 5.2.3 to 5.2.6, TS 26.192 5.2) ---- */
/* ISFs: 16384 is 6400 Hz; the last of a vector has half the resolution. ISPs: cosines, Q15. */

/** Split multi-stage quantiser with moving-average prediction: 36 bits at rates 5 and 25, else 46.
 *  @param[in]     pSrcISF        16 ISFs
 *  @param[in,out] pPastResidual  16 words: memory of the predictor
 *  @param[out]    pDstQISF       16 quantised ISFs
 *  @param[out]    pIndices       5 indices (8, 8, 7, 7, 6 bits) or 7 (8, 8, 6, 7, 7, 5, 5 bits)
 *  @param[in]     valRate        5, 9, 13, 15, 16, 18, 19, 20, 21 or 25
 *  @return qolStsNullPtrErr; qolStsRangeErr: another valRate */
QolStatus qolsISFQuant_AMRWB_16s(const Qol16s* pSrcISF, Qol16s* pPastResidual, Qol16s* pDstQISF,
                                 Qol16s* pIndices, Qol32s valRate) QOL_NOEXCEPT;

/** Decodes the ISFs of a frame, or conceals them when the frame is bad. Bits of an index above its
 *  width are ignored.
 *  @param[in]     pIndices       5 or 7 indices as of qolsISFQuant_AMRWB_16s
 *  @param[out]    pDstQISF       16 ISFs
 *  @param[in,out] pPastResidual  16 words: memory of the predictor
 *  @param[in]     pPrevQISF      16 ISFs of the frame before
 *  @param[in,out] pISFHistory    3 rows of 16 ISFs, newest first; a bad frame leaves them
 *  @param[in]     valBfi         0: good frame
 *  @param[in]     valRate        5, 9, 13, 15, 16, 18, 19, 20, 21 or 25
 *  @return qolStsNullPtrErr; qolStsRangeErr: another valRate */
QolStatus qolsISFQuantDecode_AMRWB_16s(const Qol16s* pIndices, Qol16s* pDstQISF,
                                       Qol16s* pPastResidual, const Qol16s* pPrevQISF,
                                       Qol16s* pISFHistory, Qol32s valBfi,
                                       Qol32s valRate) QOL_NOEXCEPT;

/** Memoryless 28-bit quantiser of comfort noise.
 *  @param[in]  pSrcISF   16 ISFs
 *  @param[out] pDstQISF  16 quantised ISFs
 *  @param[out] pIndices  5 indices (6, 6, 6, 5, 5 bits)
 *  @return qolStsNullPtrErr */
QolStatus qolsISFQuantDTX_AMRWB_16s(const Qol16s* pSrcISF, Qol16s* pDstQISF,
                                    Qol16s* pIndices) QOL_NOEXCEPT;

/** Decodes the ISFs of comfort noise. Bits of an index above its width are ignored.
 *  @param[in]  pIndices  5 indices
 *  @param[out] pDstQISF  16 ISFs
 *  @return qolStsNullPtrErr */
QolStatus qolsISFQuantDecodeDTX_AMRWB_16s(const Qol16s* pIndices, Qol16s* pDstQISF) QOL_NOEXCEPT;

/** Immittance spectral pairs to frequencies.
 *  @param[in]  pSrcISP  len ISPs in falling order, Q15
 *  @param[out] pDstISF  len ISFs; may be pSrcISP
 *  @param[in]  len      order of the set
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsISPToISF_Norm_AMRWB_16s(const Qol16s* pSrcISP, Qol16s* pDstISF,
                                      Qol32s len) QOL_NOEXCEPT;

/** Immittance spectral frequencies to pairs. Frequencies outside 0..16384 are limited.
 *  @param[in]  pSrcISF  len ISFs
 *  @param[out] pDstISP  len ISPs, Q15; may be pSrcISF
 *  @param[in]  len      order of the set
 *  @return qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsISFToISP_AMRWB_16s(const Qol16s* pSrcISF, Qol16s* pDstISP, Qol32s len) QOL_NOEXCEPT;

/** Immittance spectral pairs to LP coefficients. The standard has even orders; at an odd one the
 *  coefficient behind the middle is 0.
 *  @param[in]  pSrcISP  len ISPs, Q15
 *  @param[out] pDstLPC  len+1 coefficients, Q12
 *  @param[in]  len      1..20
 *  @return qolStsNullPtrErr; qolStsSizeErr: len outside 1..20 */
QolStatus qolsISPToLPC_AMRWB_16s(const Qol16s* pSrcISP, Qol16s* pDstLPC, Qol32s len) QOL_NOEXCEPT;

/** LP coefficients of order 16 to immittance spectral pairs.
 *  @param[in]  pSrcLPC      17 coefficients, Q12
 *  @param[out] pDstISP      16 ISPs, Q15
 *  @param[in]  pSrcPrevISP  16 ISPs that stand in when not all roots are found
 *  @return qolStsNullPtrErr */
QolStatus qolsLPCToISP_AMRWB_16s(const Qol16s* pSrcLPC, Qol16s* pDstISP,
                                 const Qol16s* pSrcPrevISP) QOL_NOEXCEPT;

/** The same at any order; mind the other order of the arguments.
 *  @param[in]  pSrcLPC      order+1 coefficients, Q12
 *  @param[in]  pSrcPrevISP  order ISPs that stand in when not all roots are found; always above
 *                           order 101, since the grid has 100 intervals
 *  @param[out] pDstISP      order ISPs, Q15
 *  @param[in]  order        order of the set, even in the standard
 *  @return qolStsNullPtrErr; qolStsSizeErr: order < 1 */
QolStatus qolsLPCToISP_AMRWBE_16s(const Qol16s* pSrcLPC, const Qol16s* pSrcPrevISP, Qol16s* pDstISP,
                                  Qol32s order) QOL_NOEXCEPT;

/* ---- algebraic codebook (TS 26.190 5.8, 6.1) ---- */

/** Searches the algebraic codebook for a subframe.
 *  @param[in]  pTarget        64 samples: target after the adaptive codebook
 *  @param[in]  pLtpRes        64 samples: residual after long-term prediction
 *  @param[in]  pImpulse       64 samples: response of the weighted synthesis filter
 *  @param[out] pFixedVec      64 samples: code vector, pulses of 512 (Q9), or of 256 where a strong
 *                             response was halved (52 index bits and more)
 *  @param[out] pFiltFixedVec  64 samples: code vector filtered by the response, Q9
 *  @param[in]  valRate        5, 9, 13, 15, 16, 18, 19, 20, 21, 22 or 25..32
 *  @param[out] pIndices       1 word (12 bits), 4 words (up to 52 bits) or 8 words
 *  @return qolStsNullPtrErr; qolStsRangeErr: another valRate */
QolStatus qolsAlgebraicCodebookSearch_AMRWB_16s(const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                const Qol16s* pImpulse, Qol16s* pFixedVec,
                                                Qol16s* pFiltFixedVec, Qol32s valRate,
                                                Qol16s* pIndices) QOL_NOEXCEPT;

/** The same search on the caller's work buffer.
 *  @param[in]  pTarget        as above
 *  @param[in]  pLtpRes        as above
 *  @param[in]  pImpulse       as above
 *  @param[out] pFixedVec      as above
 *  @param[out] pFiltFixedVec  as above
 *  @param[in]  valRate        as above
 *  @param[out] pIndices       as above
 *  @param      pBuffer        8192 bytes, any alignment; contents before and after don't matter
 *  @return qolStsNullPtrErr; qolStsRangeErr: another valRate */
QolStatus qolsAlgebraicCodebookSearchEX_AMRWB_16s(const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                  const Qol16s* pImpulse, Qol16s* pFixedVec,
                                                  Qol16s* pFiltFixedVec, Qol32s valRate,
                                                  Qol16s* pIndices, Qol8u* pBuffer) QOL_NOEXCEPT;

/** Size of the work buffer of the EX form.
 *  @param[out] pSize  8192
 *  @return qolStsNullPtrErr */
QolStatus qolsAlgebraicCodebookSearchGetBufferSize_AMRWB_16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Rebuilds the code vector; coinciding pulses add up.
 *  @param[in]  pIndices   1, 4 or 8 words as of the search
 *  @param[out] pFixedVec  64 samples, pulses of 512 (Q9)
 *  @param[in]  valRate    as of the search
 *  @return qolStsNullPtrErr; qolStsRangeErr: another valRate */
QolStatus qolsAlgebraicCodebookDecode_AMRWB_16s(const Qol16s* pIndices, Qol16s* pFixedVec,
                                                Qol32s valRate) QOL_NOEXCEPT;

/* ---- voice activity and comfort noise (TS 26.194, TS 26.192) ---- */

/** Size of the detector's record.
 *  @param[out] pSize  176
 *  @return qolStsNullPtrErr */
QolStatus qolsVADGetSize_AMRWB_16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Sets the record. The stationarity counter is left as it is: clear the block first for a defined
 *  start.
 *  @param[out] pState  the record
 *  @return qolStsNullPtrErr */
QolStatus qolsVADInit_AMRWB_16s(QolsVadState_AMRWB* pState) QOL_NOEXCEPT;

/** Decides one frame of 20 ms.
 *  @param[in]     pSrc       256 samples at 12.8 kHz, pre-emphasised
 *  @param[in,out] pState     the record
 *  @param[in,out] pToneFlag  1 word: tone register of the open-loop pitch search, newest decision
 * in bit 14; a quiet frame clears its bits 13 and up
 *  @param[out]    pVadFlag   1 word: 1 for speech, else 0
 *  @return qolStsNullPtrErr */
QolStatus qolsVAD_AMRWB_16s(const Qol16s* pSrc, QolsVadState_AMRWB* pState, Qol16s* pToneFlag,
                            Qol16s* pVadFlag) QOL_NOEXCEPT;

/** Band levels of the latest frame.
 *  @param[in]  pState  the detector's record, as words
 *  @param[out] pDst    12 words
 *  @return qolStsNullPtrErr */
QolStatus qolsVADGetEnergyLevel_AMRWB_16s(const Qol16s* pState, Qol16s* pDst) QOL_NOEXCEPT;

/** Enters a frame into the encoder's comfort-noise history; the ring index moves first.
 *  @param[in]     pSrc              256 samples of the LP residual
 *  @param[in]     pISF              16 ISFs
 *  @param[in,out] pUpdateIdx        1 word: row of the latest entry, 0..7 (taken modulo 8)
 *  @param[in,out] pISFBuffer        8 rows of 16
 *  @param[in,out] pLogEnergyBuffer  8 words, Q7
 *  @param[in]     valRate           5, 9, 13, 15, 16, 18, 19, 20, 21 or 25
 *  @return qolStsNullPtrErr; qolStsRangeErr: another valRate */
QolStatus qolsEncDTXBuffer_AMRWB_16s(const Qol16s* pSrc, const Qol16s* pISF, Qol16s* pUpdateIdx,
                                     Qol16s* pISFBuffer, Qol16s* pLogEnergyBuffer,
                                     Qol32s valRate) QOL_NOEXCEPT;

/** Enters a frame into the decoder's comfort-noise history; the ring index moves first.
 *  @param[in]     pSrc              256 samples of the excitation
 *  @param[in]     pISF              16 ISFs
 *  @param[in,out] pUpdateIdx        1 word: row of the latest entry, 0..7 (taken modulo 8)
 *  @param[in,out] pISFBuffer        8 rows of 16
 *  @param[in,out] pLogEnergyBuffer  8 words, Q7
 *  @return qolStsNullPtrErr */
QolStatus qolsDecDTXBuffer_AMRWB_16s(const Qol16s* pSrc, const Qol16s* pISF, Qol16s* pUpdateIdx,
                                     Qol16s* pISFBuffer, Qol16s* pLogEnergyBuffer) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
