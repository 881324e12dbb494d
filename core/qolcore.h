/* SPDX-License-Identifier: Apache-2.0
 * The core layer: what the library needs of the platform. */
#ifndef QOLCORE_H
#define QOLCORE_H

#include "qolsc/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Bits of the feature masks. */
enum {
    qolCpuMmx = 0x01,
    qolCpuSse2 = 0x02,
    qolCpuSsse3 = 0x04,
    qolCpuSse42 = 0x08,
    qolCpuAvx = 0x10,       /**< the processor has AVX */
    qolCpuAvxEnabled = 0x20 /**< the operating system saves the AVX registers */
};

/** Detects the processor's features by cpuid and xgetbv and keeps them.
 *  @param[out] pFeatures  mask of features present; may be null
 *  @param[out] pCpuid     the four registers of cpuid leaf 1; may be null
 *  @return 0 */
int qolGetCpuFeatures(Qol64u* pFeatures, Qol32u* pCpuid) QOL_NOEXCEPT;

/** Mask of features enabled for use: those present, detected on first need. */
Qol64u qolGetEnabledCpuFeatures(void) QOL_NOEXCEPT;

/** Size in bytes of the largest cache.
 *  @param[out] pSize  the size; untouched on failure
 *  @return 0, or -8 when pSize is null, or -1 when the size isn't known */
int qolGetMaxCacheSizeB(int* pSize) QOL_NOEXCEPT;

/** Allocates bytes aligned at 64; null when bytes is not positive or memory is out. */
void* qolMalloc(int bytes) QOL_NOEXCEPT;

/** Releases what qolMalloc gave; null is allowed. */
void qolFree(void* p) QOL_NOEXCEPT;

/** Number of threads that the library may use, from OpenMP's settings. */
int ownGetNumThreads(void) QOL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
