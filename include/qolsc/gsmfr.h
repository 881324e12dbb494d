/* SPDX-License-Identifier: Apache-2.0
 * GSM full rate (ETSI EN 300 961). */
#ifndef QOLSC_GSMFR_H
#define QOLSC_GSMFR_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
