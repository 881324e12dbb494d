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
    for (const Encoders& encoders : {kMain, kAnnexA}) {
        void* encoder = encoders.open(Codec{}, CodecSettings{});
        for (int i = 0; i < 300; ++i) {
            const std::vector<Qol16s> pcm = i % 7 == 0   ? std::vector<Qol16s>(80, 0)
                                            : i % 5 == 0 ? noise16(random, 80)
                                                         : extremes16(random, 80);
            Frame frame;
            encoders.encode(encoder, pcm.data(), 80, frame);
            EXPECT_EQ(frame.bits, 80);
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
