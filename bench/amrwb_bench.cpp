// SPDX-License-Identifier: Apache-2.0
// AMR-WB algebraic codebook search on recorded subframes: the library's, the plain scalar one that
// defines it; whole frames encoded and decoded beside independent coders.
#include "amrwb/acelp.h"
#include "codecs/codec.h"
#include "qolsc/amrwb.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#ifdef QOLSC_HAVE_OPENCORE_AMRWB
#include <opencore-amrwb/dec_if.h>
#endif
#ifdef QOLSC_HAVE_VO_AMRWBENC
#include <vo-amrwbenc/enc_if.h>
#endif

namespace {

using namespace qolsc;

std::vector<Qol16s> readWords(const std::string& name) {
    std::ifstream in(std::string(QOLSC_TEST_DATA) + "/amrwb/" + name, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    std::vector<Qol16s> words(bytes.size() / 2);
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<Qol16s>(static_cast<std::uint8_t>(bytes[2 * i]) |
                                       static_cast<std::uint8_t>(bytes[2 * i + 1]) << 8);
    }
    return words;
}

struct Rate {
    int code;
    int mode;
    const char* records;
    std::size_t recordWords;
    const char* codec;
};
const Rate kRates[] = {
    {5, 0, "vectors/qolsAlgebraicCodebookSearch_AMRWB_16s-12.bin", 5 * 64 + 1, "amrwb-6.60"},
    {13, 2, "vectors/qolsAlgebraicCodebookSearch_AMRWB_16s-36.bin", 5 * 64 + 4, "amrwb-12.65"},
    {21, 8, "vectors/qolsAlgebraicCodebookSearch_AMRWB_16s-88h.bin", 5 * 64 + 8, "amrwb-23.85"},
};

template <bool Plain>
void search(benchmark::State& state, const Rate& rate) {
    const auto words = readWords(rate.records);
    const std::size_t records = words.size() / rate.recordWords;
    if (records == 0) {
        state.SkipWithError("no data");
        return;
    }
    acelp::Work work;
    Qol16s code[64], filtered[64], indices[8];
    for (auto _ : state) {
        for (std::size_t r = 0; r < records; ++r) {
            const Qol16s* in = words.data() + r * rate.recordWords;
            acelp::search<Plain>(*acelp::rateOf(rate.code), in, in + 64, in + 128, code, filtered,
                                 indices, work);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records));
    state.SetLabel("search");
}

/// Whole frames, one an iteration.
template <typename Encode>
void frames(benchmark::State& state, Encode encode) {
    const auto speech = readWords("sequences/speech.inp");
    std::size_t at = 0;
    for (auto _ : state) {
        encode(speech.data() + at);
        at = at + 2 * 320 > speech.size() ? 0 : at + 320;
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel("frame");
}

void ownFrame(benchmark::State& state, const Rate& rate) {
    const tools::Codec& codec = *tools::findCodec(rate.codec);
    void* encoder = codec.openEncoder(codec, {});
    tools::Frame frame;
    frames(state, [&](const Qol16s* pcm) { codec.encode(encoder, pcm, 320, frame); });
    codec.closeEncoder(encoder);
}

#ifdef QOLSC_HAVE_VO_AMRWBENC
void peerFrame(benchmark::State& state, const Rate& rate) {
    void* encoder = E_IF_init();
    unsigned char out[64];
    frames(state, [&](const Qol16s* pcm) { E_IF_encode(encoder, rate.mode, pcm, out, 0); });
    E_IF_exit(encoder);
}
#endif

/// The speech coded, frame by frame.
std::vector<tools::Frame> coded(const tools::Codec& codec) {
    const auto speech = readWords("sequences/speech.inp");
    void* encoder = codec.openEncoder(codec, {});
    std::vector<tools::Frame> frames(speech.size() / 320);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        codec.encode(encoder, speech.data() + i * 320, 320, frames[i]);
    }
    codec.closeEncoder(encoder);
    return frames;
}

/// Whole frames, one an iteration.
template <typename Item, typename Decode>
void decodeFrames(benchmark::State& state, const std::vector<Item>& items, Decode decode) {
    Qol16s pcm[320];
    std::size_t at = 0;
    for (auto _ : state) {
        decode(items[at], pcm);
        benchmark::DoNotOptimize(pcm);
        at = at + 1 < items.size() ? at + 1 : 0;
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel("frame");
}

void ownDecoder(benchmark::State& state, const Rate& rate) {
    const tools::Codec& codec = *tools::findCodec(rate.codec);
    void* decoder = codec.openDecoder(codec, {});
    decodeFrames(state, coded(codec), [&](const tools::Frame& frame, Qol16s* pcm) {
        codec.decode(decoder, frame, pcm);
    });
    codec.closeDecoder(decoder);
}

#ifdef QOLSC_HAVE_OPENCORE_AMRWB
void peerDecoder(benchmark::State& state, const Rate& rate) {
    const tools::Codec& codec = *tools::findCodec(rate.codec);
    std::vector<std::vector<std::uint8_t>> octets; // of the storage file
    for (const tools::Frame& frame : coded(codec)) {
        codec.forms[0]->writeFrame(codec, frame, octets.emplace_back());
    }
    void* decoder = D_IF_init();
    decodeFrames(state, octets, [&](const std::vector<std::uint8_t>& in, Qol16s* pcm) {
        D_IF_decode(decoder, in.data(), pcm, _good_frame);
    });
    D_IF_exit(decoder);
}
#endif

const int registered = [] {
    for (const Rate& rate : kRates) {
        const std::string name = rate.codec + 6;
        benchmark::RegisterBenchmark(("search/" + name).c_str(), search<false>, rate);
        benchmark::RegisterBenchmark(("search_plain/" + name).c_str(), search<true>, rate);
        benchmark::RegisterBenchmark(("frame/" + name).c_str(), ownFrame, rate);
#ifdef QOLSC_HAVE_VO_AMRWBENC
        benchmark::RegisterBenchmark(("frame_vo_amrwbenc/" + name).c_str(), peerFrame, rate);
#endif
        benchmark::RegisterBenchmark(("decoder/" + name).c_str(), ownDecoder, rate);
#ifdef QOLSC_HAVE_OPENCORE_AMRWB
        benchmark::RegisterBenchmark(("decoder_opencore/" + name).c_str(), peerDecoder, rate);
#endif
    }
    return 0;
}();

} // namespace

BENCHMARK_MAIN();
