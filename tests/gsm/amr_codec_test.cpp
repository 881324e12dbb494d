// SPDX-License-Identifier: Apache-2.0
// The assembled AMR codec on the standard's installation sequence, on speech and on synthetic
// signals, bit for bit; its storage format and its behaviour with damaged frames.
#include "codecs/amr/encoder.h"
#include "codecs/amr/streams.h"
#include "kit/streams.h"

#include <memory>
#include <numeric>

namespace qolsc::test {
namespace {

using tools::Codec;
using tools::Frame;
using tools::StreamForm;

constexpr int kFrame = 160;

struct Sequence {
    const char* codec;
    const char* input;
    const char* name;
    bool dtx;
};

const Sequence kSequences[] = {
    {"amr-4.75", "speech_a", "speech_a_rate0", false},
    {"amr-5.15", "speech_a", "speech_a_rate1", false},
    {"amr-5.90", "speech_a", "speech_a_rate3", false},
    {"amr-6.70", "speech_a", "speech_a_rate6", false},
    {"amr-7.40", "speech_a", "speech_a_rate7", false},
    {"amr-7.95", "speech_a", "speech_a_rate8", false},
    {"amr-10.2", "speech_a", "speech_a_rate11", false},
    {"amr-12.2", "speech_a", "speech_a_rate12", false},
    {"amr-4.75", "speech_a", "speech_a_rate0_dtx", true},
    {"amr-7.40", "speech_a", "speech_a_rate7_dtx", true},
    {"amr-10.2", "speech_a", "speech_a_rate11_dtx", true},
    {"amr-12.2", "speech_a", "speech_a_rate12_dtx", true},
    // Full-scale square waves among others, whose correlations saturate.
    {"amr-4.75", "synthetic_a", "synthetic_a_rate0_dtx", true},
    {"amr-10.2", "synthetic_a", "synthetic_a_rate11_dtx", true},
    {"amr-12.2", "synthetic_a", "synthetic_a_rate12_dtx", true},
};

class AmrSequence : public testing::TestWithParam<Sequence> {};

TEST_P(AmrSequence, IsBitExact) {
    const Sequence& s = GetParam();
    const Codec& codec = *tools::findCodec(s.codec);
    const std::string path = std::string("gsm/sequences/") + s.name;
    const auto coded = readBytes(path + ".amr");
    const auto pcm = readWords(std::string("gsm/sequences/") + s.input + ".inp");
    EXPECT_EQ(encodeAll(codec, pcm, "file", withDtx(s.dtx)), coded);
    EXPECT_EQ(decodeAll(codec, coded, "file"), readWords(path + ".out"));
}

INSTANTIATE_TEST_SUITE_P(All, AmrSequence, testing::ValuesIn(kSequences),
                         [](const auto& info) { return std::string(info.param.name); });

// The search for loud subframes is the library's where nothing saturates.
TEST(AmrCodec, BothPitchSearchesAgree) {
    using namespace tools::amr;
    Random r;
    for (int n = 0; n < 4000; ++n) {
        const int mode = n >> 2 & 7, level = 1 << uniform(r, 5, 10);
        auto past = noise16(r, kPastExcitation + kSubframe, level);
        if (n & 64) { // a period of its own
            for (std::size_t i = 60; i < past.size(); ++i) {
                past[i] = past[i - 37];
            }
        }
        auto other = past;
        Subframe a{};
        for (int i = 0; i < kSubframe; ++i) {
            a.impulse[i] = i ? static_cast<Qol16s>(uniform(r, -4096, 4096) >> i / 4) : Qol16s{4096};
            a.target[i] = past[static_cast<std::size_t>(kPastExcitation + i - 37)];
        }
        Subframe b = a;
        const Qol16s lags[2] = {static_cast<Qol16s>(uniform(r, 18, 143)),
                                static_cast<Qol16s>(uniform(r, 18, 143))};
        auto lagA = static_cast<Qol16s>(uniform(r, 18, 143));
        Qol16s lagB = lagA;
        ASSERT_EQ(searchAdaptive(mode, n & 3, lags, past.data(), lagA, a),
                  searchAdaptiveSaturating(mode, n & 3, lags, other.data(), lagB, b))
            << "mode " << mode << ", subframe " << (n & 3);
        ASSERT_EQ(lagA, lagB);
        ASSERT_EQ(past, other);
        ASSERT_TRUE(std::equal(a.adaptive, a.adaptive + kSubframe, b.adaptive));
    }
}

// The sums of the codec's glue against the standard's operators one by one.
TEST(AmrCodec, SumsSaturateWhereTheStandardsDo) {
    using namespace tools::amr;
    Random r;
    for (int n = 0; n < 3000; ++n) {
        const int level = (1 << uniform(r, 3, 15)) - 1, other = (1 << uniform(r, 3, 15)) - 1;
        const auto x = n % 9 == 0 ? extremes16(r, kSubframe) : noise16(r, kSubframe, level);
        const auto h = n % 7 == 0 ? extremes16(r, kSubframe) : noise16(r, kSubframe, other);
        Qol32s sum = 1;
        for (std::size_t i = 0; i < kSubframe; ++i) {
            sum = basop::L_mac(sum, x[i], h[i]);
        }
        ASSERT_EQ(macSum(1, x.data(), h.data(), kSubframe), sum);
        std::array<Qol16s, kSubframe> y;
        filtered(x.data(), h.data(), y.data());
        for (std::size_t i = 0; i < kSubframe; ++i) {
            sum = 0;
            for (std::size_t k = 0; k <= i; ++k) {
                sum = basop::L_mac(sum, x[k], h[i - k]);
            }
            ASSERT_EQ(y[i], basop::extract_h(basop::L_shl(sum, 3))) << i;
        }
    }
}

TEST(AmrCodec, RateMayChangeEveryFrame) {
    constexpr int kRates[14] = {7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6};
    const Codec& codec = *tools::findCodec("amr-12.2");
    const auto coded = readBytes("gsm/sequences/spch_dos.cod");
    const auto pcm = readWords("gsm/sequences/spch_dos.inp");
    const auto encoder = std::make_unique<tools::amr::Encoder>();
    tools::amr::reset(*encoder, 7, tools::amr::Detector::option1);
    std::vector<std::uint8_t> out;
    for (std::size_t n = 0; (n + 1) * kFrame <= pcm.size(); ++n) {
        encoder->mode = kRates[n % 14];
        Frame frame;
        tools::amr::encodeFrame(*encoder, pcm.data() + n * kFrame, frame);
        tools::amr::kSerialWords.writeFrame(codec, frame, out);
    }
    EXPECT_EQ(out, coded);
    EXPECT_EQ(decodeAll(codec, coded, "serial"), readWords("gsm/sequences/spch_dos.out"));
}

/// Speech, then faint noise long enough for comfort noise, then speech.
TEST(AmrCodec, BothDetectorsMakePausesCheap) {
    const auto speech = readWords("gsm/sequences/speech_a.inp");
    std::vector<Qol16s> pcm(speech.begin(), speech.begin() + 80 * kFrame);
    Random r;
    const auto pause = noise16(r, 200 * kFrame, 40);
    pcm.insert(pcm.end(), pause.begin(), pause.end());
    const Codec& codec = *tools::findCodec("amr-7.95");
    const std::size_t full = encodeAll(codec, pcm, "file").size();
    for (const char* detector : {"amr1", "amr2"}) {
        tools::CodecSettings settings = withDtx();
        settings.detector = detector;
        const auto coded = encodeAll(codec, pcm, "file", settings);
        EXPECT_LT(coded.size(), full * 2 / 3) << detector;
        EXPECT_EQ(decodeAll(codec, coded, "file").size(), pcm.size());
    }
    tools::CodecSettings unknown = withDtx();
    unknown.detector = "amrwb";
    EXPECT_EQ(codec.openEncoder(codec, unknown), nullptr);
}

// Frames marked bad carry bits, of which the lag and the code are still used.
TEST(AmrCodec, LongLossIsMutedAndSpeechComesBack) {
    const auto speech = readWords("gsm/sequences/speech_a.inp");
    const auto energyOf = [](const Qol16s* x) {
        return std::inner_product(x, x + kFrame, x, std::int64_t{0});
    };
    for (const Codec* codec : tools::allCodecs()) {
        if (std::string(codec->name).rfind("amr-", 0) != 0) {
            continue;
        }
        void* encoder = codec->openEncoder(*codec, {});
        void* decoder = codec->openDecoder(*codec, {});
        void* undisturbed = codec->openDecoder(*codec, {});
        Qol16s out[kFrame], good[kFrame];
        std::int64_t lost = 0, back = 0, wanted = 0;
        for (int n = 0; n < 200; ++n) {
            Frame frame;
            codec->encode(encoder, speech.data() + n * kFrame, kFrame, frame);
            codec->decode(undisturbed, frame, good);
            if (n >= 100 && n < 130) {
                frame.kind = tools::FrameKind::lost;
            }
            codec->decode(decoder, frame, out);
            if (n < 100) {
                ASSERT_TRUE(std::equal(out, out + kFrame, good)) << codec->name;
            } else if (n >= 110 && n < 130) {
                lost += energyOf(out);
            } else if (n >= 150) {
                back += energyOf(out);
                wanted += energyOf(good);
            }
        }
        EXPECT_LT(lost / 20, wanted / 50 / 1000) << codec->name;
        EXPECT_GT(back, wanted / 2) << codec->name;
        EXPECT_LT(back, wanted * 2) << codec->name;
        for (void* d : {decoder, undisturbed}) {
            codec->closeDecoder(d);
        }
        codec->closeEncoder(encoder);
    }
}

TEST(AmrDecoder, AnyFrameIsSafe) {
    const auto pcm = readWords("gsm/sequences/speech_a.inp");
    Random r;
    for (const Codec* codec : tools::allCodecs()) {
        if (std::string(codec->name).rfind("amr-", 0) == 0) {
            takesAnyFrame(*codec, pcm, r);
        }
    }
}

TEST(AmrFile, MalformedOctetsAreRefused) {
    const Codec& codec = *tools::findCodec("amr-5.90");
    const StreamForm& file = formOf(codec, "file");
    Frame frame;
    const std::vector<std::uint8_t> reserved(64, 10 << 3 | 4), truncated{2 << 3 | 4, 1, 2},
        wideband{'#', '!', 'A', 'M', 'R', '-', 'W', 'B', '\n'};
    EXPECT_EQ(file.readFrame(codec, reserved, frame), -1);
    EXPECT_EQ(file.readFrame(codec, truncated, frame), -1);
    EXPECT_EQ(file.readHeader(codec, wideband), -1);
    EXPECT_EQ(file.readFrame(codec, {}, frame), 0);
}

} // namespace
} // namespace qolsc::test
