/* SPDX-License-Identifier: Apache-2.0
 * Identity of the library. */
#ifndef QOLSC_VERSION_H
#define QOLSC_VERSION_H

#include "types.h"

/** Read-only version record, owned by the library. */
typedef struct {
    Qol32s major;          /**< 8 */
    Qol32s minor;          /**< 2 */
    Qol32s update;         /**< 1 */
    Qol32s build;          /**< build number */
    char targetCpu[4];     /**< "e9": AVX, zero-padded */
    const char* name;      /**< the library's name */
    const char* version;   /**< version as text */
    const char* buildDate; /**< date of the release as text */
} QolLibraryVersion;

#ifdef __cplusplus
extern "C" {
#endif

/** Identity of the loaded library.
 *  @return pointer to the one constant record; the same address at every call, never to be freed.
 */
const QolLibraryVersion* qolscGetLibVersion(void) QOL_NOEXCEPT;

/** Set once at load time: 1 when the processor and the operating system serve AVX, else 0. Nothing
 * depends on it. */
extern Qol32s qolJumpIndexForMergedDLL;

#ifdef __cplusplus
}
#endif

#endif
