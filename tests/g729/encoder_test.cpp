// SPDX-License-Identifier: Apache-2.0
// The encoders of G.729 on the ITU-T test sequences, bit for bit, and their codes.
#include "codecs/g729/bits.h"
#include "codecs/g729/encoder.h"
#include "codecs/g729a/encoder.h"
#include "codecs/streams.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace qolsc::test {
namespace {

using namespace qolsc::tools;

struct Encoders {
    void* (*open)(const Codec&, const CodecSettings&);
    void (*close)(void*);
    void (*encode)(void*, const std::int16_t*, int, Frame&);
};
constexpr Encoders kMain{g729::openEncoder, g729::closeEncoder, g729::encode};
constexpr Encoders kAnnexA{g729a::openEncoder, g729a::closeEncoder, g729a::encode};

struct Sequence {
    const char* name;
    const Encoders* encoders;
};

class G729Encoder : public testing::TestWithParam<Sequence> {};

TEST_P(G729Encoder, GivesTheBitStream) {
    const std::string path = std::string("g729/sequences/") + GetParam().name;
    const std::vector<Qol16s> pcm = readWords(path + ".in");
    const std::vector<std::uint8_t> want = readBytes(path + ".bit");
    const Encoders& encoders = *GetParam().encoders;
    const std::unique_ptr<void, void (*)(void*)> encoder(encoders.open(Codec{}, CodecSettings{}),
                                                         encoders.close);
    std::vector<std::uint8_t> got;
    for (std::size_t at = 0; at + 80 <= pcm.size(); at += 80) {
        Frame frame;
        encoders.encode(encoder.get(), pcm.data() + at, 80, frame);
        ASSERT_EQ(frame.bits, 80);
        writeSerial(frame, got);
    }
    ASSERT_EQ(got.size(), want.size());
    constexpr std::size_t kFrameBytes = 2 * (2 + 80);
    for (std::size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(got[i], want[i])
            << "frame " << i / kFrameBytes << ", word " << i % kFrameBytes / 2;
    }
}

// The encoders with Annex B, their decision on speech and pauses included.
struct PausedSequence {
    const char* codec;
    const char* input;
    const char* bits;
};

class G729EncoderWithPauses : public testing::TestWithParam<PausedSequence> {};

std::vector<Frame> encodePaused(const Codec& codec, const std::vector<Qol16s>& pcm) {
    CodecSettings settings;
    settings.dtx = true;
    const std::unique_ptr<void, void (*)(void*)> encoder(codec.openEncoder(codec, settings),
                                                         codec.closeEncoder);
    std::vector<Frame> frames(pcm.size() / 80);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        codec.encode(encoder.get(), pcm.data() + 80 * i, 80, frames[i]);
    }
    return frames;
}

TEST_P(G729EncoderWithPauses, GivesTheBitStream) {
    const auto& [name, input, bits] = GetParam();
    const Codec& codec = *findCodec(name);
    const std::vector<Frame> frames =
        encodePaused(codec, readWords(std::string("g729/sequences/") + input));
    const std::vector<std::uint8_t> want = readBytes(std::string("g729/sequences/") + bits);
    std::vector<std::uint8_t> got;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::size_t at = got.size();
        findForm(codec, "serial")->writeFrame(codec, frames[i], got);
        ASSERT_LE(got.size(), want.size());
        ASSERT_TRUE(std::equal(got.begin() + static_cast<std::ptrdiff_t>(at), got.end(),
                               want.begin() + static_cast<std::ptrdiff_t>(at)))
            << "frame " << i;
    }
    EXPECT_EQ(got.size(), want.size());
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, G729EncoderWithPauses,
    testing::Values(PausedSequence{"g729", "annexb_tstseq1.bin", "annexb_tstseq1.bit"},
                    PausedSequence{"g729a", "annexb_tstseq3.bin", "annexb_tstseq3a.bit"},
                    PausedSequence{"g729-6.4", "annexi_dm19.8k", "annexi_dm19.b10"}),
    [](const testing::TestParamInfo<PausedSequence>& info) {
        return std::string(info.param.input, info.param.input + 6) + "_" +
               std::to_string(info.index);
    });

// Speech between two seconds of faint noise on either side: it is sent whole, the noise costs SID
// frames only, at least three frames apart.
TEST(G729Pauses, CostNextToNothing) {
    Random random;
    std::vector<Qol16s> pcm = noise16(random, 16000, 20);
    const std::vector<Qol16s> speech = readWords("g729/sequences/annexd_testfile.raw");
    pcm.insert(pcm.begin() + 8000, speech.begin() + 8000, speech.begin() + 16000);
    const Codec& codec = *findCodec("g729a");
    const std::vector<Frame> frames = encodePaused(codec, pcm);
    int sent = 0, noise = 0, sids = 0, sinceSid = 3;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const Frame& frame = frames[i];
        const bool talking = i >= 100 && i < 200;
        if (frame.kind == FrameKind::speech) {
            sent += talking;
            EXPECT_EQ(frame.bits, 80);
            sinceSid = 3; // the first frame of a pause brings one whatever was before
            continue;
        }
        noise += !talking;
        EXPECT_EQ(frame.bits, frame.kind == FrameKind::sid ? 16 : 0);
        if (frame.kind == FrameKind::sid) {
            EXPECT_GE(sinceSid, 3) << "frame " << i;
            sids += !talking;
            sinceSid = 0;
        }
        ++sinceSid;
    }
    EXPECT_GE(sent, 80) << "of 100 frames of speech";
    EXPECT_GE(noise, 170) << "of 200 frames of noise";
    EXPECT_LE(sids, noise / 3);
}

std::string nameOf(const testing::TestParamInfo<Sequence>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Sequences, G729Encoder,
    testing::Values(Sequence{"main_algthm", &kMain}, Sequence{"main_fixed", &kMain},
                    Sequence{"main_lsp", &kMain}, Sequence{"main_tame", &kMain},
                    Sequence{"annexa_fixed", &kAnnexA}, Sequence{"annexa_pitch", &kAnnexA},
                    Sequence{"annexa_test", &kAnnexA}),
    nameOf);

// Full-scale noise and silence in turn: nothing to compare with, but no fault either.
TEST(G729EncoderRobustness, TakesAnySignal) {
    Random random;
    for (int n = 0; n < 4; ++n) {
        const Encoders& encoders = n < 2 ? kMain : kAnnexA;
        CodecSettings settings;
        settings.dtx = n % 2 != 0;
        void* encoder = encoders.open(Codec{}, settings);
        for (int i = 0; i < 300; ++i) {
            const std::vector<Qol16s> pcm = i % 7 == 0   ? std::vector<Qol16s>(80, 0)
                                            : i % 5 == 0 ? noise16(random, 80)
                                                         : extremes16(random, 80);
            Frame frame;
            encoders.encode(encoder, pcm.data(), 80, frame);
            EXPECT_TRUE(frame.bits == 80 ||
                        (settings.dtx && (frame.bits == 16 || frame.bits == 0)));
        }
        encoders.close(encoder);
    }
}

TEST(G729Bits, LagCodesReturn) {
    using namespace g729;
    for (int lag = 19; lag <= 143; ++lag) {
        for (int f = -1; f <= 1; ++f) {
            if ((lag == 19 && f < 1) || (lag == 85 && f > 0) || (lag > 85 && f != 0)) {
                continue;
            }
            const Lag back = decodeLag0(encodeLag0({lag, f}));
            EXPECT_EQ(back.integer, lag);
            EXPECT_EQ(back.fraction, f);
        }
        const int window = secondWindow(lag);
        for (int code = 0; code < 32; ++code) {
            EXPECT_EQ(encodeLag1(decodeLag1(code, window), window), code);
        }
    }
}

TEST(G729Bits, FramesReturn) {
    using namespace g729;
    Random random;
    for (int n = 0; n < 100; ++n) {
        Frame frame;
        frame.bits = 80;
        frame.payload.resize(10);
        for (std::uint8_t& octet : frame.payload) {
            octet = static_cast<std::uint8_t>(uniform(random, 0, 255));
        }
        Frame again;
        packFrame(unpackFrame(frame), again);
        EXPECT_EQ(again.payload, frame.payload);
    }
}

} // namespace
} // namespace qolsc::test
