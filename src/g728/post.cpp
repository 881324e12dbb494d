// SPDX-License-Identifier: Apache-2.0
// Post-filter and its adapter (ITU-T G.728 4.6, 4.7, Annex G, blocks 71 to 77, 81 and 82).
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g728/g728.h"
#include "tables/g728_post.h"

namespace qolsc {

namespace g728 {

namespace {

template <std::size_t N>
void push(Qol16s (&memory)[N], Qol16s value) {
    std::copy_backward(memory, memory + N - 1, memory + N);
    memory[0] = value;
}

// ---- pitch ----

constexpr int kFrame = 20, kResidual = 240, kDecimation = 4;
constexpr int kLeastPitch = 20, kMostPitch = 140;
constexpr int kCoarseSamples = 25, kLeastCoarse = 5, kMostCoarse = 35, kFineSamples = 100;
constexpr int kReach = 6;           ///< around the pitch before
constexpr int kTapRatio = 26214;    ///< 0.4 in Q16
constexpr int kUnity = 16384;       ///< 1 in Q14
constexpr int kSmooth = 16220;      ///< 0.99 in Q14
constexpr int kSmoothInput = 20972; ///< 0.01 in Q21

struct Peak {
    int lag;
    Qol64s value;
};

/// First largest correlation of the n samples at x with those before; low is at most high.
Peak peakOf(const Qol16s* x, int n, int low, int high) {
    Peak best{low, dotExact(x, x - low, n)};
    for (int lag = low + 1; lag <= high; ++lag) {
        const Qol64s c = dotExact(x, x - lag, n);
        if (c > best.value) {
            best = {lag, c};
        }
    }
    return best;
}

/// Low-pass and decimation of the newest 20 residual samples.
void decimate(AdapterState& state, const Qol16s* newest) {
    std::copy(state.decimated + kFrame / kDecimation, state.decimated + kDecimated,
              state.decimated);
    Qol16s* out = state.decimated + kDecimated - kFrame / kDecimation;
    for (int n = 0; n < kFrame; ++n) {
        Qol64s u = 0;
        for (int i = 0; i < 4; ++i) {
            u += Qol32s{tables::g728::decimationZero[i]} * newest[n - i];
        }
        u >>= 6;
        for (int i = 0; i < 3; ++i) {
            u -= Qol32s{tables::g728::decimationPole[i]} * state.lowpass[i];
        }
        push(state.lowpass, roundHigh(8 * u));
        if (n % kDecimation == kDecimation - 1) {
            *out++ = state.lowpass[0];
        }
    }
}

/// True when the peak near the pitch before carries enough of its energy to stay with it.
bool staysNear(const Qol16s* x, const Peak& far, const Peak& near) {
    const auto energyAt = [x](int lag) {
        return Qol64s{saturate32(dotExact(x - lag, x - lag, kFineSamples))};
    };
    const Qol64s e1 = energyAt(far.lag), e2 = energyAt(near.lag);
    const int s = normBits(std::max(e1, e2), 32);
    const auto upper = [s](Qol64s v) { return (v << s) >> 16; };
    const Qol64s c1 = upper(std::clamp<Qol64s>(far.value, 0, e1)),
                 c2 = upper(std::clamp<Qol64s>(near.value, 0, e2));
    return c2 * upper(e1) > ((c1 * upper(e2)) >> 16) * kTapRatio;
}

int pitchOf(AdapterState& state, const Qol16s* residual, int before) {
    decimate(state, residual + kResidual - kFrame);
    const int coarse = kDecimation * peakOf(state.decimated + kDecimated - kCoarseSamples,
                                            kCoarseSamples, kLeastCoarse, kMostCoarse)
                                         .lag;
    const Qol16s* x = residual + kResidual - kFineSamples;
    const Peak far = peakOf(x, kFineSamples, std::max(kLeastPitch, coarse - 3),
                            std::min(kMostPitch, coarse + 3));
    const Qol64s high = Qol64s{before} + kReach;
    if (high >= far.lag || high < kLeastPitch) {
        return far.lag;
    }
    const Peak near =
        peakOf(x, kFineSamples, std::max(kLeastPitch, before - kReach), static_cast<int>(high));
    return staysNear(x, far, near) ? near.lag : far.lag;
}

// ---- post-filter ----

/// Long-term part, short-term part and tilt compensation of one vector.
void filterVector(PostFilterState& state, const Qol16s* x, const Qol16s* delayed, const Qol16s* c,
                  Qol16s gain, Qol16s tapGain, Qol16s tilt, Qol16s* v) {
    PoleZeroMemory& m = state.memory;
    for (int n = 0; n < kVector; ++n) {
        const Qol64s u = Qol64s{gain} * x[n] + Qol64s{tapGain} * delayed[n];
        Qol64s w = u;
        for (int i = 0; i < kShortOrder; ++i) {
            w += Qol64s{c[i]} * m.in[i] - Qol64s{c[kShortOrder + i]} * m.out[i];
        }
        const Qol16s before = m.out[0];
        push(m.in, roundHigh(4 * u));
        push(m.out, saturate16(w >> 14));
        v[n] = saturate16((w + Qol64s{tilt} * before) >> 14);
    }
}

Qol32s magnitude(const Qol16s* x) {
    Qol32s s = 0;
    for (int n = 0; n < kVector; ++n) {
        s += x[n] < 0 ? -x[n] : x[n];
    }
    return s;
}

/// The gain that brings the filtered vector to the level of the one before the filter, times 0.01
/// in the scale of the smoothing.
Qol64s levelGain(const Qol16s* x, const Qol16s* v) {
    Quotient scale{kUnity, 14};
    const Qol32s in = magnitude(x), out = magnitude(v);
    if (out > 4) {
        const int a = normBits(in, 32), b = normBits(out, 32);
        scale = divide(roundHigh(Qol64s{in} << a), a, roundHigh(Qol64s{out} << b), b);
    }
    return scaleUp<Qol32s>(Qol64s{kSmoothInput} * scale.mantissa, 7 - scale.exponent);
}

} // namespace

} // namespace g728

QolStatus qolsPostFilterAdapterGetStateSize_G728(int* pSize) noexcept {
    return giveSize(sizeof(g728::AdapterState), pSize);
}

QolStatus qolsPostFilterAdapterStateInit_G728(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    std::memset(pState, 0, sizeof(g728::AdapterState));
    return qolStsNoErr;
}

QolStatus qolsLPCInverseFilter_G728_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst,
                                        Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    auto state = g728::loadRecord<g728::AdapterState>(pState);
    for (int n = 0; n < g728::kVector; ++n) {
        const Qol16s x = pSrc[n];
        Qol64s s = x * Qol64s{1 << 13};
        for (int i = 0; i < g728::kShortOrder; ++i) {
            s += Qol32s{pCoeffs[i]} * state.in[i];
        }
        g728::push(state.in, x);
        pDst[n] = g728::roundHigh(4 * s);
    }
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

QolStatus qolsPitchPeriodExtraction_G728_16s(const Qol16s* pSrc, int* pSrcDstPitch,
                                             Qol8u* pState) noexcept {
    if (anyNull(pSrc, pState) || anyNull(pSrcDstPitch)) {
        return qolStsNullPtrErr;
    }
    auto state = g728::loadRecord<g728::AdapterState>(pState);
    *pSrcDstPitch = g728::pitchOf(state, pSrc, *pSrcDstPitch);
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

QolStatus qolsPostFilterGetStateSize_G728_16s(int* pSize) noexcept {
    return giveSize(sizeof(g728::PostFilterState), pSize);
}

QolStatus qolsPostFilterInit_G728_16s(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g728::PostFilterState state{};
    state.gain = g728::kUnity;
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

QolStatus qolsPostFilter_G728_16s(const Qol16s* pSrc, const Qol16s* pSrcMem, const Qol16s* pCoeffs,
                                  Qol16s* pDst, int valPitch, Qol16s valGain, Qol16s valTapGain,
                                  Qol16s valTilt, Qol8u* pState) noexcept {
    if (anyNull(pSrc, pSrcMem, pCoeffs, pDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    auto state = g728::loadRecord<g728::PostFilterState>(pState);
    const int pitch = std::clamp(valPitch, 0, g728::kMostPitch);
    Qol16s v[g728::kVector];
    g728::filterVector(state, pSrc, pSrcMem - pitch, pCoeffs, valGain, valTapGain, valTilt, v);
    const Qol64s level = g728::levelGain(pSrc, v);
    for (int n = 0; n < g728::kVector; ++n) {
        state.gain = g728::roundHigh(4 * (level + Qol64s{g728::kSmooth} * state.gain));
        pDst[n] = g728::roundHigh(4 * Qol64s{state.gain} * v[n]);
    }
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

} // namespace qolsc
