// SPDX-License-Identifier: Apache-2.0
// Whole G.729 decoders, and encoder plus decoder, beside libbcg729 (Annex A) on the same speech.
#include "codecs/codec.h"
#include "kit/data.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_BCG729
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}
#endif

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

using namespace qolsc::tools;

constexpr std::size_t kFrame = 80, kOctets = 10;

/// Speech of the ITU-T test set, whole frames.
const std::vector<Qol16s>& speech() {
    static const std::vector<Qol16s> pcm = [] {
        std::vector<Qol16s> words = qolsc::test::readWords("g729/sequences/annexd_testfile.raw");
        words.resize(words.size() / kFrame * kFrame);
        return words;
    }();
    return pcm;
}

const Codec& codecOf(const char* name) {
    const Codec* codec = findCodec(name);
    if (codec == nullptr) {
        std::abort();
    }
    return *codec;
}

using Coder = std::unique_ptr<void, void (*)(void*)>;
Coder encoderOf(const Codec& codec) {
    return Coder(codec.openEncoder(codec, CodecSettings{}), codec.closeEncoder);
}
Coder decoderOf(const Codec& codec) {
    return Coder(codec.openDecoder(codec, CodecSettings{}), codec.closeDecoder);
}

std::vector<Frame> coded(const Codec& codec) {
    const Coder encoder = encoderOf(codec);
    std::vector<Frame> frames(speech().size() / kFrame);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        codec.encode(encoder.get(), speech().data() + i * kFrame, kFrame, frames[i]);
    }
    return frames;
}

void setRate(benchmark::State& st) {
    st.SetItemsProcessed(static_cast<std::int64_t>(st.iterations() * speech().size()));
}

void decodeOurs(benchmark::State& st, const char* name) {
    const Codec& codec = codecOf(name);
    const std::vector<Frame> frames = coded(codec);
    const Coder decoder = decoderOf(codec);
    Qol16s pcm[kFrame];
    for (auto _ : st) {
        for (const Frame& frame : frames) {
            codec.decode(decoder.get(), frame, pcm);
            benchmark::DoNotOptimize(pcm);
        }
    }
    setRate(st);
}

void roundTripOurs(benchmark::State& st, const char* name) {
    const Codec& codec = codecOf(name);
    const Coder encoder = encoderOf(codec), decoder = decoderOf(codec);
    Frame frame;
    Qol16s pcm[kFrame];
    for (auto _ : st) {
        for (std::size_t at = 0; at < speech().size(); at += kFrame) {
            codec.encode(encoder.get(), speech().data() + at, kFrame, frame);
            codec.decode(decoder.get(), frame, pcm);
            benchmark::DoNotOptimize(pcm);
        }
    }
    setRate(st);
}

BENCHMARK_CAPTURE(decodeOurs, g729a, "g729a");
BENCHMARK_CAPTURE(decodeOurs, g729, "g729");
BENCHMARK_CAPTURE(decodeOurs, g729d, "g729-6.4");
BENCHMARK_CAPTURE(decodeOurs, g729e, "g729-11.8");
BENCHMARK_CAPTURE(roundTripOurs, g729a, "g729a");
BENCHMARK_CAPTURE(roundTripOurs, g729, "g729");

#ifdef QOLSC_HAVE_BCG729

void decodeBcg729(benchmark::State& st) {
    const std::vector<Frame> frames = coded(codecOf("g729a"));
    auto* decoder = initBcg729DecoderChannel();
    Qol16s pcm[kFrame];
    for (auto _ : st) {
        for (const Frame& frame : frames) {
            bcg729Decoder(decoder, frame.payload.data(), kOctets, 0, 0, 0, pcm);
            benchmark::DoNotOptimize(pcm);
        }
    }
    closeBcg729DecoderChannel(decoder);
    setRate(st);
}
BENCHMARK(decodeBcg729);

void roundTripBcg729(benchmark::State& st) {
    auto* encoder = initBcg729EncoderChannel(0);
    auto* decoder = initBcg729DecoderChannel();
    Qol16s pcm[kFrame];
    for (auto _ : st) {
        for (std::size_t at = 0; at < speech().size(); at += kFrame) {
            std::uint8_t octets[kOctets], length = 0;
            bcg729Encoder(encoder, speech().data() + at, octets, &length);
            bcg729Decoder(decoder, octets, length, 0, 0, 0, pcm);
            benchmark::DoNotOptimize(pcm);
        }
    }
    closeBcg729EncoderChannel(encoder);
    closeBcg729DecoderChannel(decoder);
    setRate(st);
}
BENCHMARK(roundTripBcg729);

#endif

} // namespace

BENCHMARK_MAIN();
