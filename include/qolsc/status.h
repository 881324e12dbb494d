/* SPDX-License-Identifier: Apache-2.0
 * Status values. Zero is success, negative a failure (nothing written), positive a warning (result
 * usable). */
#ifndef QOLSC_STATUS_H
#define QOLSC_STATUS_H

#include "types.h"

/** Result of every function but qolscGetLibVersion: one of the values below. */
typedef Qol32s QolStatus;

enum {
    qolStsSubbandCountErr = -119, /**< the count of sub-bands is below 1 or above 4097 */
    qolStsLevinsonOrderErr =
        -117, /**< the recursion met an ill-conditioned matrix below its minimum order */
    qolStsShiftErr = -32, /**< negative shift count */
    qolStsThreshNegLevelErr =
        -19, /**< a threshold level is negative where only a magnitude makes sense */
    qolStsThresholdErr = -18,    /**< the lower threshold exceeds the upper one */
    qolStsContextMatchErr = -17, /**< a transform record's identifier is not the one expected */
    qolStsFftFlagErr = -16,      /**< the transform's normalisation flag is none of 1, 2, 4, 8 */
    qolStsFftOrderErr = -15,     /**< the transform's order is negative or above 29 */
    qolStsScaleRangeErr = -13,   /**< a scale factor or exponent outside the accepted bounds */
    qolStsLsfRangeErr = -12,     /**< a negative line spectral frequency */
    qolStsOutOfRangeErr =
        -11,                /**< a value in data or state leaves the range that the tables cover */
    qolStsMemAllocErr = -9, /**< an internal buffer could not be allocated */
    qolStsNullPtrErr = -8,  /**< a required pointer is null */
    qolStsRangeErr = -7,    /**< a parameter outside its numeric range */
    qolStsSizeErr = -6,     /**< a length or count is zero, negative or above the bound */
    qolStsBadArgErr = -5,   /**< an argument outside the closed set of known values */
    qolStsErr = -2,         /**< an inner transform call failed */
    qolStsNoErr = 0,        /**< success */
    qolStsNoOperation = 1,  /**< the combination of arguments is recognised but not served */
    qolStsSingularity = 4,  /**< a zero element met at level 0, serial path */
    qolStsDivByZero = 6,    /**< a zero element met at level 0, threaded path */
    qolStsLnZeroArg = 7,    /**< logarithm of zero */
    qolStsLnNegArg = 8,     /**< logarithm of a negative number */
    qolStsOverflow = 12,    /**< overflow; the output is saturated or absent as the function says */
    qolStsLsfLowBound = 13, /**< a decoded LSF vector was pulled up to its lower bound */
    qolStsLsfHighBound = 14, /**< a decoded LSF vector was pulled down to its upper bound */
    qolStsLsfBothBounds = 15 /**< both of the above */
};

#endif
