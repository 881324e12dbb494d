/* SPDX-License-Identifier: Apache-2.0
 * Speech-coding and voice-processing primitives: the whole public interface.
 *
 * Every function but qolscGetLibVersion returns a QolStatus. Arguments are checked first, in the
 * order that each function documents; on failure nothing is written and no state changes. All
 * memory belongs to the caller. */
#ifndef QOLSC_H
#define QOLSC_H

#include "qolsc/types.h"

#include "qolsc/status.h"

#include "qolsc/version.h"

/* One header per family, in the order of the entry list. */
#include "qolsc/amr.h"
#include "qolsc/amrwb.h"
#include "qolsc/common.h"
#include "qolsc/echo.h"
#include "qolsc/g722.h"
#include "qolsc/g723.h"
#include "qolsc/g726.h"
#include "qolsc/g728.h"
#include "qolsc/g729.h"
#include "qolsc/g7291.h"
#include "qolsc/gsmfr.h"
#include "qolsc/noise.h"
#include "qolsc/rta.h"

#endif
