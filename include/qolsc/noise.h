/* SPDX-License-Identifier: Apache-2.0
 * Noise filter of the echo-canceller path and automatic level control (ITU-T G.169). */
#ifndef QOLSC_NOISE_H
#define QOLSC_NOISE_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Noise filter
 *  Suppresses stationary noise in blocks of 16 samples scaled to +-32768: a detector learns the noise from frames that
 *  look like it, a spectral gain follows the ratio of signal to noise. A block passes the detector, then the filter with
 *  the verdict as updateMode. Both take the block into the history; a caller that runs both on every block and doesn't
 *  want it twice calls the filter with -1: the detector then sets the noise reference by itself. @{ */

/** Noise filter's record; it points into itself, so it moves only by Init. */
typedef struct QolsFilterNoiseState_EC_32f QolsFilterNoiseState_EC_32f;

/** Size of the noise filter's record.
 *  @param[in]  sampleFreq  8000, 16000, 22050 or 32000 Hz
 *  @param[out] pSize       in bytes
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pSize is null; qolStsRangeErr: another sampleFreq */
QolStatus qolsFilterNoiseGetStateSize_EC_32f(Qol32s sampleFreq, Qol32s* pSize) QOL_NOEXCEPT;

/** Sets a record, at level 5 and smoothing mode 1.
 *  @param[in]  sampleFreq  8000, 16000, 22050 or 32000 Hz
 *  @param[out] pState      record of the queried size, aligned at 8
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: another sampleFreq */
QolStatus qolsFilterNoiseInit_EC_32f(Qol32s sampleFreq, QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** Sets the strength. Level 0 only stops the filtering: while level 5, which Init sets, has yet to decide, it still
 *  does, and may switch to level 2. For a filter that stays off set a level of 1 to 4, then 0.
 *  @param[in]     level   0: off; 1 to 4: fixed strengths; 5: off or 2, decided at the first noise
 *  @param[in,out] pState  record set by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: level outside 0..5 (the
 *          record has taken the number by then; its other settings stay) */
QolStatus qolsFilterNoiseLevel_EC_32f(Qol32s level, QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** Sets the smoothing over time behind the spectral gain.
 *  @param[in]     mode    0: the longest kernel; 1: none; -1: as deep as the filter cuts
 *  @param[in,out] pState  record set by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsBadArgErr: another mode */
QolStatus qolsFilterNoiseSetMode_EC_32f(Qol32s mode, QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** Takes in a block and tells whether the newest frame was taken as noise.
 *  @param[in]     pSrc         16 samples
 *  @param[out]    pNoisePower  mean square of the noise known
 *  @param[out]    pDC          smoothed mean of the noise frames
 *  @param[out]    pDetect      1 when this frame became the noise reference, else 0
 *  @param[in,out] pState       record set by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFilterNoiseDetect_EC_32f64f(const Qol32f* pSrc, Qol64f* pNoisePower, Qol32f* pDC,
                                          Qol32s* pDetect, QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** The same with a second signal: where that one is strong beside the first, the test of stability is looser.
 *  @param[in]     pSrc         16 samples
 *  @param[in]     pSrc2        16 samples of the second signal
 *  @param[out]    pNoisePower  mean square of the noise known
 *  @param[out]    pDC          smoothed mean of the noise frames
 *  @param[out]    pDetect      1 when this frame became the noise reference, else 0
 *  @param[in,out] pState       record set by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFilterNoiseDetectModerate_EC_32f64f(const Qol32f* pSrc, const Qol32f* pSrc2,
                                                  Qol64f* pNoisePower, Qol32f* pDC, Qol32s* pDetect,
                                                  QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** Filters a block; its first call freezes the length of the start-up fade.
 *  @param[in]     pSrc        16 samples, taken into the history unless updateMode is -1
 *  @param[in,out] pDst        16 samples of output; while less than 128 samples of history are held, and at level 0,
 *                             what stands here is the input: copy pSrc into it first
 *  @param[in]     updateMode  -1: the block isn't taken in; 1: it is, and becomes the noise reference; else: it is
 *  @param[in,out] pState      record set by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFilterNoise_EC_32f(const Qol32f* pSrc, Qol32f* pDst, Qol32s updateMode,
                                 QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** The same in place; the fade's length stays open to level changes.
 *  @param[in,out] pSrcDst     16 samples
 *  @param[in]     updateMode  as above
 *  @param[in,out] pState      record set by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFilterNoise_EC_32f_I(Qol32f* pSrcDst, Qol32s updateMode,
                                   QolsFilterNoiseState_EC_32f* pState) QOL_NOEXCEPT;

/** @} */

/** @name Automatic level control in the sense of ITU-T G.169
 *  Tracks noise and speech level in blocks of 8 samples, raises the gain towards a target level, keeps it below a
 *  maximum and the output's peak below a clip level. @{ */

/** Level control's record, 124 bytes, any alignment. */
typedef struct QolsALCState_G169_16s QolsALCState_G169_16s;

/** Size of the level control's record.
 *  @param[out] pSize  124, in bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pSize is null */
QolStatus qolsALCGetStateSize_G169_16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Sets a record to its initial values, the set levels and gain included: target 26.1 dB below full scale, clip level
 *  32767, at most 11.6 dB of gain.
 *  @param[out] pState  record of 124 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus qolsALCInit_G169_16s(QolsALCState_G169_16s* pState) QOL_NOEXCEPT;

/** Sets target and clip level; at any time.
 *  @param[in,out] pState    record set by Init
 *  @param[in]     targetDb  target speech level, decibels below 32768
 *  @param[in]     clipDb    largest output magnitude, decibels below 32768
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: a level below 0 */
QolStatus qolsALCSetLevel_G169_16s(QolsALCState_G169_16s* pState, Qol32f targetDb,
                                   Qol32f clipDb) QOL_NOEXCEPT;

/** Sets the largest gain; at any time.
 *  @param[in,out] pState     record set by Init
 *  @param[in]     maxGainDb  decibels
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: maxGainDb below 0 */
QolStatus qolsALCSetGain_G169_16s(QolsALCState_G169_16s* pState, Qol32f maxGainDb) QOL_NOEXCEPT;

/** Controls the level of len samples.
 *  @param[in]     pSrc    len samples, 16-bit linear
 *  @param[out]    pDst    len samples; may be pSrc
 *  @param[in]     len     a multiple of 8, at least 8
 *  @param[in,out] pState  record set by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: len below 8 or no
 *          multiple of 8 */
QolStatus qolsALC_G169_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                           QolsALCState_G169_16s* pState) QOL_NOEXCEPT;

/** @} */

#ifdef __cplusplus
}
#endif

#endif
