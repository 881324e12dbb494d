// SPDX-License-Identifier: Apache-2.0
// The assembled AMR-WB codec on test sequences (3GPP TS 26.174 and streams with errors), bit for
// bit, and its storage format.
#include "codecs/amrwb/frame.h"
#include "codecs/codec.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using namespace qolsc;
using tools::Codec;
using tools::Frame;
using tools::FrameKind;
using tools::StreamForm;

constexpr int kSamples = 320;

const StreamForm& formOf(const Codec& codec, const std::string& name) {
    for (const StreamForm* form : codec.forms) {
        if (name == form->name) {
            return *form;
        }
    }
    ADD_FAILURE() << "no form " << name;
    return *codec.forms[0];
}

std::vector<std::uint8_t> encodeAll(const Codec& codec, const std::vector<Qol16s>& pcm, bool dtx,
                                    const StreamForm& form) {
    tools::CodecSettings settings;
    settings.dtx = dtx;
    void* encoder = codec.openEncoder(codec, settings);
    std::vector<std::uint8_t> out;
    if (form.writeHeader != nullptr) {
        form.writeHeader(codec, out);
    }
    for (std::size_t i = 0; i + kSamples <= pcm.size(); i += kSamples) {
        Frame frame;
        codec.encode(encoder, pcm.data() + i, kSamples, frame);
        form.writeFrame(codec, frame, out);
    }
    codec.closeEncoder(encoder);
    return out;
}

std::vector<Qol16s> decodeAll(const Codec& codec, std::span<const std::uint8_t> stream,
                              const StreamForm& form) {
    void* decoder = codec.openDecoder(codec, {});
    std::vector<Qol16s> pcm;
    if (form.readHeader != nullptr) {
        const std::ptrdiff_t header = form.readHeader(codec, stream);
        EXPECT_GT(header, 0);
        stream = stream.subspan(static_cast<std::size_t>(header));
    }
    for (Frame frame;;) {
        const std::ptrdiff_t taken = form.readFrame(codec, stream, frame);
        EXPECT_GE(taken, 0) << "malformed";
        if (taken <= 0) {
            break;
        }
        stream = stream.subspan(static_cast<std::size_t>(taken));
        Qol16s out[kSamples];
        EXPECT_EQ(codec.decode(decoder, frame, out), kSamples);
        pcm.insert(pcm.end(), out, out + kSamples);
    }
    codec.closeDecoder(decoder);
    return pcm;
}

/// First difference, -1 for none.
template <typename T>
std::ptrdiff_t firstDifference(const std::vector<T>& a, const std::vector<T>& b) {
    const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return x == a.end() && y == b.end() ? -1 : x - a.begin();
}

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

class AmrWbSequence : public testing::TestWithParam<Sequence> {};

TEST_P(AmrWbSequence, EncoderIsBitExact) {
    const Sequence& s = GetParam();
    if (s.input == nullptr) {
        GTEST_SKIP() << "a stream with errors";
    }
    const Codec& codec = *tools::findCodec(s.codec);
    const auto expected = test::readBytes(std::string("amrwb/sequences/") + s.name + ".cod");
    const auto stream = encodeAll(codec, test::readWords(std::string("amrwb/sequences/") + s.input),
                                  s.dtx, formOf(codec, "serial"));
    EXPECT_EQ(firstDifference(stream, expected), -1);
}

TEST_P(AmrWbSequence, DecoderIsBitExact) {
    const Sequence& s = GetParam();
    const Codec& codec = *tools::findCodec(s.codec);
    const auto stream = test::readBytes(std::string("amrwb/sequences/") + s.name + ".cod");
    const auto expected = test::readWords(std::string("amrwb/sequences/") + s.name + ".out");
    const auto pcm = decodeAll(codec, stream, formOf(codec, "serial"));
    const std::ptrdiff_t at = firstDifference(pcm, expected);
    EXPECT_EQ(at, -1) << "frame " << at / kSamples << " sample " << at % kSamples;
}

INSTANTIATE_TEST_SUITE_P(All, AmrWbSequence, testing::ValuesIn(kSequences),
                         [](const auto& s) { return std::string(s.param.name); });

} // namespace
