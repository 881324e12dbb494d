// SPDX-License-Identifier: Apache-2.0
// Basic operators of the standards' fixed-point reference arithmetic (ITU-T G.191 basop32,
// ETSI/3GPP basic_op), under their published names. They saturate; none has side effects. Plain C++
// arithmetic is preferred where it can't overflow.
#pragma once

#include "numeric/rules.h"

#include <bit>

namespace qolsc::basop {

inline constexpr Qol16s MAX_16 = 0x7FFF, MIN_16 = -0x8000;
inline constexpr Qol32s MAX_32 = 0x7FFFFFFF, MIN_32 = -0x7FFFFFFF - 1;

// ---- 16 bits ----

constexpr Qol16s add(Qol16s a, Qol16s b) { return saturate16(a + b); }
constexpr Qol16s sub(Qol16s a, Qol16s b) { return saturate16(a - b); }
constexpr Qol16s negate(Qol16s a) { return saturate16(-a); }
constexpr Qol16s abs_s(Qol16s a) { return saturate16(a < 0 ? -a : a); }

/// Arithmetic shift left, saturating; a negative count shifts right.
constexpr Qol16s shl(Qol16s a, int n);

/// Arithmetic shift right; a negative count shifts left with saturation.
constexpr Qol16s shr(Qol16s a, int n) {
    return n < 0 ? shl(a, n < -16 ? 16 : -n) : static_cast<Qol16s>(a >> (n > 15 ? 15 : n));
}
constexpr Qol16s shl(Qol16s a, int n) {
    return n < 0 ? shr(a, n < -16 ? 16 : -n)
                 : saturate16(Qol64s{a} * (Qol64s{1} << (n > 16 ? 16 : n)));
}
/// Shift right with the last bit shifted out added; 0 for counts above 15.
constexpr Qol16s shr_r(Qol16s a, int n) {
    return n > 15   ? Qol16s{0}
           : n <= 0 ? shr(a, n)
                    : static_cast<Qol16s>((a >> n) + (a >> (n - 1) & 1));
}

/// Q15 product, truncated; -32768 squared gives 32767.
constexpr Qol16s mult(Qol16s a, Qol16s b) { return saturate16((Qol32s{a} * b) >> 15); }
/// Q15 product, rounded.
constexpr Qol16s mult_r(Qol16s a, Qol16s b) { return saturate16((Qol32s{a} * b + 0x4000) >> 15); }

/// Left shifts that normalise: 0 for 0, 15 for -1.
constexpr Qol16s norm_s(Qol16s a) {
    const auto m = static_cast<Qol16u>(a < 0 ? ~a : a);
    return a == 0 ? Qol16s{0} : static_cast<Qol16s>(std::countl_zero(m) - 1);
}

/// Q15 quotient a/b, truncated, for 0 <= a <= b and b > 0; 32767 when equal.
constexpr Qol16s div_s(Qol16s a, Qol16s b) {
    return a >= b ? MAX_16 : static_cast<Qol16s>((Qol32s{a} << 15) / b);
}

// ---- 32 bits ----

constexpr Qol32s L_add(Qol32s a, Qol32s b) { return saturate32(Qol64s{a} + b); }
constexpr Qol32s L_sub(Qol32s a, Qol32s b) { return saturate32(Qol64s{a} - b); }
constexpr Qol32s L_negate(Qol32s a) { return a == MIN_32 ? MAX_32 : -a; }
constexpr Qol32s L_abs(Qol32s a) { return a < 0 ? L_negate(a) : a; }

/// Doubled product; only -32768 squared saturates.
constexpr Qol32s L_mult(Qol16s a, Qol16s b) {
    const Qol32s p = Qol32s{a} * b;
    return p == 0x40000000 ? MAX_32 : p * 2;
}
/// Product without doubling (L_mult0).
constexpr Qol32s L_mult0(Qol16s a, Qol16s b) { return Qol32s{a} * b; }
constexpr Qol32s L_mac(Qol32s acc, Qol16s a, Qol16s b) { return L_add(acc, L_mult(a, b)); }
constexpr Qol32s L_msu(Qol32s acc, Qol16s a, Qol16s b) { return L_sub(acc, L_mult(a, b)); }
constexpr Qol32s L_mac0(Qol32s acc, Qol16s a, Qol16s b) { return L_add(acc, L_mult0(a, b)); }
constexpr Qol32s L_msu0(Qol32s acc, Qol16s a, Qol16s b) { return L_sub(acc, L_mult0(a, b)); }

constexpr Qol32s L_shl(Qol32s a, int n);
/// Arithmetic shift right; a negative count shifts left with saturation.
constexpr Qol32s L_shr(Qol32s a, int n) {
    return n < 0 ? L_shl(a, n < -32 ? 32 : -n) : a >> (n > 31 ? 31 : n);
}
/// Arithmetic shift left, saturating; a negative count shifts right.
constexpr Qol32s L_shl(Qol32s a, int n) {
    return n < 0    ? L_shr(a, n < -32 ? 32 : -n)
           : n > 31 ? (a > 0   ? MAX_32
                       : a < 0 ? MIN_32
                               : 0)
                    : saturate32(Qol64s{a} * (Qol64s{1} << n));
}
/// Shift right with the last bit shifted out added; 0 for counts above 31.
constexpr Qol32s L_shr_r(Qol32s a, int n) {
    return n > 31 ? 0 : n <= 0 ? L_shr(a, n) : (a >> n) + (a >> (n - 1) & 1);
}

/// Left shifts that normalise: 0 for 0, 31 for -1.
constexpr Qol16s norm_l(Qol32s a) {
    const auto m = static_cast<Qol32u>(a < 0 ? ~a : a);
    return a == 0 ? Qol16s{0} : static_cast<Qol16s>(std::countl_zero(m) - 1);
}

constexpr Qol16s extract_h(Qol32s a) { return static_cast<Qol16s>(a >> 16); }
constexpr Qol16s extract_l(Qol32s a) { return wrap16(a); }
constexpr Qol32s L_deposit_h(Qol16s a) { return Qol32s{a} * 65536; }
constexpr Qol32s L_deposit_l(Qol16s a) { return a; }

/// Upper half after adding a half with saturation (the operator `round` of the standards).
constexpr Qol16s round_fx(Qol32s a) { return extract_h(L_add(a, 0x8000)); }
constexpr Qol16s mac_r(Qol32s acc, Qol16s a, Qol16s b) { return round_fx(L_mac(acc, a, b)); }
constexpr Qol16s msu_r(Qol32s acc, Qol16s a, Qol16s b) { return round_fx(L_msu(acc, a, b)); }

// ---- double-precision format: x = hi * 2^16 + lo * 2 with 15 bits in lo (oper_32b) ----

/// A 32-bit value split for double-precision products.
struct Dpf {
    Qol16s hi;
    Qol16s lo;
};

constexpr Dpf L_Extract(Qol32s a) { return {extract_h(a), static_cast<Qol16s>(a >> 1 & 0x7FFF)}; }
/// For split values whose low part may be outside 0..32767 the sum saturates, as in the standards.
constexpr Qol32s L_Comp(Qol16s hi, Qol16s lo) { return L_mac(L_deposit_h(hi), lo, 1); }
constexpr Qol32s L_Comp(Dpf x) { return L_Comp(x.hi, x.lo); }

constexpr Qol32s Mpy_32(Dpf a, Dpf b) {
    return L_mac(L_mac(L_mult(a.hi, b.hi), mult(a.hi, b.lo), 1), mult(a.lo, b.hi), 1);
}
constexpr Qol32s Mpy_32_16(Dpf a, Qol16s n) { return L_mac(L_mult(a.hi, n), mult(a.lo, n), 1); }

/// Q31 quotient num/den by one Newton step, for 0 <= num < den, den normalised (den.hi at least
/// 0x4000).
constexpr Qol32s Div_32(Qol32s num, Dpf den) {
    const Qol16s approx = div_s(0x3FFF, den.hi);
    const Dpf twoMinus = L_Extract(L_sub(MAX_32, Mpy_32_16(den, approx)));
    const Dpf inverse = L_Extract(Mpy_32_16(twoMinus, approx));
    return L_shl(Mpy_32(L_Extract(num), inverse), 2);
}

} // namespace qolsc::basop
