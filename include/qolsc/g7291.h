/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.729.1 transform layer. */
#ifndef QOLSC_G7291_H
#define QOLSC_G7291_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
