/* SPDX-License-Identifier: Apache-2.0
 * ITU-T G.722 sub-band ADPCM, QMF and loss tools; G.722.1 transform coding. */
#ifndef QOLSC_G722_H
#define QOLSC_G722_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
