// SPDX-License-Identifier: Apache-2.0
// Noise filter of the echo-canceller path: the record and what filter and detectors share.
#pragma once

#include "qolsc/noise.h"
#include "vector/fft.h"

struct QolsFilterNoiseState_EC_32f {
    qolsc::QolsFFTSpec_R_32f* pFFTSpec;
    Qol8u* pFFTWork;
    Qol32f* ppSmoothKernel[9]; // kernels of length 2 k + 1
    Qol32f* pHistory;          // newest samples of the signal, in a ring that ends at historyEnd
    Qol32f* pHistory2;         // newest samples of the moderate detector's second signal
    Qol64f noisePower[65], invNoise[65], invNoiseRoll[65], framePower[65], snrState[65];
    Qol32fc spectrum[65];
    Qol32f overlap[64], gainState[65];
    Qol32f frame[128]; // inverse transform, or the raw frame while history is short
    Qol32f smoothDelay[32];
    Qol32f kernels[81];
    Qol64f noiseLevel; // power of the frame last taken as noise
    Qol64f refLevel;   // power at the start of a stable run
    Qol64f meanSnr, invLevel, smoothIndex;
    Qol32f floorLow, floorHigh; // gain floors of bins 0-2 and 3-64
    Qol32f frameLevel;
    Qol32f dipGain, alphaLevel, betaLevel; // burst gate
    Qol32f levelRatio;                     // allowed power ratio between frames of a stable run
    Qol32f gainScale;                      // maps the ratio to a gain; 0 switches the filter off
    Qol32f delayedLevel, outLevel;
    Qol32f fadeLength, startGain, fadeGain, rampGain;
    Qol32s targetCount, stableCount;
    Qol32s bandEdge1, bandEdge2;
    Qol32s historyCap, historyCount;
    Qol32s calibrated, zcrLimit, sampleFreq;
    Qol32s history2Cap, history2Count;
    Qol32s fadeCount, startCount;
    Qol32s autoLevelDone, started;
    Qol32s shortWindow, longWindow, maxRatio;
    Qol32s slideLen, zcrLimitLow, reservedCount, rollLen;
    Qol32s bandLen[3];
    Qol32f bandInv[3];
    Qol32f minGain[4]; // smallest gain of the last four frames, newest last
    Qol32f dcLong, dcShort;
    Qol32f overRatio;
    Qol32s level, smoothMode;
    Qol32s secondPower, firstPower, secondFactor, noiseFactor; // moderate detector
    Qol32s historyEnd;              // place of the next sample in the ring
    Qol16s blocksToSum;             // until the sums are taken anew
    Qol16s isTransformed;           // 1 while spectrum and framePower are those of the newest frame
    Qol64f shortEnergy, longEnergy; // sums of squares over shortWindow and over all that is held
};

namespace qolsc::noise {

using State = QolsFilterNoiseState_EC_32f;

inline constexpr int kBlock = 16, kFrame = 128, kBins = 65;
inline constexpr int kMostWindow = 512; // shortWindow at 32 kHz
inline constexpr int kFixedBytes = 4992;
static_assert(sizeof(State) <= kFixedBytes);

/// Appends a block to the history, a full one gives up its oldest, and keeps the energies.
void takeIn(State& s, const Qol32f* x);
/// The len samples, kMostWindow at the most, that end `back` samples before the newest; where they
/// don't lie in a row they are copied to `row`.
const Qol32f* newest(const State& s, Qol32s len, Qol32s back, Qol32f* row);
/// Sum of len squares, in double; len is a multiple of 4.
Qol64f energyOf(const Qol32f* x, Qol32s len);
/// 128 samples to `spectrum` and `framePower`, without a window.
void transformFrame(State& s, const Qol32f* x);
/// framePower becomes the noise reference.
void setNoiseReference(State& s);
/// Level 5 decides: clean input switches the filter off, other input takes level 2.
void chooseLevel(State& s, Qol64f power);
/// Row of the level's table; false for a level outside 0..5, which the record keeps all the same.
bool applyLevel(State& s, Qol32s level);
/// Sums of n neighbouring bins; behind the last whole one the sums repeat backwards.
void rollingSum(const Qol64f* src, Qol64f* dst, Qol32s n);

} // namespace qolsc::noise
