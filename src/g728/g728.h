// SPDX-License-Identifier: Apache-2.0
// Records and arithmetic shared by the G.728 primitives (ITU-T G.728 Annex G, 16-bit fixed point).
#pragma once

#include "numeric/blockfloat.h"
#include "qolsc/g728.h"

#include <cstdint>
#include <cstring>

namespace qolsc::g728 {

using namespace blockfloat;

/// Samples of a vector, orders of the two kinds of filters, vectors that the order-50 filter sees.
inline constexpr int kVector = 5, kOrder = 50, kShortOrder = 10, kPastVectors = 10;

/// Block exponent of memories at reset.
inline constexpr Qol16s kResetExponent = 16;

/// A block floating-point vector: value = mantissa * 2^-exponent.
struct BlockVector {
    Qol16s mantissa[kVector];
    Qol16s exponent;
};

/// A vector times 2^n for n of either sign, limited.
inline void scaleVector(const Qol16s* x, int n, Qol16s* y) {
    if (n <= 0) {
        const int down = std::min(-n, 15);
        for (int i = 0; i < kVector; ++i) {
            y[i] = static_cast<Qol16s>(x[i] >> down);
        }
    } else {
        const int up = std::min(n, 16);
        for (int i = 0; i < kVector; ++i) {
            y[i] = saturate16(Qol64s{x[i]} << up);
        }
    }
}

/// Scales the mantissas to words of that many bits.
inline void normalise(BlockVector& v, int bits) {
    const int n = normVector(v.mantissa, kVector, bits);
    scaleVector(v.mantissa, n, v.mantissa);
    v.exponent = saturate16(v.exponent + n);
}

/// The samples of a vector in Q2.
inline void toQ2(const BlockVector& v, Qol16s* samples) {
    scaleVector(v.mantissa, 2 - v.exponent, samples);
}

/// Copies between a caller's record, which may lie at any address, and a local one.
template <typename T>
T loadRecord(const Qol8u* pState) {
    T record;
    std::memcpy(&record, pState, sizeof record);
    return record;
}
template <typename T>
void storeRecord(Qol8u* pState, const T& record) {
    std::memcpy(pState, &record, sizeof record);
}

/// Works on a caller's record where it stands, on a copy when it lies at an odd address.
template <typename T, typename Work>
void withRecord(Qol8u* pState, Work work) {
    if (reinterpret_cast<std::uintptr_t>(pState) % alignof(T) == 0) {
        work(*reinterpret_cast<T*>(pState));
    } else {
        auto record = loadRecord<T>(pState);
        work(record);
        storeRecord(pState, record);
    }
}

static_assert(sizeof(QolsWinHybridState_G728) == 32);

/// Pole-zero filter of order 10: its memories, newest first, and the published size of 64 bytes.
struct PoleZeroMemory {
    Qol16s in[kShortOrder];
    Qol16s out[kShortOrder];
};
struct IIRState {
    PoleZeroMemory memory;
    Qol16s rest[12];
};
static_assert(sizeof(IIRState) == 64);

/// The ten vectors before the current one, in time order.
struct SynthesisMemory {
    Qol16s mantissa[kOrder];
    Qol16s exponent[kPastVectors];
};
struct SynthesisState {
    SynthesisMemory memory;
    Qol16s rest[12];
};
static_assert(sizeof(SynthesisState) == 144);

/// Encoder's synthesis and weighting filter, with the zero-input response that the update needs.
struct CombinedState {
    SynthesisMemory memory;
    PoleZeroMemory weighting;
    BlockVector zeroInput;
    Qol16s rest[18];
};
static_assert(sizeof(CombinedState) == 208);

struct PostFilterState {
    PoleZeroMemory memory; ///< after the long-term part; after the short-term part
    Qol16s gain;           ///< smoothed gain, Q14
    Qol16s rest[11];
};
static_assert(sizeof(PostFilterState) == 64);

inline constexpr int kDecimated = 60;
struct AdapterState {
    Qol16s in[kShortOrder]; ///< inputs of the inverse filter, newest first
    Qol16s lowpass[3];      ///< outputs of the low-pass, newest first
    Qol16s decimated[kDecimated];
    Qol16s rest[15];
};
static_assert(sizeof(AdapterState) == 176);

} // namespace qolsc::g728
