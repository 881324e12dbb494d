// SPDX-License-Identifier: Apache-2.0
// Substitution of lags and gains in bad frames (3GPP TS 26.191 6.2).
#include "codecs/amrwb/decoder.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amrwb {

using namespace basop;

int concealLag(Concealment& c, int lag, bool unusable) {
    const auto [least, most] = std::minmax_element(c.lags, c.lags + 5);
    const int spread = *most - *least;
    const Qol16s leastGain = *std::min_element(c.lagGains, c.lagGains + 5);
    const Qol16s newest = c.lagGains[4];
    const bool steady = newest > 8192 && c.lagGains[3] > 8192;
    if (!unusable) {
        int sum = 0;
        for (const Qol16s l : c.lags) {
            sum += l;
        }
        const bool inside = lag > *least && lag < *most;
        if ((spread < 10 && lag > *least - 5 && lag - *most < 5) ||
            (steady && std::abs(lag - c.lags[0]) < 10) ||
            (leastGain < 6554 && newest == leastGain && inside) || (spread < 70 && inside) ||
            (lag > mult(saturate16(sum), 6554) && lag < *most)) {
            return lag;
        }
    }
    int substitute = c.lags[0];
    if (leastGain > 8192 && spread < 10) {
        substitute = c.lag;
    } else if (!steady) {
        Qol16s sorted[5];
        std::copy_n(c.lags, 5, sorted);
        std::sort(sorted, sorted + 5);
        const int jitter = std::min(40, sorted[4] - sorted[2]) >> 1;
        substitute = add(mult(saturate16(sorted[2] + sorted[3] + sorted[4]), 10923),
                         mult(static_cast<Qol16s>(jitter), randomValue(c.lagSeed)));
    }
    return std::clamp<int>(substitute, *least, *most);
}

Gains concealGains(Concealment& c, GainPredictor& p, bool unusable, int noiseFrames,
                   Qol16s inverseCode) {
    const Qol16s pitch = std::min<Qol16s>(median5(c.pitchGains), 15565);
    Qol16s code = median5(c.codeGains);
    if (noiseFrames <= 2) {
        code = mult((unusable ? codeDownUnusable : codeDownUsable)[c.state], code);
    }
    Qol32s sum = 0;
    for (const Qol16s past : p.past) {
        sum = L_mac(sum, past, 8192);
    }
    pushPast(p, std::max<Qol16s>(sub(extract_h(sum), 3072), -14336));
    std::copy(c.pitchGains + 1, c.pitchGains + 5, c.pitchGains);
    std::copy(c.codeGains + 1, c.codeGains + 5, c.codeGains);
    c.pitchGains[4] = pitch;
    c.codeGains[4] = code;
    return {mult((unusable ? pitchDownUnusable : pitchDownUsable)[c.state], pitch),
            L_mult(code, inverseCode)};
}

} // namespace qolsc::tools::amrwb
