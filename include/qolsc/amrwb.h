/* SPDX-License-Identifier: Apache-2.0
 * AMR wideband (3GPP TS 26.190, 26.192, 26.194). */
#ifndef QOLSC_AMRWB_H
#define QOLSC_AMRWB_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
