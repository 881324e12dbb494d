/* SPDX-License-Identifier: Apache-2.0
 * The floating-point RTA family: filters, QMF, codebook search, post-filter. */
#ifndef QOLSC_RTA_H
#define QOLSC_RTA_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** DC removal. Order 4 is a direct form of three poles, order 5 a lattice of four; both add a bias of 1e-6 that keeps
 *  them out of denormal numbers: they are meant for samples scaled to +-32768.
 *  @param[in]     pSrc        len samples
 *  @param[out]    pDst        len samples; may be pSrc
 *  @param[in]     len         count of samples, at least 1
 *  @param[in]     order       4 or 5
 *  @param[in]     sampleFreq  8000, 16000, 22050 or 32000 Hz; order 4 serves 8000 Hz with the coefficients of 32000 Hz
 *  @param[in,out] pMem        order 4: 6 elements x[n-1], x[n-2], x[n-3], y[n-1], y[n-2], y[n-3]; order 5: 5 elements,
 *                             the lattice's state; zeros at start
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSizeErr: len below 1;
 *          qolStsRangeErr: another sampleFreq, then another order; qolStsNoOperation (nothing written): order 4, odd
 *          len and 8000 Hz */
QolStatus qolsHighPassFilter_RTA_32f(const Qol32f* pSrc, Qol32f* pDst, Qol32s len, Qol32s order,
                                     Qol32s sampleFreq, Qol32f* pMem) QOL_NOEXCEPT;

/** Record of one direction of the filter bank, 208 bytes. It points into the library: move it only by Init. */
typedef struct QolsQMFState_RTA QolsQMFState_RTA;

/** Size of the filter bank's record.
 *  @param[out] pSize  208, in bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pSize is null */
QolStatus qolsQMFGetStateSize_RTA_32f(Qol32s* pSize) QOL_NOEXCEPT;

/** Sets a record with cleared history; one for each direction.
 *  @param[out] pState   record of 208 bytes, aligned at 8
 *  @param[in]  numTaps  24 or 48
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: another numTaps */
QolStatus qolsQMFInit_RTA_32f(QolsQMFState_RTA* pState, Qol32s numTaps) QOL_NOEXCEPT;

/** Analysis into two bands at half the rate.
 *  @param[in]     pSrc      len samples
 *  @param[in]     len       even, 2 to 640
 *  @param[out]    pDstLow   len/2 samples of the lower band; no overlap with pDstHigh
 *  @param[out]    pDstHigh  len/2 samples of the upper band
 *  @param[in,out] pState    record set by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: len below 1, above
 *          640 or odd */
QolStatus qolsQMFEncode_RTA_32f(const Qol32f* pSrc, Qol32s len, Qol32f* pDstLow, Qol32f* pDstHigh,
                                QolsQMFState_RTA* pState) QOL_NOEXCEPT;

/** Synthesis from two bands.
 *  @param[in]     pSrcLow   len samples of the lower band
 *  @param[in]     pSrcHigh  len samples of the upper band
 *  @param[in]     len       1 to 320
 *  @param[out]    pDst      2*len samples; no overlap with the sources
 *  @param[in,out] pState    record set by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: len below 1 or
 *          above 320 */
QolStatus qolsQMFDecode_RTA_32f(const Qol32f* pSrcLow, const Qol32f* pSrcHigh, Qol32s len, Qol32f* pDst,
                                QolsQMFState_RTA* pState) QOL_NOEXCEPT;

/** Band-pass in two first-order stages, then the input's level restored by a smoothed gain.
 *  @param[in,out] pSrcDst  len samples
 *  @param[in]     len      1 to 640
 *  @param[in,out] pMem     3 elements: last input of the first and of the second stage, gain; set by the caller at start
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSizeErr: len outside 1..640 */
QolStatus qolsBandPassFilter_RTA_32f_I(Qol32f* pSrcDst, Qol32s len, Qol32f* pMem) QOL_NOEXCEPT;

/** Size of the algebraic search's work buffer.
 *  @param[out] pSize  33760, in bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pSize is null */
QolStatus qolsFixedCodebookSearch_RTA_GetBufferSize_32f(Qol32s* pSize) QOL_NOEXCEPT;

/** Algebraic search: signed unit pulses on five interleaved tracks; track t holds positions t, t+5, t+10 ..., n = len/5
 *  of them. Tracks 0 to numPulses-6 hold two pulses, the others one.
 *  @param[in]  pTarget    len samples, the target
 *  @param[in]  pImp       len samples, impulse response of the weighted synthesis filter
 *  @param[out] pExc       len samples: the signs at the pulses' positions, else 0; no overlap with the sources
 *  @param[in]  len        1 to 80; positions from 5 (len/5) on are not used
 *  @param[out] pIndex     5 elements, one a track. One pulse of rank p: p + b n, b 1 for a positive sign. Two pulses of
 *                         like signs: (larger + b n) n + smaller; of different signs: (smaller + b n) n + larger, b of
 *                         the pulse of the smaller rank
 *  @param[out] pGain      best gain of the excitation, not negative
 *  @param[in]  numPulses  5 to 10
 *  @param[in]  mode       effort, 0 (most) to 3
 *  @param[out] pBuffer    work buffer of the queried size, any alignment
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: len, numPulses or
 *          mode outside its range */
QolStatus qolsFixedCodebookSearchBuffer_RTA_32f(const Qol32f* pTarget, const Qol32f* pImp, Qol32f* pExc,
                                                Qol32s len, Qol32s* pIndex, Qol32f* pGain, Qol32s numPulses,
                                                Qol32s mode, Qol8u* pBuffer) QOL_NOEXCEPT;

/** Random search: the stretch of a fixed table of 1000 numbers that fits best; entry e of set s begins at e + 256 s.
 *  @param[in]  pTarget     len samples, the target
 *  @param[in]  pImp        len samples, impulse response of the weighted synthesis filter
 *  @param[out] pExc        len samples, the entry; values behind the table's end are 0; no overlap with the sources
 *  @param[in]  len         at least 1
 *  @param[out] pIndex      the entry's number
 *  @param[out] pGain       gain by gainMode
 *  @param[in]  numEntries  1 to 256
 *  @param[in]  tableSet    0, 1 or 2
 *  @param[in]  gainMode    0: the best gain g; 1: 0.7 g; 2, 3, 4: g, but at least 0.7, 0.55, 0.45 of the gain that gives
 *                          the target's energy
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSizeErr: len below 1;
 *          qolStsRangeErr: tableSet, then gainMode, then numEntries outside its range */
QolStatus qolsFixedCodebookSearchRandom_RTA_32f(const Qol32f* pTarget, const Qol32f* pImp, Qol32f* pExc,
                                                Qol32s len, Qol32s* pIndex, Qol32f* pGain, Qol32s numEntries,
                                                Qol32s tableSet, Qol32s gainMode) QOL_NOEXCEPT;

/** Record of the spectral post-filter. It points into itself: move it only by Init. */
typedef struct QolsPostFilterState_RTA QolsPostFilterState_RTA;

/** Size of the post-filter's record.
 *  @param[out] pSize  in bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pSize is null */
QolStatus qolsPostFilterGetStateSize_RTA_32f(Qol32s* pSize) QOL_NOEXCEPT;

/** Sets a record: the transform's tables.
 *  @param[out] pState  record of the queried size, aligned at 8
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus qolsPostFilterInit_RTA_32f(QolsPostFilterState_RTA* pState) QOL_NOEXCEPT;

/** Spectral post-filter of a decoded frame, designed from its LP coefficients, with gain control.
 *  @param[in]     pLPC     order coefficients of A(z), the leading 1 left out
 *  @param[in]     order    2 to 16
 *  @param[in,out] pSrcDst  len samples
 *  @param[in]     len      count of samples, at least 1
 *  @param[in]     valMode  strength, 0 to 4
 *  @param[in,out] pMem     35 elements, cleared at start: 16 past input samples (newest first), 17 taps, gain, one spare
 *  @param[in,out] pState   record set by Init; its work buffer is written, so one record serves one thread at a time
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: order outside 2..16;
 *          qolStsSizeErr: len below 1; qolStsRangeErr: valMode outside 0..4 */
QolStatus qolsPostFilter_RTA_32f_I(const Qol32f* pLPC, Qol32s order, Qol32f* pSrcDst, Qol32s len, Qol32s valMode,
                                   Qol32f* pMem, QolsPostFilterState_RTA* pState) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
