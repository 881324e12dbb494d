// SPDX-License-Identifier: Apache-2.0
// Vector filters that several G.728 primitives share.
#pragma once

#include "g728/g728.h"

namespace qolsc::g728 {

/// Pole-zero filter of order 10: c holds ten numerator, then ten denominator coefficients, Q14.
void ownIIR16s_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, int len, PoleZeroMemory& memory);
/// Its definition, and one vector with outputs in lanes: false, with nothing done, when a
/// coefficient is -32768, on which pairs of products wrap.
void ownIIRPlain_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, int len, PoleZeroMemory& memory);
bool ownIIRLanes_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, PoleZeroMemory& memory);

/// Zero-input response of the order-50 synthesis filter a (Q14, signs of the polynomial), 15-bit
/// mantissas.
void ownSynthesisFilterZeroInput_G728_16s(const Qol16s* a, const SynthesisMemory& memory,
                                          BlockVector& response);

/// The memory's part in the five outputs, by definition, and with outputs in lanes: false, with
/// nothing done, when mantissas are too large for 32 bits.
void ownZeroInputPlain_G728(const Qol16s* a, const SynthesisMemory& memory, Qol64s* past);
bool ownZeroInputLanes_G728(const Qol16s* a, const SynthesisMemory& memory, Qol64s* past);

/// Takes a finished vector in, the oldest drops out.
void pushVector(SynthesisMemory& memory, const Qol16s* mantissa, Qol16s exponent);

} // namespace qolsc::g728
