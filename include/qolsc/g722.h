/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.722 sub-band ADPCM, QMF and loss tools; G.722.1 transform coding.
 *
 * SAMPLE ALIGNMENT, the trap of G.722: the standard speaks of 14-bit PCM, files hold 16-bit words.
 *  - The QMF calls take and give 16-BIT samples: full scale is -32768..32767. A 14-bit sample has
 * to be shifted left by 2 first, and a 14-bit output is the result shifted right by 2.
 *  - The SBADPCM calls take and give 15-BIT band samples, -16384..16383, right-aligned: what the
 * QMF makes of full-scale input. Test words of G.722 Appendix II, which hold the sample in bits 15
 * to 1, have to be shifted right by 1. Nobody detects a wrong alignment: it only makes the codec 12
 * dB too quiet, or clips. */
#ifndef QOLSC_G722_H
#define QOLSC_G722_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Coder or decoder record of both bands; opaque. It may lie at any address: the size reported
 *  leaves room for alignment, so hand over the same pointer each time and don't copy the block to
 *  an address of other alignment. */
typedef struct QolsSBADPCMState_G722 QolsSBADPCMState_G722;

/** Memory of qolsFilterHighband_G722_16s_I; cleared by the caller before first use. */
typedef struct {
    Qol16s lastScaled; /**< last scaled input */
    Qol16s lastOut;    /**< last output */
} QolsFilterHighbandMem_G722;

/* ---- G.722: sub-band ADPCM ---- */

/** Size of the coder's record.
 *  @param[out] pSize  1 element, bytes (144)
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsSBADPCMEncodeStateSize_G722_16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Size of the decoder's record.
 *  @param[out] pSize  1 element, bytes (144)
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsSBADPCMDecodeStateSize_G722_16s(Qol32s* pSize) QOL_NOEXCEPT;

/** Sets the coder's record to the standard's reset (G.722 clause 3, RSS).
 *  @param[out] pState  144 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsSBADPCMEncodeInit_G722_16s(QolsSBADPCMState_G722* pState) QOL_NOEXCEPT;

/** Sets the decoder's record to the standard's reset.
 *  @param[out] pState  144 bytes
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsSBADPCMDecodeInit_G722_16s(QolsSBADPCMState_G722* pState) QOL_NOEXCEPT;

/** Codes band pairs (G.722 clauses 3.2 to 3.6). The octet on the line is high << 6 | low.
 *  @param[in]     pSrc    len elements: low- and high-band sample in turn, 15 BITS right-aligned
 *  @param[out]    pDst    len elements: 6-bit low-band and 2-bit high-band code in turn; may be
 * pSrc
 *  @param[in]     len     count of elements, 2 or more, even
 *  @param[in,out] pState  record from Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: len < 1 or odd */
QolStatus qolsSBADPCMEncode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                     QolsSBADPCMState_G722* pState) QOL_NOEXCEPT;

/** Decodes code pairs (G.722 clauses 4.1 to 4.3).
 *  @param[in]     pSrc    len elements: 6-bit low-band code (only bits 0 to 5 count) and 2-bit
 *                         high-band code (bits 0 and 1) in turn
 *  @param[out]    pDst    len elements: low- and high-band sample in turn, 15 BITS right-aligned;
 *                         may be pSrc
 *  @param[in]     len     count of elements, 2 or more, even
 *  @param[in]     mode    1: 64 kbit/s, 6-bit low band; 2: 56 kbit/s, the lowest bit of the low
 *                         code is other data; any other value: 48 kbit/s, the lowest two are
 *  @param[in,out] pState  record from Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: len < 1 or odd */
QolStatus qolsSBADPCMDecode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len, Qol16s mode,
                                     QolsSBADPCMState_G722* pState) QOL_NOEXCEPT;

/** Sets the decoder's memory after a concealed stretch (G.722 Appendix IV): the past signals from
 *  the concealment, the differences cleared, the adaptation of the higher band halved in the
 *  logarithmic domain, or both adaptations reset.
 *  @param[in]     pRecon     2 elements: the last two concealed low-band samples, the older first
 *  @param[in]     sl         prediction of the next low-band sample: the concealment's continuation
 *  @param[in]     resetFlag  not 0: the scale factors start again as after Init
 *  @param[in,out] pState     record
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsOutOfRangeErr: the high-band
 *          scale factor is outside its table (a forged record): the memory is set and the factor
 *          halved, nothing else */
QolStatus qolsSBADPCMDecodeStateUpdate_G722_16s(const Qol16s* pRecon, Qol16s sl, Qol32s resetFlag,
                                                QolsSBADPCMState_G722* pState) QOL_NOEXCEPT;

/* ---- G.722: quadrature mirror filters ---- */

/** Splits 16 kHz samples in two bands (G.722 clause 3.1).
 *  @param[in]     pSrc  len elements, 16-BIT samples (full scale -32768..32767)
 *  @param[out]    pDst  len elements: low- and high-band sample in turn, 15 bits; may be pSrc
 *  @param[in]     len   count of elements, 2 or more, even
 *  @param[in,out] pMem  24 elements, cleared by the caller before the first call, then handed over
 *                       unchanged
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: len < 1 or odd */
QolStatus qolsQMFEncode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                 Qol16s* pMem) QOL_NOEXCEPT;

/** Joins two bands to 16 kHz samples (G.722 clause 4.4).
 *  @param[in]     pSrc  len elements: low- and high-band sample in turn, 15 bits
 *  @param[out]    pDst  len elements, 16-BIT samples (full scale -32768..32767); may be pSrc
 *  @param[in]     len   count of elements, 2 or more, even
 *  @param[in,out] pMem  24 elements, as above; a memory of its own
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: len < 1 or odd */
QolStatus qolsQMFDecode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                 Qol16s* pMem) QOL_NOEXCEPT;

/* ---- G.722: loss tools (after ITU-T G.722 Appendix IV) ---- */

/** Class of the signal in front of a lost frame, and removal of outliers in its last pitch period.
 *  Classes: 0 voiced, 1 unvoiced, 2 transient, 3 weakly voiced, 4 voiced-unvoiced transition.
 *  @param[in,out] pSrcDst  2 lag elements, and 2 readable elements in front: the LP residual of the
 *                          last two pitch periods; outliers of the second are limited
 *  @param[in]     lag      pitch period, 0 to 143 samples at 8 kHz; only the low 16 bits count
 *  @param[in,out] pClass   1 element
 *  @param[in]     pState   the decoder's record
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsRangeErr: the low 16 bits of
 *          lag are above 143 */
QolStatus qolsClassifyFrame_G722_16s_I(Qol16s* pSrcDst, Qol32s lag, Qol32s* pClass,
                                       const QolsSBADPCMState_G722* pState) QOL_NOEXCEPT;

/** First-order high-pass with its zero at DC on the high-band samples, which stand at the odd
 *  positions; the even ones stay.
 *  @param[in,out] pSrcDst  len elements in band pairs; with an odd len one element more is
 *                          filtered
 *  @param[in]     len      count of elements, 1 or more
 *  @param[in,out] pMem     memory, cleared before first use
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsFilterHighband_G722_16s_I(Qol16s* pSrcDst, Qol32s len,
                                        QolsFilterHighbandMem_G722* pMem) QOL_NOEXCEPT;

/** Low-pass and decimation by 4.
 *  @param[in]  pSrc  len elements, and 5 readable elements in front
 *  @param[in]  len   count of elements, 1 or more
 *  @param[out] pDst  len/4 elements (none for len below 4)
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: len < 1 */
QolStatus qolsDownsampleFilter_G722_16s(const Qol16s* pSrc, Qol32s len, Qol16s* pDst) QOL_NOEXCEPT;

/* ---- G.722.1: modulated lapped transform ----
 * The forms with len take 320 (7 kHz) or 640 (14 kHz, Annex C); the others are fixed at 320. All
 * samples and coefficients are 16-bit integers with the block scaling of the caller. */

/** Windowing and folding in front of the DCT (G.722.1 clause 3.1).
 *  @param[in]     pSrc  len elements, new samples
 *  @param[in,out] pMem  len elements, the previous frame; takes the new one
 *  @param[out]    pDst  len elements
 *  @param[in]     len   320 or 640
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: any other len */
QolStatus qolsDecomposeMLTToDCT_G7221_16s(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst,
                                          Qol32s len) QOL_NOEXCEPT;

/** The same with len 320.
 *  @param[in]     pSrc  320 elements, new samples
 *  @param[in,out] pMem  320 elements, the previous frame; takes the new one
 *  @param[out]    pDst  320 elements
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsDecomposeMLTToDCT_G722_16s(const Qol16s* pSrc, Qol16s* pMem,
                                         Qol16s* pDst) QOL_NOEXCEPT;

/** Forward DCT of type IV in integer steps (G.722.1 clause 3.1); the 320-point form adds its bias first.
 *  @param[in]  pSrc  len elements
 *  @param[out] pDst  len elements; may be pSrc
 *  @param[in]  len   320 or 640
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: any other len */
QolStatus qolsDCTFwd_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len) QOL_NOEXCEPT;

/** The same with len 320.
 *  @param[in]  pSrc  320 elements
 *  @param[out] pDst  320 elements; may be pSrc
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsDCTFwd_G722_16s(const Qol16s* pSrc, Qol16s* pDst) QOL_NOEXCEPT;

/** Inverse DCT of type IV with the standard's dither (G.722.1 clause 4.6); the 320-point form adds its bias last.
 *  @param[in]  pSrc  len elements
 *  @param[out] pDst  len elements; may be pSrc
 *  @param[in]  len   320 or 640
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: any other len */
QolStatus qolsDCTInv_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len) QOL_NOEXCEPT;

/** The same with len 320.
 *  @param[in]  pSrc  320 elements
 *  @param[out] pDst  320 elements; may be pSrc
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsDCTInv_G722_16s(const Qol16s* pSrc, Qol16s* pDst) QOL_NOEXCEPT;

/** Unfolding, windowing and overlap-add behind the inverse DCT (G.722.1 clause 4.6).
 *  @param[in]     pSrc  len elements, DCT output
 *  @param[in,out] pMem  len/2 elements, kept for the next frame; cleared before the first
 *  @param[out]    pDst  len elements, samples
 *  @param[in]     len   320 or 640
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: any other len */
QolStatus qolsDecomposeDCTToMLT_G7221_16s(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst,
                                          Qol32s len) QOL_NOEXCEPT;

/** The same with len 320.
 *  @param[in]     pSrc  320 elements, DCT output
 *  @param[in,out] pMem  160 elements, kept for the next frame; cleared before the first
 *  @param[out]    pDst  320 elements, samples
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsDecomposeDCTToMLT_G722_16s(const Qol16s* pSrc, Qol16s* pMem,
                                         Qol16s* pDst) QOL_NOEXCEPT;

/* ---- G.722.1: scalar quantiser and vector Huffman coder ---- */

/** Quantises and codes one region of coefficients (G.722.1 clause 3.5).
 *  @param[in]  category   0 to 6
 *  @param[in]  rmsIndex   0 to 63, the region's standard deviation in steps of 3 dB, 24 is 1
 *  @param[in]  pSrc       20 elements
 *  @param[out] pCode      (*pBitCount + 31)/32 elements, 10 at most: the codes from the top bit
 *                         down, the rest of the last word 0
 *  @param[out] pBitCount  1 element
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsScaleRangeErr: category
 *          outside 0..6 or rmsIndex outside 0..63 */
QolStatus qolsHuffmanEncode_G722_16s32u(Qol32s category, Qol32s rmsIndex, const Qol16s* pSrc,
                                        Qol32u* pCode, Qol32s* pBitCount) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
