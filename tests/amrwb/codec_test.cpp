// SPDX-License-Identifier: Apache-2.0
// The assembled AMR-WB codec on test sequences (3GPP TS 26.174 and streams with errors), bit for
// bit, and its storage format.
#include "amrwb/streams.h"

namespace {

using namespace qolsc;
using namespace qolsc::test;
using tools::Codec;

struct Sequence {
    const char* codec;
    const char* input; // null: the stream is only decoded
    const char* name;
    bool dtx;
};

const Sequence kSequences[] = {
    {"amrwb-6.60", "tst.inp", "tst_m0", true},  {"amrwb-12.65", "tst.inp", "tst_m2", true},
    {"amrwb-15.85", "tst.inp", "tst_m4", true}, {"amrwb-19.85", "tst.inp", "tst_m6", true},
    {"amrwb-23.85", "tst.inp", "tst_m8", true}, {"amrwb-18.25", "speech.inp", "speech_m5d", true},
    {"amrwb-6.60", nullptr, "err_m0", false},   {"amrwb-12.65", nullptr, "err_m2", false},
};

class AmrWbEncoded : public testing::TestWithParam<Sequence> {};
class AmrWbDecoded : public testing::TestWithParam<Sequence> {};

TEST_P(AmrWbEncoded, EncoderIsBitExact) {
    const Sequence& s = GetParam();
    const Codec& codec = *tools::findCodec(s.codec);
    const auto expected = test::readBytes(std::string("amrwb/sequences/") + s.name + ".cod");
    const auto stream = encodeAll(codec, test::readWords(std::string("amrwb/sequences/") + s.input),
                                  "serial", withDtx(s.dtx));
    EXPECT_EQ(firstDifference(stream, expected), -1);
}

TEST_P(AmrWbDecoded, DecoderIsBitExact) {
    const Sequence& s = GetParam();
    const Codec& codec = *tools::findCodec(s.codec);
    const auto stream = test::readBytes(std::string("amrwb/sequences/") + s.name + ".cod");
    const auto expected = test::readWords(std::string("amrwb/sequences/") + s.name + ".out");
    const auto pcm = decodeAll(codec, stream, "serial");
    const std::ptrdiff_t at = firstDifference(pcm, expected);
    EXPECT_EQ(at, -1) << "frame " << at / kSamples << " sample " << at % kSamples;
}

std::string nameOf(const testing::TestParamInfo<Sequence>& info) { return info.param.name; }
// The last two are streams with errors, which no encoder makes.
INSTANTIATE_TEST_SUITE_P(All, AmrWbEncoded,
                         testing::ValuesIn(std::begin(kSequences), std::end(kSequences) - 2),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(All, AmrWbDecoded, testing::ValuesIn(kSequences), nameOf);

TEST(AmrWbFile, CarriesWhatTheSerialFormCarries) {
    const auto pcm = speechWithPause();
    for (const char* name : {"amrwb-6.60", "amrwb-14.25", "amrwb-23.85"}) {
        const Codec& codec = *tools::findCodec(name);
        for (const bool dtx : {false, true}) {
            const auto file = encodeAll(codec, pcm, "file", withDtx(dtx));
            const auto serial = encodeAll(codec, pcm, "serial", withDtx(dtx));
            ASSERT_EQ(std::string(file.begin(), file.begin() + 9), "#!AMR-WB\n");
            const auto fromFile = decodeAll(codec, file, "file");
            EXPECT_EQ(firstDifference(fromFile, decodeAll(codec, serial, "serial")), -1) << name;
            ASSERT_EQ(fromFile.size(), pcm.size());
            if (dtx) { // the pause is nearly free
                EXPECT_LT(file.size(), encodeAll(codec, pcm, "file").size() * 3 / 4) << name;
            }
        }
    }
}

TEST(AmrWbFile, DecoderFollowsTheModeOfEachFrame) {
    const auto pcm = readWords("amrwb/sequences/speech.inp");
    const Codec& low = *tools::findCodec("amrwb-6.60");
    const Codec& high = *tools::findCodec("amrwb-23.85");
    const auto stream = encodeAll(high, pcm, "file");
    EXPECT_EQ(decodeAll(low, stream, "file"), decodeAll(high, stream, "file"));
}

TEST(AmrWbFile, MalformedOctetsAreRefused) {
    const Codec& codec = *tools::findCodec("amrwb-12.65");
    const tools::StreamForm& form = formOf(codec, "file");
    tools::Frame frame;
    const std::vector<std::uint8_t> reserved(64, 10 << 3 | 4), truncated{2 << 3 | 4, 1, 2},
        header{'#', '!', 'A', 'M', 'R', '\n'};
    EXPECT_EQ(form.readFrame(codec, reserved, frame), -1);
    EXPECT_EQ(form.readFrame(codec, truncated, frame), -1);
    EXPECT_EQ(form.readHeader(codec, header), -1);
    EXPECT_EQ(form.readFrame(codec, {}, frame), 0);
}

TEST(AmrWbDecoder, AnyFrameIsSafe) {
    const auto pcm = readWords("amrwb/sequences/speech.inp");
    Random r;
    for (const char* name : kNames) {
        takesAnyFrame(*tools::findCodec(name), pcm, r);
    }
}

TEST(AmrWbDecoder, LongLossFadesAway) {
    const auto pcm = readWords("amrwb/sequences/speech.inp");
    const Codec& codec = *tools::findCodec("amrwb-12.65");
    void* encoder = codec.openEncoder(codec, {});
    void* decoder = codec.openDecoder(codec, {});
    tools::Frame frame;
    Qol16s out[kSamples];
    double energy = 0;
    for (int n = 0; n < 140; ++n) {
        codec.encode(encoder, pcm.data() + n * kSamples, kSamples, frame);
        if (n >= 100) {
            tools::eraseFrame(frame);
        }
        codec.decode(decoder, frame, out);
        energy = 0;
        for (const Qol16s x : out) {
            energy += x * x;
        }
    }
    EXPECT_LT(energy / kSamples, 100);
    codec.closeEncoder(encoder);
    codec.closeDecoder(decoder);
}

} // namespace
