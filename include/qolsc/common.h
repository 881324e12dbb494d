/* SPDX-License-Identifier: Apache-2.0
 * Correlation, convolution, lag search, LP filters and scaled arithmetic that all families share.
 */
#ifndef QOLSC_COMMON_H
#define QOLSC_COMMON_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
