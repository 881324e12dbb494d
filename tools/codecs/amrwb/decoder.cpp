// SPDX-License-Identifier: Apache-2.0
// Decoder of AMR-WB (3GPP TS 26.190 6).
#include "codecs/amrwb/decoder.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

constexpr int kMostScale = 8;

struct Lag {
    int lag, fraction;
};

/// Lag of a subframe; an absolute one sets the range of those that follow.
Lag readLag(BitReader& reader, int mode, int subframe, LagRange& range) {
    if (isAbsolute(mode, subframe)) {
        int i = take(reader, isLowRate(mode) ? 8 : 9);
        Lag l;
        if (isLowRate(mode)) {
            l = i < 116 ? Lag{kLeastLag + (i >> 1), 2 * (i & 1)} : Lag{i - 24, 0};
        } else if (i < 376) {
            l = {kLeastLag + (i >> 2), i & 3};
        } else if (i < 440) {
            i -= 376;
            l = {128 + (i >> 1), 2 * (i & 1)};
        } else {
            l = {i - 280, 0};
        }
        range = lagRangeAround(l.lag);
        return l;
    }
    if (isLowRate(mode)) {
        const int i = take(reader, 5);
        return {range.least + (i >> 1), 2 * (i & 1)};
    }
    const int i = take(reader, 6);
    return {range.least + (i >> 2), i & 3};
}

void readCode(BitReader& reader, int mode, Qol16s* code) {
    const CodeLayout& layout = kCodeLayout[mode];
    Qol16s words[8] = {};
    for (int i = 0; i < layout.words; ++i) {
        words[i] = static_cast<Qol16s>(take(reader, layout.bits[i]));
    }
    qolsAlgebraicCodebookDecode_AMRWB_16s(words, code, kRateCode[mode]);
}

/// Circular convolution with a response that spreads the pulses.
void disperse(const Qol16s* response, Qol16s* code) {
    Qol16s spread[2 * kSubframe] = {};
    for (int i = 0; i < kSubframe; ++i) {
        for (int j = 0; code[i] != 0 && j < kSubframe; ++j) {
            spread[i + j] = add(spread[i + j], mult_r(code[i], response[j]));
        }
    }
    for (int i = 0; i < kSubframe; ++i) {
        code[i] = add(spread[i], spread[kSubframe + i]);
    }
}

/// Chooses the dispersion by the gains and applies it.
void updateDispersion(Dispersion& d, int mode, Qol16s pitchGain, Qol32s gain, Qol16s* code) {
    std::copy_backward(d.pitchGains, d.pitchGains + 5, d.pitchGains + 6);
    d.pitchGains[0] = pitchGain;
    int level = pitchGain < 9830 ? 0 : pitchGain < 14746 ? 1 : 2;
    const Qol16s codeGain16 = extract_h(gain);
    if (sub(codeGain16, d.codeGain) > shl(d.codeGain, 1)) {
        level = std::min(level + 1, 2); // an onset
    } else {
        const auto weak =
            std::count_if(d.pitchGains, d.pitchGains + 6, [](Qol16s g) { return g < 9830; });
        level = weak > 2 ? 0 : level;
        level = level - d.level > 1 ? level - 1 : level;
    }
    d.codeGain = codeGain16;
    d.level = static_cast<Qol16s>(level);
    level += std::min(mode, 2);
    if (level < 2) {
        disperse(level == 0 ? dispersionLow : dispersionMid, code);
    }
}

/// Brings x to the energy of the reference signal.
void levelTo(const Qol16s* reference, Qol16s* x) {
    Qol32s so = 0, si = 0;
    for (int i = 0; i < kSubframe; ++i) {
        const auto o = static_cast<Qol16s>(x[i] >> 2), r = static_cast<Qol16s>(reference[i] >> 2);
        so = L_mac(so, o, o);
        si = L_mac(si, r, r);
    }
    if (so == 0) {
        return;
    }
    Qol16s gain = 0;
    if (si != 0) {
        int k = norm_l(so) - 1;
        const Qol16s go = round_fx(L_shl(so, k));
        const int j = norm_l(si);
        const Qol16s gi = round_fx(L_shl(si, j));
        k -= j;
        const Qol32s ratio = L_shl(L_shl(div_s(go, gi), 7), -k);
        const int n = norm_l(ratio);
        const Scaled inverse = inverseSqrt({L_shl(ratio, n), 31 - n});
        gain = round_fx(L_shl(L_shl(inverse.mantissa, inverse.exponent), 9));
    }
    for (int i = 0; i < kSubframe; ++i) {
        x[i] = extract_h(L_shl(L_mult(x[i], gain), 2));
    }
}

/// 64 samples at 12.8 kHz to 80 at 16 kHz.
void upsample(Qol16s* past, const Qol16s* low, Qol16s* out) {
    Qol16s line[24 + kSubframe];
    std::copy_n(past, 24, line);
    std::copy_n(low, kSubframe, line + 24);
    for (int first = 0; first < 5; ++first) {
        const auto taps = phaseTaps<5, 24>(firUp, 4 * first % 5);
        for (int j = first; j < kSubframe16k; j += 5) {
            out[j] = round_fx(L_shl(macSum(0, line + 4 * j / 5 + 1, taps.data(), 24), 1));
        }
    }
    std::copy_n(line + kSubframe, 24, past);
}

/// Whether the first `count` bits are those of the homing frame; at 23.85 kbit/s the high-band
/// gains don't count.
bool equalsHoming(const Frame& frame, int mode, int count) {
    constexpr const Qol16s* frames[kModes] = {homingFrame0, homingFrame1, homingFrame2,
                                              homingFrame3, homingFrame4, homingFrame5,
                                              homingFrame6, homingFrame7, homingFrame8};
    for (int i = 0, position = 0; i < count; ++i) {
        const auto bit = static_cast<int>(takeBits(frame, position, 1));
        constexpr int subframeEnds[4] = {156, 262, 371, 477}; // at 23.85 kbit/s
        bool ignored = false;
        for (const int end : subframeEnds) {
            ignored |= mode == 8 && i >= end - 4 && i < end;
        }
        if (!ignored && bit != (frames[mode][i / 15] >> (14 - i % 15) & 1)) {
            return false;
        }
    }
    return true;
}

/// What the subframes of a frame have in common.
struct FrameContext {
    int mode;
    bool bad, unusable;
    Qol16s stab;
    LpSet lp[4];
    LagRange range{kLeastLag, kLeastLag + 15};
};

/// Gains of a subframe as the stream has them.
Gains readGains(Decoder& d, BitReader& reader, int mode, Qol16s inverseCode) {
    Concealment& c = d.concealment;
    const Qol16s* row =
        isLowRate(mode) ? gainCodebook6[take(reader, 6)] : gainCodebook7[take(reader, 7)];
    const PredictedGain predicted = predictGain(d.predictor, 30 << 24);
    Gains g{row[0], codeGain(row[1], predicted)};
    if (c.previousBad) {
        const Qol32s most = L_mult(c.goodCodeGain, 5120);
        if (g.code > most && g.code > 6553600) {
            g.code = most; // no burst behind lost frames
        }
    }
    c.goodCodeGain = round_fx(L_shl(g.code, 3));
    std::copy(c.codeGains + 1, c.codeGains + 5, c.codeGains);
    std::copy(c.pitchGains + 1, c.pitchGains + 5, c.pitchGains);
    std::copy(c.lagGains + 1, c.lagGains + 5, c.lagGains);
    c.codeGains[4] = c.goodCodeGain;
    c.pitchGains[4] = c.lagGains[4] = g.pitch;
    g.code = L_shl(Mpy_32_16(L_Extract(g.code), inverseCode), 3);
    updatePredictor(d.predictor, row[1]);
    return g;
}

/// Scale of the excitation that the code gain and the recent excitation allow; the whole excitation
/// takes it.
void rescale(Decoder& d, Qol16s* e, Qol32s gain, Qol16s* pGain16) {
    const int limit = std::min(*std::min_element(d.headroom, d.headroom + 4), kMostScale);
    int q = 0;
    while (gain < 0x08000000 && q < limit) {
        gain = L_shl(gain, 1);
        ++q;
    }
    *pGain16 = round_fx(gain);
    scaleSignal(e - kPastExcitation, kPastExcitation + kSubframe, q - d.scale);
    d.scale = q;
}

/// Lower and upper band of a subframe from the enhanced excitation.
void synthesizeSubframe(Decoder& d, const FrameContext& f, int s, const Qol16s* x, int highIndex,
                        const Qol16s* isfOld, Qol16s* pcm) {
    Qol16s low[kSubframe], noise[kSubframe16k];
    synthesizeLowBand(d.low, f.lp[s], x, d.scale, low);
    upsample(d.upsampling, low, pcm);
    highBandNoise(d.high, x, d.scale, noise);
    const Qol16s level = highBandLevel(d.high, low, d.noiseFrames > 0);
    for (Qol16s& h : noise) {
        h = highIndex >= 0 ? shl(mult(h, highBandGain[highIndex]), 1) : mult(h, level);
    }
    if (f.mode == 0 && isfOld != nullptr) {
        Qol16s a[21];
        extrapolateLp(isfOld, d.isfOld, s, a);
        shapeHighBand(d.high, a, 20, noise);
    } else {
        shapeHighBand(d.high, f.lp[s].data(), kOrder, noise);
    }
    if (f.mode == 8) {
        filter31(d.high.lowPass, fir7k, 0, noise, kSubframe16k);
    }
    for (int i = 0; i < kSubframe16k; ++i) {
        pcm[i] = add(pcm[i], noise[i]);
    }
}

Lag decodeLag(Decoder& d, FrameContext& f, int s, BitReader& reader) {
    Concealment& c = d.concealment;
    Lag l = readLag(reader, f.mode, s, f.range);
    if (f.bad) {
        l = {concealLag(c, l.lag, f.unusable), 0};
    } else {
        std::copy_backward(c.lags, c.lags + 4, c.lags + 5);
        c.lags[0] = c.lag = static_cast<Qol16s>(l.lag);
    }
    return l;
}

void decodeCode(Decoder& d, const FrameContext& f, const Lag& l, BitReader& reader, Qol16s* code) {
    if (f.unusable) {
        for (int i = 0; i < kSubframe; ++i) {
            code[i] = static_cast<Qol16s>(randomValue(d.concealment.codeSeed) >> 3);
        }
    } else {
        readCode(reader, f.mode, code);
    }
    Qol16s before = 0;
    qolsPreemphasize_AMRWB_16s_ISfs(d.tilt, code, kSubframe, 14, &before);
    sharpen(code, l.lag, l.fraction);
}

/// What the stream tells of a subframe's excitation, and what follows from it.
struct Vectors {
    Qol16s code[kSubframe];
    Qol16s adaptive[kSubframe];
    Gains gains;
    Qol16s gain16;  ///< code gain at the scale of the excitation
    Qol16s voicing; ///< Q15
    bool isSharp;   ///< a stronger pitch at the two lowest rates
    Qol16s sharp[kSubframe];
};

/// Adaptive vector to e, code vector and gains.
void decodeVectors(Decoder& d, FrameContext& f, int s, BitReader& reader, Qol16s* e, Vectors& v) {
    const Lag l = decodeLag(d, f, s, reader);
    adaptiveVector(e, l.lag, l.fraction);
    if (!f.unusable && (isLowRate(f.mode) || take(reader, 1) == 0)) {
        lowPassAdaptive(e);
    }
    decodeCode(d, f, l, reader, v.code);

    Scaled inverse = dotProduct(v.code, v.code, kSubframe);
    inverse.exponent -= 24;
    inverse = inverseSqrt(inverse);
    const Qol16s inverseCode = extract_h(L_shl(inverse.mantissa, inverse.exponent - 3));
    if (f.bad) {
        take(reader, isLowRate(f.mode) ? 6 : 7);
        v.gains = concealGains(d.concealment, d.predictor, f.unusable, d.noiseFrames, inverseCode);
    } else {
        v.gains = readGains(d, reader, f.mode, inverseCode);
    }
    rescale(d, e, v.gains.code, &v.gain16);
    std::copy_n(e, kSubframe, v.adaptive);
}

/// Voicing, the tilt of the next subframe, and the sharpened pitch.
void analyseVectors(Decoder& d, const FrameContext& f, Vectors& v) {
    Qol16s y[kSubframe];
    std::copy_n(v.adaptive, kSubframe, y);
    scaleSignal(y, kSubframe, -3);
    const Qol16s sharpness = shl(v.gains.pitch, 1);
    v.isSharp = isLowRate(f.mode) && sharpness > 16384;
    for (int i = 0; v.isSharp && i < kSubframe; ++i) {
        v.sharp[i] = round_fx(L_mult(mult(y[i], sharpness), v.gains.pitch) >> 1);
    }
    v.voicing = voicing(y, -3, v.gains.pitch, v.code, v.gain16);
    d.tilt = tiltOf(v.voicing);
}

/// The excitation that is heard: dispersed code, smoothed gain, enhanced pitch.
void enhance(Decoder& d, const FrameContext& f, Vectors& v, Qol16s* x) {
    updateDispersion(d.dispersion, f.mode, v.gains.pitch, v.gains.code, v.code);
    const Qol32s smooth = enhanceNoise(v.gains.code, f.stab, v.voicing, d.gainThreshold);
    enhancedExcitation(v.code, v.voicing, round_fx(L_shl(smooth, d.scale)), v.adaptive,
                       v.gains.pitch, x);
    if (v.isSharp) {
        for (int i = 0; i < kSubframe; ++i) {
            v.sharp[i] = add(v.sharp[i], x[i]);
        }
        levelTo(x, v.sharp);
        std::copy_n(v.sharp, kSubframe, x);
    }
}

void decodeSubframe(Decoder& d, FrameContext& f, int s, BitReader& reader, const Qol16s* isfOld,
                    Qol16s* pcm) {
    Qol16s* e = d.excitation + kPastExcitation + s * kSubframe;
    Vectors v;
    decodeVectors(d, f, s, reader, e, v);
    analyseVectors(d, f, v);
    excitation(v.code, v.gain16, v.adaptive, v.gains.pitch, e);
    Qol16s peak = 1;
    for (int i = 0; i < kSubframe; ++i) {
        peak = std::max(peak, abs_s(e[i]));
    }
    std::copy_backward(d.headroom, d.headroom + 3, d.headroom + 4);
    d.headroom[0] = norm_s(peak) + d.scale - 1;

    Qol16s x[kSubframe];
    enhance(d, f, v, x);
    const int highIndex = f.mode == 8 ? take(reader, 4) : -1;
    synthesizeSubframe(d, f, s, x, f.bad ? -1 : highIndex, isfOld, pcm);
}

void decodeSpeech(Decoder& d, FrameContext& f, const Frame& frame, Qol16s* pcm) {
    BitReader reader{frame};
    const int flag = take(reader, 1);
    if (!f.bad) {
        d.noiseFrames = flag != 0 ? 0 : d.noiseFrames + 1;
        d.noiseFramesDtx = flag != 0 ? 0 : d.noiseFramesDtx + 1;
    } else if (d.noiseFramesDtx > 0) {
        ++d.noiseFramesDtx;
    }
    Qol16s indices[7] = {}, isf[kOrder], isfOld[kOrder];
    for (int i = 0; i < (f.mode == 0 ? 5 : 7); ++i) {
        indices[i] = static_cast<Qol16s>(take(reader, f.mode == 0 ? kIsfBits36[i] : kIsfBits46[i]));
    }
    qolsISFQuantDecode_AMRWB_16s(indices, isf, d.pastIsfResidual, d.isfOld, d.isfHistory[0],
                                 f.bad ? 1 : 0, kRateCode[f.mode]);
    std::copy_n(d.isfOld, kOrder, isfOld);
    f.stab = takeIsfs(isf, d.firstFrame, d.ispOld, d.isfOld, f.lp);
    for (int s = 0; s < 4; ++s) {
        decodeSubframe(d, f, s, reader, isfOld, pcm + s * kSubframe16k);
    }

    Qol16s* exc = d.excitation + kPastExcitation;
    Qol16s plain[kFrame];
    std::copy_n(exc, kFrame, plain);
    scaleSignal(plain, kFrame, -d.scale);
    Noise& n = d.noise;
    qolsDecDTXBuffer_AMRWB_16s(plain, isf, &n.index, n.isfs[0], n.logEnergies);
    std::copy_n(d.excitation + kFrame, kPastExcitation, d.excitation);
}

void decodeNoise(Decoder& d, FrameContext& f, const NoiseStep& step, FrameType type,
                 const Frame& frame, Qol16s* pcm) {
    Qol16s isf[kOrder], isp[kOrder], exc[kFrame];
    makeNoise(d.noise, step, type, frame, isf, exc);
    qolsISFToISP_AMRWB_16s(isf, isp, kOrder);
    for (LpSet& set : f.lp) {
        qolsISPToLPC_AMRWB_16s(isp, set.data(), kOrder);
    }
    d.scale = 0;
    const int highIndex = f.mode == 8 && !f.bad ? 1 : -1;
    for (int s = 0; s < 4; ++s) {
        synthesizeSubframe(d, f, s, exc + s * kSubframe, highIndex, nullptr,
                           pcm + s * kSubframe16k);
    }
    resetAfterNoise(d);
    std::copy_n(isf, kOrder, d.isfOld);
}

} // namespace

void resetAfterNoise(Decoder& d) {
    std::fill(std::begin(d.excitation), std::end(d.excitation), Qol16s{0});
    std::fill_n(d.pastIsfResidual, kOrder, Qol16s{0});
    d.tilt = 0;
    d.gainThreshold = 0;
    d.dispersion = {};
    d.scale = kMostScale;
    std::fill_n(d.headroom, 4, kMostScale);
    d.concealment.lag = 64;
    d.firstFrame = true;
}

void reset(Decoder& d) {
    d = Decoder{};
    std::copy_n(ispInit, kOrder, d.ispOld);
    std::copy_n(isfInit, kOrder, d.isfOld);
    for (auto& row : d.isfHistory) {
        std::copy_n(isfInit, kOrder, row);
    }
    for (auto& row : d.noise.isfs) {
        std::copy_n(isfInit, kOrder, row);
    }
    std::copy_n(isfInit, kOrder, d.noise.isf);
    std::copy_n(isfInit, kOrder, d.noise.isfOld);
    std::fill_n(d.predictor.past, 4, Qol16s{-14336});
    std::fill_n(d.concealment.lags, 5, Qol16s{64});
    d.concealment.lagSeed = d.concealment.codeSeed = kSeed;
    std::fill_n(d.noise.logEnergies, 8, Qol16s{437});
    d.noise.logEnergy = d.noise.logEnergyOld = 3500;
    d.noise.inverse = 8192;
    d.noise.clock.hang = 7;
    d.noise.clock.elapsed = 32767;
    d.noise.seed = d.noise.ditherSeed = kSeed;
    d.low = makeLowBand();
    d.high = makeHighBand();
    d.homed = true;
    resetAfterNoise(d);
}

int decodeFrame(Decoder& d, const Frame& frame, Qol16s* pcm) {
    const FrameType type = typeOf(frame);
    FrameContext f;
    f.unusable = type == FrameType::lost || type == FrameType::noData;
    f.bad = f.unusable || type == FrameType::bad || type == FrameType::degraded;
    f.mode = f.unusable || modeOf(frame) >= kModes ? d.mode : modeOf(frame);
    const bool speechBits = type == FrameType::good;
    if (d.homed && speechBits && equalsHoming(frame, f.mode, homingFirstBits[f.mode])) {
        reset(d);
        d.mode = f.mode;
        std::fill_n(pcm, kFrame16k, kHomingSample);
        return kFrame16k;
    }
    d.homed = false;
    d.mode = f.mode;

    const NoiseStep step = stepNoise(d.noise.clock, type, d.noiseFramesDtx);
    Concealment& c = d.concealment;
    if (step.next != NoiseState::speech) {
        decodeNoise(d, f, step, type, frame, pcm);
    } else {
        c.state = f.bad ? std::min(6, c.state + 1) : c.state >> 1;
        if (d.noise.clock.state != NoiseState::speech) {
            c.state = 5;
            c.previousBad = d.noise.clock.state == NoiseState::muted;
        }
        decodeSpeech(d, f, frame, pcm);
    }
    c.previousBad = f.bad;
    d.noise.clock.state = step.next;
    for (int i = 0; i < kFrame16k; ++i) {
        pcm[i] &= kOutputMask;
    }
    if (speechBits && equalsHoming(frame, f.mode, kFrameBits[f.mode])) {
        const int mode = d.mode;
        reset(d);
        d.mode = mode;
    }
    return kFrame16k;
}

} // namespace qolsc::tools::amrwb
