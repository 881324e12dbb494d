/* SPDX-License-Identifier: Apache-2.0
 * The floating-point RTA family: filters, QMF, codebook search, post-filter. */
#ifndef QOLSC_RTA_H
#define QOLSC_RTA_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
