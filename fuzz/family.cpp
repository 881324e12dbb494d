// SPDX-License-Identifier: Apache-2.0
// One target: the family that the build names.
#include "engine.h"

const char* const kFuzzFamily = QOLSC_FUZZ_FAMILY;
const char* const kFuzzPattern = QOLSC_FUZZ_PATTERN;
