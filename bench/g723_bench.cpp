// SPDX-License-Identifier: Apache-2.0
// G.723.1: pulse searches of both rates against their definitions, whole coders beside
// libavcodec's.
#include "codecs/codec.h"
#include "g723/acelp.h"
#include "g723/multipulse.h"
#include "kit/data.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_AVCODEC
#include "avcodec.h"
#endif

#include <algorithm>
#include <vector>

namespace {

using namespace qolsc::test;
namespace g723 = qolsc::g723;
namespace tools = qolsc::tools;

template <typename Search>
void acelp(benchmark::State& state, Search search) {
    Random r;
    const auto correlation = noise16(r, 60, 4000);
    auto matrix = noise16(r, 416, 4000);
    for (std::size_t i = 0; i < 32; ++i) {
        matrix[i] = 16000;
    }
    g723::AcelpField field;
    g723::prepareAcelp_G723(correlation.data(), matrix.data(), field);
    for (auto _ : state) {
        benchmark::DoNotOptimize(search(field, 240));
    }
}
void acelpLanes(benchmark::State& state) { acelp(state, g723::ownAcelpSearch_G723); }
void acelpPlain(benchmark::State& state) { acelp(state, g723::ownAcelpSearchPlain_G723); }
BENCHMARK(acelpLanes);
BENCHMARK(acelpPlain);

template <typename Place>
void pulses(benchmark::State& state, Place place) {
    Random r;
    g723::PulseField field{};
    const auto correlation = noise32(r, 30, 1 << 26);
    const auto response = noise16(r, 30, 16000);
    for (int k = 0; k < 30; ++k) {
        field.correlation[k] = correlation[static_cast<std::size_t>(k)];
        field.response[32 + k] = field.response[32 - k] = 2 * response[static_cast<std::size_t>(k)];
    }
    field.most = 1 << 26;
    Qol16s places[6], amplitudes[6];
    for (auto _ : state) {
        place(field, Qol16s{240}, 6, places, amplitudes);
        benchmark::DoNotOptimize(places);
    }
}
void pulsesLanes(benchmark::State& state) { pulses(state, g723::ownQuantGain_G723_BestPulse); }
void pulsesPlain(benchmark::State& state) { pulses(state, g723::ownPlacePulsesPlain_G723); }
BENCHMARK(pulsesLanes);
BENCHMARK(pulsesPlain);

// ---- whole coders, five seconds of speech ----

constexpr std::size_t kFrame = 240;

const std::vector<Qol16s>& speech() {
    static const std::vector<Qol16s> pcm = [] {
        std::vector<Qol16s> words = readWords("gsm/sequences/speech_a.inp");
        words.resize(words.size() / kFrame * kFrame);
        return words;
    }();
    return pcm;
}

/// The benchmarks' argument: 63 or 53, hundreds of bit/s.
const tools::Codec& codecOf(const benchmark::State& state) {
    return *tools::findCodec(state.range(0) == 63 ? "g7231-6.3" : "g7231-5.3");
}

std::vector<tools::Frame> coded(const tools::Codec& codec) {
    void* encoder = codec.openEncoder(codec, {});
    std::vector<tools::Frame> frames(speech().size() / kFrame);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        codec.encode(encoder, speech().data() + i * kFrame, kFrame, frames[i]);
    }
    codec.closeEncoder(encoder);
    return frames;
}

void perSample(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(speech().size()));
}

void encodeOurs(benchmark::State& state) {
    const tools::Codec& codec = codecOf(state);
    void* encoder = codec.openEncoder(codec, {});
    tools::Frame frame;
    for (auto _ : state) {
        for (std::size_t at = 0; at < speech().size(); at += kFrame) {
            codec.encode(encoder, speech().data() + at, kFrame, frame);
            benchmark::DoNotOptimize(frame.payload.data());
        }
    }
    codec.closeEncoder(encoder);
    perSample(state);
}
void decodeOurs(benchmark::State& state) {
    const tools::Codec& codec = codecOf(state);
    const std::vector<tools::Frame> frames = coded(codec);
    void* decoder = codec.openDecoder(codec, {});
    Qol16s pcm[kFrame];
    for (auto _ : state) {
        for (const tools::Frame& frame : frames) {
            codec.decode(decoder, frame, pcm);
            benchmark::DoNotOptimize(pcm);
        }
    }
    codec.closeDecoder(decoder);
    perSample(state);
}
BENCHMARK(encodeOurs)->Arg(63)->Arg(53);
BENCHMARK(decodeOurs)->Arg(63)->Arg(53);

#ifdef QOLSC_HAVE_AVCODEC
namespace bench = qolsc::bench;

/// That encoder knows the higher rate only.
void encodeAvcodec(benchmark::State& state) {
    bench::AvCoder c = bench::openAv(avcodec_find_encoder(AV_CODEC_ID_G723_1), 8000, kFrame, 6300);
    int octets = 0;
    for (auto _ : state) {
        for (std::size_t at = 0; c.context != nullptr && at < speech().size(); at += kFrame) {
            octets += bench::encodeAv(c, speech().data() + at);
        }
    }
    if (octets == 0) {
        state.SkipWithError("no frames");
    }
    bench::closeAv(c);
    perSample(state);
}
void decodeAvcodec(benchmark::State& state) {
    bench::AvCoder c = bench::openAv(avcodec_find_decoder(AV_CODEC_ID_G723_1), 8000, kFrame, 6300);
    const std::vector<tools::Frame> frames = coded(codecOf(state));
    int samples = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; c.context != nullptr && i < frames.size(); ++i) {
            samples += bench::decodeAv(c, frames[i].payload);
        }
    }
    if (samples == 0) {
        state.SkipWithError("no samples");
    }
    bench::closeAv(c);
    perSample(state);
}
BENCHMARK(encodeAvcodec)->Arg(63);
BENCHMARK(decodeAvcodec)->Arg(63)->Arg(53);
#endif

} // namespace

BENCHMARK_MAIN();
