/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.723.1 excitation search. */
#ifndef QOLSC_G723_H
#define QOLSC_G723_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
