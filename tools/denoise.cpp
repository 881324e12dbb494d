// SPDX-License-Identifier: Apache-2.0
#include "denoise.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qolsc::tools {

namespace {

constexpr std::size_t kDelay = 56; ///< of the filter while it is on

/// Level 5 settles at the first noise: at a root mean square below 4 it switches the filter off.
bool switchesOff(double noisePower) { return std::sqrt(noisePower + 1) < 4; }

/// Power of the noise known behind the block.
double filterBlock(QolsFilterNoiseState_EC_32f* state, const std::int16_t* block, Denoised& d) {
    Qol32f x[kDenoiseBlock], dc = 0;
    Qol64f power = 0;
    Qol32s taken = 0;
    std::copy_n(block, kDenoiseBlock, x);
    qolsFilterNoiseDetect_EC_32f64f(x, &power, &dc, &taken, state);
    // The detector has taken the block in and set the reference.
    qolsFilterNoise_EC_32f_I(x, -1, state);
    for (const Qol32f v : x) {
        d.output.push_back(
            static_cast<std::int16_t>(std::lrint(std::clamp(v, -32768.0f, 32767.0f))));
    }
    d.noisePower.push_back(power > 0 ? 10 * std::log10(power)
                                     : std::numeric_limits<double>::quiet_NaN());
    d.taken.push_back(taken);
    if (taken) {
        d.lastNoise = d.taken.size() * kDenoiseBlock;
    }
    return power;
}

/// Takes the delay out of the first d.off samples. What the filter still held when it went off
/// stands in the output as it came in.
void align(const std::vector<std::int16_t>& input, Denoised& d) {
    const auto off = static_cast<std::ptrdiff_t>(d.off),
               held = static_cast<std::ptrdiff_t>(std::min(kDelay, d.off));
    std::copy(d.output.begin() + held, d.output.begin() + off, d.output.begin());
    std::copy(input.begin() + off - held, input.begin() + off, d.output.begin() + off - held);
}

} // namespace

bool denoise(std::vector<std::int16_t> input, int rate, int level, Denoised& d) {
    Qol32s size = 0;
    if (qolsFilterNoiseGetStateSize_EC_32f(rate, &size) != qolStsNoErr) {
        return false;
    }
    std::vector<std::uint64_t> memory((static_cast<std::size_t>(size) + 7) / 8);
    auto* state = reinterpret_cast<QolsFilterNoiseState_EC_32f*>(memory.data());
    qolsFilterNoiseInit_EC_32f(rate, state);
    // Level 0 alone leaves open what level 5, Init's, chooses at the first noise.
    qolsFilterNoiseLevel_EC_32f(level == 0 ? 2 : level, state);
    qolsFilterNoiseLevel_EC_32f(level, state);
    const std::size_t length = input.size();
    // Silence behind the end pushes the last samples through the delay.
    input.resize((length + kDelay + kDenoiseBlock - 1) / kDenoiseBlock * kDenoiseBlock, 0);
    d = {};
    d.off = level == 0 ? 0 : input.size();
    for (std::size_t i = 0; i < input.size(); i += kDenoiseBlock) {
        const bool first = d.lastNoise == 0;
        const double power = filterBlock(state, &input[i], d);
        if (level == 5 && first && d.lastNoise > 0 && switchesOff(power)) {
            d.off = i;
        }
    }
    align(input, d);
    d.output.resize(length);
    return true;
}

} // namespace qolsc::tools
