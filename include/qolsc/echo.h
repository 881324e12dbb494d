/* SPDX-License-Identifier: Apache-2.0
 * Echo cancellation: sub-band analysis and synthesis, adaptive filters, controllers, tone detection. */
#ifndef QOLSC_ECHO_H
#define QOLSC_ECHO_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Filter bank: windowed, folded real transform and its inverse with overlap-add
 *  A frame of frameSize samples becomes fftLen/2 + 1 complex sub-bands, fftLen = 2^order. Windows are built in for
 *  (order, frameSize, windowLen) = (5, 24, 128) and (6, 44, 256). Each direction of each signal needs a record of its
 *  own; records and work buffers lie at any address. @{ */

/** Record of the float bank. */
typedef struct QolsSubbandProcessState_32f QolsSubbandProcessState_32f;
/** Record of the fixed-point bank. */
typedef struct QolsSubbandProcessState_16s QolsSubbandProcessState_16s;

/** Sizes in bytes of the float bank's record, initialisation buffer and work buffer.
 *  @param[in]  order         base-2 logarithm of the transform's length, 1 or more
 *  @param[in]  windowLen     a multiple of 2^order
 *  @param[out] pStateSize    record
 *  @param[out] pInitBufSize  buffer of Init; may be 0
 *  @param[out] pBufSize      buffer of analysis and synthesis
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: order or windowLen below 1; qolStsNullPtrErr: a pointer
 *          is null; qolStsBadArgErr: windowLen no multiple of 2^order, or order above 29 */
QolStatus qolsSubbandProcessGetSize_32f(Qol32s order, Qol32s windowLen, Qol32s* pStateSize,
                                        Qol32s* pInitBufSize, Qol32s* pBufSize) QOL_NOEXCEPT;
/** Sizes in bytes of the fixed-point bank's record, initialisation buffer and work buffer.
 *  @param[in]  order         base-2 logarithm of the transform's length, 1 or more
 *  @param[in]  windowLen     a multiple of 2^order
 *  @param[out] pStateSize    record
 *  @param[out] pInitBufSize  buffer of Init; may be 0
 *  @param[out] pBufSize      buffer of analysis and synthesis
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: order or windowLen below 1; qolStsNullPtrErr: a
 *          pointer is null; qolStsBadArgErr: windowLen no multiple of 2^order, or order above 29 */
QolStatus qolsSubbandProcessGetSize_16s(Qol32s order, Qol32s windowLen, Qol32s* pStateSize,
                                        Qol32s* pInitBufSize, Qol32s* pBufSize) QOL_NOEXCEPT;

/** Builds the float bank's record and clears its delay line.
 *  @param[out] pState     record
 *  @param[in]  order      as for the size
 *  @param[in]  frameSize  samples of a frame, 1 to 2^order
 *  @param[in]  windowLen  as for the size
 *  @param[in]  pWindow    windowLen values, copied; null: the built-in window
 *  @param[in]  pInitBuf   buffer of the size told, free afterwards; may be null when that size is 0
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: order, frameSize or windowLen below 1, frameSize above
 *          2^order; qolStsNullPtrErr: pState is null; qolStsBadArgErr: windowLen no multiple of 2^order, or no window
 *          is built in; qolStsErr: the transform can't be built */
QolStatus qolsSubbandProcessInit_32f(QolsSubbandProcessState_32f* pState, Qol32s order,
                                     Qol32s frameSize, Qol32s windowLen, const Qol32f* pWindow,
                                     Qol8u* pInitBuf) QOL_NOEXCEPT;
/** Builds the fixed-point bank's record and clears its delay line.
 *  @param[out] pState     record
 *  @param[in]  order      as for the size
 *  @param[in]  frameSize  samples of a frame, 1 to 2^order
 *  @param[in]  windowLen  as for the size
 *  @param[in]  pWindow    windowLen values, Q13, copied; null: the built-in window
 *  @param[in]  pInitBuf   buffer of the size told, free afterwards; may be null when that size is 0
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: order, frameSize or windowLen below 1, frameSize above
 *          2^order; qolStsNullPtrErr: pState is null; qolStsBadArgErr: windowLen no multiple of 2^order, or no window
 *          is built in; qolStsErr: the transform can't be built */
QolStatus qolsSubbandProcessInit_16s(QolsSubbandProcessState_16s* pState, Qol32s order,
                                     Qol32s frameSize, Qol32s windowLen, const Qol16s* pWindow,
                                     Qol8u* pInitBuf) QOL_NOEXCEPT;

/** Analysis of a frame: delay line, window, fold, transform without scaling.
 *  @param[in]     pSrc    frameSize samples
 *  @param[out]    pDst    2^order/2 + 1 sub-bands
 *  @param[in,out] pState  record built by Init
 *  @param[in]     pBuf    work buffer
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null; qolStsErr: the transform fails, the delay line has then
 *          taken the frame */
QolStatus qolsSubbandAnalysis_32f32fc(const Qol32f* pSrc, Qol32fc* pDst,
                                      QolsSubbandProcessState_32f* pState,
                                      Qol8u* pBuf) QOL_NOEXCEPT;
/** The same in fixed point: products rounded to Q0 and saturated at every addition of the fold, sub-bands times
 *  2^-scaleFactor, rounded and saturated.
 *  @param[in]     pSrc         frameSize samples
 *  @param[out]    pDst         2^order/2 + 1 sub-bands
 *  @param[in,out] pState       record built by Init
 *  @param[in]     scaleFactor  right shift of the sub-bands
 *  @param[in]     pBuf         work buffer
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null; qolStsErr: the transform fails, the delay line has then
 *          taken the frame */
QolStatus qolsSubbandAnalysis_16s32sc_Sfs(const Qol16s* pSrc, Qol32sc* pDst,
                                          QolsSubbandProcessState_16s* pState, Qol32s scaleFactor,
                                          Qol8u* pBuf) QOL_NOEXCEPT;

/** Synthesis of a frame: inverse transform with 1/2^order, overlap-add with the reversed window.
 *  @param[in]     pSrc    2^order/2 + 1 sub-bands
 *  @param[out]    pDst    frameSize samples
 *  @param[in,out] pState  record built by Init
 *  @param[in]     pBuf    work buffer
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null; qolStsErr: the transform fails */
QolStatus qolsSubbandSynthesis_32fc32f(const Qol32fc* pSrc, Qol32f* pDst,
                                       QolsSubbandProcessState_32f* pState,
                                       Qol8u* pBuf) QOL_NOEXCEPT;
/** The same in fixed point; the transform's result times 2^-scaleFactor, rounded and saturated.
 *  @param[in]     pSrc         2^order/2 + 1 sub-bands
 *  @param[out]    pDst         frameSize samples
 *  @param[in,out] pState       record built by Init
 *  @param[in]     scaleFactor  right shift of the transform's result
 *  @param[in]     pBuf         work buffer
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null; qolStsErr: the transform fails */
QolStatus qolsSubbandSynthesis_32sc16s_Sfs(const Qol32sc* pSrc, Qol16s* pDst,
                                           QolsSubbandProcessState_16s* pState, Qol32s scaleFactor,
                                           Qol8u* pBuf) QOL_NOEXCEPT;

/** @} */

/** @name Filters in the sub-bands
 *  Row j of the history ppSrc is the frame j frames back, row j of the coefficients ppCoefs is tap j; a row has
 *  numSubbands elements. Time moves by rotating the caller's row pointers. numSegments is 1 to 255, numSubbands 1 to
 *  4097. Nothing is written when a call is refused. @{ */

/** Step size of a band: mantissa * 2^-exponent. */
typedef struct {
    Qol32s mantissa; /**< not negative */
    Qol32s exponent; /**< power of two by which the mantissa is divided */
} QolStepSize_EC;

/** Float filter: pDst[i] = sum over j of ppSrc[j][i] * ppCoefs[j][i].
 *  @param[in]  ppSrc        numSegments rows
 *  @param[in]  ppCoefs      numSegments rows
 *  @param[out] pDst         numSubbands sums
 *  @param[in]  numSegments  taps
 *  @param[in]  numSubbands  bands
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSubbandCountErr: numSubbands;
 *          qolStsRangeErr: numSegments */
QolStatus qolsFIRSubband_EC_32fc(const Qol32fc** ppSrc, const Qol32fc** ppCoefs, Qol32fc* pDst,
                                 Qol32s numSegments, Qol32s numSubbands) QOL_NOEXCEPT;
/** Fixed-point filter with saturating 64-bit sums; the sums times 2^-scaleFactor, towards zero, saturated.
 *  @param[in]  ppSrc        numSegments rows
 *  @param[in]  ppCoefs      numSegments rows
 *  @param[out] pDst         numSubbands sums
 *  @param[in]  numSegments  taps
 *  @param[in]  numSubbands  bands
 *  @param[in]  scaleFactor  -31 to 31
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSubbandCountErr:
 *          numSubbands; qolStsRangeErr: numSegments, scaleFactor */
QolStatus qolsFIRSubband_EC_32sc_Sfs(const Qol32sc** ppSrc, const Qol32sc** ppCoefs, Qol32sc* pDst,
                                     Qol32s numSegments, Qol32s numSubbands,
                                     Qol32s scaleFactor) QOL_NOEXCEPT;
/** Cheap fixed-point filter of the bands startSubband to numSubbands - 1: wrapping 64-bit sums, shifted right
 *  (floor), the low 32 bits kept. Elements of pDst below startSubband stay.
 *  @param[in]  ppSrc         numSegments rows
 *  @param[in]  ppCoefs       numSegments rows
 *  @param[in]  numSegments   taps
 *  @param[out] pDst          numSubbands sums, written from startSubband on
 *  @param[in]  startSubband  first band that is filtered, 0 to numSubbands
 *  @param[in]  numSubbands   bands
 *  @param[in]  scaleFactor   0 to 31
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: numSegments, or
 *          startSubband below 0 or above numSubbands; qolStsSubbandCountErr: numSubbands; qolStsRangeErr: scaleFactor */
QolStatus qolsFIRSubbandLow_EC_32sc_Sfs(const Qol32sc** ppSrc, const Qol32sc** ppCoefs,
                                        Qol32s numSegments, Qol32sc* pDst, Qol32s startSubband,
                                        Qol32s numSubbands, Qol32s scaleFactor) QOL_NOEXCEPT;

/** Float update by normalised least mean squares: ppCoefs[j][i] += conj(ppSrc[j][i]) * (pStepSize[i] * pError[i]).
 *  @param[in]     pStepSize    numSubbands step sizes, not negative
 *  @param[in]     ppSrc        numSegments rows
 *  @param[in]     pError       numSubbands errors
 *  @param[in,out] ppCoefs      numSegments rows
 *  @param[in]     numSegments  taps
 *  @param[in]     numSubbands  bands
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSubbandCountErr:
 *          numSubbands; qolStsRangeErr: numSegments; qolStsSizeErr: a step size below 0 */
QolStatus qolsFIRSubbandCoeffUpdate_EC_32fc_I(const Qol64f* pStepSize, const Qol32fc** ppSrc,
                                              const Qol32fc* pError, Qol32fc** ppCoefs,
                                              Qol32s numSegments, Qol32s numSubbands) QOL_NOEXCEPT;
/** Fixed-point update; the increments times 2^scaleFactor, coefficients saturated. The shift right is exponent -
 *  scaleFactor - 31 modulo 64, rounded from a shift by two on; one by one is cut.
 *  @param[in]     pStepSize    numSubbands step sizes, mantissas not negative
 *  @param[in]     ppSrc        numSegments rows
 *  @param[in]     pError       numSubbands errors
 *  @param[in,out] ppCoefs      numSegments rows
 *  @param[in]     numSegments  taps
 *  @param[in]     numSubbands  bands
 *  @param[in]     scaleFactor  0 to 31: fraction bits of the coefficients
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSubbandCountErr:
 *          numSubbands; qolStsRangeErr: numSegments, scaleFactor; qolStsSizeErr: a mantissa below 0 */
QolStatus qolsFIRSubbandCoeffUpdate_EC_32sc_I(const QolStepSize_EC* pStepSize,
                                              const Qol32sc** ppSrc, const Qol32sc* pError,
                                              Qol32sc** ppCoefs, Qol32s numSegments,
                                              Qol32s numSubbands, Qol32s scaleFactor) QOL_NOEXCEPT;
/** Cheap update of the bands startSubband to numSubbands - 1: as the full one, but coefficients wrap after a shift
 *  right, and signs of mantissas aren't looked at.
 *  @param[in]     ppSrc         numSegments rows
 *  @param[in]     pError        numSubbands errors
 *  @param[in,out] ppCoefs       numSegments rows
 *  @param[in]     numSegments   taps
 *  @param[out]    pTmp          numSubbands scaled errors, written from startSubband on
 *  @param[in]     pStepSize     numSubbands step sizes
 *  @param[in]     startSubband  first band that is updated, 0 to numSubbands
 *  @param[in]     numSubbands   bands
 *  @param[in]     scaleFactor   0 to 31: fraction bits of the coefficients
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: numSegments, or
 *          startSubband below 0 or above numSubbands; qolStsSubbandCountErr: numSubbands; qolStsRangeErr: scaleFactor */
QolStatus qolsFIRSubbandLowCoeffUpdate_EC_32sc_I(const Qol32sc** ppSrc, const Qol32sc* pError,
                                                 Qol32sc** ppCoefs, Qol32s numSegments,
                                                 Qol32sc* pTmp, const QolStepSize_EC* pStepSize,
                                                 Qol32s startSubband, Qol32s numSubbands,
                                                 Qol32s scaleFactor) QOL_NOEXCEPT;
/** Float update over apOrder frames in the manner of affine projection: ppCoefs[j][i] += 1/apOrder * sum over k of
 *  conj(ppSrc[j+k][i]) * ppError[k][i] * ppStepSize[k][i].
 *  @param[in]     ppStepSize   apOrder rows
 *  @param[in]     ppSrc        numSegments + apOrder - 1 rows
 *  @param[in]     ppError      apOrder rows
 *  @param[in,out] ppCoefs      numSegments rows
 *  @param[in]     numSegments  taps
 *  @param[in]     numSubbands  bands
 *  @param[in]     apOrder      1 or more
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsSubbandCountErr:
 *          numSubbands; qolStsRangeErr: numSegments, or apOrder 0 */
QolStatus qolsFIRSubbandAPCoeffUpdate_EC_32fc_I(const Qol64f** ppStepSize, const Qol32fc** ppSrc,
                                                const Qol32fc** ppError, Qol32fc** ppCoefs,
                                                Qol32u numSegments, Qol32u numSubbands,
                                                Qol32u apOrder) QOL_NOEXCEPT;

/** @} */

/** @name Controllers of the sub-band canceller
 *  Per frame: Update gives the step sizes, then the caller adapts the coefficients, then the controller proper
 *  compares the adaptive and the fixed filter band by band, copies coefficients one way or the other and gives the
 *  factor for residual suppression. Records lie at any address. @{ */

/** Record of the float controller. */
typedef struct QolsSubbandControllerState_EC_32f QolsSubbandControllerState_EC_32f;
/** Record of the fixed-point controller. */
typedef struct QolsSubbandControllerState_EC_16s QolsSubbandControllerState_EC_16s;

/** Size of the float controller's record, 16 * numSubbands + 112.
 *  @param[in]  numSubbands  bands, 1 or more
 *  @param[in]  frameSize    samples of a frame, 1 or more
 *  @param[in]  numSegments  taps per band, 1 or more
 *  @param[in]  sampleFreq   8000 or 16000
 *  @param[out] pSize        bytes
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: a count below 1; qolStsRangeErr: sampleFreq;
 *          qolStsNullPtrErr: pSize is null */
QolStatus qolsSubbandControllerGetSize_EC_32f(Qol32s numSubbands, Qol32s frameSize,
                                              Qol32s numSegments, Qol32s sampleFreq,
                                              Qol32s* pSize) QOL_NOEXCEPT;
/** Size of the fixed-point controller's record.
 *  @param[in]  numSubbands  bands, 1 or more
 *  @param[in]  frameSize    samples of a frame, 1 or more
 *  @param[in]  numSegments  taps per band, 1 or more
 *  @param[in]  sampleFreq   8000 or 16000
 *  @param[out] pSize        bytes
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: a count below 1; qolStsRangeErr: sampleFreq;
 *          qolStsNullPtrErr: pSize is null */
QolStatus qolsSubbandControllerGetSize_EC_16s(Qol32s numSubbands, Qol32s frameSize,
                                              Qol32s numSegments, Qol32s sampleFreq,
                                              Qol32s* pSize) QOL_NOEXCEPT;
/** Builds the float controller's record.
 *  @param[out] pState       record of the queried size
 *  @param[in]  numSubbands  bands, 1 or more
 *  @param[in]  frameSize    samples of a frame, 1 or more
 *  @param[in]  numSegments  taps per band, 1 or more
 *  @param[in]  sampleFreq   8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: a count below 1; qolStsRangeErr: sampleFreq;
 *          qolStsNullPtrErr: pState is null */
QolStatus qolsSubbandControllerInit_EC_32f(QolsSubbandControllerState_EC_32f* pState,
                                           Qol32s numSubbands, Qol32s frameSize, Qol32s numSegments,
                                           Qol32s sampleFreq) QOL_NOEXCEPT;
/** Builds the fixed-point controller's record.
 *  @param[out] pState       record of the queried size
 *  @param[in]  numSubbands  bands, 1 or more
 *  @param[in]  frameSize    samples of a frame, 1 or more
 *  @param[in]  numSegments  taps per band, 1 or more
 *  @param[in]  sampleFreq   8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: a count below 1; qolStsRangeErr: sampleFreq;
 *          qolStsNullPtrErr: pState is null */
QolStatus qolsSubbandControllerInit_EC_16s(QolsSubbandControllerState_EC_16s* pState,
                                           Qol32s numSubbands, Qol32s frameSize, Qol32s numSegments,
                                           Qol32s sampleFreq) QOL_NOEXCEPT;
/** After a change of the echo path: clears the error powers and coefficient energies, nothing else.
 *  @param[in,out] pState  record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus qolsSubbandControllerReset_EC_32f(QolsSubbandControllerState_EC_32f* pState) QOL_NOEXCEPT;
/** The same for the fixed-point controller.
 *  @param[in,out] pState  record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus qolsSubbandControllerReset_EC_16s(QolsSubbandControllerState_EC_16s* pState) QOL_NOEXCEPT;

/** Float step sizes learningRate / power of the history, or a small constant below a floor of the power.
 *  @param[in]     ppSrc         numSegments rows of history; the newest and the oldest are read
 *  @param[in]     pError        numSubbands errors; may be null
 *  @param[out]    pStepSize     numSubbands step sizes
 *  @param[in,out] pState        record built by Init
 *  @param[in]     learningRate  0 to 1
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: ppSrc, pStepSize or pState is null; qolStsRangeErr:
 *          learningRate */
QolStatus qolsSubbandAPControllerUpdate_EC_32f(const Qol32fc** ppSrc, const Qol32fc* pError,
                                               Qol64f* pStepSize,
                                               QolsSubbandControllerState_EC_32f* pState,
                                               Qol32f learningRate) QOL_NOEXCEPT;
/** The same with a learning rate of 0.5.
 *  @param[in]     pSrcRef1   must not be null; never read
 *  @param[in]     pSrcRef2   must not be null; never read
 *  @param[in]     ppSrc      numSegments rows of history; the newest and the oldest are read
 *  @param[in]     pError     numSubbands errors; may be null
 *  @param[out]    pStepSize  numSubbands step sizes
 *  @param[in,out] pState     record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer other than pError is null */
QolStatus qolsSubbandControllerUpdate_EC_32f(const Qol32fc* pSrcRef1, const Qol32fc* pSrcRef2,
                                             const Qol32fc** ppSrc, const Qol32fc* pError,
                                             Qol64f* pStepSize,
                                             QolsSubbandControllerState_EC_32f* pState)
    QOL_NOEXCEPT;
/** Fixed-point step sizes, with a learning rate of 0.5.
 *  @param[in]     pSrcRef1   must not be null; never read
 *  @param[in]     pSrcRef2   must not be null; never read
 *  @param[in]     ppSrc      numSegments rows of history; the newest and the oldest are read
 *  @param[in]     pError     numSubbands errors; may be null
 *  @param[out]    pStepSize  numSubbands step sizes
 *  @param[in,out] pState     record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer other than pError is null */
QolStatus qolsSubbandControllerUpdate_EC_16s(const Qol32sc* pSrcRef1, const Qol32sc* pSrcRef2,
                                             const Qol32sc** ppSrc, const Qol32sc* pError,
                                             QolStepSize_EC* pStepSize,
                                             QolsSubbandControllerState_EC_16s* pState)
    QOL_NOEXCEPT;

/** Saves an adaptive filter that has settled and is clearly better into the fixed one, puts the fixed one back where
 *  the adaptive one is worse, band by band; derives the factor of the frame.
 *  @param[in]     pSrcAdaptiveErr  numSubbands errors of the adaptive filter
 *  @param[in]     pSrcFixedErr     numSubbands errors of the fixed filter
 *  @param[in,out] ppAdaptiveCoefs  numSegments rows
 *  @param[in,out] ppFixedCoefs     numSegments rows
 *  @param[out]    pDstGain         factor, 0 to 1
 *  @param[in,out] pState           record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsSubbandController_EC_32f(const Qol32fc* pSrcAdaptiveErr, const Qol32fc* pSrcFixedErr,
                                       Qol32fc** ppAdaptiveCoefs, Qol32fc** ppFixedCoefs,
                                       Qol32f* pDstGain,
                                       QolsSubbandControllerState_EC_32f* pState) QOL_NOEXCEPT;
/** The same in fixed point.
 *  @param[in]     pSrcAdaptiveErr  numSubbands errors of the adaptive filter
 *  @param[in]     pSrcFixedErr     numSubbands errors of the fixed filter
 *  @param[in,out] ppAdaptiveCoefs  numSegments rows
 *  @param[in,out] ppFixedCoefs     numSegments rows
 *  @param[out]    pDstGain         factor, Q15, 0 to 32767
 *  @param[in,out] pState           record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsSubbandController_EC_16s(const Qol32sc* pSrcAdaptiveErr, const Qol32sc* pSrcFixedErr,
                                       Qol32sc** ppAdaptiveCoefs, Qol32sc** ppFixedCoefs,
                                       Qol16s* pDstGain,
                                       QolsSubbandControllerState_EC_16s* pState) QOL_NOEXCEPT;

/** @} */

/** @name Fixed-point sub-band controller with double-talk detection
 *  Detects near-end speech per band and for the frame, slows adaptation by the exponents of the step sizes, and saves
 *  and restores all bands at once. The record must be aligned at 8 bytes. @{ */

/** Record of the controller with double-talk detection. */
typedef struct QolsSubbandControllerDTState_EC_16s QolsSubbandControllerDTState_EC_16s;

/** Size of the double-talk controller's record.
 *  @param[in]  numSubbands  bands, 1 or more
 *  @param[in]  frameSize    samples of a frame, 1 or more
 *  @param[in]  numSegments  taps per band, 1 or more
 *  @param[in]  sampleFreq   8000 or 16000
 *  @param[out] pSize        bytes
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: a count below 1; qolStsRangeErr: sampleFreq;
 *          qolStsNullPtrErr: pSize is null */
QolStatus qolsSubbandControllerDTGetSize_EC_16s(Qol32s numSubbands, Qol32s frameSize,
                                                Qol32s numSegments, Qol32s sampleFreq,
                                                Qol32s* pSize) QOL_NOEXCEPT;
/** Builds the double-talk controller's record.
 *  @param[out] pState       record of the queried size, aligned at 8
 *  @param[in]  numSubbands  bands, 1 or more
 *  @param[in]  frameSize    samples of a frame, 1 or more
 *  @param[in]  numSegments  taps per band, 1 or more
 *  @param[in]  sampleFreq   8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsBadArgErr: a count below 1; qolStsRangeErr: sampleFreq;
 *          qolStsNullPtrErr: pState is null */
QolStatus qolsSubbandControllerDTInit_EC_16s(QolsSubbandControllerDTState_EC_16s* pState,
                                             Qol32s numSubbands, Qol32s frameSize,
                                             Qol32s numSegments, Qol32s sampleFreq) QOL_NOEXCEPT;
/** Puts everything but the four arguments back to its initial value.
 *  @param[in,out] pState  record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus
qolsSubbandControllerDTReset_EC_16s(QolsSubbandControllerDTState_EC_16s* pState) QOL_NOEXCEPT;

/** Step sizes and double-talk detection of a frame.
 *  @param[in]     ppSrc         far-end history; the newest row is read
 *  @param[in]     pSrcNear      numSubbands near-end sub-bands
 *  @param[in]     pError        numSubbands errors of the adaptive filter
 *  @param[out]    pStepSize     numSubbands step sizes, written from startSubband on
 *  @param[in,out] pDoubleTalk   in: the caller's view of the last frame, out: 1 for double talk in this one
 *  @param[out]    pLowBandFlag  1 when at least 5 of the bands 0 to 9 are in double talk
 *  @param[in]     startSubband  first band in use, 0 to numSubbands
 *  @param[in,out] pState        record built by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: startSubband */
QolStatus qolsSubbandControllerDTUpdate_EC_16s(const Qol32sc** ppSrc, const Qol32sc* pSrcNear,
                                               const Qol32sc* pError, QolStepSize_EC* pStepSize,
                                               Qol32s* pDoubleTalk, Qol32s* pLowBandFlag,
                                               Qol32s startSubband,
                                               QolsSubbandControllerDTState_EC_16s* pState)
    QOL_NOEXCEPT;
/** Saves and restores coefficients, all bands at once.
 *  @param[in]     pSrcAdaptiveErr  numSubbands errors of the adaptive filter
 *  @param[in]     pSrcFixedErr     numSubbands errors of the fixed filter
 *  @param[in,out] ppAdaptiveCoefs  numSegments rows
 *  @param[in,out] ppFixedCoefs     numSegments rows
 *  @param[in,out] pLevel           reference level that belongs to the coefficients, saved and put back with them
 *  @param[out]    pResult          0 nothing moved, -1 saved into the fixed filter, 1 put back into the adaptive one
 *  @param[in]     valLevel         level of this frame, of the kind of *pLevel
 *  @param[in]     updatePower      non-zero: follow the error powers and act on them
 *  @param[in]     keepCoefs        zero: a valLevel below 1 ends the call, and double talk restores
 *  @param[in]     startSubband     first band whose error counts, 0 to numSubbands
 *  @param[in,out] pState           record built by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsRangeErr: startSubband */
QolStatus qolsSubbandControllerDT_EC_16s(const Qol32sc* pSrcAdaptiveErr,
                                         const Qol32sc* pSrcFixedErr, Qol32sc** ppAdaptiveCoefs,
                                         Qol32sc** ppFixedCoefs, Qol64s* pLevel, Qol32s* pResult,
                                         Qol64s valLevel, Qol32s updatePower, Qol32s keepCoefs,
                                         Qol32s startSubband,
                                         QolsSubbandControllerDTState_EC_16s* pState) QOL_NOEXCEPT;

/** @} */

/** @name Full-band canceller: a transversal filter of numTaps real coefficients on the samples
 *  The far-end pSrc must be readable numTaps samples before its start. Records lie at any address. @{ */

/** Record of the float full-band controller, 72 bytes. */
typedef struct QolsFullbandControllerState_EC_32f QolsFullbandControllerState_EC_32f;
/** Record of the fixed-point full-band controller, 96 bytes. */
typedef struct QolsFullbandControllerState_EC_16s QolsFullbandControllerState_EC_16s;

/** Filters: pDst[n] = pSrcRef[n] - sum over k of pSrc[n-k] * pCoeffs[k].
 *  @param[in]  pSrc     len samples of the far end, numTaps - 1 before them
 *  @param[in]  pSrcRef  len samples of the near end
 *  @param[out] pDst     len errors; may be pSrcRef
 *  @param[in]  len      1 or more
 *  @param[in]  pCoeffs  numTaps coefficients
 *  @param[in]  numTaps  1 or more
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsBadArgErr: len or numTaps */
QolStatus qolsFIR_EC_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, Qol32s len,
                         const Qol32f* pCoeffs, Qol32s numTaps) QOL_NOEXCEPT;
/** The same in fixed point, every product rounded to Q0.
 *  @param[in]  pSrc     len samples of the far end, numTaps - 1 before them
 *  @param[in]  pSrcRef  len samples of the near end
 *  @param[out] pDst     len errors; may be pSrcRef
 *  @param[in]  len      1 or more
 *  @param[in]  pCoeffs  numTaps coefficients, Q15
 *  @param[in]  numTaps  1 or more
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsBadArgErr: len or numTaps */
QolStatus qolsFIR_EC_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, Qol32s len,
                         const Qol16s* pCoeffs, Qol32s numTaps) QOL_NOEXCEPT;

/** Adapts by normalised least mean squares and filters. The update for a sample is made with the next one; that of
 *  the last sample waits in *pErr.
 *  @param[in]     pSrc       len samples of the far end, numTaps before them
 *  @param[in]     pSrcRef    len samples of the near end
 *  @param[in]     pStepSize  len step sizes
 *  @param[out]    pDst       len errors
 *  @param[in]     len        1 or more
 *  @param[in,out] pCoeffs    numTaps coefficients
 *  @param[in]     numTaps    1 or more
 *  @param[in,out] pErr       scaled error of the last sample, 0 at the start
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsBadArgErr: len or numTaps */
QolStatus qolsNLMS_EC_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, const Qol32f* pStepSize,
                          Qol32f* pDst, Qol32s len, Qol32f* pCoeffs, Qol32s numTaps,
                          Qol32f* pErr) QOL_NOEXCEPT;
/** The same in fixed point.
 *  @param[in]     pSrc       len samples of the far end, numTaps before them
 *  @param[in]     pSrcRef    len samples of the near end
 *  @param[in]     pStepSize  len step sizes, Q30 over the far end's energy / 2^8
 *  @param[out]    pDst       len errors
 *  @param[in]     len        1 or more
 *  @param[in,out] pCoeffs    numTaps coefficients, Q15
 *  @param[in]     numTaps    1 or more
 *  @param[in,out] pErr       scaled error of the last sample, 0 at the start
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsBadArgErr: len or numTaps */
QolStatus qolsNLMS_EC_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, const Qol32s* pStepSize,
                          Qol16s* pDst, Qol32s len, Qol16s* pCoeffs, Qol32s numTaps,
                          Qol16s* pErr) QOL_NOEXCEPT;

/** Size of the float controller's record.
 *  @param[in]  frameSize   samples of a frame, 1 or more
 *  @param[in]  numTaps     taps, 1 or more
 *  @param[in]  sampleFreq  8000 or 16000
 *  @param[out] pSize       72, in bytes
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pSize is null; qolStsBadArgErr: a count below 1;
 *          qolStsRangeErr: sampleFreq */
QolStatus qolsFullbandControllerGetSize_EC_32f(Qol32s frameSize, Qol32s numTaps, Qol32s sampleFreq,
                                               Qol32s* pSize) QOL_NOEXCEPT;
/** Size of the fixed-point controller's record.
 *  @param[in]  frameSize   samples of a frame, 1 or more
 *  @param[in]  numTaps     taps, 1 or more
 *  @param[in]  sampleFreq  8000 or 16000
 *  @param[out] pSize       96, in bytes
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pSize is null; qolStsBadArgErr: a count below 1;
 *          qolStsRangeErr: sampleFreq */
QolStatus qolsFullbandControllerGetSize_EC_16s(Qol32s frameSize, Qol32s numTaps, Qol32s sampleFreq,
                                               Qol32s* pSize) QOL_NOEXCEPT;
/** Builds the float controller's record.
 *  @param[out] pState      record of 72 bytes
 *  @param[in]  frameSize   samples of a frame, 1 or more
 *  @param[in]  numTaps     taps, 1 or more
 *  @param[in]  sampleFreq  8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsBadArgErr: a count below 1;
 *          qolStsRangeErr: sampleFreq */
QolStatus qolsFullbandControllerInit_EC_32f(QolsFullbandControllerState_EC_32f* pState,
                                            Qol32s frameSize, Qol32s numTaps,
                                            Qol32s sampleFreq) QOL_NOEXCEPT;
/** Builds the fixed-point controller's record.
 *  @param[out] pState      record of 96 bytes
 *  @param[in]  frameSize   samples of a frame, 1 or more
 *  @param[in]  numTaps     taps, 1 or more
 *  @param[in]  sampleFreq  8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsBadArgErr: a count below 1;
 *          qolStsRangeErr: sampleFreq */
QolStatus qolsFullbandControllerInit_EC_16s(QolsFullbandControllerState_EC_16s* pState,
                                            Qol32s frameSize, Qol32s numTaps,
                                            Qol32s sampleFreq) QOL_NOEXCEPT;
/** Clears the error powers and the coefficient energy.
 *  @param[in,out] pState  record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus
qolsFullbandControllerReset_EC_32f(QolsFullbandControllerState_EC_32f* pState) QOL_NOEXCEPT;
/** The same for the fixed-point controller.
 *  @param[in,out] pState  record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: pState is null */
QolStatus
qolsFullbandControllerReset_EC_16s(QolsFullbandControllerState_EC_16s* pState) QOL_NOEXCEPT;

/** Step sizes of a frame.
 *  @param[in]     pSrc       frameSize samples of the far end, numTaps before them
 *  @param[in]     pSrcRef    frameSize samples of the near end
 *  @param[out]    pStepSize  frameSize step sizes
 *  @param[in,out] pState     record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFullbandControllerUpdate_EC_32f(const Qol32f* pSrc, const Qol32f* pSrcRef,
                                              Qol32f* pStepSize,
                                              QolsFullbandControllerState_EC_32f* pState)
    QOL_NOEXCEPT;
/** The same in fixed point.
 *  @param[in]     pSrc       frameSize samples of the far end, numTaps before them
 *  @param[in]     pSrcRef    frameSize samples of the near end
 *  @param[out]    pStepSize  frameSize step sizes, Q30 over the far end's energy / 2^8
 *  @param[in,out] pState     record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFullbandControllerUpdate_EC_16s(const Qol16s* pSrc, const Qol16s* pSrcRef,
                                              Qol32s* pStepSize,
                                              QolsFullbandControllerState_EC_16s* pState)
    QOL_NOEXCEPT;

/** Saves the adaptive coefficients into the fixed filter or puts the fixed ones back, derives the frame's factor.
 *  @param[in]     pSrcAdaptiveErr  frameSize errors of the adaptive filter
 *  @param[in]     pSrcFixedErr     frameSize errors of the fixed filter
 *  @param[in,out] pAdaptiveCoefs   numTaps coefficients
 *  @param[in,out] pFixedCoefs      numTaps coefficients
 *  @param[out]    pDstGain         factor, 0 to 1
 *  @param[in,out] pState           record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFullbandController_EC_32f(const Qol32f* pSrcAdaptiveErr, const Qol32f* pSrcFixedErr,
                                        Qol32f* pAdaptiveCoefs, Qol32f* pFixedCoefs,
                                        Qol32f* pDstGain,
                                        QolsFullbandControllerState_EC_32f* pState) QOL_NOEXCEPT;
/** The same in fixed point.
 *  @param[in]     pSrcAdaptiveErr  frameSize errors of the adaptive filter
 *  @param[in]     pSrcFixedErr     frameSize errors of the fixed filter
 *  @param[in,out] pAdaptiveCoefs   numTaps coefficients, Q15
 *  @param[in,out] pFixedCoefs      numTaps coefficients, Q15
 *  @param[out]    pDstGain         factor, Q15
 *  @param[in,out] pState           record built by Init
 *  @return qolStsNoErr; qolStsNullPtrErr: a pointer is null */
QolStatus qolsFullbandController_EC_16s(const Qol16s* pSrcAdaptiveErr, const Qol16s* pSrcFixedErr,
                                        Qol16s* pAdaptiveCoefs, Qol16s* pFixedCoefs,
                                        Qol16s* pDstGain,
                                        QolsFullbandControllerState_EC_16s* pState) QOL_NOEXCEPT;

/** @} */

/** @name Detection of the 2100 Hz tone with phase reversals that disables echo cancellers (ITU-T G.165, G.168)
 *  Records lie at any address. @{ */

/** Record of the float detector, 80 bytes. */
typedef struct QolsToneDetectState_EC_32f QolsToneDetectState_EC_32f;
/** Record of the fixed-point detector, 72 bytes. */
typedef struct QolsToneDetectState_EC_16s QolsToneDetectState_EC_16s;

/** Size of the float detector's record.
 *  @param[in]  sampleFreq  8000 or 16000
 *  @param[out] pSize       80, in bytes
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pSize is null; qolStsRangeErr: sampleFreq */
QolStatus qolsToneDetectGetStateSize_EC_32f(Qol32s sampleFreq, Qol32s* pSize) QOL_NOEXCEPT;
/** Size of the fixed-point detector's record.
 *  @param[in]  sampleFreq  8000 or 16000
 *  @param[out] pSize       72, in bytes
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pSize is null; qolStsRangeErr: sampleFreq */
QolStatus qolsToneDetectGetStateSize_EC_16s(Qol32s sampleFreq, Qol32s* pSize) QOL_NOEXCEPT;
/** Builds the float detector's record.
 *  @param[out] pState      record of 80 bytes
 *  @param[in]  sampleFreq  8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: sampleFreq */
QolStatus qolsToneDetectInit_EC_32f(QolsToneDetectState_EC_32f* pState,
                                    Qol32s sampleFreq) QOL_NOEXCEPT;
/** Builds the fixed-point detector's record.
 *  @param[out] pState      record of 72 bytes
 *  @param[in]  sampleFreq  8000 or 16000
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: pState is null; qolStsRangeErr: sampleFreq */
QolStatus qolsToneDetectInit_EC_16s(QolsToneDetectState_EC_16s* pState,
                                    Qol32s sampleFreq) QOL_NOEXCEPT;
/** Watches len samples.
 *  @param[in]     pSrc     len samples on the scale of 16-bit linear ones
 *  @param[in]     len      1 or more
 *  @param[out]    pResult  1 when a reversal within these samples was the second or a further one, else 0
 *  @param[in,out] pState   record built by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsBadArgErr: len */
QolStatus qolsToneDetect_EC_32f(const Qol32f* pSrc, Qol32s len, Qol32s* pResult,
                                QolsToneDetectState_EC_32f* pState) QOL_NOEXCEPT;
/** The same in fixed point. Any weak output counts as a dip here, so that silence ends the count.
 *  @param[in]     pSrc     len samples of 16 bits
 *  @param[in]     len      1 or more
 *  @param[out]    pResult  1 when a reversal within these samples was the second or a further one, else 0
 *  @param[in,out] pState   record built by Init
 *  @return qolStsNoErr; in the order checked: qolStsNullPtrErr: a pointer is null; qolStsBadArgErr: len */
QolStatus qolsToneDetect_EC_16s(const Qol16s* pSrc, Qol32s len, Qol32s* pResult,
                                QolsToneDetectState_EC_16s* pState) QOL_NOEXCEPT;

/** @} */

#ifdef __cplusplus
}
#endif

#endif
