/* SPDX-License-Identifier: Apache-2.0
 * Noise filter of the echo-canceller path and automatic level control (ITU-T G.169). */
#ifndef QOLSC_NOISE_H
#define QOLSC_NOISE_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
