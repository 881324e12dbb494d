// SPDX-License-Identifier: Apache-2.0
// Comfort noise of the AMR decoder (3GPP TS 26.092 6).
#include "codecs/amr/decoder.h"

#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amr {

using namespace basop;

namespace {

constexpr Qol16s kGap = 205; // 50 Hz

int randomBits(Noise& n, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const Qol32u out = n.random & 1, top = out ^ (n.random >> 28 & 1);
        value = value * 2 + static_cast<int>(out);
        n.random = n.random >> 1 | top << 30;
    }
    return value;
}

void order(Qol16s* lsf) {
    Qol16s bound = kGap;
    for (int i = 0; i < kOrder; ++i) {
        lsf[i] = std::max(lsf[i], bound);
        bound = add(lsf[i], kGap);
    }
}

/// Means of the histories at the end of a hangover, and how the LSF vary around theirs.
void analyseHistory(Noise& n, int mode) {
    n.adjust = kNoiseLevelAdjust[mode];
    const int next = (n.index + 1) & 7;
    std::copy_n(n.lsfs + n.index * kOrder, kOrder, n.lsfs + next * kOrder);
    n.logEnergies[next] = n.logEnergies[n.index];
    n.logEnergy = 0;
    Qol16s mean[kOrder];
    for (const Qol16s energy : n.logEnergies) {
        n.logEnergy = add(n.logEnergy, static_cast<Qol16s>(energy >> 3));
    }
    for (int i = 0; i < kOrder; ++i) {
        Qol32s sum = 0;
        for (int row = 0; row < 8; ++row) {
            sum += n.lsfs[row * kOrder + i];
        }
        mean[i] = static_cast<Qol16s>(sum >> 3);
    }
    qolsLSFToLSP_GSMAMR_16s(mean, n.lsp);
    n.logEnergy = sub(n.logEnergy, n.adjust);
    for (int row = 0; row < 8; ++row) {
        for (int i = 0; i < kOrder; ++i) {
            const Qol16s v = mult(sub(n.lsfs[row * kOrder + i], mean[i]), kLsfVariation[i]);
            int size = std::abs(v);
            size = std::min(size > 655 ? 655 + ((size - 655) >> 2) : size, 1310);
            n.deviations[row][i] = static_cast<Qol16s>(v < 0 ? -size : size);
        }
    }
}

void takeParameters(Decoder& d, const Qol16s* parameters) {
    Noise& n = d.noise;
    const Qol16s t = std::min<Qol16s>(n.clock.since, 32);
    n.clock.since = 0;
    n.inverse = t >= 2 ? div_s(1024, shl(t, 10)) : Qol16s{16384};
    Qol16s residual[kOrder], lsf[kOrder] = {}, lsp[kOrder] = {}, lsps[4 * kOrder];
    std::copy_n(past_rq_init[parameters[0] & 7], kOrder, residual);
    qolsQuantLSPDecode_GSMAMR_16s(parameters + 1, residual, lsf, lsp, lsps, 0, kRateDtx);
    std::copy_n(lsp, kOrder, n.lsp);
    std::fill_n(d.lsfResidual, kOrder, Qol16s{0});
    n.logEnergy = parameters[4] == 0 ? MIN_16 : static_cast<Qol16s>(512 * parameters[4] - 5120);
    if (!n.clock.anyData || n.clock.state == NoiseState::speech) {
        std::copy_n(n.lsp, kOrder, n.lspOld);
        n.logEnergyOld = n.logEnergy;
    }
}

/// Gain of the predictor from its reflection coefficients, base 2.
Qol16s predictionGain(const Qol16s* set) {
    Qol16s a[kOrder], reflection[kOrder] = {};
    std::copy_n(set + 1, kOrder, a);
    const auto stepDown = [&a, &reflection] {
        for (int i = kOrder - 1; i >= 0; --i) {
            if (abs_s(a[i]) >= 4096) {
                return false;
            }
            const Qol16s r = shl(a[i], 3);
            reflection[i] = r;
            const Qol32s rest = L_sub(MAX_32, L_mult(r, r));
            const int e = norm_l(rest);
            const Qol16s q = div_s(16384, round_fx(L_shl(rest, e)));
            Qol16s b[kOrder];
            for (int j = 0; j < i; ++j) {
                const Qol16s t = round_fx(L_msu(L_deposit_h(a[j]), r, a[i - j - 1]));
                const Qol32s v = L_shr_r(L_mult(q, t), 15 - e);
                if (L_abs(v) > 32767) {
                    return false;
                }
                b[j] = extract_l(v);
            }
            std::copy_n(b, i, a);
        }
        return true;
    };
    if (!stepDown()) {
        std::fill_n(reflection, kOrder, Qol16s{0});
    }
    Qol16s error = MAX_16;
    for (const Qol16s r : reflection) {
        error = mult(error, sub(MAX_16, mult(r, r)));
    }
    Qol16s e, f;
    ownLog2(error, &e, &f);
    return shr(sub(0, wrap16(((e - 15) * 4096) + (f >> 3))), 1);
}

/// What the levels and LSP of this frame lie at between the last parameters and these.
Qol32s interpolate(Noise& n, Qol16s* lsp) {
    const Qol16s f =
        shl(std::min<Qol16s>(mult(shl(add(1, n.clock.since), 10), n.inverse), 1024), 4);
    const auto rest = static_cast<Qol16s>(16384 - f);
    for (int i = 0; i < kOrder; ++i) {
        lsp[i] = shl(add(mult(f, n.lsp[i]), mult(rest, n.lspOld[i])), 1);
    }
    return L_mac(L_mult(f, n.logEnergy), rest, n.logEnergyOld);
}

void synthesise(Decoder& d, Qol16s level, const Qol16s* filter, Qol16s* synthesis) {
    for (int n = 0; n < kFrame; n += kSubframe) {
        Qol16s exc[kSubframe] = {};
        for (int k = 0; k < 10; ++k) {
            const int place = 10 * randomBits(d.noise, 2) + k;
            exc[place] = mult(level, randomBits(d.noise, 1) != 0 ? Qol16s{4096} : Qol16s{-4096});
        }
        qolsSynthesisFilter_NR_16s_Sfs(filter, exc, synthesis + n, kSubframe, 12, d.synthesis);
        std::copy_n(synthesis + n + kSubframe - kOrder, kOrder, d.synthesis);
    }
}

} // namespace

void makeNoise(Decoder& d, const NoiseStep& step, FrameType type, const Qol16s* parameters,
               Qol16s* sets, Qol16s* synthesis) {
    Noise& n = d.noise;
    const bool sid = isSid(type), valid = type == FrameType::sidUpdate;
    if (sid && step.analysed) {
        analyseHistory(n, d.mode);
    }
    if (sid) {
        // What the analysis has just found is old as well where parameters follow.
        std::copy_n(n.lsp, kOrder, n.lspOld);
        n.logEnergyOld = n.logEnergy;
        if (valid) {
            takeParameters(d, parameters);
        }
        const Qol16s past = std::clamp<Qol16s>(sub(shr(n.logEnergy, 1), 9000), -14436, 0);
        std::fill_n(d.predictor.past, 4, past);
        std::fill_n(d.predictor.past122, 4, mult(5443, past));
    }
    n.adjust = add(mult(n.adjust, 29491),
                   static_cast<Qol16s>(mult(shl(kNoiseLevelAdjust[d.mode], 5), 3277) >> 5));
    Qol16s lsp[kOrder];
    const Qol32s logEnergy = interpolate(n, lsp);
    const Qol16s spread =
        shl(std::clamp<Qol16s>(sub(4096, mult(sub(n.predictionGain, 2457), 9830)), 0, 4096), 3);
    const Qol16s* deviation = n.deviations[randomBits(n, 3)];
    Qol16s lsf[kOrder], varied[kOrder];
    qolsLSPToLSF_Norm_G729_16s(lsp, lsf);
    for (int i = 0; i < kOrder; ++i) {
        varied[i] = add(lsf[i], mult(spread, deviation[i]));
    }
    order(lsf);
    order(varied);
    std::copy_n(lsf, kOrder, d.lsfOld);
    Qol16s filter[kOrder + 1];
    qolsLSFToLSP_GSMAMR_16s(lsf, lsp);
    qolsLSPToLPC_GSMAMR_16s(lsp, sets);
    std::copy_n(lsp, kOrder, d.lspOld);
    for (int k = 1; k < 4; ++k) {
        std::copy_n(sets, kOrder + 1, sets + k * (kOrder + 1));
    }
    qolsLSFToLSP_GSMAMR_16s(varied, lsp);
    qolsLSPToLPC_GSMAMR_16s(lsp, filter);
    const Qol16s gain = predictionGain(sets);
    n.predictionGain = add(mult(29491, n.predictionGain), mult(3277, gain));
    Qol32s level = L_add(logEnergy >> 10, 4 * 65536);
    level = L_add(L_sub(level, 16 * gain), 32 * n.adjust);
    synthesise(d, extract_l(ownPow2(extract_h(level), static_cast<Qol16s>((level & 0xFFFF) >> 1))),
               filter, synthesis);
    d.smoothing.variable = 20;
    d.smoothing.steady = 0;
    if (step.next == NoiseState::muted) {
        const Qol16s t = n.clock.since <= 0 ? Qol16s{8} : std::min<Qol16s>(n.clock.since, 32);
        n.inverse = div_s(1024, shl(t, 10));
        n.clock.since = 0;
        std::copy_n(n.lsp, kOrder, n.lspOld);
        n.logEnergyOld = n.logEnergy;
        n.logEnergy = sub(n.logEnergy, 256);
    }
    if (sid && (valid || step.analysed)) {
        n.clock.since = 0;
        n.clock.anyData = true;
    }
}

} // namespace qolsc::tools::amr
