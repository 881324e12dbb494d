// SPDX-License-Identifier: Apache-2.0
// Automatic level control in the sense of ITU-T G.169, blocks of 8 samples, float inside. The
// steps of a block are functions in their order; all levels are magnitudes on the scale of the
// samples.
#include "entry/checks.h"
#include "entry/entries.h"

#include <cmath>
#include <cstring>

struct QolsALCState_G169_16s {
    Qol32f targetLevel, clipLevel;
    Qol32f noiseFloorMin, noiseFloorMax; // bounds of noise
    Qol32f maxGain;
    Qol32f rateIdle, rateMin;
    Qol32f hangLimit; // blocks without activity that end speech
    Qol32f gainStep;
    Qol16s hangCount;    // blocks since the last activity
    Qol16s speechCount;  // speech segments so far
    Qol16s burstCount;   // active blocks of this segment
    Qol16s speechActive; // 1 during a segment
    Qol32f magnitude;    // mean magnitude of the block
    Qol32f envelope, peakEnvelope, peakHold;
    Qol32f noise, threshold, background;
    Qol32f meanSquare;
    Qol32f speechPower, rate; // estimate of the speech's mean square, its adaptation rate
    Qol32f speechLevel, crest;
    Qol32f targetGain, gainRate, gain, gainSlew;
    Qol32f peak;
    Qol32f savedSpeechPower, savedTargetGain, savedRate; // from the segment's begin
};

static_assert(sizeof(QolsALCState_G169_16s) == 124);

namespace qolsc {

namespace {

using State = QolsALCState_G169_16s;

constexpr Qol32s kBlock = 8;
constexpr Qol16s kMostCount = 16383;
constexpr Qol16s kShortBurst = 50;    // active blocks below which a segment doesn't count
constexpr Qol16s kTrustedBurst = 500; // active blocks from which the first segment is trusted

constexpr State kInitial{
    .targetLevel = 1623.4912f, // 26.1 dB below 32768
    .clipLevel = 32767.0f,
    .noiseFloorMin = 4.125246f,
    .noiseFloorMax = 65.38f,
    .maxGain = 3.8018899f, // 11.6 dB
    .rateIdle = 0.02f,
    .rateMin = 0.0033333f,
    .hangLimit = 200.0f,
    .gainStep = 0.01f,
    .hangCount = 200,
    .speechCount = 0,
    .burstCount = 0,
    .speechActive = 0,
    .magnitude = 0,
    .envelope = 0,
    .peakEnvelope = 0,
    .peakHold = 0,
    .noise = 65.38f,
    .threshold = 65.38f,
    .background = 32767.0f,
    .meanSquare = 0,
    .speechPower = 0,
    .rate = 0.1f,
    .speechLevel = 0,
    .crest = 0.7f,
    .targetGain = 0.03125f,
    .gainRate = 0,
    .gain = 0,
    .gainSlew = 1.0f,
    .peak = 0,
    .savedSpeechPower = 0,
    .savedTargetGain = 0.03125f,
    .savedRate = 0.1f,
};

Qol32f larger(Qol32f a, Qol32f b) { return a > b ? a : b; }
Qol32f smaller(Qol32f a, Qol32f b) { return a < b ? a : b; }

void count(Qol16s& n) { n = static_cast<Qol16s>(n < kMostCount ? n + 1 : kMostCount); }

/// Mean magnitude, mean square and peak of the block, exact before the one division by 8.
void measure(State& s, const Qol16s* x) {
    Qol32s sum = 0, most = 0;
    Qol64s squares = 0;
    for (Qol32s i = 0; i < kBlock; ++i) {
        const Qol32s m = x[i] < 0 ? -x[i] : x[i];
        sum += m;
        most = m > most ? m : most;
        squares += Qol64s{m} * m;
    }
    s.magnitude = static_cast<Qol32f>(sum) * 0.125f;
    s.meanSquare = static_cast<Qol32f>(squares) * 0.125f;
    s.peak = static_cast<Qol32f>(most);
}

void followEnvelope(State& s) {
    s.envelope = 0.8f * s.magnitude + 0.2f * s.envelope;
    s.peakEnvelope = larger(s.envelope, 0.99f * s.peakEnvelope);
}

/// Noise floor: falls fast, rises slowly, holds where speech is likely.
void followNoise(State& s) {
    Qol32f a = 0.99f, b = 0.01f;
    if (s.noise > s.envelope) {
        a = 0.9f;
        b = 0.1f;
    } else if (s.envelope >= 2.0f * s.noise) {
        a = 1.0f;
        b = 0.0f;
    }
    const Qol32f m = larger(s.noiseFloorMin, a * s.noise + b * s.envelope);
    // Once speech was seen its level pins the floor to its upper bound; a first segment counts
    // only when it was long and its rate has come down.
    const bool trusted = s.speechCount > 1 ||
                         (s.speechCount == 1 && s.burstCount > kTrustedBurst && s.rate < 0.0025f);
    const Qol32f lift = trusted ? 1456.7665f * s.speechLevel : 0.0f;
    s.noise = smaller(s.noiseFloorMax, larger(lift, m));
    s.threshold = 4.0f * s.noise;
}

void followBackground(State& s) {
    const bool falling = s.background > s.envelope;
    const Qol32f a = falling ? 0.7f : 0.99f, b = falling ? 0.3f : 0.01f;
    s.background = larger(s.noise, a * s.background + b * s.envelope);
}

void beginSegment(State& s) {
    s.savedSpeechPower = s.speechPower;
    s.savedTargetGain = s.targetGain;
    s.savedRate = s.rate;
    count(s.speechCount);
    s.speechActive = 1;
    s.crest = 0.7f;
}

void endSegment(State& s) {
    s.speechActive = 0;
    if (s.burstCount < kShortBurst) {
        s.speechCount = static_cast<Qol16s>(s.speechCount - 1);
        s.speechPower = s.savedSpeechPower;
        s.targetGain = s.savedTargetGain;
        s.rate = s.savedRate;
    }
    s.burstCount = 0;
}

void trackSegments(State& s) {
    if (s.magnitude > s.threshold) {
        count(s.burstCount);
    }
    if (s.peakEnvelope > s.threshold) {
        s.hangCount = 0;
        if (!s.speechActive) {
            beginSegment(s);
        }
    } else if (s.speechActive) {
        count(s.hangCount);
        if (static_cast<Qol32f>(s.hangCount) == s.hangLimit) {
            endSegment(s);
        }
    } else {
        s.burstCount = 0;
    }
}

void chooseGainRate(State& s) {
    const bool first = s.speechCount == 1;
    const bool held = first && (s.burstCount < 10 ||
                                (s.burstCount < kTrustedBurst && 3.0f * s.background > s.envelope));
    s.gainRate = held ? 0.0f : s.gainStep;
}

void followPeakHold(State& s) {
    if (!s.speechActive) {
        s.peakHold = s.speechCount == 0 ? s.peakEnvelope : s.speechLevel;
    } else if (s.peakEnvelope > s.peakHold) {
        s.peakHold = s.peakEnvelope;
    } else if (s.peakEnvelope > s.threshold) {
        s.peakHold = 0.001f * s.peakEnvelope + 0.999f * s.peakHold;
    }
}

void followSpeechPower(State& s) {
    Qol32f r = s.rate;
    if (!s.speechActive) {
        r = s.speechCount == 0 ? 0.1f : larger(s.rateIdle, s.rate);
    } else if (s.speechCount == 1 && s.burstCount < kTrustedBurst &&
               0.1f * s.meanSquare > s.speechPower) {
        r = larger(0.05f, s.rate);
    }
    if (s.speechActive) {
        if (s.threshold > s.envelope) {
            if (s.burstCount < kTrustedBurst) {
                s.crest = 0.7f;
            }
        } else if (s.magnitude >= s.threshold || s.burstCount >= 20) {
            r = r - r * r;
            s.speechPower += (s.meanSquare - s.speechPower) * r;
        }
    }
    s.rate = larger(s.rateMin, r);
    s.speechLevel = std::sqrt(s.speechPower) * s.crest;
    if (s.burstCount < kTrustedBurst) {
        s.crest = smaller(0.89f, s.crest + s.crest * 0.000461f);
    }
}

void chooseTargetGain(State& s) {
    if (!s.speechActive) {
        return;
    }
    Qol32f cap = s.maxGain, want;
    if (!(s.targetLevel > s.speechLevel * s.maxGain)) {
        cap = s.targetLevel / s.speechLevel;
        want = cap;
    } else {
        want = s.targetLevel > s.maxGain * s.peakHold ? cap : s.targetLevel / s.peakHold;
    }
    s.targetGain = smaller(cap, s.targetGain + s.gainRate * want);
}

/// The gain falls at once and rises no faster than the slew allows; the block's peak stays below
/// the clip level.
void chooseGain(State& s) {
    s.gain = smaller(s.targetGain, s.gain + (s.targetGain - s.gain) * s.gainSlew);
    if (s.gain * s.peak > s.clipLevel) {
        s.gain = s.clipLevel / s.peak;
        s.gainSlew = 0.001f;
    } else {
        s.gainSlew = smaller(1.0f, 1.1f * s.gainSlew);
    }
}

void amplify(const Qol16s* x, Qol16s* y, Qol32f gain) {
    for (Qol32s i = 0; i < kBlock; ++i) {
        const Qol32f v = static_cast<Qol32f>(x[i]) * gain;
        y[i] = v >= 32767.0f   ? Qol16s{32767}
               : v > -32768.0f ? static_cast<Qol16s>(v)
                               : Qol16s{-32768};
    }
}

void runBlock(State& s, const Qol16s* x, Qol16s* y) {
    measure(s, x);
    followEnvelope(s);
    followNoise(s);
    followBackground(s);
    trackSegments(s);
    chooseGainRate(s);
    followPeakHold(s);
    followSpeechPower(s);
    chooseTargetGain(s);
    chooseGain(s);
    amplify(x, y, s.gain);
}

// Records lie at any address: work on a copy.
State loadState(const State* pState) {
    State s;
    std::memcpy(&s, static_cast<const void*>(pState), sizeof s);
    return s;
}
void storeState(const State& s, State* pState) {
    std::memcpy(static_cast<void*>(pState), &s, sizeof s);
}

} // namespace

QolStatus qolsALCGetStateSize_G169_16s(Qol32s* pSize) noexcept {
    return giveSize(sizeof(State), pSize);
}

QolStatus qolsALCInit_G169_16s(QolsALCState_G169_16s* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    storeState(kInitial, pState);
    return qolStsNoErr;
}

QolStatus qolsALCSetLevel_G169_16s(QolsALCState_G169_16s* pState, Qol32f targetDb,
                                   Qol32f clipDb) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (targetDb < 0 || clipDb < 0) {
        return qolStsRangeErr;
    }
    State s = loadState(pState);
    s.targetLevel =
        static_cast<Qol32f>(32768.0 / std::pow(10.0, static_cast<Qol64f>(targetDb) / 20.0));
    s.clipLevel = static_cast<Qol32f>(32768.0 / std::pow(10.0, static_cast<Qol64f>(clipDb) / 20.0));
    storeState(s, pState);
    return qolStsNoErr;
}

QolStatus qolsALCSetGain_G169_16s(QolsALCState_G169_16s* pState, Qol32f maxGainDb) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (maxGainDb < 0) {
        return qolStsRangeErr;
    }
    State s = loadState(pState);
    s.maxGain = static_cast<Qol32f>(std::pow(10.0, static_cast<Qol64f>(maxGainDb) / 20.0));
    storeState(s, pState);
    return qolStsNoErr;
}

QolStatus qolsALC_G169_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                           QolsALCState_G169_16s* pState) noexcept {
    if (anyNull(pSrc, pDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (len < kBlock || len % kBlock != 0) {
        return qolStsRangeErr;
    }
    State s = loadState(pState);
    for (Qol32s i = 0; i < len; i += kBlock) {
        runBlock(s, pSrc + i, pDst + i);
    }
    storeState(s, pState);
    return qolStsNoErr;
}

} // namespace qolsc
