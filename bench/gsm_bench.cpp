// SPDX-License-Identifier: Apache-2.0
// GSM full rate beside libspandsp and libgsm; whole AMR encoders and decoders beside
// libopencore-amrnb's, its searches beside their plain forms, all encoder functions of a 12.2
// kbit/s frame by themselves. Five seconds of real speech throughout.
#include "codecs/codec.h"
#include "codecs/streams.h"
#include "gsm/amr_fcb.h"
#include "gsm/amr_lsf.h"
#include "kit/data.h"
#include "qolsc.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_SPANDSP
extern "C" {
#include <spandsp.h>
}
#endif
#ifdef QOLSC_HAVE_GSM
#include <gsm.h>
#endif
#ifdef QOLSC_HAVE_OPENCORE_AMRNB
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>
#endif

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace {

using namespace qolsc;
using qolsc::test::readBytes;
using qolsc::test::readWords;

constexpr int kFrame = 160;

const std::vector<Qol16s>& speech() {
    static const std::vector<Qol16s> pcm = readWords("gsm/sequences/speech_a.inp");
    return pcm;
}
std::size_t frames() { return speech().size() / kFrame; }

const std::vector<std::uint8_t>& coded() {
    static const std::vector<std::uint8_t> octets = readBytes("gsm/sequences/speech_a.gsm");
    return octets;
}

void perFrame(benchmark::State& st) {
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(frames()));
    st.SetLabel("frame");
}

/// The speech through a codec's encoder.
void encodeSpeech(benchmark::State& st, const char* name) {
    const tools::Codec& codec = *tools::findCodec(name);
    void* encoder = codec.openEncoder(codec, {});
    tools::Frame frame;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            codec.encode(encoder, speech().data() + n * kFrame, kFrame, frame);
            benchmark::DoNotOptimize(frame.payload.data());
        }
    }
    codec.closeEncoder(encoder);
    perFrame(st);
}

/// Frames of a stream without its header through a codec's decoder.
void decodeSpeech(benchmark::State& st, const char* name, const tools::StreamForm& form,
                  std::span<const std::uint8_t> stream) {
    const tools::Codec& codec = *tools::findCodec(name);
    void* decoder = codec.openDecoder(codec, {});
    std::vector<tools::Frame> in(frames());
    for (tools::Frame& f : in) {
        stream = stream.subspan(static_cast<std::size_t>(form.readFrame(codec, stream, f)));
    }
    std::array<Qol16s, kFrame> pcm;
    for (auto _ : st) {
        for (const tools::Frame& f : in) {
            codec.decode(decoder, f, pcm.data());
            benchmark::DoNotOptimize(pcm.data());
        }
    }
    codec.closeDecoder(decoder);
    perFrame(st);
}

// ---- GSM full rate ----

void fullRateEncode(benchmark::State& st) { encodeSpeech(st, "gsmfr"); }
BENCHMARK(fullRateEncode);

void fullRateDecode(benchmark::State& st) {
    decodeSpeech(st, "gsmfr", *tools::findCodec("gsmfr")->forms[0], coded());
}
BENCHMARK(fullRateDecode);

#ifdef QOLSC_HAVE_SPANDSP
void fullRateEncodeSpandsp(benchmark::State& st) {
    gsm0610_state_t* s = gsm0610_init(nullptr, GSM0610_PACKING_VOIP);
    std::array<std::uint8_t, 33> out;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            gsm0610_encode(s, out.data(), speech().data() + n * kFrame, kFrame);
            benchmark::DoNotOptimize(out.data());
        }
    }
    gsm0610_free(s);
    perFrame(st);
}
BENCHMARK(fullRateEncodeSpandsp);

void fullRateDecodeSpandsp(benchmark::State& st) {
    gsm0610_state_t* s = gsm0610_init(nullptr, GSM0610_PACKING_VOIP);
    std::array<Qol16s, kFrame> pcm;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            gsm0610_decode(s, pcm.data(), coded().data() + n * 33, 33);
            benchmark::DoNotOptimize(pcm.data());
        }
    }
    gsm0610_free(s);
    perFrame(st);
}
BENCHMARK(fullRateDecodeSpandsp);
#endif

#ifdef QOLSC_HAVE_GSM
void fullRateEncodeLibgsm(benchmark::State& st) {
    gsm s = gsm_create();
    std::vector<Qol16s> pcm = speech(); // the peer takes no const
    std::array<gsm_byte, 33> out;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            gsm_encode(s, pcm.data() + n * kFrame, out.data());
            benchmark::DoNotOptimize(out.data());
        }
    }
    gsm_destroy(s);
    perFrame(st);
}
BENCHMARK(fullRateEncodeLibgsm);

void fullRateDecodeLibgsm(benchmark::State& st) {
    gsm s = gsm_create();
    std::vector<std::uint8_t> in = coded();
    std::array<Qol16s, kFrame> pcm;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            gsm_decode(s, in.data() + n * 33, pcm.data());
            benchmark::DoNotOptimize(pcm.data());
        }
    }
    gsm_destroy(s);
    perFrame(st);
}
BENCHMARK(fullRateDecodeLibgsm);
#endif

// ---- AMR: one 12.2 kbit/s frame through the encoder's exports ----

/// What one algebraic search gets.
struct FixedProblem {
    std::array<Qol16s, 40> target, residual, impulse;
    Qol16s lag, gain;
};

/// The encoder's functions on one frame after the other, with the pitch gain as it comes instead of
/// a quantised one: everything but gain quantisation and packing.
struct AnalysisChain {
    std::vector<Qol16s> pcm;
    std::array<Qol16s, 10> lspOld{30000, 26000, 21000,  15000,  8000,
                                  0,     -8000, -15000, -21000, -26000};
    std::array<Qol16s, 10> qLspOld = lspOld;
    std::array<Qol16s, 10> residualLsf{}, synMem{}, errMem{};
    std::array<Qol16s, 11> lpcOld{4096};
    std::array<Qol16s, 143> wsp{};
    std::array<Qol16s, 5> lagHist{40, 40, 40, 40, 40};
    std::array<Qol16s, 194 + 120> exc{};
    Qol16s voicedLag = 40, voicedGain = 0, prevLag = 40;
    std::vector<FixedProblem>* problems = nullptr;
};

using Lpc = std::array<Qol16s, 11>;

void weighted(const Qol16s* lpc, Qol16s gamma, Qol16s* out) {
    qolsMulPowerC_NR_16s_Sfs(lpc, gamma, out, 11, 15);
}

void subframes(const std::array<Qol16s, 10>& old, const Qol16s* lsp, std::array<Lpc, 4>& out) {
    std::array<Qol16s, 10> middle;
    qolsInterpolate_G729_16s(old.data(), lsp, middle.data(), 10);
    qolsLSPToLPC_GSMAMR_16s(middle.data(), out[0].data());
    qolsLSPToLPC_GSMAMR_16s(lsp, out[1].data());
    qolsInterpolate_G729_16s(lsp, lsp + 10, middle.data(), 10);
    qolsLSPToLPC_GSMAMR_16s(middle.data(), out[2].data());
    qolsLSPToLPC_GSMAMR_16s(lsp + 10, out[3].data());
}

void encodeSubframe(AnalysisChain& c, const Qol16s* x, const Qol16s* w1, const Qol16s* w2,
                    const Qol16s* aq, const Qol16s* lags, Qol16s n) {
    FixedProblem p;
    std::array<Qol16s, 40> res, target, y1, code, y2;
    std::array<Qol16s, 10> indices;
    Qol16s* exc = c.exc.data();
    qolsImpulseResponseTarget_GSMAMR_16s(x, w1, w2, aq, c.synMem.data(), c.errMem.data(),
                                         p.impulse.data(), res.data(), target.data());
    std::copy(res.begin(), res.end(), exc + 154);
    Qol16s frac, index, gain;
    std::array<Qol16s, 40> vector;
    qolsAdaptiveCodebookSearch_GSMAMR_16s(target.data(), p.impulse.data(), lags, &c.prevLag, exc,
                                          &frac, &index, vector.data(), n, 12);
    qolsConvPartial_16s_Sfs(vector.data(), p.impulse.data(), y1.data(), 40, 12);
    std::array<Qol16s, 4> coeffs;
    qolsAdaptiveCodebookGainCoeffs_GSMAMR_16s(target.data(), y1.data(), &gain, coeffs.data());
    qolsAdaptiveCodebookContribution_G729_16s(gain, y1.data(), target.data(), p.target.data());
    qolsAdaptiveCodebookContribution_G729_16s(gain, vector.data(), res.data(), p.residual.data());
    p.lag = c.prevLag;
    p.gain = std::min<Qol16s>(gain, 13017);
    if (c.problems) {
        c.problems->push_back(p);
    }
    qolsAlgebraicCodebookSearch_GSMAMR_16s(p.lag, p.gain, p.target.data(), p.residual.data(),
                                           p.impulse.data(), code.data(), y2.data(), indices.data(),
                                           n, 12);
    // The excitation that the residual asks for stands in for the one of quantised gains.
    std::copy(res.begin(), res.end(), exc + 154);
    std::copy(exc + 40, exc + 194, exc);
    for (std::size_t i = 0; i < 10; ++i) {
        c.synMem[i] = static_cast<Qol16s>(p.target[30 + i] >> 2);
        c.errMem[i] = p.target[30 + i];
    }
}

// pcm points at the 320 samples of the frame's buffer.
void encodeFrame(AnalysisChain& c, const Qol16s* pcm) {
    std::array<Qol32s, 22> acf;
    std::array<Qol16s, 20> lsp, qLsp;
    std::array<Lpc, 4> a, aq;
    Lpc lpc = c.lpcOld;
    qolsAutoCorr_GSMAMR_16s32s(pcm + 40, acf.data(), 12);
    for (std::size_t v = 0; v < 2; ++v) {
        qolsLevinsonDurbin_GSMAMR_32s16s(acf.data() + 11 * v, lpc.data());
        qolsLPCToLSP_GSMAMR_16s(lpc.data(), v ? lsp.data() : c.lspOld.data(), lsp.data() + 10 * v);
    }
    c.lpcOld = lpc;
    subframes(c.lspOld, lsp.data(), a);
    std::array<Qol16s, 5> indices;
    qolsLSPQuant_GSMAMR_16s(lsp.data(), c.residualLsf.data(), qLsp.data(), indices.data(), 12);
    subframes(c.qLspOld, qLsp.data(), aq);
    std::copy_n(lsp.begin() + 10, 10, c.lspOld.begin());
    std::copy_n(qLsp.begin() + 10, 10, c.qLspOld.begin());
    std::array<Qol16s, 44> w1, w2;
    for (std::size_t n = 0; n < 4; ++n) {
        weighted(a[n].data(), 29491, w1.data() + 11 * n);
        weighted(a[n].data(), 19661, w2.data() + 11 * n);
    }
    std::array<Qol16s, 2> lags, flags;
    qolsOpenLoopPitchSearchNonDTX_GSMAMR_16s(w1.data(), w2.data(), pcm + 120, &c.voicedLag,
                                             &c.voicedGain, c.lagHist.data(), c.wsp.data(),
                                             lags.data(), flags.data(), 12);
    for (std::size_t n = 0; n < 4; ++n) {
        encodeSubframe(c, pcm + 120 + 40 * n, w1.data() + 11 * n, w2.data() + 11 * n, aq[n].data(),
                       lags.data(), static_cast<Qol16s>(n));
    }
}

void chainFrames(AnalysisChain& c) {
    // Halved, as the encoder's high-pass does.
    if (c.pcm.empty()) {
        c.pcm = speech();
        for (Qol16s& x : c.pcm) {
            x = static_cast<Qol16s>(x >> 1);
        }
    }
    for (std::size_t n = 0; n + 2 <= frames(); ++n) {
        encodeFrame(c, c.pcm.data() + n * kFrame);
    }
}

void amrFrame122(benchmark::State& st) {
    AnalysisChain c;
    for (auto _ : st) {
        chainFrames(c);
        benchmark::DoNotOptimize(c.wsp.data());
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(frames() - 1));
    st.SetLabel("frame");
}
BENCHMARK(amrFrame122);

// ---- AMR: whole codecs, by mode ----

constexpr std::size_t kMagicOctets = 6;

const char* amrName(benchmark::State& st) {
    constexpr const char* names[8] = {"amr-4.75", "amr-5.15", "amr-5.90", "amr-6.70",
                                      "amr-7.40", "amr-7.95", "amr-10.2", "amr-12.2"};
    return names[st.range(0)];
}

const std::vector<std::uint8_t>& amrFile(benchmark::State& st) {
    static std::array<std::vector<std::uint8_t>, 8> files;
    std::vector<std::uint8_t>& file = files[static_cast<std::size_t>(st.range(0))];
    if (file.empty()) {
        constexpr int codes[8] = {0, 1, 3, 6, 7, 8, 11, 12};
        file =
            readBytes("gsm/sequences/speech_a_rate" + std::to_string(codes[st.range(0)]) + ".amr");
    }
    return file;
}

void amrEncode(benchmark::State& st) { encodeSpeech(st, amrName(st)); }
BENCHMARK(amrEncode)->ArgName("mode")->Arg(0)->Arg(5)->Arg(6)->Arg(7);

void amrDecode(benchmark::State& st) {
    const tools::Codec& codec = *tools::findCodec(amrName(st));
    decodeSpeech(st, codec.name, *tools::findForm(codec, "file"),
                 std::span(amrFile(st)).subspan(kMagicOctets));
}
BENCHMARK(amrDecode)->ArgName("mode")->Arg(0)->Arg(5)->Arg(6)->Arg(7);

#ifdef QOLSC_HAVE_OPENCORE_AMRNB
void amrEncodeOpencore(benchmark::State& st) {
    void* s = Encoder_Interface_init(0);
    std::array<unsigned char, 64> out;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            Encoder_Interface_Encode(s, static_cast<Mode>(st.range(0)),
                                     speech().data() + n * kFrame, out.data(), 0);
            benchmark::DoNotOptimize(out.data());
        }
    }
    Encoder_Interface_exit(s);
    perFrame(st);
}
BENCHMARK(amrEncodeOpencore)->ArgName("mode")->Arg(0)->Arg(5)->Arg(6)->Arg(7);

void amrDecodeOpencore(benchmark::State& st) {
    void* s = Decoder_Interface_init();
    const std::vector<std::uint8_t>& file = amrFile(st);
    const std::size_t step = (file.size() - kMagicOctets) / frames(); // all frames have one length
    std::array<Qol16s, kFrame> pcm;
    for (auto _ : st) {
        for (std::size_t n = 0; n < frames(); ++n) {
            Decoder_Interface_Decode(s, file.data() + kMagicOctets + n * step, pcm.data(), 0);
            benchmark::DoNotOptimize(pcm.data());
        }
    }
    Decoder_Interface_exit(s);
    perFrame(st);
}
BENCHMARK(amrDecodeOpencore)->ArgName("mode")->Arg(0)->Arg(5)->Arg(6)->Arg(7);
#endif

// ---- AMR: algebraic searches ----

const std::vector<FixedProblem>& problems() {
    static const std::vector<FixedProblem> list = [] {
        std::vector<FixedProblem> v;
        AnalysisChain c;
        c.problems = &v;
        chainFrames(c);
        return v;
    }();
    return list;
}

void fixedSearch(benchmark::State& st) {
    std::array<Qol16s, 40> h, code, filtered;
    std::array<Qol16s, 10> indices;
    for (auto _ : st) {
        int n = 0;
        for (const FixedProblem& p : problems()) {
            h = p.impulse;
            qolsAlgebraicCodebookSearch_GSMAMR_16s(
                p.lag, p.gain, p.target.data(), p.residual.data(), h.data(), code.data(),
                filtered.data(), indices.data(), static_cast<Qol16s>(n++ & 3),
                static_cast<Qol32s>(st.range(0)));
            benchmark::DoNotOptimize(indices.data());
        }
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(problems().size()));
    st.SetLabel("search");
}
BENCHMARK(fixedSearch)->ArgName("rate")->Arg(0)->Arg(3)->Arg(6)->Arg(7)->Arg(11)->Arg(12);

// The same work with the plain search inside.
void fixedSearchPlain(benchmark::State& st) {
    const amr::Codebook book = amr::codebookOf(static_cast<Qol32s>(st.range(0)));
    static amr::FixedSearchWork work;
    std::array<Qol16s, 40> h, code, filtered;
    std::array<Qol16s, 10> indices;
    for (auto _ : st) {
        int n = 0;
        for (const FixedProblem& p : problems()) {
            h = p.impulse;
            const auto sharp = static_cast<Qol16s>(std::min(2 * p.gain, 32767));
            if (p.lag < 40) {
                qolsHarmonicFilter_16s_I(sharp, p.lag, h.data() + p.lag, 40 - p.lag);
            }
            amr::PulseProblem problem;
            amr::PulseSet set;
            amr::preparePulses(p.target.data(), p.residual.data(), h.data(), book, problem);
            amr::searchPlain(problem, book, n & 3, work, set);
            amr::packPulses(set, problem.sign, h.data(), book, n++ & 3, code.data(),
                            filtered.data(), indices.data());
            benchmark::DoNotOptimize(indices.data());
        }
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(problems().size()));
    st.SetLabel("search");
}
BENCHMARK(fixedSearchPlain)->ArgName("rate")->Arg(0)->Arg(3)->Arg(6)->Arg(7)->Arg(11)->Arg(12);

// ---- AMR: LSF codebooks ----

/// Residuals and weights of a frame at 12.2 kbit/s, by codebook.
struct LsfProblem {
    Qol16s r[5][4], w[5][4];
};
std::vector<LsfProblem> lsfProblems() {
    std::vector<LsfProblem> v(64);
    test::Random r;
    for (LsfProblem& p : v) {
        for (int b = 0; b < 5; ++b) {
            for (int i = 0; i < 4; ++i) {
                p.r[b][i] = static_cast<Qol16s>(test::uniform(r, -800, 800));
                p.w[b][i] = static_cast<Qol16s>(test::uniform(r, 2000, 26000));
            }
        }
    }
    return v;
}

template <bool Plain>
void lsfSearch(benchmark::State& st) {
    const std::vector<LsfProblem> list = lsfProblems();
    for (auto _ : st) {
        int sum = 0;
        for (const LsfProblem& p : list) {
            for (int b = 0; b < 5; ++b) {
                const amr::LsfBook& book = amr::matrixBooks()[b];
                sum += b == 2
                           ? (Plain ? amr::nearestSignedRowPlain
                                    : amr::nearestSignedRow)(book, p.r[b], p.w[b])
                           : (Plain ? amr::nearestRowPlain : amr::nearestRow)(book, p.r[b], p.w[b]);
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(list.size()));
    st.SetLabel("frame");
}
BENCHMARK(lsfSearch<false>)->Name("lsfSearch");
BENCHMARK(lsfSearch<true>)->Name("lsfSearchPlain");

} // namespace

BENCHMARK_MAIN();
