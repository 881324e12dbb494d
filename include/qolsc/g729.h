/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.729 and its annexes A, B, D, E and I. */
#ifndef QOLSC_G729_H
#define QOLSC_G729_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
