/* SPDX-License-Identifier: Apache-2.0
 * Noise filter of the echo-canceller path and automatic level control (ITU-T G.169). */
#ifndef QOLSC_NOISE_H
#define QOLSC_NOISE_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

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
