// SPDX-License-Identifier: Apache-2.0
// How far a decoded signal lies from the original, and the spectra that figures and pages are made
// of.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace qolsc::tools {

/// Short-time power spectra in dB (0 dB: power 1 of 16-bit samples), Hann windows of 32 ms (a power
/// of two of samples), `hop` samples apart.
struct Spectra {
    int size = 0; ///< window length
    int bins = 0; ///< size / 2 + 1
    int hop = 0;
    std::vector<float> db; ///< bins of the first window, then those of the next
};
int windowSize(int rate);
Spectra powerSpectra(std::span<const std::int16_t> samples, int size, int hop);

/// SNR in dB of each block of 20 ms, limited to -10..35 dB; NaN where the original is silent (below
/// -60 dB of full scale).
std::vector<double> segmentSnr(std::span<const std::int16_t> original,
                               std::span<const std::int16_t> decoded, int rate);

struct Quality {
    double segmentalSnr;        ///< dB, mean of segmentSnr over the blocks that aren't silent
    double snr;                 ///< dB, over the whole signal
    double logSpectralDistance; ///< dB, root mean square over the bins of a window (what lies 50 dB
                                ///< below the loudest is cut off), mean over windows not silent
};

/// Both signals of one length and aligned. A figure without a single window to rest on is NaN; the
/// SNR of equal signals is infinite.
Quality compare(std::span<const std::int16_t> original, std::span<const std::int16_t> decoded,
                int rate);

} // namespace qolsc::tools
