/* SPDX-License-Identifier: Apache-2.0
 * Excitation search of ITU-T G.723.1 at 5.3 and 6.3 kbit/s, subframes of 60 samples. Rates: 2 is
 * 5.3 kbit/s, 4 is 6.3 kbit/s. The functions keep nothing; excitation and error history are the
 * caller's. */
#ifndef QOLSC_G723_H
#define QOLSC_G723_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Closed-loop search of lag and five-tap gain vector, over the lags valBaseDelay - 1 to + 1 in
 * even subframes, to + 2 in odd ones. The error history limits how much of the gain codebook is
 *  searched. G.723.1 2.14.
 *  @param[in] valBaseDelay  lag to search around: 18 to 142 in even subframes, to 141 in odd ones
 *  @param[in] pTarget  60 elements: target vector
 *  @param[in] pImpulse  60 elements: impulse response of the combined filter, Q13; element 0 is
 * taken as 8192 for the older four taps
 *  @param[in] pPrevExc  145 elements: past excitation, newest last
 *  @param[in] pErrHist  5 elements: the encoder's error history (taming), one value for 30 lags
 *  @param[out] pLagOffset  1 element: lag found less valBaseDelay - 1
 *  @param[out] pGainIndex  1 element: gain vector. At 6.3 kbit/s a row of the codebook of 85
 * entries where the lags are short, else of that of 170. Offset 1 and index 0 when no score is
 * above 0
 *  @param[in] valSubFrame  0 to 4; only its lowest bit counts
 *  @param[in] valSinDet  negative for a sine: the search is limited as for the largest error
 *  @param[in] valRate  2 or 4
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsRangeErr: valBaseDelay or valSubFrame
 *    out of range; qolStsRangeErr: valRate not 2 or 4 */
QolStatus qolsAdaptiveCodebookSearch_G723(Qol16s valBaseDelay, const Qol16s* pTarget,
                                          const Qol16s* pImpulse, const Qol16s* pPrevExc,
                                          const Qol32s* pErrHist, Qol16s* pLagOffset,
                                          Qol16s* pGainIndex, Qol16s valSubFrame, Qol16s valSinDet,
                                          Qol32s valRate) QOL_NOEXCEPT;

/** Lag and gain of the harmonic noise shaping filter, over seven lags around the open-loop lag.
 *  G.723.1 2.11.
 *  @param[in] valOpenLoopLag  18 to 145
 *  @param[in] pWgtSpeech  60 elements: weighted speech of the subframe with three bits of headroom,
 *    with 148 samples of history before it
 *  @param[out] pHarmonicLag  1 element: lag; the open-loop lag when no correlation is positive
 *  @param[out] pHarmonicGain  1 element: gain, Q15, 0 to 10240
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsSizeErr: lag out of range */
QolStatus qolsHarmonicSearch_G723_16s(Qol16s valOpenLoopLag, const Qol16s* pWgtSpeech,
                                      Qol16s* pHarmonicLag, Qol16s* pHarmonicGain) QOL_NOEXCEPT;

/** Multipulse search of 6.3 kbit/s: six or five pulses on one of two grids; with a lag below 58
 * also a train of each pulse. G.723.1 2.15.
 *  @param[in] valBaseDelay  lag, 18 to 145
 *  @param[in] pImpulse  60 elements: impulse response, Q13
 *  @param[in] pTarget  60 elements: target vector without the adaptive contribution
 *  @param[out] pFixedVec  60 elements: pulses, or trains of them, at their level
 *  @param[out] pGrid  1 element: 0 for even positions, 1 for odd ones
 *  @param[out] pTrainFlag  1 element: 1 when trains were chosen
 *  @param[out] pGainIndex  1 element: level, 0 to 23
 *  @param[out] pSignMask  1 element: a bit for each pulse, the first position in the highest bit, 1
 *    for a negative one
 *  @param[out] pPosCode  1 element: combinatorial code of the positions
 *  @param[in] valSubFrame  0 to 3: six pulses in even subframes, five in odd ones
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsRangeErr: lag or valSubFrame out of
 *    range */
QolStatus qolsMPMLQFixedCodebookSearch_G723(Qol16s valBaseDelay, const Qol16s* pImpulse,
                                            const Qol16s* pTarget, Qol16s* pFixedVec, Qol16s* pGrid,
                                            Qol16s* pTrainFlag, Qol16s* pGainIndex,
                                            Qol16s* pSignMask, Qol32s* pPosCode,
                                            Qol16s valSubFrame) QOL_NOEXCEPT;

/** One run of the multipulse search for one response: four levels on each grid. A set that scores
 *  strictly above *pBestMetric replaces it. G.723.1 2.15.
 *  @param[in] pImpulse  60 elements: impulse response, plain or of the train, Q13
 *  @param[in] pTarget  60 elements of 16 bits, whatever the type of the pointer: target vector;
 * only read
 *  @param[out] pPulsePos  6 elements: positions, rising
 *  @param[out] pPulseAmp  6 elements: signed levels
 *  @param[in,out] pBestMetric  1 element: metric to beat, and of the best set
 *  @param[out] pGrid  1 element
 *  @param[out] pGainIndex  1 element
 *  @param[in] valPulses  5 or 6
 *  @param[out] pImproved  1 element: 1 when a set was stored, else 0 and the other outputs are
 *    untouched
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsBadArgErr: valPulses not 5 or 6 */
QolStatus qolsGainQuant_G723_16s(const Qol16s* pImpulse, Qol32s* pTarget, Qol16s* pPulsePos,
                                 Qol16s* pPulseAmp, Qol32s* pBestMetric, Qol16s* pGrid,
                                 Qol16s* pGainIndex, Qol32s valPulses,
                                 Qol32s* pImproved) QOL_NOEXCEPT;

/** ACELP search of 5.3 kbit/s: four pulses, one on each track T = 0..3 at a position 8 k + 2 T, k =
 *  0..7, all of them one further on the odd grid. G.723.1 2.16.
 *
 *  The matrix has 416 entries. With R(p, q) the sum of g[i] g[i+|p-q|] over i of 0 to 59 - max(p,
 * q) for the response g (an empty sum is 0), they are: R(p, p) of the eight positions of track 0,
 * then of tracks 1, 2, 3 (32 entries), then six blocks for the track pairs (0,1) (0,2) (0,3) (1,2)
 * (1,3) (2,3), 64 entries each, entry 8 k + l being that of position k of the first track and
 * position l of the second one. The odd grid uses the same matrix. The 32-bit form holds the sums,
 * the 16-bit form the sums >> 15.
 *  @param[in] pFixedCorr  60 elements: correlation of target and response (qolsCrossCorr_NormM_16s)
 *  @param[in] pMatrix  416 elements, shifted right by 15 before use
 *  @param[out] pFixedSign  4 elements: sign of each pulse, 1 or -1
 *  @param[out] pFixedPos  4 elements: positions; those of tracks 2 and 3 may be 60 and above
 *  @param[out] pGrid  1 element
 *  @param[out] pFixedVec  60 elements: pulses of height 1; those at 60 and above are left out
 *  @param[in,out] pSearchTimes  1 element: groups of fourth pulses that earlier subframes left
 * over; 120 at the start of a frame. The search looks at 120 more at most, and gives back the rest
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsACELPFixedCodebookSearch_G723_32s16s(const Qol16s* pFixedCorr, const Qol32s* pMatrix,
                                                   Qol16s* pFixedSign, Qol16s* pFixedPos,
                                                   Qol16s* pGrid, Qol16s* pFixedVec,
                                                   Qol16s* pSearchTimes) QOL_NOEXCEPT;

/** The same search with the 16-bit matrix.
 *  @param[in] pFixedCorr  60 elements
 *  @param[in] pMatrix  416 elements, layout as above
 *  @param[out] pFixedSign  4 elements
 *  @param[out] pFixedPos  4 elements
 *  @param[out] pGrid  1 element
 *  @param[out] pFixedVec  60 elements
 *  @param[in,out] pSearchTimes  1 element
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsACELPFixedCodebookSearch_G723_16s(const Qol16s* pFixedCorr, const Qol16s* pMatrix,
                                                Qol16s* pFixedSign, Qol16s* pFixedPos,
                                                Qol16s* pGrid, Qol16s* pFixedVec,
                                                Qol16s* pSearchTimes) QOL_NOEXCEPT;

/** Matrix of the ACELP search, layout as there. The response is scaled so that its energy lies
 *  between 2^28 and 2^30. G.723.1 2.16.
 *  @param[in] pImpulse  60 elements: impulse response; beyond an energy of 2^32, which no weighted
 *    synthesis filter has, sums keep their low 32 bits
 *  @param[out] pMatrix  416 elements: sums of products
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsToeplizMatrix_G723_16s32s(const Qol16s* pImpulse, Qol32s* pMatrix) QOL_NOEXCEPT;

/** The same matrix in 16 bits: the sums >> 15.
 *  @param[in] pImpulse  60 elements: impulse response
 *  @param[out] pMatrix  416 elements
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer */
QolStatus qolsToeplizMatrix_G723_16s(const Qol16s* pImpulse, Qol16s* pMatrix) QOL_NOEXCEPT;

/** Adaptive codebook vector of a lag and a gain index. G.723.1 3.3. At 6.3 kbit/s with a lag below
 *  58 the codebook has 85 entries; index 85 decodes as gain 0 there. Samples that a sum of 145 or
 *  146 reaches before the history count as 0.
 *  @param[in] valLag  18 or more
 *  @param[in] valLagOffset  0 to 3; the delay is valLag + valLagOffset - 1
 *  @param[in] valGainIndex  0 to 169
 *  @param[in] pPrevExc  145 elements: past excitation, newest last
 *  @param[out] pDst  60 elements
 *  @param[in] valRate  2 or 4
 *  @return qolStsNoErr; qolStsNullPtrErr: null pointer; qolStsOutOfRangeErr: valLagOffset outside
 *    0..3, valLag < 18, their sum above 146, valGainIndex above 169 or negative; qolStsRangeErr:
 *    valRate not 2 or 4; qolStsOutOfRangeErr: valRate 4, valLag < 58 and valGainIndex above 85 */
QolStatus qolsDecodeAdaptiveVector_G723_16s(Qol16s valLag, Qol16s valLagOffset, Qol16s valGainIndex,
                                            const Qol16s* pPrevExc, Qol16s* pDst,
                                            Qol32s valRate) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
