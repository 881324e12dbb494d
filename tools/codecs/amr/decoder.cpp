// SPDX-License-Identifier: Apache-2.0
// AMR decoder: speech frames, gains, concealment (3GPP TS 26.090 6, TS 26.091 6).
#include "codecs/amr/decoder.h"

#include "qolsc/common.h"

#include <algorithm>

namespace qolsc::tools::amr {

using namespace basop;

namespace {

constexpr Qol16s kMostForStrong = 9830, kLeastForNone = 14746; // 0.6, 0.9, Q14

bool isSmoothed(int mode) { return mode <= k67 || mode == k102; }

void push(Qol16s* list, int count, Qol16s value) {
    std::copy(list + 1, list + count, list);
    list[count - 1] = value;
}

/// Gains of a subframe.
struct Gains {
    Qol16s pitch, code;
};

Qol16s lowered(const Qol16s* past, Qol16s last, Qol16s factor) {
    return mult(std::min(median5(past), last), factor);
}

void averagePredictor(GainPredictor& p) {
    const auto mean = [](const Qol16s* x, Qol16s least) {
        Qol16s sum = 0;
        for (int i = 0; i < 4; ++i) {
            sum = add(sum, x[i]);
        }
        return std::max(mult(sum, 8192), least);
    };
    update(p, mean(p.past122, -2381), mean(p.past, -14336));
}

Qol16s keepPitch(Decoder& d, bool bad, Qol16s gain) {
    GainConcealment& c = d.gains;
    if (!bad) {
        gain = d.previousBad ? std::min(gain, c.goodPitch) : gain;
        c.goodPitch = gain;
    }
    c.pitch = std::min<Qol16s>(gain, 16384);
    push(c.pitchGains, 5, c.pitch);
    return gain;
}

Qol16s keepCode(Decoder& d, bool bad, Qol16s gain) {
    GainConcealment& c = d.gains;
    if (!bad) {
        gain = d.previousBad ? std::min(gain, c.goodCode) : gain;
        c.goodCode = gain;
    }
    c.code = gain;
    push(c.codeGains, 5, gain);
    return gain;
}

Qol16s decodePitchGain(Decoder& d, bool bad, int index) {
    const Qol16s gain =
        bad ? lowered(d.gains.pitchGains, d.gains.pitch, kPitchDown[d.errorState])
            : static_cast<Qol16s>(kPitchGains[index & 15] & (d.mode == k122 ? ~3 : ~0));
    return keepPitch(d, bad, gain);
}

Qol16s concealCodeGain(Decoder& d) {
    averagePredictor(d.predictor);
    return lowered(d.gains.codeGains, d.gains.code, kCodeDown[d.errorState]);
}

Qol16s decodeCodeGain(Decoder& d, bool bad, int index, const Qol16s* code) {
    Qol16s gain;
    if (bad) {
        gain = concealCodeGain(d);
    } else {
        const Qol16s* row = kCodeGains[index & 31];
        gain = codeGain(d.mode, predictGain(d.predictor, d.mode, code), row[0]);
        update(d.predictor, row[1], row[2]);
    }
    return keepCode(d, bad, gain);
}

Gains decodeJoint(Decoder& d, bool bad, int index, int subframe, const Qol16s* code) {
    Gains g;
    if (bad) {
        g.pitch = lowered(d.gains.pitchGains, d.gains.pitch, kPitchDown[d.errorState]);
        g.code = concealCodeGain(d);
    } else if (d.mode == k475) {
        const Qol16s* row = kGains475[index & 255] + 2 * (subframe & 1);
        g.pitch = row[0];
        g.code = codeGain(k475, predictGain(d.predictor, k475, code), row[1]);
        update475(d.predictor, row[1]);
    } else {
        const Qol16s* row =
            d.mode == k515 || d.mode == k59 ? kGainsLow[index & 63] : kGainsHigh[index & 127];
        g.pitch = row[0];
        g.code = codeGain(d.mode, predictGain(d.predictor, d.mode, code), row[1]);
        update(d.predictor, row[2], row[3]);
    }
    return {keepPitch(d, bad, g.pitch), keepCode(d, bad, g.code)};
}

/// Whether a subframe of the three lowest rates, damaged or behind a damaged frame, lies in noise.
bool isLostInNoise(const Decoder& d, bool bad) {
    return (bad || d.previousBad) && d.background.isNoise && d.mode <= k59;
}

/// Code gain of steady background noise, drawn towards its mean.
Qol16s smoothGain(Decoder& d, bool bad, Qol16s gain, const Qol16s* lsf) {
    GainSmoothing& s = d.smoothing;
    push(s.gains, 7, gain);
    Qol16s difference = 0;
    for (int i = 0; i < kOrder; ++i) {
        const Qol16s distance = abs_s(sub(d.lsfMean[i], lsf[i]));
        const int s1 = norm_s(distance) - 1, s2 = norm_s(d.lsfMean[i]);
        const Qol16s ratio = div_s(shl(distance, s1), shl(d.lsfMean[i], s2));
        difference = add(difference, shr(ratio, 2 + s1 - s2));
    }
    s.variable = difference > 5325 ? add(s.variable, 1) : Qol16s{0};
    if (s.variable > 10) {
        s.steady = 0;
    }
    Qol16s mixed = gain;
    if (isSmoothed(d.mode)) {
        const bool lost = isLostInNoise(d, bad);
        const Qol16s from = lost && d.background.unvoiced > 1 ? 4506 : 3277;
        const Qol16s x = std::max<Qol16s>(sub(difference, from), 0);
        const Qol16s share = x > 2048 || s.steady < 40 || difference > 5325
                                 ? Qol16s{8192}
                                 : static_cast<Qol16s>(4 * x);
        Qol32s sum = 0;
        for (int i = lost ? 0 : 2; i < 7; ++i) {
            sum = L_mac(sum, lost ? 4681 : 6554, s.gains[i]);
        }
        const Qol16s mean = round_fx(sum);
        mixed = round_fx(L_shl(L_msu(L_mac(L_mult(share, gain), 8192, mean), share, mean), 2));
    }
    s.steady = add(s.steady, 1);
    return mixed;
}

/// Level of the dispersion: 0 strong, 1 weak, 2 none.
int dispersionLevel(Dispersion& p, Qol16s pitch, Qol16s code, bool strongest) {
    std::copy_backward(p.pitchGains, p.pitchGains + 4, p.pitchGains + 5);
    p.pitchGains[0] = pitch;
    int level = pitch >= kLeastForNone ? 2 : pitch > kMostForStrong ? 1 : 0;
    if (code > round_fx(L_shl(L_mult(p.codeGain, 16384), 2))) {
        p.onset = 2;
    } else if (p.onset > 0) {
        --p.onset;
    }
    if (p.onset == 0) {
        if (std::count_if(p.pitchGains, p.pitchGains + 5,
                          [](Qol16s g) { return g < kMostForStrong; }) > 2) {
            level = 0;
        }
        if (level > p.level + 1) {
            --level;
        }
    } else if (level < 2) {
        ++level;
    }
    if (code < 10) {
        level = 2;
    }
    if (strongest) {
        level = 0;
    }
    p.level = static_cast<Qol16s>(level);
    p.codeGain = code;
    return level;
}

void disperse(int mode, int level, Qol16s* code) {
    if (level == 2 || mode == k74 || mode == k102 || mode == k122) {
        return;
    }
    const Qol16s* response = level != 0     ? kDispersionWeak
                             : mode == k795 ? kDispersionStrong795
                                            : kDispersionStrong;
    Qol16s sum[kSubframe] = {};
    for (int p = 0; p < kSubframe; ++p) {
        if (code[p] != 0) {
            for (int k = 0; k < kSubframe; ++k) {
                Qol16s& s = sum[(p + k) % kSubframe];
                s = add(s, mult(code[p], response[k]));
            }
        }
    }
    std::copy_n(sum, kSubframe, code);
}

Qol32s energyOf(const Qol16s* x) {
    const Qol32s sum = macSum(0, x, x, kSubframe);
    if (sum != MAX_32) {
        return sum >> 4;
    }
    Qol32s quarter = 0;
    for (int i = 0; i < kSubframe; ++i) {
        const auto v = static_cast<Qol16s>(x[i] >> 2);
        quarter = L_mac(quarter, v, v);
    }
    return quarter;
}

/// Brings out to the energy of in.
void matchEnergy(const Qol16s* in, Qol16s* out) {
    const Qol32s energyOut = energyOf(out), energyIn = energyOf(in);
    if (energyOut == 0) {
        return;
    }
    Qol16s gain = 0;
    if (energyIn != 0) {
        const int e = norm_l(energyOut) - 1, i = norm_l(energyIn);
        const Qol16s q = div_s(round_fx(L_shl(energyOut, e)), round_fx(L_shl(energyIn, i)));
        gain = round_fx(L_shl(inverseSqrt(L_shr(L_shl(q, 7), e - i)), 9));
    }
    for (int i = 0; i < kSubframe; ++i) {
        out[i] = scaled(out[i], gain, 3);
    }
}

void sharpen(Qol16s* code, int lag, Qol16s gain) {
    const Qol16s factor = shl(gain, 1);
    for (int i = lag; i < kSubframe; ++i) {
        code[i] = add(code[i], mult(code[i - lag], factor));
    }
}

/// Excitation with its periodic part brought out; false where there is too little of it.
bool enhance(int mode, Qol16s sharpening, Qol16s gain, const Qol16s* adaptive, const Qol16s* exc,
             Qol16s* out) {
    const Qol16s factor = shl(sharpening, 1);
    if (factor <= 16384) {
        return false;
    }
    for (int i = 0; i < kSubframe; ++i) {
        const Qol32s v = L_mult(mult(adaptive[i], factor), gain);
        out[i] = add(round_fx(mode == k122 ? v >> 1 : v), exc[i]);
    }
    matchEnergy(exc, out);
    return true;
}

void synthesise(Decoder& d, int n, const Qol16s* set, Qol16s* exc, const Qol16s* enhanced,
                Qol16s* out) {
    if (qolsSynthesisFilter_NR_16s_Sfs(set, enhanced, out, kSubframe, 12, d.synthesis) ==
        qolStsOverflow) {
        Qol16s* past = d.excitation + n * kSubframe;
        for (int i = 0; i < kPastExcitation + kSubframe; ++i) {
            past[i] = static_cast<Qol16s>(past[i] >> 2);
        }
        for (int i = 0; i < kSubframe; ++i) {
            exc[i] = static_cast<Qol16s>(exc[i] >> 2);
        }
        qolsSynthesisFilter_NR_16s_Sfs(set, exc, out, kSubframe, 12, d.synthesis);
    }
    std::copy_n(out + kSubframe - kOrder, kOrder, d.synthesis);
}

/// Interpolated LSF of a subframe.
void interpolateLsf(const Qol16s* from, const Qol16s* to, int n, Qol16s* lsf) {
    for (int i = 0; i < kOrder; ++i) {
        const Qol16s a = from[i], b = to[i];
        lsf[i] = n == 0   ? add(sub(a, static_cast<Qol16s>(a >> 2)), static_cast<Qol16s>(b >> 2))
                 : n == 1 ? add(static_cast<Qol16s>(a >> 1), static_cast<Qol16s>(b >> 1))
                 : n == 2 ? add(static_cast<Qol16s>(a >> 2), sub(b, static_cast<Qol16s>(b >> 2)))
                          : b;
    }
}

void decodeSubframe(Decoder& d, int n, bool bad, const Qol16s*& parameter, const Qol16s* lsf,
                    const Qol16s* set, Qol16s& pairIndex, Qol16s* out) {
    const int rate = kRateCode[d.mode];
    Qol16s* past = d.excitation + n * kSubframe;
    Qol16s adaptive[kSubframe], code[kSubframe];
    qolsAdaptiveCodebookDecode_GSMAMR_16s(
        *parameter++, &d.lagOld, &d.lagDecoded, past, &d.lag, adaptive, static_cast<Qol16s>(n),
        bad ? 1 : 0, d.background.isNoise ? 1 : 0, d.background.unvoiced, rate);
    Gains g{};
    if (d.mode == k122) {
        g.pitch = decodePitchGain(d, bad, *parameter++);
    }
    qolsFixedCodebookDecode_GSMAMR_16s(parameter, code, static_cast<Qol16s>(n), rate);
    parameter += kCodeWords[d.mode];
    if (d.mode == k795) {
        g.pitch = decodePitchGain(d, bad, *parameter++);
    }
    sharpen(code, d.lag, d.mode == k122 ? g.pitch : d.sharpening);
    if (d.mode == k122 || d.mode == k795) {
        g.code = decodeCodeGain(d, bad, *parameter++, code);
    } else {
        if (d.mode != k475 || n % 2 == 0) {
            pairIndex = *parameter++;
        }
        g = decodeJoint(d, bad, pairIndex, n, code);
    }
    const Qol16s limited = std::min(g.pitch, kMostSharpening);
    if (d.mode != k475 || n % 2 == 1) {
        d.sharpening = limited;
    }
    const Qol16s enhancement = d.mode == k122                    ? g.pitch
                               : d.mode == k102 && d.lagOld > 45 ? static_cast<Qol16s>(limited >> 2)
                                                                 : limited;
    Background& b = d.background;
    if (!bad) {
        push(b.pitchGains, 9, g.pitch);
    }
    const Qol16s decodedPitch = g.pitch;
    const bool lost = isLostInNoise(d, bad);
    if (lost) {
        g.pitch = limitInNoise(g.pitch);
    }
    const Qol16s smoothed = smoothGain(d, bad, g.code, lsf);
    Qol16s exc[kSubframe], enhanced[kSubframe];
    excitation(d.mode, g.pitch, g.code, code, adaptive, past + kPastExcitation);
    const bool strongest = lost && bad && b.unvoiced > 3;
    disperse(d.mode, dispersionLevel(d.dispersion, g.pitch, smoothed, strongest), code);
    excitation(d.mode, g.pitch, smoothed, code, adaptive, exc);
    const Qol16s level = excitationLevel(exc);
    if (lost && b.unvoiced > 5 && d.errorState < 4) {
        raiseInNoise(d, level, exc);
    }
    if (!(b.isNoise && (bad || d.previousBad) && d.errorState < 4)) {
        push(d.excitationLevels, 9, level);
    }
    const bool isEnhanced = enhance(d.mode, enhancement, decodedPitch, adaptive, exc, enhanced);
    synthesise(d, n, set, exc, isEnhanced ? enhanced : exc, out);
    d.lagOld = d.lag;
}

void stepErrorState(Decoder& d, bool bad) {
    d.errorState = bad                 ? std::min<Qol16s>(add(d.errorState, 1), 6)
                   : d.errorState == 6 ? Qol16s{5}
                                       : Qol16s{0};
    if (d.noise.clock.state != NoiseState::speech) {
        d.errorState = 5;
        d.previousBad = d.noise.clock.state == NoiseState::muted;
    }
}

void decodeSpeech(Decoder& d, bool bad, const Qol16s* parameter, Qol16s* sets, Qol16s* synthesis) {
    stepErrorState(d, bad);
    Qol16s before[kOrder], lsps[4 * kOrder], lsf[kOrder];
    std::copy_n(d.lsfOld, kOrder, before);
    qolsQuantLSPDecode_GSMAMR_16s(parameter, d.lsfResidual, d.lsfOld, d.lspOld, lsps, bad ? 1 : 0,
                                  kRateCode[d.mode]);
    parameter += d.mode == k122 ? 5 : 3;
    Qol16s pairIndex = 0;
    for (int n = 0; n < 4; ++n) {
        Qol16s* set = sets + n * (kOrder + 1);
        qolsLSPToLPC_GSMAMR_16s(lsps + n * kOrder, set);
        interpolateLsf(before, d.lsfOld, n, lsf);
        decodeSubframe(d, n, bad, parameter, lsf, set, pairIndex, synthesis + n * kSubframe);
    }
    std::copy_n(d.excitation + kFrame, kPastExcitation, d.excitation);
    stepBackground(d.background, synthesis);
    qolsDecDTXBuffer_GSMAMR_16s(synthesis, d.lsfOld, &d.noise.index, d.noise.lsfs,
                                d.noise.logEnergies);
    d.previousBad = bad;
}

/// Parameters of the frame; random ones where none arrived.
void readParameters(Decoder& d, const Frame& frame, int row, Qol16s* parameters) {
    int position = 0;
    const bool none = frame.bits == 0 || frame.kind == FrameKind::noData;
    if (none) {
        d.seed = wrap16(d.seed * 31821 + 13849);
    }
    // The standard draws from the LP window of the lower rates (TS 26.092 6.1).
    const Qol16s* drawn = kLpWindow200_40 + (d.seed & 127);
    for (const std::uint8_t bits : kParameterBits[row]) {
        *parameters++ =
            static_cast<Qol16s>(none ? *drawn++ & ((1 << bits) - 1)
                                     : static_cast<int>(takeBits(frame, position, bits)));
    }
}

} // namespace

void resetAfterNoise(Decoder& d) {
    std::fill(std::begin(d.excitation), std::end(d.excitation), Qol16s{0});
    std::fill_n(d.lsfResidual, kOrder, Qol16s{0});
    std::copy_n(TableMeanLsf1, kOrder, d.lsfOld);
    d.sharpening = 0;
    d.lagOld = d.lag = d.lagDecoded = 40;
    d.dispersion = {};
    d.smoothing = {};
    d.gains = {};
    d.background = {};
    std::fill_n(d.gains.pitchGains, 5, Qol16s{1640});
    std::fill_n(d.gains.codeGains, 5, Qol16s{1});
    d.gains.goodPitch = 16384;
    d.gains.goodCode = 1;
    d.seed = 21845;
}

void reset(Decoder& d) {
    const int mode = d.mode;
    d = Decoder{};
    d.mode = mode;
    resetAfterNoise(d);
    std::copy_n(kLspStart, kOrder, d.lspOld);
    std::copy_n(TableMeanLsf1, kOrder, d.lsfMean);
    reset(d.predictor);
    d.postGain = 4096;
    Noise& n = d.noise;
    n.clock.state = NoiseState::noise;
    n.inverse = 8192;
    n.logEnergy = n.logEnergyOld = 3500;
    std::copy_n(kLspStart, kOrder, n.lsp);
    std::copy_n(kLspStart, kOrder, n.lspOld);
    for (int row = 0; row < 8; ++row) {
        std::copy_n(TableMeanLsf1, kOrder, n.lsfs + row * kOrder);
        n.logEnergies[row] = 3500;
    }
    n.clock.hang = 7;
    n.clock.elapsed = 32767;
    n.random = 0x70816958;
}

int decodeFrame(Decoder& d, const Frame& frame, Qol16s* pcm) {
    const FrameType type = typeOf(frame);
    if (type != FrameType::noData) {
        d.mode = modeOf(frame);
    }
    const NoiseStep step = stepNoise(d.noise.clock, type, 0);
    Qol16s parameters[57], sets[4 * (kOrder + 1)], synthesis[kFrame];
    const bool speech = step.next == NoiseState::speech;
    readParameters(d, frame, speech ? d.mode : kModes, parameters);
    if (speech) {
        decodeSpeech(d, type != FrameType::good, parameters, sets, synthesis);
    } else {
        resetAfterNoise(d);
        makeNoise(d, step, type, parameters, sets, synthesis);
    }
    for (int i = 0; i < kOrder; ++i) {
        d.lsfMean[i] = round_fx(
            L_mac(L_msu(L_deposit_h(d.lsfMean[i]), 5243, d.lsfMean[i]), 5243, d.lsfOld[i]));
    }
    d.noise.clock.state = step.next;
    Qol16s filtered[kFrame];
    qolsPostFilter_GSMAMR_16s(sets, synthesis, &d.tiltMemory, &d.postGain, d.postHistory,
                              d.postSynthesis, filtered, kRateCode[d.mode]);
    for (int i = 0; i < kFrame; ++i) {
        const Qol32s y = highPass(d.output, kOutputB, kOutputA, 2, filtered[i]);
        pcm[i] = static_cast<Qol16s>(round_fx(L_shl(y, 1)) & kSampleMask);
    }
    return kFrame;
}

} // namespace qolsc::tools::amr
