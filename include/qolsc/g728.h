/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.728 low-delay CELP. */
#ifndef QOLSC_G728_H
#define QOLSC_G728_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
