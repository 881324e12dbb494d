/* SPDX-License-Identifier: Apache-2.0
 * GSM AMR narrowband (3GPP TS 26.090, 26.092, 26.094). */
#ifndef QOLSC_AMR_H
#define QOLSC_AMR_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- LP analysis, LSP conversion and LSF quantisation ----
 *
 * valRate is the rate code of the family: 0 (4.75 kbit/s), 1 (5.15), 3 (5.9), 6 (6.7), 7 (7.4),
 * 8 (7.95), 11 (10.2), 12 (12.2) and 25 (discontinuous transmission, which acts as the lower rates
 * unless told). LSP are cosines in Q15, LSF scaled to 8000 Hz = 32768, LPC in Q12. */

/** Windowed autocorrelation with lag window, order 10; TS 26.090 §5.2.1, §5.2.2.
 *  @param[in]  pSrc     240 samples
 *  @param[out] pDst     11 values, at 12.2 two sets of 11 from two windows over the same samples;
 *                       value 0 of a set is normalised
 *  @param[in]  valRate  0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsAutoCorr_GSMAMR_16s32s(const Qol16s* pSrc, Qol32s* pDst, Qol32s valRate) QOL_NOEXCEPT;

/** Levinson-Durbin recursion of order 10; TS 26.090 §5.2.2.
 *  @param[in]  pSrcAutoCorr  11 values as qolsAutoCorr_GSMAMR_16s32s gives them
 *  @param[out] pDstLpc       11 coefficients, Q12, the first 4096
 *  @return qolStsNoErr; qolStsNullPtrErr; the warning qolStsOverflow for an ill-conditioned input:
 *          nothing is written, the caller keeps the last filter */
QolStatus qolsLevinsonDurbin_GSMAMR_32s16s(const Qol32s* pSrcAutoCorr,
                                           Qol16s* pDstLpc) QOL_NOEXCEPT;

/** LP coefficients to line spectral pairs; TS 26.090 §5.2.3.
 *  @param[in]  pSrcLpc      11 coefficients, Q12
 *  @param[in]  pSrcPrevLsp  10, the last vector: the result where fewer than ten roots are found
 *  @param[out] pDstLsp      10
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsLPCToLSP_GSMAMR_16s(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp,
                                  Qol16s* pDstLsp) QOL_NOEXCEPT;

/** Line spectral pairs to LP coefficients; TS 26.090 §5.2.4.
 *  @param[in]  pSrcLsp  10
 *  @param[out] pDstLpc  11, Q12, the first 4096
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsLSPToLPC_GSMAMR_16s(const Qol16s* pSrcLsp, Qol16s* pDstLpc) QOL_NOEXCEPT;

/** Line spectral frequencies to pairs; TS 26.090 §5.2.4.
 *  @param[in]  pSrcLsf  10, 0 to 16383
 *  @param[out] pDstLsp  10
 *  @return qolStsNoErr; qolStsNullPtrErr; qolStsLsfRangeErr for a negative frequency: the elements
 *          before it are written */
QolStatus qolsLSFToLSP_GSMAMR_16s(const Qol16s* pSrcLsf, Qol16s* pDstLsp) QOL_NOEXCEPT;

/** A quarter of the first and three quarters of the second vector; TS 26.090 §5.2.6.
 *  @param[in]  pSrc1  len elements
 *  @param[in]  pSrc2  len elements
 *  @param[out] pDst   len elements
 *  @param[in]  len    1 or more
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsInterpolate_GSMAMR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                     Qol32s len) QOL_NOEXCEPT;

/** First-order filter 1 + gamma z^-1, saturated.
 *  @param[in]     valGamma  Q15
 *  @param[in]     pSrc      len samples
 *  @param[out]    pDst      len samples; may be pSrc
 *  @param[in]     len       1 or more
 *  @param[in,out] pMem      the sample before pSrc[0]; takes the last one
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (len below 1) */
QolStatus qolsPreemphasize_GSMAMR_16s(Qol16s valGamma, const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                      Qol16s* pMem) QOL_NOEXCEPT;

/** LSF quantisation: split-matrix of two vectors at 12.2, split-vector of one below;
 *  TS 26.090 §5.2.5.
 *  @param[in]     pSrcLsp        10, or 20 at 12.2
 *  @param[in,out] pPrevResidual  10, the last quantised residual; start with 0
 *  @param[out]    pDstQLsp       as many as pSrcLsp, quantised
 *  @param[out]    pIndices       3, or 5 at 12.2
 *  @param[in]     valRate        0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsLSPQuant_GSMAMR_16s(const Qol16s* pSrcLsp, Qol16s* pPrevResidual, Qol16s* pDstQLsp,
                                  Qol16s* pIndices, Qol32s valRate) QOL_NOEXCEPT;

/** Decoding of the LSF indices, or concealment, and interpolation to the four subframes;
 *  TS 26.090 §6.1, TS 26.091 §6. Bits of an index beyond its codebook are ignored.
 *  @param[in]     pIndices       3, or 5 at 12.2
 *  @param[in,out] pPrevResidual  10, the last quantised residual; start with 0. At rate 25 the
 *                                caller loads the vector that the frame refers to
 *  @param[in,out] pPrevLsf       10, LSF of the last frame
 *  @param[in,out] pPrevLsp       10, LSP of the last frame
 *  @param[out]    pDstLsps       four vectors of 10
 *  @param[in]     valBfi         not 0: the frame is bad and pIndices is not read
 *  @param[in]     valRate        0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsQuantLSPDecode_GSMAMR_16s(const Qol16s* pIndices, Qol16s* pPrevResidual,
                                        Qol16s* pPrevLsf, Qol16s* pPrevLsp, Qol16s* pDstLsps,
                                        Qol16s valBfi, Qol32s valRate) QOL_NOEXCEPT;

/* ---- pitch ----
 *
 * Rate codes as above; the searches of the subframe and the decoding refuse 25. */

/** Weighted speech and open-loop lags of one frame, without DTX; TS 26.090 §5.3.
 *  @param[in]     pWgtLpc1      44: four filters A(z/gamma1) of 11, Q12
 *  @param[in]     pWgtLpc2      44: four filters A(z/gamma2)
 *  @param[in]     pSrcSpeech    160 samples, 10 older ones in front
 *  @param[in,out] pVoicedLag    median lag of the weighted search; used at 10.2 only
 *  @param[in,out] pVoicedGain   its adaptive weight, Q15; used at 10.2 only
 *  @param[in,out] pLagHist      5 lags of voiced half frames, the newest first; used at 10.2 only
 *  @param[in,out] pPrevWsp      143, the last weighted speech
 *  @param[out]    pOpenLoopLag  2, one a half frame; equal at 4.75 and 5.15
 *  @param[out]    pGainFlag     2, above 0 for a voiced half frame at 10.2, else 0
 *  @param[in]     valRate       0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsOpenLoopPitchSearchNonDTX_GSMAMR_16s(const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2,
                                                   const Qol16s* pSrcSpeech, Qol16s* pVoicedLag,
                                                   Qol16s* pVoicedGain, Qol16s* pLagHist,
                                                   Qol16s* pPrevWsp, Qol16s* pOpenLoopLag,
                                                   Qol16s* pGainFlag, Qol32s valRate) QOL_NOEXCEPT;

/** The same with what activity detection of option 1 reads; TS 26.094 §3.3.
 *  @param[in]     pWgtLpc1      as above
 *  @param[in]     pWgtLpc2      as above
 *  @param[in]     pSrcSpeech    as above
 *  @param[in,out] pToneFlag     tone register, one bit a half frame, the newest bit 14
 *  @param[in,out] pVoicedLag    as above
 *  @param[in,out] pVoicedGain   as above
 *  @param[in,out] pLagHist      as above
 *  @param[in,out] pPrevWsp      as above
 *  @param[out]    pMaxHpCorr    high-pass correlation of the last search, Q15
 *  @param[out]    pOpenLoopLag  as above
 *  @param[out]    pGainFlag     as above
 *  @param[in]     valRate       as above
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2,
                                                    const Qol16s* pSrcSpeech, Qol16s* pToneFlag,
                                                    Qol16s* pVoicedLag, Qol16s* pVoicedGain,
                                                    Qol16s* pLagHist, Qol16s* pPrevWsp,
                                                    Qol16s* pMaxHpCorr, Qol16s* pOpenLoopLag,
                                                    Qol16s* pGainFlag, Qol32s valRate) QOL_NOEXCEPT;

/** The same with what activity detection of option 2 reads; TS 26.094 §4.3.
 *  @param[in]     pWgtLpc1      as above
 *  @param[in]     pWgtLpc2      as above
 *  @param[in]     pSrcSpeech    as above
 *  @param[in,out] pVoicedLag    as above
 *  @param[in,out] pVoicedGain   as above
 *  @param[in,out] pLagHist      as above
 *  @param[in,out] pPrevWsp      as above
 *  @param[out]    pLtpCorr      2, doubled correlation at the lag, by search; the second 0 at 4.75
 *                               and 5.15
 *  @param[out]    pLtpEnergy    2, doubled energy at the lag, likewise
 *  @param[out]    pOpenLoopLag  as above
 *  @param[out]    pGainFlag     as above
 *  @param[in]     valRate       as above
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(
    const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2, const Qol16s* pSrcSpeech, Qol16s* pVoicedLag,
    Qol16s* pVoicedGain, Qol16s* pLagHist, Qol16s* pPrevWsp, Qol32s* pLtpCorr, Qol32s* pLtpEnergy,
    Qol16s* pOpenLoopLag, Qol16s* pGainFlag, Qol32s valRate) QOL_NOEXCEPT;

/** Impulse response, LP residual and target of one subframe; TS 26.090 §5.4, §5.5.
 *  @param[in]  pSrcSpeech  40 samples, 10 older ones in front
 *  @param[in]  pWgtLpc1    11, A(z/gamma1), Q12
 *  @param[in]  pWgtLpc2    11, A(z/gamma2)
 *  @param[in]  pLpc        11, quantised A(z)
 *  @param[in]  pSynMem     10, last errors of the synthesis, the newest last; not written
 *  @param[in]  pErrMem     10, last outputs of the weighting filter; not written
 *  @param[out] pImpulse    40, response of the weighted synthesis filter, Q12
 *  @param[out] pRes        40, LP residual
 *  @param[out] pTarget     40
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsImpulseResponseTarget_GSMAMR_16s(const Qol16s* pSrcSpeech, const Qol16s* pWgtLpc1,
                                               const Qol16s* pWgtLpc2, const Qol16s* pLpc,
                                               Qol16s* pSynMem, Qol16s* pErrMem, Qol16s* pImpulse,
                                               Qol16s* pRes, Qol16s* pTarget) QOL_NOEXCEPT;

/** Closed-loop search of the fractional lag, its code and the adaptive vector; TS 26.090 §5.6.1.
 *  @param[in]     pTarget       40
 *  @param[in]     pImpulse      40, Q12
 *  @param[in]     pOpenLoopLag  2, as the open-loop search gives them
 *  @param[in,out] pPrevLag      whole lag of the last subframe; takes this one's
 *  @param[in,out] pExc          194: 154 past samples of the excitation, then the LP residual of
 * the subframe, which the adaptive vector replaces
 *  @param[out]    pFrac         fraction in sixths at 12.2 (-2 to 3), in thirds below (-1 to 1)
 *  @param[out]    pLagIndex     code of the lag
 *  @param[out]    pAdptVec      40, adaptive vector
 *  @param[in]     valSubFrame   0 to 3
 *  @param[in]     valRate       0, 1, 3, 6, 7, 8, 11 or 12
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (valSubFrame),
 *          qolStsRangeErr (valRate) */
QolStatus qolsAdaptiveCodebookSearch_GSMAMR_16s(const Qol16s* pTarget, const Qol16s* pImpulse,
                                                const Qol16s* pOpenLoopLag, Qol16s* pPrevLag,
                                                Qol16s* pExc, Qol16s* pFrac, Qol16s* pLagIndex,
                                                Qol16s* pAdptVec, Qol16s valSubFrame,
                                                Qol32s valRate) QOL_NOEXCEPT;

/** Decoding of the lag, or concealment, and the adaptive vector; TS 26.090 §6.1, TS 26.091 §6. A
 *  lag outside 11 to 144, which no encoder makes, is held inside.
 *  @param[in]     valLagIndex         code of the lag, 0 to 511
 *  @param[in,out] pPrevLag            whole lag of the last subframe: the caller stores *pLag there
 *                                     after each one; raised by concealment below 12.2
 *  @param[in,out] pLtpLag             the lag that the code means; at 12.2 only written where it
 *                                     isn't used
 *  @param[in,out] pExc                194: 154 past samples, then the adaptive vector
 *  @param[in,out] pLag                in: reference of the differential code at 12.2; out: the lag
 *  @param[out]    pAdptVec            40, adaptive vector
 *  @param[in]     valSubFrame         0 to 3
 *  @param[in]     valBfi              not 0: the frame is bad
 *  @param[in]     valBackgroundNoise  not 0: the decoder is in background noise
 *  @param[in]     valVoicedHangover   subframes since the last voiced one
 *  @param[in]     valRate             0, 1, 3, 6, 7, 8, 11 or 12
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsSizeErr (valSubFrame),
 *          qolStsRangeErr (valRate; below 12.2 a valLagIndex above 511) */
QolStatus qolsAdaptiveCodebookDecode_GSMAMR_16s(Qol32s valLagIndex, Qol16s* pPrevLag,
                                                Qol16s* pLtpLag, Qol16s* pExc, Qol16s* pLag,
                                                Qol16s* pAdptVec, Qol16s valSubFrame, Qol16s valBfi,
                                                Qol16s valBackgroundNoise, Qol16s valVoicedHangover,
                                                Qol32s valRate) QOL_NOEXCEPT;

/** Gain of the adaptive codebook; TS 26.090 §5.6.2.
 *  @param[in]  pTarget  40
 *  @param[in]  pFltVec  40, adaptive vector through the impulse response
 *  @param[out] pGain    Q14, 0 to 19661 (1.2)
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsAdaptiveCodebookGain_GSMAMR_16s(const Qol16s* pTarget, const Qol16s* pFltVec,
                                              Qol16s* pGain) QOL_NOEXCEPT;

/** The same with the terms that the gain quantiser needs.
 *  @param[in]  pTarget  as above
 *  @param[in]  pFltVec  as above
 *  @param[out] pGain    as above
 *  @param[out] pCoeffs  4: mantissa and exponent (15 less the left shifts) of the energy of
 * pFltVec, then of its correlation with the target
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsAdaptiveCodebookGainCoeffs_GSMAMR_16s(const Qol16s* pTarget, const Qol16s* pFltVec,
                                                    Qol16s* pGain, Qol16s* pCoeffs) QOL_NOEXCEPT;

/* ---- algebraic codebooks ----
 *
 * valRate is the rate code of the family: 0 (4.75 kbit/s), 1 (5.15), 3 (5.9), 6 (6.7), 7 (7.4),
 * 8 (7.95), 11 (10.2), 12 (12.2) and 25 (discontinuous transmission, which acts as 12 here). */

/** Algebraic codebook search of one subframe; TS 26.090 §5.7. Uses about 14 KB of stack.
 *  @param[in]     valIntLag      integer pitch lag, 17 to 144; below 40 the response is sharpened
 *  @param[in]     valPitchGain   sharpening gain, Q14
 *  @param[in]     pTarget        40, target without the adaptive codebook's part
 *  @param[in]     pLtpRes        40, residual without the adaptive part; read at 10.2 and 12.2 only
 *  @param[in,out] pImpulse       40, weighted impulse response, Q12; sharpened in place
 *  @param[out]    pFixedVec      40, code vector, Q13 (Q12 at 12.2)
 *  @param[out]    pFiltFixedVec  40, code vector through the sharpened response
 *  @param[out]    pIndices       2 words up to 7.95 (places, signs); 7 at 10.2 (four signs, three
 *                                place words); 10 at 12.2
 *  @param[in]     valSubFrame    0 to 3; counts at 4.75 and 5.15 only
 *  @param[in]     valRate        0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valSubFrame,
 *          valIntLag, valRate) */
QolStatus qolsAlgebraicCodebookSearch_GSMAMR_16s(Qol16s valIntLag, Qol16s valPitchGain,
                                                 const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                 Qol16s* pImpulse, Qol16s* pFixedVec,
                                                 Qol16s* pFiltFixedVec, Qol16s* pIndices,
                                                 Qol16s valSubFrame, Qol32s valRate) QOL_NOEXCEPT;

/** qolsAlgebraicCodebookSearch_GSMAMR_16s with a work buffer instead of the stack.
 *  @param[in]     valIntLag      as above
 *  @param[in]     valPitchGain   as above
 *  @param[in]     pTarget        as above
 *  @param[in]     pLtpRes        as above
 *  @param[in,out] pImpulse       as above
 *  @param[out]    pFixedVec      as above
 *  @param[out]    pFiltFixedVec  as above
 *  @param[out]    pIndices       as above
 *  @param[in]     valSubFrame    as above
 *  @param[in]     valRate        as above
 *  @param         pBuffer        bytes as qolsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s gives
 *                                them, at any address; nothing is kept there
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valSubFrame,
 *          valIntLag, valRate) */
QolStatus qolsAlgebraicCodebookSearchEX_GSMAMR_16s(Qol16s valIntLag, Qol16s valPitchGain,
                                                   const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                   Qol16s* pImpulse, Qol16s* pFixedVec,
                                                   Qol16s* pFiltFixedVec, Qol16s* pIndices,
                                                   Qol16s valSubFrame, Qol32s valRate,
                                                   Qol8u* pBuffer) QOL_NOEXCEPT;

/** Size of the work buffer of qolsAlgebraicCodebookSearchEX_GSMAMR_16s.
 *  @param[out] pSize  16384 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Code vector of the index words, without pitch sharpening; TS 26.090 §6.1. Bits beyond a word's
 *  field are ignored, place words beyond the last code act as the last.
 *  @param[in]  pIndices     2, 7 or 10 words, as the search gives them
 *  @param[out] pFixedVec    40, code vector, Q13 (Q12 at 12.2)
 *  @param[in]  valSubFrame  0 to 3; counts at 4.75 and 5.15 only
 *  @param[in]  valRate      0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valSubFrame,
 *          valRate) */
QolStatus qolsFixedCodebookDecode_GSMAMR_16s(const Qol16s* pIndices, Qol16s* pFixedVec,
                                             Qol16s valSubFrame, Qol32s valRate) QOL_NOEXCEPT;

/* ---- voice activity detection ----
 *
 * Two detectors, the options of TS 26.094, over frames of 20 ms. The application declares their
 * records, clears and seeds them, and keeps what the open-loop searches tell from frame to frame.
 * Option 1 wants what the search of the frame before found, and in pitchReg a flag of steady pitch:
 * each of a frame's two lags that lies less than 4 from the lag before it counts, and four of two
 * frames set the flag. Option 2 wants to know whether the sum of pLtpCorr exceeded a part of the
 * sum of pLtpEnergy (0.55 at 4.75 and 5.15, 0.60 at 10.2, 0.65 elsewhere). */

/** Record of option 1. Registers hold a flag a frame, the newest in bit 14.
 *
 *  At the start:
 *  @code
 *  QolsVad1State_GSMAMR vad;
 *  memset(&vad, 0, sizeof vad);
 *  for (int i = 0; i < 9; ++i) {
 *      vad.bckrEst[i] = vad.aveLevel[i] = vad.oldLevel[i] = 150;
 *  }
 *  vad.corrHpFast = 13106;
 *  Qol16s bestCorrHp = 13106, toneFlag = 0; // pMaxHpCorr and pToneFlag of the search
 *  Qol16s lagOld = 0, nearOld = 0;
 *  @endcode
 *  In every frame:
 *  @code
 *  qolsVAD1_GSMAMR_16s(speech, &vad, &flag, bestCorrHp, toneFlag);
 *  // ... the open-loop search, which finds lags[2], bestCorrHp and toneFlag ...
 *  Qol16s nearNow = 0;
 *  for (int i = 0; i < 2; ++i) {
 *      nearNow += abs(lags[i] - lagOld) < 4;
 *      lagOld = lags[i];
 *  }
 *  vad.pitchReg >>= 1;
 *  if (nearOld + nearNow >= 4) {
 *      vad.pitchReg |= 0x4000;
 *  }
 *  nearOld = nearNow;
 *  @endcode */
typedef struct QolsVad1State_GSMAMR {
    Qol16s subLevel[9];      /**< level of the last frame's tail, a band each */
    Qol16s oldLevel[9];      /**< levels of the last frame; start with 150 */
    Qol16s aveLevel[9];      /**< averaged levels; start with 150 */
    Qol16s bckrEst[9];       /**< background estimate, 40 to 16000; start with 150 */
    Qol16s aData5[3][2];     /**< memory of the fifth-order filters */
    Qol16s aData3[5];        /**< memory of the third-order filters */
    Qol16s burstCount;       /**< frames of speech in a row */
    Qol16s hangCount;        /**< frames of hangover left */
    Qol16s statCount;        /**< stationarity counter, 0 to 20 */
    Qol16s vadReg;           /**< decisions before the hangover */
    Qol16s complexHigh;      /**< correlation above 0.6 */
    Qol16s complexLow;       /**< correlation at 0.5 or above */
    Qol16s complexHangTimer; /**< frames in a row with corrHpFast above 0.7 */
    Qol16s complexHangCount; /**< frames left of the long hangover */
    Qol16s complexWarning;   /**< 1: a signal as music */
    Qol16s corrHpFast;       /**< filtered correlation, Q15; start with 13106 */
    Qol16s pitchReg;         /**< steady pitch; written by the application */
} QolsVad1State_GSMAMR;

/** Record of option 2.
 *  @code
 *  QolsVad2State_GSMAMR vad;
 *  memset(&vad, 0, sizeof vad);
 *  @endcode */
typedef struct QolsVad2State_GSMAMR {
    Qol32s chEnrg[16];       /**< channel energies in the scale of shiftState */
    Qol32s chNoise[16];      /**< noise estimate in the scale of shiftState 0 */
    Qol16s chEnrgLongDb[16]; /**< long-term channel energies, Q8 dB */
    Qol16s preEmpMem;        /**< last sample of the last half frame, in its scale */
    Qol16s updateCnt;        /**< half frames that looked like noise without being quiet */
    Qol16s lastUpdateCnt;    /**< updateCnt of the last half frame */
    Qol16s hysterCnt;        /**< half frames with the same updateCnt */
    Qol16s lastNormbShift;   /**< left shifts of the last half frame */
    Qol16s shiftState;       /**< 0 or 1: scale of chEnrg */
    Qol16s fupdateFlag;      /**< 1: the last half frame forced an update */
    Qol16s tsnr;             /**< peak signal-to-noise ratio over time, Q8 dB */
    Qol16s negSNRvar;        /**< variance of negative ratios, Q8, up to 1024 */
    Qol16s negSNRbias;       /**< what it adds to the threshold */
    Qol16s burstCount;       /**< half frames of speech in a row */
    Qol16s hangover;         /**< half frames of hangover left */
    Qol32s frameCount;       /**< half frames; wraps */
} QolsVad2State_GSMAMR;

/** Option 1: filter bank; TS 26.094 §3.
 *  @param[in]     pSrc           200 samples: the frame, its look-ahead of 40 behind. The power is
 *                                taken of the first 160, the bands of the last 160
 *  @param[in,out] pState         record as above
 *  @param[out]    pVadFlag       1: speech, 0: none
 *  @param[in]     valBestCorrHp  pMaxHpCorr of the last frame's open-loop search, Q15
 *  @param[in]     valToneFlag    pToneFlag of that search
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsVAD1_GSMAMR_16s(const Qol16s* pSrc, QolsVad1State_GSMAMR* pState, Qol16s* pVadFlag,
                              Qol16s valBestCorrHp, Qol16s valToneFlag) QOL_NOEXCEPT;

/** Option 2: transform; TS 26.094 §4. The memory of the pre-emphasis is shifted right without
 *  rounding and a negative sample counts by its complement where half frames are scaled, so that
 *  the lowest bits differ now and then from the standard's.
 *  @param[in]     pSrc        160 samples
 *  @param[in,out] pState      record as above
 *  @param[out]    pVadFlag    1: speech in either half frame, 0: none
 *  @param[in]     valLtpFlag  not 0: the last frame's open-loop search found a period
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsVAD2_GSMAMR_16s(const Qol16s* pSrc, QolsVad2State_GSMAMR* pState, Qol16s* pVadFlag,
                              Qol16s valLtpFlag) QOL_NOEXCEPT;

/** Transform of 128 real values as option 2 needs it; TS 26.094 §4.3. The result is 1/64 of the
 * sum, up to rounding.
 *  @param[in,out] pSrcDst  128 values; out: bins 1 to 63 as pairs of real and imaginary part behind
 *                          bin 0 and bin 64, both real
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsFFTFwd_RToPerm_GSMAMR_16s_I(Qol16s* pSrcDst) QOL_NOEXCEPT;

/* ---- discontinuous transmission and post-filter ---- */

/** Decides between speech and comfort noise; TS 26.093 §5.1.
 *  @param[in,out] pHangCount  frames of hangover left; start with 7
 *  @param[in,out] pElapsed    frames since the last update; start with 32767, where it stays
 *  @param[out]    pUsedMode   25 where the frame becomes comfort noise, else not written
 *  @param[out]    pSidUpdate  1: new comfort-noise parameters are wanted
 *  @param[in]     valVadFlag  not 0: the frame holds speech
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsEncDTXHandler_GSMAMR_16s(Qol16s* pHangCount, Qol16s* pElapsed, Qol16s* pUsedMode,
                                       Qol16s* pSidUpdate, Qol16s valVadFlag) QOL_NOEXCEPT;

/** Enters a frame in the encoder's histories of eight; TS 26.092 §5.
 *  @param[in]     pSrc        160 samples
 *  @param[in]     pSrcLsp     10
 *  @param[in,out] pHistIndex  0 to 7: row written last; start with 0
 *  @param[in,out] pLspHist    8 rows of 10
 *  @param[in,out] pLogEnHist  8: half the base-2 logarithm of the energy per sample, Q10
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsEncDTXBuffer_GSMAMR_16s(const Qol16s* pSrc, const Qol16s* pSrcLsp, Qol16s* pHistIndex,
                                      Qol16s* pLspHist, Qol16s* pLogEnHist) QOL_NOEXCEPT;

/** The same for the decoder's histories, whose vectors are LSF.
 *  @param[in]     pSrc        160 samples
 *  @param[in]     pSrcLsp     10
 *  @param[in,out] pHistIndex  0 to 7: row written last; start with 0
 *  @param[in,out] pLspHist    8 rows of 10
 *  @param[in,out] pLogEnHist  8: the whole logarithm, Q10, not its half
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsDecDTXBuffer_GSMAMR_16s(const Qol16s* pSrc, const Qol16s* pSrcLsp, Qol16s* pHistIndex,
                                      Qol16s* pLspHist, Qol16s* pLogEnHist) QOL_NOEXCEPT;

/** Comfort-noise parameters of the histories' means; TS 26.092 §5.
 *  @param[in]     pLspHist       8 rows of 10
 *  @param[in]     pLogEnHist     8, as qolsEncDTXBuffer_GSMAMR_16s keeps them
 *  @param[out]    pLogEnIndex    0 to 63
 *  @param[out]    pLsfIndices    4: prediction vector, then three codebook indices
 *  @param[in,out] pPrevResidual  10, takes the quantised residual
 *  @param[out]    pPredErr       4, gain predictor of the rates below 12.2, Q10
 *  @param[out]    pPredErrMR122  4, that of 12.2
 *  @param[in]     valSidUpdate   0: nothing is written
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsEncDTXSID_GSMAMR_16s(const Qol16s* pLspHist, const Qol16s* pLogEnHist,
                                   Qol16s* pLogEnIndex, Qol16s* pLsfIndices, Qol16s* pPrevResidual,
                                   Qol16s* pPredErr, Qol16s* pPredErrMR122,
                                   Qol16s valSidUpdate) QOL_NOEXCEPT;

/** Formant post-filter, tilt compensation and gain control of a frame; TS 26.090 §6.2.
 *  @param[in]     pLpc        four filters of 11, Q12
 *  @param[in]     pSrc        160 samples of the synthesis
 *  @param[in,out] pPreempMem  memory of the tilt filter; start with 0
 *  @param[in,out] pPrevGain   gain, Q12; start with 4096
 *  @param[in,out] pHistory    10, end of the last frame's synthesis; start with 0
 *  @param[in,out] pSynMem     10, last outputs before the gain; start with 0
 *  @param[out]    pDst        160; may be pSrc
 *  @param[in]     valRate     0, 1, 3, 6, 7, 8, 11, 12 or 25
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr, qolStsRangeErr (valRate) */
QolStatus qolsPostFilter_GSMAMR_16s(const Qol16s* pLpc, const Qol16s* pSrc, Qol16s* pPreempMem,
                                    Qol16s* pPrevGain, Qol16s* pHistory, Qol16s* pSynMem,
                                    Qol16s* pDst, Qol32s valRate) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
