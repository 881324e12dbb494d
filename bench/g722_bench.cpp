// SPDX-License-Identifier: Apache-2.0
// G.722 beside libspandsp and libavcodec: whole octets from 16 kHz samples and back, one second of
// the ITU-T speech sequence a call, so that no peer pays for its frames. Then the transforms of
// G.722.1 and G.729.1, which have no independent peer to link: the vector DCT beside its
// definition.
#include "kit/data.h"
#include "qolsc.h"
#include "waveform/g7221dct.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_SPANDSP
extern "C" {
#include <spandsp.h>
}
#endif
#ifdef QOLSC_HAVE_AVCODEC
#include "avcodec.h"
#endif

#include <algorithm>
#include <vector>

namespace {

constexpr int kSamples = 16000, kOctets = kSamples / 2;

const std::vector<Qol16s>& speech() {
    static const std::vector<Qol16s> words = [] {
        std::vector<Qol16s> w = qolsc::test::readWords("waveform/sequences/g722/inpsp.bin");
        return std::vector<Qol16s>(w.begin() + 16000, w.begin() + 16000 + kSamples);
    }();
    return words;
}

/// QMF memory and ADPCM record of one direction.
struct Ours {
    std::vector<Qol8u> raw = std::vector<Qol8u>(144);
    Qol16s qmf[24] = {};
    QolsSBADPCMState_G722* state = reinterpret_cast<QolsSBADPCMState_G722*>(raw.data());
};

void encodeSecond(Ours& o, const Qol16s* pcm, Qol8u* octets) {
    constexpr int kFrame = 320;
    Qol16s pairs[kFrame];
    for (int i = 0; i < kSamples; i += kFrame) {
        qolsQMFEncode_G722_16s(pcm + i, pairs, kFrame, o.qmf);
        qolsSBADPCMEncode_G722_16s(pairs, pairs, kFrame, o.state);
        for (int k = 0; k < kFrame; k += 2) {
            octets[(i + k) / 2] = static_cast<Qol8u>(pairs[k + 1] << 6 | pairs[k]);
        }
    }
}

void decodeSecond(Ours& o, const Qol8u* octets, Qol16s* pcm) {
    constexpr int kFrame = 320;
    Qol16s pairs[kFrame];
    for (int i = 0; i < kSamples; i += kFrame) {
        for (int k = 0; k < kFrame; k += 2) {
            pairs[k] = octets[(i + k) / 2] & 63;
            pairs[k + 1] = octets[(i + k) / 2] >> 6;
        }
        qolsSBADPCMDecode_G722_16s(pairs, pairs, kFrame, 1, o.state);
        qolsQMFDecode_G722_16s(pairs, pcm + i, kFrame, o.qmf);
    }
}

std::vector<Qol8u> octets() {
    std::vector<Qol8u> out(kOctets);
    Ours o;
    qolsSBADPCMEncodeInit_G722_16s(o.state);
    encodeSecond(o, speech().data(), out.data());
    return out;
}

void setRate(benchmark::State& st) { st.SetItemsProcessed(st.iterations() * kSamples); }

void encodeOurs(benchmark::State& st) {
    Ours o;
    qolsSBADPCMEncodeInit_G722_16s(o.state);
    std::vector<Qol8u> out(kOctets);
    for (auto _ : st) {
        encodeSecond(o, speech().data(), out.data());
        benchmark::DoNotOptimize(out.data());
    }
    setRate(st);
}
void decodeOurs(benchmark::State& st) {
    Ours o;
    qolsSBADPCMDecodeInit_G722_16s(o.state);
    const std::vector<Qol8u> in = octets();
    std::vector<Qol16s> out(kSamples);
    for (auto _ : st) {
        decodeSecond(o, in.data(), out.data());
        benchmark::DoNotOptimize(out.data());
    }
    setRate(st);
}
BENCHMARK(encodeOurs);
BENCHMARK(decodeOurs);

#ifdef QOLSC_HAVE_SPANDSP
void encodeSpandsp(benchmark::State& st) {
    g722_encode_state_t* s = g722_encode_init(nullptr, 64000, 0);
    std::vector<Qol8u> out(kOctets);
    for (auto _ : st) {
        g722_encode(s, out.data(), speech().data(), kSamples);
        benchmark::DoNotOptimize(out.data());
    }
    g722_encode_free(s);
    setRate(st);
}
void decodeSpandsp(benchmark::State& st) {
    g722_decode_state_t* s = g722_decode_init(nullptr, 64000, 0);
    const std::vector<Qol8u> in = octets();
    std::vector<Qol16s> out(kSamples);
    for (auto _ : st) {
        g722_decode(s, out.data(), in.data(), kOctets);
        benchmark::DoNotOptimize(out.data());
    }
    g722_decode_free(s);
    setRate(st);
}
BENCHMARK(encodeSpandsp);
BENCHMARK(decodeSpandsp);
#endif

#ifdef QOLSC_HAVE_AVCODEC
namespace bench = qolsc::bench;

void encodeAvcodec(benchmark::State& st) {
    bench::AvCoder c =
        bench::openAv(avcodec_find_encoder(AV_CODEC_ID_ADPCM_G722), kSamples, kSamples, 64000);
    int done = 0;
    for (auto _ : st) {
        done += c.context != nullptr ? bench::encodeAv(c, speech().data()) : 0;
    }
    if (done == 0) {
        st.SkipWithError("no octets");
    }
    bench::closeAv(c);
    setRate(st);
}
void decodeAvcodec(benchmark::State& st) {
    bench::AvCoder c =
        bench::openAv(avcodec_find_decoder(AV_CODEC_ID_ADPCM_G722), kSamples, kSamples, 64000);
    const std::vector<Qol8u> in = octets();
    int done = 0;
    for (auto _ : st) {
        done += c.context != nullptr ? bench::decodeAv(c, in) : 0;
    }
    if (done == 0) {
        st.SkipWithError("no samples");
    }
    bench::closeAv(c);
    setRate(st);
}
BENCHMARK(encodeAvcodec);
BENCHMARK(decodeAvcodec);
#endif

// ---- transforms ----

template <auto Transform>
void dct(benchmark::State& st) {
    const auto len = static_cast<int>(st.range(0));
    std::vector<Qol16s> out(speech().size());
    for (auto _ : st) {
        Transform(speech().data(), out.data(), len);
        benchmark::DoNotOptimize(out.data());
    }
    st.SetItemsProcessed(st.iterations() * len);
}
BENCHMARK(dct<qolsc::ownDCTFwd_G7221_16s>)->Name("dctFwd")->Arg(320)->Arg(640);
BENCHMARK(dct<qolsc::dctFwdPlain>)->Name("dctFwdPlain")->Arg(320)->Arg(640);
BENCHMARK(dct<qolsc::ownDCTInv_G7221_16s>)->Name("dctInv")->Arg(320)->Arg(640);
BENCHMARK(dct<qolsc::dctInvPlain>)->Name("dctInvPlain")->Arg(320)->Arg(640);

void mdctForward(benchmark::State& st) {
    Qol32s y[160];
    Qol16s memory[160];
    for (auto _ : st) {
        qolsMDCTFwd_G7291_16s(speech().data() + 160, speech().data(), y, memory, 4);
        benchmark::DoNotOptimize(y);
    }
    st.SetItemsProcessed(st.iterations() * 160);
}
void mdctInverse(benchmark::State& st) {
    Qol16s memory[160] = {}, out[160];
    for (auto _ : st) {
        qolsMDCTInv_G7291_16s(speech().data(), memory, out, 1);
        benchmark::DoNotOptimize(out);
    }
    st.SetItemsProcessed(st.iterations() * 160);
}
/// All 18 bands at the given bits, and back.
void quantise(benchmark::State& st) {
    const std::vector<Qol16s> bits(18, static_cast<Qol16s>(st.range(0))), norms(18, 100);
    Qol32u codes[18];
    Qol16s y[320];
    for (auto _ : st) {
        qolsMDCTQuantFwd_G7291_16s32u(speech().data(), bits.data(), codes);
        qolsMDCTQuantInv_G7291_32u16s(codes, bits.data(), norms.data(), y);
        benchmark::DoNotOptimize(y);
    }
}
BENCHMARK(mdctForward);
BENCHMARK(mdctInverse);
BENCHMARK(quantise)->Arg(9)->Arg(16)->Arg(32);

} // namespace

BENCHMARK_MAIN();
