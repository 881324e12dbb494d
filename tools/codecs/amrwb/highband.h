// SPDX-License-Identifier: Apache-2.0
// The band of 6 to 7 kHz, made of noise (3GPP TS 26.190 6.3): decoder, and encoder at 23.85 kbit/s.
#pragma once

#include "codecs/amrwb/dsp.h"

namespace qolsc::tools::amrwb {

/// Lower band behind the excitation: synthesis, de-emphasis, 50 Hz high-pass.
struct LowBand {
    Qol32s synthesis[kOrder + kSubframe]; ///< past outputs, oldest first
    Qol16s deemphasis;
    Record highPass;
};
LowBand makeLowBand();
/// 64 samples at 12.8 kHz from an excitation scaled by 2^q.
void synthesizeLowBand(LowBand& b, const LpSet& a, const Qol16s* exc, int q, Qol16s* out);

/// An FIR filter of 31 taps with its history.
struct Fir31 {
    Qol16s past[30];
};
/// In place; the input is first shifted right.
void filter31(Fir31& f, const Qol16s* taps, int shift, Qol16s* x, int len);

struct HighBand {
    Qol16s seed;
    Record levelFilter; ///< 400 Hz high-pass
    Qol16s synthesis[20];
    Fir31 bandPass;
    Fir31 lowPass; ///< at 23.85 kbit/s
};
HighBand makeHighBand();

/// sqrt(e1 / e2) of two energies.
Scaled inverseRatio(const Scaled& e1, Scaled e2);
/// Noise of the excitation's energy (scaled by 2^q), not yet levelled: 80 samples.
void highBandNoise(HighBand& b, const Qol16s* exc, int q, Qol16s* noise);
/// Level by the spectral tilt of the lower band, which is high-passed in place; Q15.
Qol16s highBandLevel(HighBand& b, Qol16s* low, bool isNoise);
/// Shapes the noise by the weighted LP set, of order 16 or 20.
void shapeHighBand(HighBand& b, const Qol16s* a, int order, Qol16s* noise);
/// LP set of order 20 for 6.60 kbit/s from the ISFs interpolated for the subframe.
void extrapolateLp(const Qol16s* isfOld, const Qol16s* isf, int subframe, Qol16s* a);

} // namespace qolsc::tools::amrwb
