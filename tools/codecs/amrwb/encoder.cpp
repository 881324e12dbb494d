// SPDX-License-Identifier: Apache-2.0
// Encoder of AMR-WB (3GPP TS 26.190 5).
#include "codecs/amrwb/encoder.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

constexpr Qol16s kClipGain = 14746; // Q14
constexpr Qol16s kLeastClipGain = 9830;
constexpr Qol16s kWeightingFactor = 30147; // 0.92, Q15

const Qol16s* codedSpeech(const Encoder& e) { return e.analysis.speech + kFrameStart; }

bool detectActivity(Encoder& e) {
    Qol16s samples[kFrame], flag = 0;
    std::copy_n(e.analysis.speech + kSpeechPast, kFrame, samples);
    scaleSignal(samples, kFrame, 1 - e.analysis.scale);
    qolsVAD_AMRWB_16s(samples, reinterpret_cast<QolsVadState_AMRWB*>(e.detector.data()),
                      &e.openLoop.toneFlag, &flag);
    return flag != 0;
}

/// Least distance of neighbouring ISFs, smoothed: small at strong resonances.
void updateClipByIsf(GainClip& c, const Qol16s* isf, Qol16s most) {
    Qol16s least = sub(isf[1], isf[0]);
    for (int i = 2; i < kOrder - 1; ++i) {
        least = std::min(least, sub(isf[i], isf[i - 1]));
    }
    const Qol16s value = extract_h(L_mac(L_mult(26214, c.isfDistance), least, 6554));
    c.isfDistance = std::min(value, most);
}

bool clipsGain(const GainClip& c, int mode) {
    if (isLowRate(mode)) {
        return c.gain > kClipGain + mult(1638, wrap16(84 * c.isfDistance));
    }
    return c.isfDistance < 154 && c.gain > kClipGain;
}

void updateClipByGain(GainClip& c, int mode, Qol16s gain) {
    const bool low = isLowRate(mode);
    const Qol32s sum = L_mac(L_mult(low ? 32113 : 29491, c.gain), low ? 655 : 3277, gain);
    c.gain = std::max(extract_h(sum), kLeastClipGain);
}

/// Residual of the frame through one LP set for each subframe.
void residualOfFrame(const Qol16s* speech, const LpSet* sets, int step, Qol16s* out) {
    for (int s = 0; s < 4; ++s) {
        qolsResidualFilter_AMRWB_16s_Sfs(sets[s * step].data(), kOrder, speech + s * kSubframe,
                                         out + s * kSubframe, kSubframe, 11);
    }
}

void enterHistory(Encoder& e, const Qol16s* residual, const Qol16s* isf) {
    Qol16s plain[kFrame];
    for (int i = 0; i < kFrame; ++i) {
        plain[i] = static_cast<Qol16s>(residual[i] >> e.analysis.scale);
    }
    EncoderNoise& n = e.noise;
    qolsEncDTXBuffer_AMRWB_16s(plain, isf, &n.index, n.isfs[0], n.logEnergies, kRateCode[e.mode]);
}

/// Target of the subframe, what is left of the residual for the code search, and the responses.
struct Targets {
    Qol16s target[kSubframe];   ///< xn
    Qol16s residual[kSubframe]; ///< cn
    Qol16s h1[kSubframe];       ///< weighted response at the scale of the target
    Qol16s h2[kSubframe];       ///< the same, a quarter
};

void makeTarget(Encoder& e, const SubframeContext& f, int s, const Qol16s* weighted, Targets& t) {
    const Qol16s* speech = codedSpeech(e) + s * kSubframe;
    const Qol16s* aq = f.lpQuantised[s].data();
    Qol16s* exc = e.excitation + kPastExcitation + s * kSubframe;
    Qol16s error[kOrder + kSubframe];
    for (int i = 0; i < kOrder; ++i) {
        error[i] = sub(speech[i - kOrder], e.synthesis[i]);
    }
    // Again, since the subframe before wrote one value too far.
    qolsResidualFilter_AMRWB_16s_Sfs(aq, kOrder, speech, exc, kSubframe, 11);
    synthesis16(aq, kOrder, exc, error + kOrder, kSubframe);
    qolsResidualFilter_AMRWB_16s_Sfs(weighted, kOrder, error + kOrder, t.target, kSubframe, 11);
    Qol16s memory = e.weighting; // the true one follows when the subframe's excitation is known
    qolsDeemphasize_AMRWB_NR_16s_I(kPreemphasis, t.target, kSubframe, &memory);

    // First half: the target taken back through the weighting; second half: the LP residual.
    constexpr int half = kSubframe / 2;
    Qol16s line[kOrder + half] = {};
    Qol16s before = 0;
    std::copy_n(t.target, half, line + kOrder);
    qolsPreemphasize_AMRWB_16s_ISfs(kPreemphasis, line + kOrder, half, 13, &before);
    synthesis16(weighted, kOrder, line + kOrder, line + kOrder, half);
    qolsResidualFilter_AMRWB_16s_Sfs(aq, kOrder, line + kOrder, t.residual, half, 11);
    std::copy_n(exc + half, half, t.residual + half);
}

void makeResponses(const SubframeContext& f, int s, const Qol16s* weighted, Targets& t) {
    const Qol16s* aq = f.lpQuantised[s].data();
    Qol16s line[kOrder + kSubframe] = {};
    Qol16s* u = line + kOrder;
    std::copy_n(weighted, kOrder + 1, u);
    for (int i = 0; i < kSubframe; ++i) {
        Qol32s sum = L_mult(u[i], 16384);
        for (int j = 1; j <= kOrder; ++j) {
            sum = L_msu(sum, aq[j], u[i - j]);
        }
        u[i] = round_fx(L_shl(sum, 3));
    }
    Qol16s memory = 0;
    qolsDeemphasize_AMRWB_NR_16s_I(kPreemphasis, u, kSubframe, &memory);
    std::copy_n(u, kSubframe, t.h1);
    std::copy_n(u, kSubframe, t.h2);
    scaleSignal(t.h2, kSubframe, -2);
    scaleSignal(t.target, kSubframe, f.shift);
    scaleSignal(t.h1, kSubframe, 1 + f.shift);
}

void putLag(Frame& frame, int mode, bool absolute, const LagRange& range, const Lag& l) {
    if (!absolute) {
        const int whole = l.lag - range.least;
        isLowRate(mode)
            ? putBits(frame, static_cast<std::uint32_t>(2 * whole + (l.fraction >> 1)), 5)
            : putBits(frame, static_cast<std::uint32_t>(4 * whole + l.fraction), 6);
        return;
    }
    int index = 0;
    if (isLowRate(mode)) {
        index = l.lag < 92 ? 2 * (l.lag - kLeastLag) + (l.fraction >> 1) : 116 + l.lag - 92;
    } else if (l.lag < 128) {
        index = 4 * (l.lag - kLeastLag) + l.fraction;
    } else if (l.lag < 160) {
        index = 376 + 2 * (l.lag - 128) + (l.fraction >> 1);
    } else {
        index = 440 + l.lag - 160;
    }
    putBits(frame, static_cast<std::uint32_t>(index), isLowRate(mode) ? 8 : 9);
}

/// x - gain * y, y the filtered vector.
void removeContribution(const Qol16s* x, const Qol16s* y, Qol16s gain, Qol16s* out) {
    for (int i = 0; i < kSubframe; ++i) {
        out[i] = extract_h(L_shl(L_msu(L_mult(x[i], 16384), y[i], gain), 1));
    }
}

/// The adaptive vector chosen: its filtered form, gain, and the target that it leaves.
struct Adaptive {
    Qol16s filtered[kSubframe];
    Qol16s left[kSubframe];
    Qol16s gain;
};

Adaptive tryAdaptive(const Qol16s* exc, const Targets& t, bool clip) {
    Adaptive a;
    convolve(exc, t.h1, a.filtered);
    a.gain = pitchGain(t.target, a.filtered, clip);
    removeContribution(t.target, a.filtered, a.gain, a.left);
    return a;
}

/// With or without the low-pass, whichever leaves less; e holds the choice.
Adaptive chooseAdaptive(Frame& frame, int mode, Qol16s* exc, const Targets& t, bool clip) {
    Adaptive plain{};
    Qol16s unfiltered[kSubframe + 1];
    if (!isLowRate(mode)) {
        plain = tryAdaptive(exc, t, clip);
        std::copy_n(exc, kSubframe + 1, unfiltered);
    }
    lowPassAdaptive(exc);
    const Adaptive smooth = tryAdaptive(exc, t, clip);
    if (isLowRate(mode)) {
        return smooth;
    }
    Qol32s difference = 0;
    for (int i = 0; i < kSubframe; ++i) {
        difference = L_mac(difference, plain.left[i], plain.left[i]);
    }
    for (int i = 0; i < kSubframe; ++i) {
        difference = L_msu(difference, smooth.left[i], smooth.left[i]);
    }
    const bool takesPlain = difference <= 0;
    putBits(frame, takesPlain ? 1 : 0, 1);
    if (takesPlain) {
        std::copy_n(unfiltered, kSubframe, exc);
    }
    return takesPlain ? plain : smooth;
}

/// Pulse sharpening by the tilt of the subframe before and by the lag.
void shapeCode(Qol16s* x, Qol16s tilt, const Lag& l) {
    Qol16s before = 0;
    qolsPreemphasize_AMRWB_16s_ISfs(tilt, x, kSubframe, 14, &before);
    sharpen(x, l.lag, l.fraction);
}

void searchCode(Encoder& e, Frame& frame, Targets& t, const Adaptive& a, const Lag& l, Qol16s* code,
                Qol16s* filtered) {
    shapeCode(t.h2, e.tilt, l);
    Qol16s words[8];
    qolsAlgebraicCodebookSearch_AMRWB_16s(a.left, t.residual, t.h2, code, filtered,
                                          kRateCode[e.mode], words);
    const CodeLayout& layout = kCodeLayout[e.mode];
    for (int i = 0; i < layout.words; ++i) {
        putBits(frame, static_cast<Qol16u>(words[i]), layout.bits[i]);
    }
    shapeCode(code, e.tilt, l);
}

void encodeSubframe(Encoder& e, SubframeContext& f, int s, int openLag, const Qol16s* input,
                    Frame& frame) {
    Qol16s* exc = e.excitation + kPastExcitation + s * kSubframe;
    LpSet weighted;
    weightLp(f.lp[s].data(), kWeightingFactor, kOrder, weighted.data());
    Targets t;
    makeTarget(e, f, s, weighted.data(), t);
    makeResponses(f, s, weighted.data(), t);

    const bool absolute = isAbsolute(e.mode, s);
    if (absolute) {
        f.range = lagRangeAround(openLag);
    }
    const Lag l = closedLoopLag(exc, t.target, t.h1, f.range, e.mode, absolute);
    putLag(frame, e.mode, absolute, f.range, l);
    if (absolute) {
        f.range = lagRangeAround(l.lag);
    }
    const bool clip = clipsGain(e.clip, e.mode);
    adaptiveVector(exc, l.lag, l.fraction);
    const Adaptive a = chooseAdaptive(frame, e.mode, exc, t, clip);
    removeContribution(t.residual, exc, a.gain, t.residual);
    scaleSignal(t.residual, kSubframe, f.shift);
    Qol16s code[kSubframe], filtered[kSubframe];
    searchCode(e, frame, t, a, l, code, filtered);

    const QuantisedGains g = quantiseGains(e.predictor, e.mode, f.scale + f.shift, a.gain, clip,
                                           t.target, a.filtered, code, filtered);
    putBits(frame, static_cast<std::uint32_t>(g.row), isLowRate(e.mode) ? 6 : 7);
    updateClipByGain(e.clip, e.mode, g.pitch);
    const Qol16s gain16 = round_fx(L_shl(g.code, f.scale));

    Qol16s adaptive[kSubframe], scaled[kSubframe];
    std::copy_n(exc, kSubframe, adaptive);
    std::copy_n(exc, kSubframe, scaled);
    scaleSignal(scaled, kSubframe, f.shift);
    const Qol16s v = voicing(scaled, f.shift, g.pitch, code, gain16);
    e.tilt = tiltOf(v);
    constexpr int last = kSubframe - 1;
    Qol32s memory = L_negate(L_shl(L_mult(gain16, filtered[last]), 5 + f.shift));
    memory = L_msu(L_mac(memory, t.target[last], 16384), a.filtered[last], g.pitch);
    e.weighting = round_fx(L_shl(memory, 1 - f.shift));

    excitation(code, gain16, adaptive, g.pitch, exc);
    Qol16s line[kOrder + kSubframe];
    std::copy_n(e.synthesis, kOrder, line);
    synthesis16(f.lpQuantised[s].data(), kOrder, exc, line + kOrder, kSubframe);
    std::copy_n(line + kSubframe, kOrder, e.synthesis);
    if (e.mode == 8) {
        Qol16s x[kSubframe];
        const Qol32s smooth = enhanceNoise(g.code, f.stab, v, e.gainThreshold);
        enhancedExcitation(code, v, round_fx(L_shl(smooth, f.scale)), adaptive, g.pitch, x);
        const int index = codeHighBand(e.highBand, f.lpQuantised[s], x, f.scale,
                                       input + s * kSubframe16k, e.noise.hang);
        putBits(frame, static_cast<std::uint32_t>(index), 4);
    }
}

void quantiseIsfs(Encoder& e, SubframeContext& f, const Qol16s* isf, Qol16s* quantised,
                  Frame& frame) {
    Qol16s indices[7];
    qolsISFQuant_AMRWB_16s(isf, e.pastIsfResidual, quantised, indices, kRateCode[e.mode]);
    for (int i = 0; i < (e.mode == 0 ? 5 : 7); ++i) {
        putBits(frame, static_cast<Qol16u>(indices[i]),
                e.mode == 0 ? kIsfBits36[i] : kIsfBits46[i]);
    }
    f.stab = takeIsfs(quantised, e.firstFrame, e.ispOldQuantised, e.isfOld, f.lpQuantised);
}

void encodeSpeech(Encoder& e, SubframeContext& f, bool active, const Qol16s* isf,
                  const int openLags[2], const Qol16s* input, Frame& frame) {
    setFrame(frame, e.mode, FrameType::good);
    putBits(frame, active ? 1 : 0, 1);
    Qol16s quantised[kOrder];
    quantiseIsfs(e, f, isf, quantised, frame);
    Qol16s* exc = e.excitation + kPastExcitation;
    residualOfFrame(codedSpeech(e), f.lpQuantised, 1, exc);
    if (!active) {
        enterHistory(e, exc, quantised);
    }
    for (int s = 0; s < 4; ++s) {
        encodeSubframe(e, f, s, openLags[s / 2], input, frame);
    }
    std::copy_n(e.excitation + kFrame, kPastExcitation, e.excitation);
    e.noise.schedule.spoke = true;
}

void encodeNoise(Encoder& e, SubframeContext& f, const Qol16s* isf, const Qol16s* input,
                 Frame& frame) {
    EncoderNoise& n = e.noise;
    setFrame(frame, e.mode, nextNoiseFrame(n.schedule));

    Qol16s residual[kFrame], quantised[kOrder], isp[kOrder], exc[kFrame];
    residualOfFrame(codedSpeech(e), f.lp + 3, 0, residual);
    enterHistory(e, residual, isf);
    codeNoise(n, frame, quantised, exc);
    qolsISFToISP_AMRWB_16s(quantised, isp, kOrder);
    if (e.mode == 8) {
        LpSet lp;
        qolsISPToLPC_AMRWB_16s(isp, lp.data(), kOrder);
        for (int s = 0; s < 4; ++s) {
            codeHighBand(e.highBand, lp, exc + s * kSubframe, 0, input + s * kSubframe16k, n.hang);
        }
    }
    std::copy_n(quantised, kOrder, e.isfOld);
    resetAfterNoise(e);
}

/// What comes before any coding.
struct FrontEnd {
    Qol16s input[kFrame16k];
    SubframeContext context;
    bool active, noise; ///< the detector's flag; the frame is to be comfort noise
    Qol16s isf[kOrder];
    int openLags[2];
};

void analyseFrame(Encoder& e, const Qol16s* pcm, FrontEnd& f) {
    for (int i = 0; i < kFrame16k; ++i) {
        f.input[i] = static_cast<Qol16s>(pcm[i] & kOutputMask);
    }
    const int scaleChange = readSpeech(e, f.input);
    f.active = detectActivity(e);
    f.noise = e.dtx && isNoiseFrame(e.noise, f.active);

    f.context.scale = e.analysis.scale;
    Qol16s lpc[kOrder + 1], isp[kOrder];
    analyse(e.analysis, lpc);
    qolsLPCToISP_AMRWB_16s(lpc, isp, e.analysis.ispOld);
    interpolateLp(e.analysis.ispOld, isp, f.context.lp);
    std::copy_n(isp, kOrder, e.analysis.ispOld);
    qolsISPToISF_Norm_AMRWB_16s(isp, f.isf, kOrder);
    updateClipByIsf(e.clip, f.isf, isLowRate(e.mode) && !f.noise ? 384 : 307);
    weightSpeech(e.openLoop, codedSpeech(e), f.context.lp, scaleChange);
    f.context.shift = e.openLoop.shift;
    if (e.mode == 0 && !f.noise) {
        f.openLags[0] = f.openLags[1] = openLoopLag(e.openLoop, 0, kFrame / 2);
    } else {
        f.openLags[0] = openLoopLag(e.openLoop, 0, kSubframe);
        f.openLags[1] = openLoopLag(e.openLoop, kSubframe, kSubframe);
    }
}

} // namespace

void resetAfterNoise(Encoder& e) {
    std::fill(std::begin(e.excitation), std::end(e.excitation), Qol16s{0});
    std::fill_n(e.synthesis, kOrder, Qol16s{0});
    std::fill_n(e.pastIsfResidual, kOrder, Qol16s{0});
    e.weighting = 0;
    e.tilt = 0;
    e.clip = {307, kLeastClipGain};
    e.gainThreshold = 0;
    e.firstFrame = true;
}

void reset(Encoder& e, int mode, bool dtx) {
    e = Encoder{};
    e.mode = mode;
    e.dtx = dtx;
    e.analysis.highPass = makeHighPass(HP50_A, HP50_B, 2);
    e.analysis.scale = e.analysis.pastShifts[0] = e.analysis.pastShifts[1] = 15;
    std::copy_n(ispInit, kOrder, e.analysis.ispOld);
    std::copy_n(ispInit, kOrder, e.ispOldQuantised);
    std::copy_n(isfInit, kOrder, e.isfOld);
    e.openLoop.highPass = makeHighPass(HPWSP_A, HPWSP_B, 3);
    std::fill_n(e.openLoop.lags, 5, Qol16s{40});
    e.openLoop.medianLag = 40;
    Qol32s size = 0;
    qolsVADGetSize_AMRWB_16s(&size);
    e.detector.assign(static_cast<std::size_t>(size), 0);
    qolsVADInit_AMRWB_16s(reinterpret_cast<QolsVadState_AMRWB*>(e.detector.data()));
    std::fill_n(e.predictor.past, 4, Qol16s{-14336});
    for (auto& row : e.noise.isfs) {
        std::copy_n(isfInit, kOrder, row);
    }
    e.noise.hang = 7;
    e.noise.elapsed = 32767;
    e.noise.seed = kSeed;
    e.highBand.low = makeLowBand();
    e.highBand.high = makeHighBand();
    e.highBand.adaptation = 32767;
    resetAfterNoise(e);
}

bool detectSpeech(Encoder& e, const Qol16s* pcm) {
    FrontEnd f;
    analyseFrame(e, pcm, f);
    return f.active;
}

void encodeFrame(Encoder& e, const Qol16s* pcm, Frame& frame) {
    const bool homing =
        std::all_of(pcm, pcm + kFrame16k, [](Qol16s x) { return x == kHomingSample; });
    FrontEnd f;
    analyseFrame(e, pcm, f);
    e.highBand.noiseFrames = f.active ? 0 : e.highBand.noiseFrames + 1;
    clearFrame(frame);
    if (f.noise) {
        encodeNoise(e, f.context, f.isf, f.input, frame);
    } else {
        encodeSpeech(e, f.context, f.active, f.isf, f.openLags, f.input, frame);
    }
    if (homing) {
        reset(e, e.mode, e.dtx);
    }
}

} // namespace qolsc::tools::amrwb
