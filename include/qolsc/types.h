/* SPDX-License-Identifier: Apache-2.0
 * Element types of the interface. A trailing c is a complex pair, real part first. */
#ifndef QOLSC_TYPES_H
#define QOLSC_TYPES_H

#include <stdint.h>

typedef uint8_t Qol8u;   /**< unsigned 8 bits; also a coded sample or a companded PCM byte */
typedef int8_t Qol8s;    /**< signed 8 bits */
typedef int16_t Qol16s;  /**< signed 16 bits; samples, Q-format coefficients */
typedef uint16_t Qol16u; /**< unsigned 16 bits */
typedef int32_t Qol32s;  /**< signed 32 bits; accumulators, energies, autocorrelations */
typedef uint32_t Qol32u; /**< unsigned 32 bits; packed code words */
typedef int64_t Qol64s;  /**< signed 64 bits */
typedef uint64_t Qol64u; /**< unsigned 64 bits */
typedef float Qol32f;    /**< IEEE 754 single */
typedef double Qol64f;   /**< IEEE 754 double */

/** Complex pair of Qol16s. */
typedef struct {
    Qol16s re; /**< real part */
    Qol16s im; /**< imaginary part */
} Qol16sc;

/** Complex pair of Qol32s. */
typedef struct {
    Qol32s re; /**< real part */
    Qol32s im; /**< imaginary part */
} Qol32sc;

/** Complex pair of Qol32f. */
typedef struct {
    Qol32f re; /**< real part */
    Qol32f im; /**< imaginary part */
} Qol32fc;

/** Marks the interface as free of exceptions for C++ callers. */
#ifdef __cplusplus
#define QOL_NOEXCEPT noexcept
#else
#define QOL_NOEXCEPT
#endif

#endif
