// SPDX-License-Identifier: Apache-2.0
// Decoding of G.729 frames up to the synthesised speech (§4.1, §4.4, Annexes B, D).
#include "codecs/g729/synthesis.h"

#include "codecs/bits.h"
#include "codecs/g729/initial.h"
#include "codecs/g729/innovation.h"
#include "numeric/basop.h"
#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>

namespace qolsc::tools::g729 {

namespace {

using namespace basop;

constexpr Qol16s kInitialNoiseLsp[kOrder] = {31441, 27566,  21458,  13612,  4663,
                                             -4663, -13612, -21458, -27566, -31441};
constexpr Qol16s kMinSharpening = 3277, kMaxSharpening = 13017; // 0.2 and 0.8, Q14
constexpr int kMaxLag = 143;

/// LPC of both subframes from the old and the new LSP; the new ones become the old.
void interpolateLpc(Synthesis& s, const Qol16s* lsp) {
    Qol16s middle[kOrder];
    qolsInterpolate_G729_16s(s.lsp, lsp, middle, kOrder);
    qolsLSPToLPC_G729_16s(middle, s.lpc[0]);
    qolsLSPToLPC_G729_16s(lsp, s.lpc[1]);
    std::copy_n(lsp, kOrder, s.lsp);
    s.order = kOrder;
}

void decodeLpc(Synthesis& s, const FrameInput& in, const BackwardFilter& filter) {
    if (in.bits == kBits11800 && in.backward) {
        interpolateBackward(s.backward, recoverBackward(s.backward, filter, in.bad), s.lpc);
        s.order = kBackwardOrder;
        return;
    }
    if (in.bad) {
        qolsLSFDecodeErased_G729_16s(s.lastMode, s.prevFreq, s.lastLsf);
    } else {
        qolsLSFDecode_G729_16s(in.lsp, s.prevFreq, s.lastLsf);
        s.lastMode = in.lsp[0];
    }
    Qol16s lsp[kOrder];
    qolsLSFToLSP_G729_16s(s.lastLsf, lsp);
    interpolateLpc(s, lsp);
    if (s.backward.lastBackward) { // there are no old LSP of use
        std::copy_n(s.lpc[1], kCoeffs, s.lpc[0]);
    }
}

/// Lag of a subframe; where it was lost the old one goes on, one longer each time.
Lag lagOf(Synthesis& s, const FrameInput& in, int i) {
    if (in.bad || (i == 0 && in.badParity)) {
        if (in.bits == kBits11800) {
            return s.lastLag;
        }
        const Lag repeated{s.lag, 0};
        s.lag = std::min(s.lag + 1, kMaxLag);
        return repeated;
    }
    const int code = in.sub[i].lag;
    const Lag lag = i == 0                 ? decodeLag0(code)
                    : in.bits == kBits6400 ? decodeLag1Short(code, secondWindow(s.lags[0]))
                                           : decodeLag1(code, secondWindow(s.lags[0]));
    s.lag = lag.integer;
    s.lastLag = track(s.tracker, lag);
    return lag;
}

/// Codes of an erased subframe at 11.8 kbit/s.
void drawWords(Synthesis& s, bool backward, Qol16s* words) {
    constexpr int kForward[5] = {7, 7, 7, 7, 7}, kBackward[5] = {13, 10, 7, 7, 7};
    for (int k = 0; k < 5; ++k) {
        const int bits = backward ? kBackward[k] : kForward[k];
        words[k] = static_cast<Qol16s>(nextRandom(s.random) & ((1 << bits) - 1));
    }
}

void codeVector(Synthesis& s, const FrameInput& in, int i, Qol16s* code) {
    if (in.bits == kBits11800) {
        std::array<Qol16s, 7> words = in.sub[i].code;
        if (in.bad) {
            drawWords(s, in.backward, words.data());
        }
        (in.backward ? innovation44 : innovation35)(words.data(), code);
        return;
    }
    int position = in.sub[i].code[0], sign = in.sub[i].code[1];
    if (in.bad) {
        position = nextRandom(s.random);
        sign = nextRandom(s.random);
    }
    (in.bits == kBits6400 ? innovation11 : innovation17)(position, sign, code);
}

/// Gains of an erased subframe at 11.8 kbit/s.
void concealGain(Synthesis& s, Qol32s energy) {
    // The first lost frame keeps the code gain, the second mutes from its second subframe on. Long
    // runs of backward frames are taken for music: they hold out longer and fade slowly.
    const int lost = s.lostSubframes++;
    const bool stationary = s.backward.run >= 15;
    if (lost > (stationary ? 11 : 2)) {
        s.muting = mult(s.muting, stationary ? Qol16s{32604} : Qol16s{32112});
    }
    const Qol16s kept = s.gain[1];
    qolsDecodeGain_G729I_16s(energy, s.muting, s.energyErrors, nullptr, s.gain);
    if (lost < 2) {
        s.gain[0] = stationary ? Qol16s{16384} : Qol16s{15564};
        s.gain[1] = kept;
    }
}

void decodeGain(Synthesis& s, const FrameInput& in, int i, const Qol16s* code) {
    Qol32s energy = 0;
    for (int n = 0; n < kSubframe; ++n) {
        energy = L_mac0(energy, code[n], code[n]);
    }
    if (!in.bad) {
        s.muting = MAX_16;
        s.lostSubframes = 0;
    }
    if (in.bits == kBits11800 && in.bad) {
        concealGain(s, energy);
    } else if (in.bits == kBits6400 && !in.bad) {
        qolsDecodeGain_G729I_16s(energy, 0, s.energyErrors, in.sub[i].gain, s.gain);
    } else {
        qolsDecodeGain_G729_16s(energy, s.energyErrors, in.bad ? nullptr : in.sub[i].gain, s.gain);
    }
}

/// True when the filter's output left 16 bits.
bool filter(const Synthesis& s, int i, const Qol16s* input, Qol16s* speech) {
    if (s.order == kOrder) {
        return qolsSynthesisFilter_NR_16s_Sfs(s.lpc[i], input, speech, kSubframe, 12,
                                              speech - kOrder) == qolStsOverflow;
    }
    // This one doesn't tell; a sample at a limit is taken for an overflow.
    qolsSynthesisFilter_G729E_16s(s.lpc[i], s.order, input, speech, kSubframe, speech - s.order);
    return std::any_of(speech, speech + kSubframe,
                       [](Qol16s v) { return v == MAX_16 || v == MIN_16; });
}

/// Synthesis of one subframe; where it leaves 16 bits the excitation, past and present, is scaled
/// down and the filter runs again.
void synthesize(Synthesis& s, int i, Qol16s* input) {
    Qol16s* speech = s.speech + kMaxOrder + i * kSubframe;
    if (filter(s, i, input, speech)) {
        for (Qol16s& v : s.excitation) {
            v = static_cast<Qol16s>(v >> 2);
        }
        const bool apart = input < s.excitation || input >= std::end(s.excitation);
        for (int n = 0; apart && n < kSubframe; ++n) {
            input[n] = static_cast<Qol16s>(input[n] >> 2);
        }
        filter(s, i, input, speech);
    }
}

void decodeSubframe(Synthesis& s, const FrameInput& in, int i) {
    Qol16s* buffer = s.excitation + i * kSubframe;
    Qol16s* exc = buffer + kPastExcitation;
    const Lag lag = lagOf(s, in, i);
    s.lags[i] = lag.integer;
    const Qol16s delay[2] = {static_cast<Qol16s>(lag.integer), static_cast<Qol16s>(lag.fraction)};
    qolsDecodeAdaptiveVector_G729_16s_I(delay, buffer);

    Qol16s code[kSubframe];
    codeVector(s, in, i, code);
    if (lag.integer < kSubframe) {
        qolsHarmonicFilter_16s_I(static_cast<Qol16s>(2 * s.sharpening), lag.integer,
                                 code + lag.integer, kSubframe - lag.integer);
    }
    decodeGain(s, in, i, code);
    s.sharpening = std::clamp(s.gain[0], kMinSharpening, kMaxSharpening);

    const bool onePart = in.bad && s.concealment == Concealment::oneOfTwo;
    const Qol16s pitchGain = onePart && !s.voiced ? Qol16s{0} : s.gain[0],
                 codeGain = onePart && s.voiced ? Qol16s{0} : s.gain[1];
    qolsInterpolateC_NR_G729_16s_Sfs(exc, pitchGain, code, codeGain, exc, kSubframe, 14);
    if (in.bits == kBits6400) {
        Qol16s dispersed[kSubframe];
        qolsPhaseDispersion_G729D_16s(exc, dispersed, codeGain, pitchGain, code,
                                      s.dispersion.data());
        synthesize(s, i, dispersed);
    } else {
        qolsPhaseDispersionUpdate_G729D_16s(pitchGain, codeGain, s.dispersion.data());
        synthesize(s, i, exc);
    }
}

void decodeSpeech(Synthesis& s, const FrameInput& received, const BackwardFilter& filter) {
    FrameInput in = received;
    if (in.bits == kBits11800 && in.bad) {
        in.backward = s.backward.lastBackward;
    }
    decodeLpc(s, in, filter);
    s.bits = in.bits;
    if (in.bits == kBits11800) {
        countMode(s.backward, in.backward);
    }
    for (int i = 0; i < 2; ++i) {
        decodeSubframe(s, in, i);
    }
    s.noiseSeed = kNoiseSeed;
}

void decodeNoise(Synthesis& s, const FrameInput& in) {
    const bool first = !s.noiseBefore;
    if (in.kind == FrameClass::sid) {
        Qol16s lsf[kOrder];
        qolsLSFDecode_G729B_16s(in.sid.lsf, s.prevFreq, lsf);
        qolsLSFToLSP_G729_16s(lsf, s.noiseLsp);
        s.noiseTarget = sidLevel(in.sid.gain);
    } else if (first) {
        s.noiseTarget = sidLevel(sidIndexOfSpeech(s.lastEnergy));
    }
    s.noiseLevel = first ? s.noiseTarget : smoothLevel(s.noiseLevel, s.noiseTarget);
    for (int i = 0; i < 2; ++i) {
        const NoiseSubframe made =
            noiseExcitation(s.noiseLevel, s.excitation + i * kSubframe, s.noiseSeed);
        qolsPhaseDispersionUpdate_G729D_16s(made.pitchGain, made.fixedGain, s.dispersion.data());
    }
    interpolateLpc(s, s.noiseLsp);
    for (int i = 0; i < 2; ++i) {
        synthesize(s, i, s.excitation + kPastExcitation + i * kSubframe);
    }
    s.sharpening = kMinSharpening;
}

/// Energy of the frame's excitation, for the level of a noise frame whose SID is lost.
SidEnergy energyOf(const Qol16s* exc) {
    Qol64s sum = 0;
    for (int n = 0; n < kFrameSamples; ++n) {
        sum += Qol64s{exc[n]} * exc[n];
    }
    const Qol32s energy = saturate32(2 * sum);
    const int n = norm_l(energy);
    return {round_fx(energy << n), 16 - n};
}

} // namespace

void initSynthesis(Synthesis& s, Concealment concealment, bool backwardOn) {
    s = Synthesis{};
    s.backwardOn = backwardOn;
    s.concealment = concealment;
    for (int row = 0; row < 4; ++row) {
        std::copy_n(kInitialLsf.data(), kOrder, s.prevFreq + row * kOrder);
    }
    std::copy_n(kInitialLsf.data(), kOrder, s.lastLsf);
    std::copy_n(kInitialLsp.data(), kOrder, s.lsp);
    std::copy_n(kInitialNoiseLsp, kOrder, s.noiseLsp);
    std::fill_n(s.energyErrors, 4, Qol16s{-14336});
    s.noiseTarget = sidLevel(0);
    qolsPhaseDispersionInit_G729D_16s(s.dispersion.data());
    initBackward(s.backward);
}

void synthesizeFrame(Synthesis& s, const FrameInput& in) {
    FrameInput frame = in;
    if (in.bad) {
        frame.kind = s.noiseBefore ? FrameClass::silent : FrameClass::speech;
    }
    s.active = frame.kind == FrameClass::speech;
    if (!s.lastBad && (in.bad || !s.active)) {
        s.lastEnergy = energyOf(s.excitation + kPastExcitation - kFrameSamples);
    }
    s.lastBad = in.bad;
    std::copy_n(s.speech + kFrameSamples, kMaxOrder, s.speech);
    const BackwardFilter backward =
        s.backwardOn ? analyseBackward(s.backward) : BackwardFilter{4096};
    if (s.active) {
        decodeSpeech(s, frame, backward);
    } else {
        decodeNoise(s, frame);
    }
    std::copy_n(s.excitation + kFrameSamples, kPastExcitation, s.excitation);
    s.noiseBefore = !s.active;
    if (s.backwardOn) {
        updateBackward(s.backward, in.bad, s.lpc[1], s.order, s.speech + kMaxOrder);
    }
}

} // namespace qolsc::tools::g729
