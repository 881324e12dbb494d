/* SPDX-License-Identifier: Apache-2.0
 * GSM AMR narrowband (3GPP TS 26.090, 26.092, 26.094). */
#ifndef QOLSC_AMR_H
#define QOLSC_AMR_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
