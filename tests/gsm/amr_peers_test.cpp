// SPDX-License-Identifier: Apache-2.0
// Streams of an independent AMR codec against ours, where the system has it.
#include "kit/streams.h"

#ifdef QOLSC_HAVE_OPENCORE_AMRNB
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>

namespace qolsc::test {
namespace {

using tools::Codec;
using tools::Frame;

constexpr const char* kNames[8] = {"amr-4.75", "amr-5.15", "amr-5.90", "amr-6.70",
                                   "amr-7.40", "amr-7.95", "amr-10.2", "amr-12.2"};
constexpr std::size_t kFrame = 160, kMagicOctets = 6;

/// Speech, a pause with faint noise, speech again.
std::vector<Qol16s> speechWithPause() {
    const auto speech = readWords("gsm/sequences/speech_a.inp");
    std::vector<Qol16s> pcm = speech;
    Random r;
    const auto pause = noise16(r, 120 * kFrame, 60);
    pcm.insert(pcm.end(), pause.begin(), pause.end());
    pcm.insert(pcm.end(), speech.begin(), speech.begin() + 80 * kFrame);
    return pcm;
}

/// The independent encoder's storage file; it takes samples of 13 bits.
std::vector<std::uint8_t> encodeByPeer(int mode, const std::vector<Qol16s>& pcm, bool dtx) {
    void* encoder = Encoder_Interface_init(dtx ? 1 : 0);
    std::vector<std::uint8_t> out(kMagicOctets);
    for (std::size_t i = 0; i + kFrame <= pcm.size(); i += kFrame) {
        Qol16s in[kFrame];
        for (std::size_t k = 0; k < kFrame; ++k) {
            in[k] = static_cast<Qol16s>(pcm[i + k] & -8);
        }
        unsigned char octets[64];
        const int count = Encoder_Interface_Encode(encoder, static_cast<Mode>(mode), in, octets, 0);
        out.insert(out.end(), octets, octets + count);
    }
    Encoder_Interface_exit(encoder);
    std::copy_n("#!AMR\n", kMagicOctets, out.begin());
    return out;
}

std::vector<Qol16s> decodeByPeer(const Codec& codec, const std::vector<std::uint8_t>& file) {
    void* decoder = Decoder_Interface_init();
    std::vector<Qol16s> pcm;
    std::span<const std::uint8_t> rest = std::span(file).subspan(kMagicOctets);
    Frame frame;
    for (std::ptrdiff_t taken; (taken = formOf(codec, "file").readFrame(codec, rest, frame)) > 0;) {
        Qol16s out[kFrame];
        Decoder_Interface_Decode(decoder, rest.data(), out, 0);
        pcm.insert(pcm.end(), out, out + kFrame);
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
    Decoder_Interface_exit(decoder);
    return pcm;
}

class AmrPeer : public testing::TestWithParam<int> {};

TEST_P(AmrPeer, MakesTheSameFramesAndSamples) {
    const int mode = GetParam();
    const Codec& codec = *tools::findCodec(kNames[mode]);
    for (const bool dtx : {false, true}) {
        const auto pcm = dtx ? speechWithPause() : readWords("gsm/sequences/speech_a.inp");
        const auto ours = encodeAll(codec, pcm, "file", withDtx(dtx)),
                   theirs = encodeByPeer(mode, pcm, dtx);
        EXPECT_EQ(firstDifference(ours, theirs), -1) << (dtx ? "with pauses" : "");
        EXPECT_EQ(firstDifference(decodeAll(codec, ours, "file"), decodeByPeer(codec, ours)), -1)
            << (dtx ? "with pauses" : "");
        EXPECT_EQ(firstDifference(decodeAll(codec, theirs, "file"), decodeByPeer(codec, theirs)),
                  -1)
            << (dtx ? "with pauses" : "");
    }
}

/// The file with frames taken out, one in eight at random and all in from..to - 1: no data there.
std::vector<std::uint8_t> withLosses(const Codec& codec, const std::vector<std::uint8_t>& file,
                                     int from, int to) {
    std::vector<std::uint8_t> out(file.begin(), file.begin() + kMagicOctets);
    std::span<const std::uint8_t> rest = std::span(file).subspan(kMagicOctets);
    Random r;
    Frame frame;
    int n = 0;
    for (std::ptrdiff_t taken; (taken = formOf(codec, "file").readFrame(codec, rest, frame)) > 0;
         ++n) {
        if ((n >= from && n < to) || uniform(r, 1, 8) == 1) {
            out.push_back(15 << 3 | 4);
        } else {
            out.insert(out.end(), rest.begin(), rest.begin() + taken);
        }
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
    return out;
}

TEST_P(AmrPeer, ConcealsLostFramesAlike) {
    const int mode = GetParam();
    const Codec& codec = *tools::findCodec(kNames[mode]);
    const auto speech = readWords("gsm/sequences/speech_a.inp");
    // Behind a second of speech noise or a hum: in background of the right level the three lowest
    // rates conceal more softly, and the hum has the pitch gain that is limited there.
    auto noise = speech, hum = speech;
    Random r;
    for (std::size_t i = 8000; i < speech.size(); ++i) {
        noise[i] = static_cast<Qol16s>(uniform(r, -300, 300));
        hum[i] = static_cast<Qol16s>(noise[i] / 64 + (i % 50 < 4 ? 700 : -60));
    }
    for (const auto& pcm : {speech, noise, hum}) {
        const auto file = withLosses(codec, encodeAll(codec, pcm, "file"), 100, 112);
        EXPECT_EQ(firstDifference(decodeAll(codec, file, "file"), decodeByPeer(codec, file)), -1);
    }
}

// More than fifty frames without an update mute the comfort noise.
TEST_P(AmrPeer, ConcealsLostUpdatesAlike) {
    const Codec& codec = *tools::findCodec(kNames[GetParam()]);
    const auto file =
        withLosses(codec, encodeAll(codec, speechWithPause(), "file", withDtx()), 275, 350);
    const auto ours = decodeAll(codec, file, "file");
    EXPECT_EQ(firstDifference(ours, decodeByPeer(codec, file)), -1);
    const auto loudest = [&](int from, int to) {
        return *std::max_element(ours.begin() + from * 160, ours.begin() + to * 160);
    };
    EXPECT_LT(loudest(340, 350), loudest(280, 300) / 2);
}

INSTANTIATE_TEST_SUITE_P(All, AmrPeer, testing::Range(0, 8),
                         [](const auto& info) { return "mode" + std::to_string(info.param); });

} // namespace
} // namespace qolsc::test
#endif
