// SPDX-License-Identifier: Apache-2.0
// The assembled GSM full-rate codec on the standard's sequences and on speech, and against libgsm
// where it is installed.
#include "codecs/gsmfr/gsmfr.h"
#include "kit/streams.h"

#ifdef QOLSC_HAVE_GSM
#include <gsm.h>
#endif

namespace qolsc::test {
namespace {

using tools::Codec;
using tools::Frame;
using tools::StreamForm;

constexpr int kFrame = 160;

const Codec& gsmfr() { return *tools::findCodec("gsmfr"); }

TEST(GsmFullRate, StandardSequenceIsReproduced) {
    const auto coded = readBytes("gsm/sequences/Seq01.cod");
    EXPECT_EQ(encodeAll(gsmfr(), readWords("gsm/sequences/Seq01.inp"), "words"), coded);
    EXPECT_EQ(decodeAll(gsmfr(), coded, "words"), readWords("gsm/sequences/Seq01.out"));
}

TEST(GsmFullRate, DecoderSequenceWithOddParameters) {
    EXPECT_EQ(decodeAll(gsmfr(), readBytes("gsm/sequences/Seq05.cod"), "words"),
              readWords("gsm/sequences/Seq05.out"));
}

TEST(GsmFullRate, SpeechInFramesOf33Octets) {
    const auto coded = readBytes("gsm/sequences/speech_a.gsm");
    EXPECT_EQ(encodeAll(gsmfr(), readWords("gsm/sequences/speech_a.inp"), "packed"), coded);
    EXPECT_EQ(decodeAll(gsmfr(), coded, "packed"), readWords("gsm/sequences/speech_a_gsmfr.out"));
}

TEST(GsmFullRate, FormsRefuseWhatIsNoFrame) {
    const Codec& codec = gsmfr();
    const StreamForm& packed = formOf(codec, "packed");
    const StreamForm& words = formOf(codec, "words");
    Frame frame;
    std::vector<std::uint8_t> octets(33, 0xC5);
    EXPECT_EQ(packed.readFrame(codec, octets, frame), -1) << "another signature";
    octets[0] = 0xD5;
    EXPECT_EQ(packed.readFrame(codec, octets, frame), 33);
    octets.pop_back();
    EXPECT_EQ(packed.readFrame(codec, octets, frame), -1) << "cut short";
    auto parameters = readBytes("gsm/sequences/Seq05.cod");
    parameters[0] = 64; // LARc 1 has six bits
    EXPECT_EQ(words.readFrame(codec, parameters, frame), -1);
}

TEST(GsmFullRate, LostFramesFadeOut) {
    const Codec& codec = gsmfr();
    const auto coded = readBytes("gsm/sequences/speech_a.gsm");
    void* decoder = codec.openDecoder(codec, {});
    Frame frame;
    std::array<Qol16s, kFrame> pcm{};
    const StreamForm& packed = formOf(codec, "packed");
    std::span<const std::uint8_t> rest(coded);
    for (int n = 0; n < 40; ++n) {
        rest = rest.subspan(static_cast<std::size_t>(packed.readFrame(codec, rest, frame)));
        codec.decode(decoder, frame, pcm.data());
    }
    const auto energy = [&] {
        double e = 0;
        for (const Qol16s x : pcm) {
            e += double{1} * x * x;
        }
        return e;
    };
    const double before = energy();
    frame.kind = tools::FrameKind::lost;
    for (int n = 0; n < 30; ++n) {
        codec.decode(decoder, frame, pcm.data());
    }
    EXPECT_LT(energy(), before / 1000);
    codec.closeDecoder(decoder);
}

#ifdef QOLSC_HAVE_GSM
// The peer codes 13-bit samples, left-justified, as we do; loud noise reaches its saturations.
void compareWithPeer(std::vector<Qol16s> pcm) {
    pcm.resize(pcm.size() / kFrame * kFrame);
    const auto coded = encodeAll(gsmfr(), pcm, "packed");
    const auto decoded = decodeAll(gsmfr(), coded, "packed");
    gsm encoder = gsm_create(), decoder = gsm_create();
    for (std::size_t n = 0; n < pcm.size() / kFrame; ++n) {
        gsm_frame frame;
        gsm_encode(encoder, pcm.data() + n * kFrame, frame);
        ASSERT_EQ(std::memcmp(frame, coded.data() + n * 33, 33), 0) << "frame " << n;
        std::array<Qol16s, kFrame> out;
        gsm_decode(decoder, frame, out.data());
        ASSERT_EQ(std::memcmp(out.data(), decoded.data() + n * kFrame, sizeof out), 0)
            << "frame " << n;
    }
    gsm_destroy(encoder);
    gsm_destroy(decoder);
}

TEST(GsmFullRate, EqualsLibgsmOnSpeech) {
    compareWithPeer(readWords("gsm/sequences/speech_a.inp"));
    compareWithPeer(readWords("gsm/sequences/Seq01.inp"));
}

TEST(GsmFullRate, EqualsLibgsmOnNoiseOfEveryLevel) {
    Random r;
    std::vector<Qol16s> pcm;
    for (int level = 1; level < 32768; level *= 2) {
        const auto part = noise16(r, 10 * kFrame, level);
        pcm.insert(pcm.end(), part.begin(), part.end());
    }
    compareWithPeer(pcm);
}
#endif

} // namespace
} // namespace qolsc::test
