// SPDX-License-Identifier: Apache-2.0
// G.723.1: pulse searches of both rates against their definitions, whole coders beside
// libavcodec's.
#include "codecs/codec.h"
#include "g723/acelp.h"
#include "g723/multipulse.h"
#include "kit/data.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_AVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}
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
AVCodecContext* openAv(const AVCodec* codec) {
    AVCodecContext* c = avcodec_alloc_context3(codec);
    c->sample_rate = 8000;
    c->sample_fmt = AV_SAMPLE_FMT_S16;
    c->bit_rate = 6300;
    av_channel_layout_default(&c->ch_layout, 1);
    return avcodec_open2(c, codec, nullptr) == 0 ? c : nullptr;
}

/// That encoder knows the higher rate only.
void encodeAvcodec(benchmark::State& state) {
    AVCodecContext* c = openAv(avcodec_find_encoder(AV_CODEC_ID_G723_1));
    if (c == nullptr) {
        state.SkipWithError("no encoder");
        return;
    }
    AVFrame* frame = av_frame_alloc();
    frame->nb_samples = kFrame;
    frame->format = c->sample_fmt;
    frame->sample_rate = 8000;
    av_channel_layout_copy(&frame->ch_layout, &c->ch_layout);
    av_frame_get_buffer(frame, 0);
    AVPacket* packet = av_packet_alloc();
    std::size_t octets = 0;
    for (auto _ : state) {
        for (std::size_t at = 0; at < speech().size(); at += kFrame) {
            av_frame_make_writable(frame);
            std::copy_n(speech().data() + at, kFrame, reinterpret_cast<Qol16s*>(frame->data[0]));
            avcodec_send_frame(c, frame);
            while (avcodec_receive_packet(c, packet) == 0) {
                octets += static_cast<std::size_t>(packet->size);
                av_packet_unref(packet);
            }
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&c);
    if (octets == 0) {
        state.SkipWithError("no frames");
    }
    perSample(state);
}
void decodeAvcodec(benchmark::State& state) {
    AVCodecContext* c = openAv(avcodec_find_decoder(AV_CODEC_ID_G723_1));
    if (c == nullptr) {
        state.SkipWithError("no decoder");
        return;
    }
    const std::vector<tools::Frame> frames = coded(codecOf(state));
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    int samples = 0;
    for (auto _ : state) {
        for (const tools::Frame& f : frames) {
            av_new_packet(packet, static_cast<int>(f.payload.size()));
            std::copy(f.payload.begin(), f.payload.end(), packet->data);
            avcodec_send_packet(c, packet);
            while (avcodec_receive_frame(c, frame) == 0) {
                samples += frame->nb_samples;
                av_frame_unref(frame);
            }
            av_packet_unref(packet);
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&c);
    if (samples == 0) {
        state.SkipWithError("no samples");
    }
    perSample(state);
}
BENCHMARK(encodeAvcodec)->Arg(63);
BENCHMARK(decodeAvcodec)->Arg(63)->Arg(53);
#endif

} // namespace

BENCHMARK_MAIN();
