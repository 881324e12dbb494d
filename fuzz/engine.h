// SPDX-License-Identifier: Apache-2.0
// What a fuzz target tells the engine.
#pragma once

extern const char* const kFuzzFamily;  ///< directory below tests/data whose recorded calls are changed
extern const char* const kFuzzPattern; ///< expression that the names of the family's exports match
