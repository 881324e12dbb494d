/* SPDX-License-Identifier: Apache-2.0
 * GSM AMR narrowband (3GPP TS 26.090, 26.092, 26.094). */
#ifndef QOLSC_AMR_H
#define QOLSC_AMR_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}
#endif

#endif
