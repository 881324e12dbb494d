// SPDX-License-Identifier: Apache-2.0
// AMR encoder: analysis, subframes, comfort noise (3GPP TS 26.090 5, TS 26.093 5).
#include "codecs/amr/encoder.h"

#include "qolsc/common.h"

#include <algorithm>

namespace qolsc::tools::amr {

using namespace basop;

namespace {

constexpr Qol16s kClip = 15565; // 0.95, Q14

struct Analysis {
    Qol16s lsp[2][kOrder]; ///< middle (12.2 only) and newest
    Qol16s sets[4 * (kOrder + 1)];
    Qol16s quantised[4 * (kOrder + 1)];
    Qol16s weighted1[4 * (kOrder + 1)], weighted2[4 * (kOrder + 1)];
};

void levinson(Encoder& e, const Qol32s* r, Qol16s* set) {
    qolsLevinsonDurbin_GSMAMR_32s16s(r, e.filter); // an ill-conditioned one leaves the last
    std::copy_n(e.filter, kOrder + 1, set);
}

void analyse(Encoder& e, Analysis& a) {
    const bool high = e.mode == k122;
    Qol32s r[22];
    qolsAutoCorr_GSMAMR_16s32s(e.speech + (high ? 40 : 80), r, kRateCode[e.mode]);
    Qol16s second[kOrder + 1], fourth[kOrder + 1];
    if (high) {
        levinson(e, r, second);
        levinson(e, r + 11, fourth);
        qolsLPCToLSP_GSMAMR_16s(second, e.lspOld, a.lsp[0]);
        qolsLPCToLSP_GSMAMR_16s(fourth, a.lsp[0], a.lsp[1]);
    } else {
        levinson(e, r, fourth);
        qolsLPCToLSP_GSMAMR_16s(fourth, e.lspOld, a.lsp[1]);
    }
    interpolateLp(e.lspOld, high ? a.lsp[0] : nullptr, a.lsp[1], a.sets);
    // The sets of the analyses themselves, where there is one.
    if (high) {
        std::copy_n(second, kOrder + 1, a.sets + (kOrder + 1));
    }
    std::copy_n(fourth, kOrder + 1, a.sets + 3 * (kOrder + 1));
    const Qol16s* gamma1 = e.mode < k102 ? kGamma1 : kGamma1High;
    for (int n = 0; n < 4; ++n) {
        const int at = n * (kOrder + 1);
        a.weighted1[at] = a.weighted2[at] = a.sets[at];
        qolsMul_NR_16s_Sfs(a.sets + at + 1, gamma1, a.weighted1 + at + 1, kOrder, 15);
        qolsMul_NR_16s_Sfs(a.sets + at + 1, kGamma2, a.weighted2 + at + 1, kOrder, 15);
    }
}

void quantiseLsf(Encoder& e, Analysis& a, Qol16s*& parameter) {
    const bool high = e.mode == k122;
    Qol16s q[2][kOrder];
    qolsLSPQuant_GSMAMR_16s(high ? a.lsp[0] : a.lsp[1], e.lsfResidual, high ? q[0] : q[1],
                            parameter, kRateCode[e.mode]);
    parameter += high ? 5 : 3;
    interpolateLp(e.lspOldQuantised, high ? q[0] : nullptr, q[1], a.quantised);
    std::copy_n(q[1], kOrder, e.lspOldQuantised);
}

Qol16s detect(Encoder& e) {
    EncoderNoise& n = e.noise;
    Qol16s flag = 1;
    if (e.detector == Detector::option1) {
        qolsVAD1_GSMAMR_16s(e.speech + 120, &n.vad1, &flag, n.bestCorrelation, n.tone);
    } else if (e.detector == Detector::option2) {
        qolsVAD2_GSMAMR_16s(e.speech + 160, &n.vad2, &flag, n.periodic ? 1 : 0);
    }
    return flag;
}

void openLoop(Encoder& e, const Analysis& a, Qol16s* lags, Qol16s* gainFlags) {
    EncoderNoise& n = e.noise;
    const int rate = kRateCode[e.mode];
    const Qol16s* speech = e.speech + 120;
    switch (e.detector) {
    case Detector::none:
        qolsOpenLoopPitchSearchNonDTX_GSMAMR_16s(a.weighted1, a.weighted2, speech, &e.voicedLag,
                                                 &e.voicedGain, e.lagHistory, e.weightedSpeech,
                                                 lags, gainFlags, rate);
        break;
    case Detector::option1: {
        qolsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(
            a.weighted1, a.weighted2, speech, &n.tone, &e.voicedLag, &e.voicedGain, e.lagHistory,
            e.weightedSpeech, &n.bestCorrelation, lags, gainFlags, rate);
        Qol16s count = 0;
        for (int i = 0; i < 2; ++i) {
            count = static_cast<Qol16s>(count + (abs_s(sub(n.lagOld, lags[i])) < 4 ? 1 : 0));
            n.lagOld = lags[i];
        }
        n.vad1.pitchReg >>= 1;
        if (n.lagCount + count >= 4) {
            n.vad1.pitchReg |= 0x4000;
        }
        n.lagCount = count;
        break;
    }
    case Detector::option2: {
        Qol32s correlation[2], energy[2];
        qolsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(a.weighted1, a.weighted2, speech, &e.voicedLag,
                                                     &e.voicedGain, e.lagHistory, e.weightedSpeech,
                                                     correlation, energy, lags, gainFlags, rate);
        const Qol16s part = e.mode <= k515 ? 18022 : e.mode == k102 ? 19660 : 21299;
        n.periodic = L_add(correlation[0], correlation[1]) >
                     Mpy_32_16(L_Extract(L_add(energy[0], energy[1])), part);
        break;
    }
    }
}

/// What comes before any coding.
struct FrontEnd {
    Analysis analysis;
    Qol16s speech; ///< the detector's flag
    Qol16s lags[2], gainFlags[2];
};

void analyseFrame(Encoder& e, const Qol16s* pcm, FrontEnd& f) {
    std::copy_n(e.speech + kFrame, kFrame, e.speech);
    for (int i = 0; i < kFrame; ++i) {
        e.speech[kFrame + i] = round_fx(
            highPass(e.input, kInputB, kInputA, 3, static_cast<Qol16s>(pcm[i] & kSampleMask)));
    }
    f.speech = detect(e);
    analyse(e, f.analysis);
    std::copy_n(f.analysis.lsp[1], kOrder, e.lspOld);
    openLoop(e, f.analysis, f.lags, f.gainFlags);
}

/// True in a frame whose filter has rung for long.
bool isResonant(Encoder& e, const Qol16s* lsp) {
    Qol16s d1 = MAX_16, d2 = MAX_16;
    for (int i = 1; i < 8; ++i) {
        Qol16s& d = i < 3 ? d2 : d1;
        d = std::min(d, sub(lsp[i], lsp[i + 1]));
    }
    const Qol16s limit = lsp[1] > 32000 ? 600 : lsp[1] > 30500 ? 800 : 1100;
    e.resonance = d1 < 1500 || d2 < limit ? std::min<Qol16s>(add(e.resonance, 1), 12) : Qol16s{0};
    return e.resonance >= 12;
}

void keepGain(Encoder& e, Qol16s gain) {
    std::copy(e.pastGains + 1, e.pastGains + 7, e.pastGains);
    e.pastGains[6] = static_cast<Qol16s>(gain >> 3);
}

void limitPitchGain(const Encoder& e, bool resonant, Subframe& s) {
    int sum = s.pitchGain >> 3;
    for (const Qol16s gain : e.pastGains) {
        sum += gain;
    }
    const bool clipped = resonant && s.pitchGain > kClip && sum > kClip;
    s.limit = clipped ? kClip : MAX_16;
    if (e.mode <= k515) {
        s.pitchGain = std::min<Qol16s>(s.pitchGain, 13926);
    } else if (clipped) {
        s.pitchGain = kClip;
    }
}

/// Excitation, memories and sharpening behind a subframe.
void finishSubframe(Encoder& e, const Analysis& a, int n, const Subframe& s, TargetMemory& m) {
    Qol16s* exc = e.excitation + kPastExcitation + n * kSubframe;
    const Qol16s* speech = e.speech + 120 + n * kSubframe;
    excitation(e.mode, s.pitchGain, s.codeGain, s.code, s.adaptive, exc);
    Qol16s synthesis[kSubframe];
    qolsSynthesisFilter_NR_16s_Sfs(a.quantised + n * (kOrder + 1), exc, synthesis, kSubframe, 12,
                                   m.synthesis);
    const int shift = e.mode == k122 ? 4 : 2;
    for (int i = 0; i < kOrder; ++i) {
        const int at = kSubframe - kOrder + i;
        m.synthesis[i] = synthesis[at];
        m.error[i] = sub(speech[at], synthesis[at]);
        m.weighted[i] = sub(s.target[at], add(scaled(s.filteredAdaptive[at], s.pitchGain, 1),
                                              scaled(s.filteredCode[at], s.codeGain, shift)));
    }
    e.sharpening = std::min(s.pitchGain, kMostSharpening);
}

void prepareTarget(Encoder& e, const Analysis& a, int n, Subframe& s, TargetMemory& m) {
    const int at = n * (kOrder + 1);
    qolsImpulseResponseTarget_GSMAMR_16s(e.speech + 120 + n * kSubframe, a.weighted1 + at,
                                         a.weighted2 + at, a.quantised + at, m.error, m.weighted,
                                         s.impulse, s.residual, s.target);
}

/// Adaptive and algebraic codebooks; pitch index of 12.2 in between.
void searchSubframe(Encoder& e, int n, const Qol16s* openLags, bool resonant, Subframe& s,
                    Qol16s*& parameter) {
    Qol16s* past = e.excitation + n * kSubframe;
    std::copy_n(s.residual, kSubframe, past + kPastExcitation);
    *parameter++ = searchAdaptive(e.mode, n, openLags, past, e.lag, s);
    s.lag = e.lag;
    filtered(s.adaptive, s.impulse, s.filteredAdaptive);
    qolsAdaptiveCodebookGainCoeffs_GSMAMR_16s(s.target, s.filteredAdaptive, &s.pitchGain, s.terms);
    if (e.mode == k122) {
        s.pitchGain &= ~3;
    }
    limitPitchGain(e, resonant, s);
    if (e.mode == k122) {
        *parameter++ = static_cast<Qol16s>(quantisePitch122(s));
    }
    Qol16s residual2[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        s.target2[i] = sub(s.target[i], scaled(s.filteredAdaptive[i], s.pitchGain, 1));
        residual2[i] = sub(s.residual[i], scaled(s.adaptive[i], s.pitchGain, 1));
    }
    Qol16s impulse[kSubframe];
    std::copy_n(s.impulse, kSubframe, impulse);
    qolsAlgebraicCodebookSearch_GSMAMR_16s(e.lag, e.mode == k122 ? s.pitchGain : e.sharpening,
                                           s.target2, residual2, impulse, s.code, s.filteredCode,
                                           parameter, static_cast<Qol16s>(n), kRateCode[e.mode]);
    parameter += kCodeWords[e.mode];
}

void quantiseGains(Encoder& e, Subframe& s, Qol16s*& parameter) {
    if (e.mode == k122) {
        *parameter++ = static_cast<Qol16s>(quantiseCode122(e.predictor, s));
    } else if (e.mode == k795) {
        const PitchAndCode index = quantise795(e.predictor, e.adaptation, s);
        *parameter++ = static_cast<Qol16s>(index.pitch);
        *parameter++ = static_cast<Qol16s>(index.code);
    } else {
        *parameter++ = static_cast<Qol16s>(quantiseJoint(e.predictor, e.mode, s));
    }
}

void keepLag(Encoder& e, int n, const Qol16s* gainFlags) {
    if (n == 0 && gainFlags[0] > 0) {
        e.lagHistory[1] = e.lag;
    }
    if (n == 3 && gainFlags[1] > 0) {
        e.lagHistory[0] = e.lag;
    }
}

/// The excitation of a lag below the subframe's length depends on the samples before it, which
/// have changed.
void rebuild(Encoder& e, int n, Subframe& s, Qol16s lagBefore, Qol16s index) {
    // Decoding the index gives the adaptive vector of the same lag and fraction.
    Qol16s previous = lagBefore, ltp = lagBefore, lag = lagBefore;
    qolsAdaptiveCodebookDecode_GSMAMR_16s(index, &previous, &ltp, e.excitation + n * kSubframe,
                                          &lag, s.adaptive, static_cast<Qol16s>(n), 0, 0, 0,
                                          kRateCode[e.mode]);
    filtered(s.adaptive, s.impulse, s.filteredAdaptive);
}

/// Two subframes at 4.75, whose gains are quantised together.
void codePair(Encoder& e, const Analysis& a, int n, const Qol16s* lags, const Qol16s* gainFlags,
              bool resonant, Qol16s*& parameter) {
    Subframe s[2];
    TargetMemory unquantised = e.memory;
    const Qol16s sharpening = e.sharpening;
    const Qol16s lagBefore = e.lag;
    const Qol16s* indices[2];
    prepareTarget(e, a, n, s[0], unquantised);
    indices[0] = parameter;
    searchSubframe(e, n, lags, resonant, s[0], parameter);
    keepLag(e, n, gainFlags);
    const FirstOfPair first = prepare475(e.predictor, s[0]);
    keepGain(e, s[0].pitchGain);
    Qol16s* gainIndex = parameter++;
    finishSubframe(e, a, n, s[0], unquantised);
    e.sharpening = sharpening;

    const Qol16s lagBetween = e.lag;
    prepareTarget(e, a, n + 1, s[1], unquantised);
    indices[1] = parameter;
    searchSubframe(e, n + 1, lags, resonant, s[1], parameter);
    keepLag(e, n + 1, gainFlags);
    *gainIndex = static_cast<Qol16s>(quantise475(e.predictor, first, s[0], s[1]));
    keepGain(e, s[1].pitchGain);

    rebuild(e, n, s[0], lagBefore, *indices[0]);
    finishSubframe(e, a, n, s[0], e.memory);
    prepareTarget(e, a, n + 1, s[1], e.memory);
    rebuild(e, n + 1, s[1], lagBetween, *indices[1]);
    finishSubframe(e, a, n + 1, s[1], e.memory);
}

void restAfterNoise(Encoder& e, const Qol16s* lsp) {
    std::fill(std::begin(e.excitation), std::end(e.excitation), Qol16s{0});
    std::fill_n(e.memory.error, kOrder, Qol16s{0});
    std::fill_n(e.memory.weighted, kOrder, Qol16s{0});
    std::fill_n(e.lsfResidual, kOrder, Qol16s{0});
    std::copy_n(lsp, kOrder, e.lspOldQuantised);
    e.sharpening = 0;
    e.lag = 0;
}

void writeParameters(const Qol16s* parameters, int row, Frame& frame) {
    for (const std::uint8_t bits : kParameterBits[row]) {
        putBits(frame, static_cast<std::uint16_t>(*parameters++), bits);
    }
}

void writeNoise(EncoderNoise& n, int mode, Frame& frame) {
    // The standard's sequences show the parameters in frames without data too.
    const Qol16s parameters[5] = {n.lsfIndices[0], n.lsfIndices[1], n.lsfIndices[2],
                                  n.lsfIndices[3], n.energyIndex};
    writeParameters(parameters, kModes, frame);
    setFrame(frame, mode, nextNoiseFrame(n.schedule));
}

} // namespace

void reset(Encoder& e, int mode, Detector detector) {
    e = Encoder{};
    e.mode = mode;
    e.detector = detector;
    e.filter[0] = 4096;
    std::copy_n(kLspStart, kOrder, e.lspOld);
    std::copy_n(kLspStart, kOrder, e.lspOldQuantised);
    std::fill_n(e.lagHistory, 5, Qol16s{40});
    e.voicedLag = 40;
    reset(e.predictor);
    EncoderNoise& n = e.noise;
    for (Qol16s* level : {n.vad1.bckrEst, n.vad1.aveLevel, n.vad1.oldLevel}) {
        std::fill_n(level, 9, Qol16s{150});
    }
    n.vad1.corrHpFast = n.bestCorrelation = 13106;
    n.hang = 7;
    n.elapsed = 32767;
    for (int row = 0; row < 8; ++row) {
        std::copy_n(kLspStart, kOrder, n.lsps + row * kOrder);
    }
}

bool detectSpeech(Encoder& e, const Qol16s* pcm) {
    FrontEnd f;
    analyseFrame(e, pcm, f);
    return f.speech != 0;
}

void encodeFrame(Encoder& e, const Qol16s* pcm, Frame& frame) {
    clearFrame(frame);
    FrontEnd f;
    analyseFrame(e, pcm, f);
    Analysis& a = f.analysis;
    EncoderNoise& noise = e.noise;
    auto used = static_cast<Qol16s>(kRateCode[e.mode]);
    Qol16s update = 0;
    if (e.detector != Detector::none) {
        qolsEncDTXHandler_GSMAMR_16s(&noise.hang, &noise.elapsed, &used, &update, f.speech);
    }
    Qol16s parameters[57];
    Qol16s* parameter = parameters;
    if (used != kRateDtx) {
        quantiseLsf(e, a, parameter);
    }
    qolsEncDTXBuffer_GSMAMR_16s(e.speech + kFrame, a.lsp[1], &noise.index, noise.lsps,
                                noise.logEnergies);
    if (used == kRateDtx) {
        qolsEncDTXSID_GSMAMR_16s(noise.lsps, noise.logEnergies, &noise.energyIndex,
                                 noise.lsfIndices, e.lsfResidual, e.predictor.past,
                                 e.predictor.past122, update);
        restAfterNoise(e, a.lsp[1]);
        writeNoise(noise, e.mode, frame);
        return;
    }
    const bool resonant = isResonant(e, a.lsp[1]);
    for (int n = 0; n < 4; ++n) {
        if (e.mode == k475) {
            codePair(e, a, n++, f.lags, f.gainFlags, resonant, parameter);
            continue;
        }
        Subframe s;
        prepareTarget(e, a, n, s, e.memory);
        searchSubframe(e, n, f.lags, resonant, s, parameter);
        keepLag(e, n, f.gainFlags);
        quantiseGains(e, s, parameter);
        keepGain(e, s.pitchGain);
        finishSubframe(e, a, n, s, e.memory);
    }
    std::copy_n(e.excitation + kFrame, kPastExcitation, e.excitation);
    noise.schedule.spoke = true;
    writeParameters(parameters, e.mode, frame);
    setFrame(frame, e.mode, FrameType::good);
}

} // namespace qolsc::tools::amr
