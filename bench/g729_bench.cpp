// SPDX-License-Identifier: Apache-2.0
// The G.729 encoders as a whole beside libbcg729 (Annex A) on the same speech, and their stages.
#include "codecs/codec.h"
#include "kit/data.h"
#include "qolsc.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_BCG729
extern "C" {
#include <bcg729/encoder.h>
}
#endif

#include <algorithm>
#include <array>
#include <vector>

namespace {

using namespace qolsc;

constexpr int kFrame = 80, kSubframe = 40;

/// Speech of the ITU-T test set.
const std::vector<Qol16s>& speech() {
    static const std::vector<Qol16s> pcm = test::readWords("g729/sequences/annexd_testfile.raw");
    return pcm;
}

/// What the stages of one subframe take, from the speech itself.
struct Item {
    std::array<Qol16s, 240> window;
    std::array<Qol32s, 13> autoCorr;
    std::array<Qol16s, 11> lpc, weighting;
    std::array<Qol16s, 10> lsp;
    std::array<Qol16s, 223> weighted; ///< 143 past samples and a frame
    std::array<Qol16s, 194> excitation;
    std::array<Qol16s, 40> response, target, vector, filtered, correlation, code, filteredCode;
    alignas(32) std::array<Qol16s, 616> matrix;
    Qol16s openLag;
};

Item makeItem(const Qol16s* pcm, const std::array<Qol16s, 10>& previousLsp) {
    Item it{};
    Qol16s norm = 0, rc[10], error = 0;
    std::copy_n(pcm, 240, it.window.begin());
    qolsAutoCorr_G729B(it.window.data(), &norm, it.autoCorr.data());
    qolsLagWindow_G729_32s_I(it.autoCorr.data() + 1, 12);
    it.lpc[0] = 4096;
    qolsLevinsonDurbin_G729_32s16s(it.autoCorr.data(), 10, it.lpc.data(), rc, &error);
    qolsLPCToLSP_G729A_16s(it.lpc.data(), previousLsp.data(), it.lsp.data());
    qolsMulPowerC_NR_16s_Sfs(it.lpc.data(), 24576, it.weighting.data(), 11, 15);
    std::copy_n(pcm, 223, it.weighted.begin());
    qolsOpenLoopPitchSearch_G729A_16s(it.weighted.data() + 143, &it.openLag);
    for (int i = 0; i < 4; ++i) { // LP residual of 160 samples
        qolsResidualFilter_G729_16s(pcm + 20 + kSubframe * i, it.lpc.data(),
                                    it.excitation.data() + 34 + kSubframe * i);
    }
    const std::array<Qol16s, 10> none{};
    qolsSynthesisFilterZeroStateResponse_NR_16s(it.weighting.data(), it.response.data(), kSubframe,
                                                12);
    qolsSynthesisFilter_NR_16s_Sfs(it.weighting.data(), it.excitation.data() + 154,
                                   it.target.data(), kSubframe, 12, none.data());
    std::array<Qol16s, 194> exc = it.excitation;
    Qol16s delay[2], gain = 0;
    qolsAdaptiveCodebookSearch_G729A_16s(it.openLag, it.target.data(), it.response.data(),
                                         exc.data(), delay, it.vector.data(), 0);
    qolsAdaptiveCodebookGain_G729A_16s(it.target.data(), it.weighting.data(), it.vector.data(),
                                       it.filtered.data(), &gain);
    std::array<Qol16s, 40> rest;
    qolsAdaptiveCodebookContribution_G729_16s(gain, it.filtered.data(), it.target.data(),
                                              rest.data());
    qolsCrossCorr_NormM_16s(it.response.data(), rest.data(), kSubframe, it.correlation.data());
    qolsToeplizMatrix_G729_16s(it.response.data(), it.matrix.data());
    alignas(32) std::array<Qol16s, 616> matrix = it.matrix;
    Qol16s index[2];
    qolsFixedCodebookSearch_G729A_16s(it.correlation.data(), matrix.data(), it.code.data(), index);
    qolsConvPartial_16s_Sfs(it.code.data(), it.response.data(), it.filteredCode.data(), kSubframe,
                            13);
    return it;
}

const std::vector<Item>& items() {
    static const std::vector<Item> list = [] {
        std::vector<Item> made;
        std::array<Qol16s, 10> lsp = {30000, 26000, 21000,  15000,  8000,
                                      0,     -8000, -15000, -21000, -26000};
        for (std::size_t at = 0; at + 240 <= speech().size() && made.size() < 500; at += 160) {
            made.push_back(makeItem(speech().data() + at, lsp));
            lsp = made.back().lsp;
        }
        return made;
    }();
    return list;
}

/// Predictor history of a resting coder.
constexpr std::array<Qol16s, 40> kHistory = [] {
    constexpr Qol16s row[10] = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};
    std::array<Qol16s, 40> h{};
    for (std::size_t i = 0; i < h.size(); ++i) {
        h[i] = row[i % 10];
    }
    return h;
}();

/// Time of one call of stage(item).
template <typename Stage>
void perItem(benchmark::State& st, Stage stage) {
    const std::vector<Item>& list = items();
    std::size_t i = 0;
    for (auto _ : st) {
        stage(list[i]);
        i = i + 1 < list.size() ? i + 1 : 0;
    }
}

#define STAGE(name, ...)                                                                           \
    void name(benchmark::State& st) { perItem(st, [](const Item& it) __VA_ARGS__); }               \
    BENCHMARK(name)

STAGE(autoCorrelation, {
    Qol16s norm;
    Qol32s r[13];
    qolsAutoCorr_G729B(it.window.data(), &norm, r);
    benchmark::DoNotOptimize(r);
});
STAGE(levinson, {
    Qol16s lpc[11], rc[10], error;
    qolsLevinsonDurbin_G729_32s16s(it.autoCorr.data(), 10, lpc, rc, &error);
    benchmark::DoNotOptimize(lpc);
});
STAGE(lpcToLsp, {
    Qol16s lsp[10];
    qolsLPCToLSP_G729_16s(it.lpc.data(), it.lsp.data(), lsp);
    benchmark::DoNotOptimize(lsp);
});
STAGE(lpcToLspA, {
    Qol16s lsp[10];
    qolsLPCToLSP_G729A_16s(it.lpc.data(), it.lsp.data(), lsp);
    benchmark::DoNotOptimize(lsp);
});
/// The predictor history runs on, as in a coder.
void lspQuantiser(benchmark::State& st) {
    std::array<Qol16s, 40> history = kHistory;
    perItem(st, [&history](const Item& it) {
        Qol16s lsp[10], index[2];
        qolsLSPQuant_G729_16s(it.lsp.data(), history.data(), lsp, index);
        benchmark::DoNotOptimize(lsp);
    });
}
BENCHMARK(lspQuantiser);
STAGE(openLoop, {
    Qol16s lag;
    qolsOpenLoopPitchSearch_G729_16s(it.weighted.data() + 143, &lag);
    benchmark::DoNotOptimize(lag);
});
STAGE(openLoopA, {
    Qol16s lag;
    qolsOpenLoopPitchSearch_G729A_16s(it.weighted.data() + 143, &lag);
    benchmark::DoNotOptimize(lag);
});
STAGE(closedLoop, {
    std::array<Qol16s, 194> exc = it.excitation;
    Qol16s delay[2], vector[40];
    qolsAdaptiveCodebookSearch_G729_16s(it.openLag, it.target.data(), it.response.data(),
                                        exc.data(), delay, vector, 1);
    benchmark::DoNotOptimize(vector);
});
STAGE(closedLoopA, {
    std::array<Qol16s, 194> exc = it.excitation;
    Qol16s delay[2], vector[40];
    qolsAdaptiveCodebookSearch_G729A_16s(it.openLag, it.target.data(), it.response.data(),
                                         exc.data(), delay, vector, 1);
    benchmark::DoNotOptimize(vector);
});
STAGE(adaptiveVector, {
    std::array<Qol16s, 194> exc = it.excitation;
    const Qol16s delay[2] = {it.openLag, 1};
    qolsDecodeAdaptiveVector_G729_16s_I(delay, exc.data());
    benchmark::DoNotOptimize(exc);
});
STAGE(adaptiveGainA, {
    Qol16s y[40], gain;
    qolsAdaptiveCodebookGain_G729A_16s(it.target.data(), it.weighting.data(), it.vector.data(), y,
                                       &gain);
    benchmark::DoNotOptimize(gain);
});
STAGE(responseMatrix, {
    alignas(32) std::array<Qol16s, 616> matrix;
    qolsToeplizMatrix_G729_16s(it.response.data(), matrix.data());
    benchmark::DoNotOptimize(matrix);
});
STAGE(nestedSearch, {
    alignas(32) std::array<Qol16s, 616> matrix = it.matrix;
    Qol16s code[40], index[2], times = 0;
    qolsFixedCodebookSearch_G729_16s(it.correlation.data(), matrix.data(), code, index, &times, 0);
    benchmark::DoNotOptimize(code);
});
STAGE(depthFirstSearchA, {
    alignas(32) std::array<Qol16s, 616> matrix = it.matrix;
    Qol16s code[40], index[2];
    qolsFixedCodebookSearch_G729A_16s(it.correlation.data(), matrix.data(), code, index);
    benchmark::DoNotOptimize(code);
});
STAGE(twoPulseSearchD, {
    Qol16s code[40], y[40], sign, position;
    qolsFixedCodebookSearch_G729D_16s(it.correlation.data(), it.response.data(), code, y, &sign,
                                      &position);
    benchmark::DoNotOptimize(code);
});
void searchE(benchmark::State& st) {
    perItem(st, [&st](const Item& it) {
        Qol16s code[40], y[40], index[5];
        qolsFixedCodebookSearch_G729E_16s(static_cast<Qol16s>(st.range(0)), it.target.data(),
                                          it.excitation.data() + 154, it.response.data(), code, y,
                                          index);
        benchmark::DoNotOptimize(code);
    });
}
BENCHMARK(searchE)->Arg(0)->Arg(1);
STAGE(gainQuantiser, {
    Qol16s history[4] = {-2000, -3000, -1000, -4000}, gain[2], index[2];
    qolsGainQuant_G729_16s(it.target.data(), it.filtered.data(), it.code.data(),
                           it.filteredCode.data(), history, gain, index, 0);
    benchmark::DoNotOptimize(gain);
});

// ---- whole encoders, one frame an iteration ----

void encoder(benchmark::State& st, const char* name) {
    const tools::Codec& codec = *tools::findCodec(name);
    void* e = codec.openEncoder(codec, {});
    tools::Frame frame;
    std::size_t at = 0;
    for (auto _ : st) {
        codec.encode(e, speech().data() + at, kFrame, frame);
        benchmark::DoNotOptimize(frame.payload.data());
        at = at + 2 * kFrame <= speech().size() ? at + kFrame : 0;
    }
    codec.closeEncoder(e);
    st.SetItemsProcessed(st.iterations() * kFrame);
}
BENCHMARK_CAPTURE(encoder, g729, "g729");
BENCHMARK_CAPTURE(encoder, g729a, "g729a");
BENCHMARK_CAPTURE(encoder, g729d, "g729-6.4");
BENCHMARK_CAPTURE(encoder, g729e, "g729-11.8");

#ifdef QOLSC_HAVE_BCG729
void encoderBcg729(benchmark::State& st) {
    auto* e = initBcg729EncoderChannel(0);
    std::uint8_t bits[10], length = 0;
    std::size_t at = 0;
    for (auto _ : st) {
        bcg729Encoder(e, speech().data() + at, bits, &length);
        benchmark::DoNotOptimize(bits);
        at = at + 2 * kFrame <= speech().size() ? at + kFrame : 0;
    }
    closeBcg729EncoderChannel(e);
    st.SetItemsProcessed(st.iterations() * kFrame);
}
BENCHMARK(encoderBcg729);
#endif

} // namespace

BENCHMARK_MAIN();
