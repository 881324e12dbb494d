/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.726 ADPCM at 16, 24, 32 and 40 kbit/s: a whole codec, sample by sample.
 *
 * Life of a coder: query the size, allocate, Init, then run calls of any length; a signal cut into calls of any length
 * codes the same as in one call. Records may lie at any address. Bit packing is the caller's. */
#ifndef QOLSC_G726_H
#define QOLSC_G726_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Bit rate of a speech coder. */
typedef Qol32s QolSpchBitRate;
enum {
    QOL_SPCHBR_16000 = 17, /**< 16 kbit/s: 2 bits a code */
    QOL_SPCHBR_24000 = 22, /**< 24 kbit/s: 3 bits a code */
    QOL_SPCHBR_32000 = 23, /**< 32 kbit/s: 4 bits a code */
    QOL_SPCHBR_40000 = 24  /**< 40 kbit/s: 5 bits a code */
};

/** Form of the decoder's output. */
typedef Qol32s QolPCMLaw;
enum {
    QOL_PCM_MULAW = 0, /**< G.711 mu-law byte in the low 8 bits of each element */
    QOL_PCM_ALAW = 1,  /**< G.711 A-law byte, even bits inverted as on the line, in the low 8 bits */
    QOL_PCM_LINEAR = 2 /**< 14-bit linear sample */
};

/** Encoder record, 88 bytes, any alignment. */
typedef struct QolsEncodeState_G726 QolsEncodeState_G726;
/** Decoder record, 92 bytes, any alignment. */
typedef struct QolsDecodeState_G726 QolsDecodeState_G726;

/** Size of the encoder's record.
 *  @param[out] pSize  88, in bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pSize is null */
QolStatus qolsEncodeGetStateSize_G726_16s8u(Qol32s* pSize) QOL_NOEXCEPT;

/** Size of the decoder's record.
 *  @param[out] pSize  92, in bytes
 *  @return qolStsNoErr; qolStsNullPtrErr: pSize is null */
QolStatus qolsDecodeGetStateSize_G726_8u16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Brings an encoder to the standard's reset state; may be repeated at any time (ITU-T G.726 §2.9).
 *  @param[out] pState  record of 88 bytes
 *  @param[in]  rate    one of QolSpchBitRate
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: another rate */
QolStatus qolsEncodeInit_G726_16s8u(QolsEncodeState_G726* pState,
                                    QolSpchBitRate rate) QOL_NOEXCEPT;

/** Brings a decoder to the standard's reset state; may be repeated at any time (ITU-T G.726 §3).
 *  @param[out] pState  record of 92 bytes
 *  @param[in]  rate    one of QolSpchBitRate
 *  @param[in]  law     one of QolPCMLaw
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: another rate, then
 *          another law */
QolStatus qolsDecodeInit_G726_8u16s(QolsDecodeState_G726* pState, QolSpchBitRate rate,
                                    QolPCMLaw law) QOL_NOEXCEPT;

/** Encodes len samples (ITU-T G.726 §2).
 *  @param[in,out] pState  record set by Init
 *  @param[in]     pSrc    len samples, linear, 14-bit range (-8192..8191): shift 16-bit PCM right by 2 first
 *  @param[out]    pDst    len codes, one a byte in the low bits; no overlap with pSrc
 *  @param[in]     len     count of samples; a negative count is no error and does nothing
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSizeErr: len is 0 */
QolStatus qolsEncode_G726_16s8u(QolsEncodeState_G726* pState, const Qol16s* pSrc, Qol8u* pDst,
                                Qol32s len) QOL_NOEXCEPT;

/** Decodes len codes (ITU-T G.726 §3), with the synchronous coding adjustment in the companded forms.
 *  @param[in,out] pState  record set by Init
 *  @param[in]     pSrc    len codes, one a byte in the low bits; bits above the rate's are ignored
 *  @param[out]    pDst    len elements: 14-bit linear samples, or PCM bytes in the low 8 bits (upper byte zero); no
 *                         overlap with pSrc
 *  @param[in]     len     count of codes; a negative count is no error and does nothing
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSizeErr: len is 0 */
QolStatus qolsDecode_G726_8u16s(QolsDecodeState_G726* pState, const Qol8u* pSrc, Qol16s* pDst,
                                Qol32s len) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
