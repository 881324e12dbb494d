/* SPDX-License-Identifier: Apache-2.0
 * Echo cancellation: sub-band analysis, adaptive filters, controllers, tone detection. */
#ifndef QOLSC_ECHO_H
#define QOLSC_ECHO_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
