/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.729.1 transform layer (TDAC): MDCT pair of 160 coefficients, spherical vector quantiser.
 *
 * The transform has the standard's definition, in block-scaled 16-bit arithmetic of our own. The
 * quantiser's leaders are not published as numbers: encoder and decoder here agree with each other,
 * but a stream made with them is not understood by other G.729.1 decoders. */
#ifndef QOLSC_G7291_H
#define QOLSC_G7291_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Forward MDCT: Y(k) = 1/320 sum over n = 0..319 of sqrt(2) sin(pi (n + 0.5)/320) x(n)
 *  cos(pi/160 (n + 80.5)(k + 0.5)), x the 160 old and then the 160 new samples.
 *  @param[in]  pSrc      160 elements, the new samples
 *  @param[in]  pSrcPrev  160 elements, the samples before
 *  @param[out] pDst      160 elements, Y with val fraction bits
 *  @param[out] pMem      160 elements, receives the new samples: the next call's pSrcPrev. May be
 *                        the array of pSrcPrev
 *  @param[in]  val       fraction bits of pDst, 0 to 15; pDst saturates
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsMDCTFwd_G7291_16s(const Qol16s* pSrc, const Qol16s* pSrcPrev, Qol32s* pDst,
                                Qol16s* pMem, int val) QOL_NOEXCEPT;

/** Inverse MDCT with overlap-add: the samples come out one block late.
 *  @param[in]     pSrc         160 elements, Y with scaleFactor fraction bits
 *  @param[in,out] pSrcDstMem   160 elements, cleared by the caller before the first block
 *  @param[out]    pDst         160 elements, samples
 *  @param[in]     scaleFactor  fraction bits of pSrc, 0 or more
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: scaleFactor < 0 */
QolStatus qolsMDCTInv_G7291_16s(const Qol16s* pSrc, Qol16s* pSrcDstMem, Qol16s* pDst,
                                int scaleFactor) QOL_NOEXCEPT;

/** Codes the direction of each sub-band: the nearest signed permutation of a leader vector.
 *  @param[in]  pSrc      280 elements, the spectrum: 17 bands of 16 coefficients and one of 8
 *  @param[in]  pSrcBits  18 elements, bits of each band. Dimension 16 knows 9, 14 and 16 to 32
 * bits, dimension 8 knows 7, 10 and 12 to 16; 0 skips the band, any other count uses the first
 * leader alone
 *  @param[out] pDst      18 elements, codes; 0 for a band that is skipped
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsMDCTQuantFwd_G7291_16s32u(const Qol16s* pSrc, const Qol16s* pSrcBits,
                                        Qol32u* pDst) QOL_NOEXCEPT;

/** Spectrum of the codes. A code beyond the last one decodes to the leader at position 10 with
 *  rank 21845 (21845 modulo 1024 in the last band).
 *  @param[in]  pSrc       18 elements, codes
 *  @param[in]  pSrcBits   18 elements; only whether they are 0 counts
 *  @param[in]  pSrcNorms  18 elements, root mean square of each band
 *  @param[out] pDst       320 elements, in the scale of the norms; 0 in skipped bands and from 280
 *                         on
 *  @return qolStsNoErr; qolStsNullPtrErr */
QolStatus qolsMDCTQuantInv_G7291_32u16s(const Qol32u* pSrc, const Qol16s* pSrcBits,
                                        const Qol16s* pSrcNorms, Qol16s* pDst) QOL_NOEXCEPT;

/** Post-processing of the decoded spectrum: weak bands are lowered by up to one half. Band j is
 *  multiplied by 0.5 + 0.5 norm(j)/(greatest norm).
 *  The standard's own factors are not published; this rule is ours.
 *  @param[in,out] pSrcDst    the spectrum, 16 elements a band, 8 in the 18th
 *  @param[in]     pSrcNorms  numBands elements, norms of the bands; negative ones count as 0, and
 *                            with no positive one nothing changes
 *  @param[in]     numBands   1 to 18
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr; qolStsSizeErr: numBands outside
 *          1..18 */
QolStatus qolsMDCTPostProcess_G7291_16s(Qol16s* pSrcDst, const Qol16s* pSrcNorms,
                                        Qol32s numBands) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
