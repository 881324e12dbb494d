// SPDX-License-Identifier: Apache-2.0
// Streams of independent AMR-WB codecs against ours, where the system has them.
#include "amrwb/streams.h"

#ifdef QOLSC_HAVE_OPENCORE_AMRWB
#include <opencore-amrwb/dec_if.h>
#endif
#ifdef QOLSC_HAVE_VO_AMRWBENC
#include <vo-amrwbenc/enc_if.h>
#endif

namespace {

using namespace qolsc;
using namespace qolsc::test;
using tools::Codec;

[[maybe_unused]] constexpr std::size_t kMagicOctets = 9;

#ifdef QOLSC_HAVE_OPENCORE_AMRWB
/// A storage file through the independent decoder.
std::vector<Qol16s> decodeByPeer(const Codec& codec, const std::vector<std::uint8_t>& file) {
    void* decoder = D_IF_init();
    std::vector<Qol16s> pcm;
    std::span<const std::uint8_t> rest = std::span(file).subspan(kMagicOctets);
    tools::Frame frame;
    for (std::ptrdiff_t taken; (taken = codec.forms[0]->readFrame(codec, rest, frame)) > 0;) {
        Qol16s out[kSamples];
        D_IF_decode(decoder, rest.data(), out, _good_frame);
        pcm.insert(pcm.end(), out, out + kSamples);
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
    D_IF_exit(decoder);
    return pcm;
}

TEST(AmrWbPeers, IndependentDecoderGivesTheSameSamples) {
    const auto pcm = readWords("amrwb/sequences/speech.inp"), pause = speechWithPause();
    for (const char* name : kNames) {
        const Codec& codec = *tools::findCodec(name);
        for (const bool dtx : {false, true}) {
            const auto file = encodeAll(codec, dtx ? pause : pcm, "file", withDtx(dtx));
            EXPECT_EQ(firstDifference(decodeAll(codec, file, "file"), decodeByPeer(codec, file)),
                      -1)
                << name << (dtx ? " with pauses" : "");
        }
    }
}
#endif

#ifdef QOLSC_HAVE_VO_AMRWBENC
/// The independent encoder's storage file.
std::vector<std::uint8_t> encodeByPeer(int mode, const std::vector<Qol16s>& pcm, bool dtx) {
    void* encoder = E_IF_init();
    std::vector<std::uint8_t> out(kMagicOctets);
    for (std::size_t i = 0; i + kSamples <= pcm.size(); i += kSamples) {
        Qol16s in[kSamples];
        for (int k = 0; k < kSamples; ++k) {
            in[k] = static_cast<Qol16s>(pcm[i + k] & -4);
        }
        unsigned char octets[64];
        const int count = E_IF_encode(encoder, mode, in, octets, dtx ? 1 : 0);
        out.insert(out.end(), octets, octets + count);
    }
    E_IF_exit(encoder);
    std::copy_n("#!AMR-WB\n", kMagicOctets, out.begin());
    return out;
}

TEST(AmrWbPeers, IndependentEncoderMakesTheSameFrames) {
    const auto pcm = readWords("amrwb/sequences/speech.inp");
    for (int mode = 0; mode < 9; ++mode) {
        const Codec& codec = *tools::findCodec(kNames[mode]);
        const auto theirs = encodeByPeer(mode, pcm, false);
        const auto ours = encodeAll(codec, pcm, "file");
        // That encoder leaves the standard now and then at the two lowest rates.
        if (mode >= 2) {
            EXPECT_EQ(firstDifference(ours, theirs), -1) << kNames[mode];
        }
        const auto decoded = decodeAll(codec, theirs, "file");
        ASSERT_EQ(decoded.size(), pcm.size());
#ifdef QOLSC_HAVE_OPENCORE_AMRWB
        EXPECT_EQ(firstDifference(decoded, decodeByPeer(codec, theirs)), -1) << kNames[mode];
#endif
    }
}

TEST(AmrWbPeers, IndependentEncoderPausesAlike) {
    const auto pcm = speechWithPause();
    // At 23.85 kbit/s that encoder takes another high-band gain in the hangover.
    for (int mode = 0; mode < 8; ++mode) {
        const Codec& codec = *tools::findCodec(kNames[mode]);
        EXPECT_EQ(firstDifference(encodeAll(codec, pcm, "file", withDtx()),
                                  encodeByPeer(mode, pcm, true)),
                  -1)
            << kNames[mode];
    }
}
#endif

} // namespace
