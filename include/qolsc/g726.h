/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.726 ADPCM. */
#ifndef QOLSC_G726_H
#define QOLSC_G726_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
