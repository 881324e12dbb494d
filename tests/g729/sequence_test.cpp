// SPDX-License-Identifier: Apache-2.0
// The decoders of G.729, and the encoders of its Annexes D and E, on the ITU-T test sequences, bit
// for bit: erasures, parity errors, overflows, noise frames and changes of the rate included.
#include "codecs/g729/decoder.h"
#include "codecs/g729/encoder_e.h"
#include "codecs/g729a/decoder.h"
#include "codecs/streams.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace qolsc::test {
namespace {

using namespace qolsc::tools;

struct Decoders {
    void* (*open)(const Codec&, const CodecSettings&);
    void (*close)(void*);
    int (*decode)(void*, const Frame&, std::int16_t*);
};
constexpr Decoders kMain{g729::openDecoder, g729::closeDecoder, g729::decode};
constexpr Decoders kAnnexA{g729a::openDecoder, g729a::closeDecoder, g729a::decode};

struct Sequence {
    const char* bits;
    const char* output;
    const Decoders* decoders;
};

std::vector<Frame> readFrames(const char* name) {
    const std::vector<std::uint8_t> stream = readBytes(std::string("g729/sequences/") + name);
    std::span<const std::uint8_t> rest(stream);
    std::vector<Frame> frames;
    for (;;) {
        Frame frame;
        const std::ptrdiff_t taken = readSerial(rest, frame);
        EXPECT_GE(taken, 0) << name;
        if (taken <= 0) {
            return frames;
        }
        frames.push_back(frame);
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
}

std::vector<Qol16s> decodeAll(const Decoders& decoders, const std::vector<Frame>& frames) {
    const std::unique_ptr<void, void (*)(void*)> decoder(decoders.open(Codec{}, CodecSettings{}),
                                                         decoders.close);
    std::vector<Qol16s> pcm(frames.size() * 80);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(decoders.decode(decoder.get(), frames[i], pcm.data() + 80 * i), 80);
    }
    return pcm;
}

class G729Decoder : public testing::TestWithParam<Sequence> {};

TEST_P(G729Decoder, GivesTheSequence) {
    const std::vector<Qol16s> got = decodeAll(*GetParam().decoders, readFrames(GetParam().bits)),
                              want = readWords(std::string("g729/sequences/") + GetParam().output);
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(got[i], want[i]) << "frame " << i / 80 << ", sample " << i % 80;
    }
}

std::string nameOf(const testing::TestParamInfo<Sequence>& info) {
    std::string name = info.param.output;
    for (char& c : name) {
        c = c == '.' ? '_' : c;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, G729Decoder,
    testing::Values(Sequence{"main_algthm.bit", "main_algthm.pst", &kMain},
                    Sequence{"main_fixed.bit", "main_fixed.pst", &kMain},
                    Sequence{"main_lsp.bit", "main_lsp.pst", &kMain},
                    Sequence{"main_tame.bit", "main_tame.pst", &kMain},
                    Sequence{"main_erasure.bit", "main_erasure.pst", &kMain},
                    Sequence{"annexa_fixed.bit", "annexa_fixed.pst", &kAnnexA},
                    Sequence{"annexa_pitch.bit", "annexa_pitch.pst", &kAnnexA},
                    Sequence{"annexa_test.bit", "annexa_test.pst", &kAnnexA},
                    Sequence{"annexa_overflow.bit", "annexa_overflow.pst", &kAnnexA},
                    Sequence{"annexa_parity.bit", "annexa_parity.pst", &kAnnexA},
                    Sequence{"annexb_tstseq1.bit", "annexb_tstseq1.out", &kMain},
                    Sequence{"annexb_tstseq3a.bit", "annexb_tstseq3a.out", &kAnnexA},
                    Sequence{"annexb_tstseq5.bit", "annexb_tstseq5.out", &kMain},
                    Sequence{"annexb_tstseq5.bit", "annexb_tstseq5a.out", &kAnnexA},
                    Sequence{"annexd_testmid.1", "annexd_testout.1", &kMain},
                    Sequence{"annexe_algthme.bit", "annexe_algthme.pst", &kMain},
                    Sequence{"annexe_fixed35.bit", "annexe_fixed35.pst", &kMain},
                    Sequence{"annexe_switch.bit", "annexe_switch.pst", &kMain},
                    Sequence{"annexe_erasuree.bit", "annexe_erasuree.pst", &kMain},
                    Sequence{"annexi_dm19.b10", "annexi_dm19.o10", &kMain},
                    Sequence{"annexi_dm19.b12", "annexi_dm19.o12", &kMain}),
    nameOf);

// A stream that changes its rate passes through the main record's serial form as well.
TEST(G729DecoderRecord, TakesAllRatesInOneStream) {
    const Codec& codec = *findCodec("g729");
    const std::vector<std::uint8_t> stream = readBytes("g729/sequences/annexe_switch.bit");
    std::span<const std::uint8_t> rest(stream);
    const StreamForm& form = *findForm(codec, "serial");
    std::vector<Frame> frames;
    for (Frame frame; !rest.empty(); frames.push_back(frame)) {
        const std::ptrdiff_t taken = form.readFrame(codec, rest, frame);
        ASSERT_GT(taken, 0);
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
    EXPECT_EQ(decodeAll({codec.openDecoder, codec.closeDecoder, codec.decode}, frames),
              readWords("g729/sequences/annexe_switch.pst"));
}

// ---- encoders of Annexes D and E ----

/// Encodes the first frames of an input; the rate file tells frames of 8 kbit/s by a 0.
std::vector<Frame> encodeInput(const char* codecName, const char* input, std::size_t count,
                               const std::vector<Qol16s>& rates = {}) {
    const Codec& codec = *findCodec(codecName);
    const std::unique_ptr<void, void (*)(void*)> encoder(codec.openEncoder(codec, {}),
                                                         codec.closeEncoder);
    const std::vector<Qol16s> pcm = readWords(std::string("g729/sequences/") + input);
    std::vector<Frame> frames(count);
    for (std::size_t i = 0; i < count; ++i) {
        const bool low = i < rates.size() && rates[i] == 0;
        (low ? g729e::encode8000 : codec.encode)(encoder.get(), pcm.data() + 80 * i, 80, frames[i]);
    }
    return frames;
}

void expectFrames(const std::vector<Frame>& got, const std::vector<Frame>& want) {
    ASSERT_LE(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(got[i].bits, want[i].bits) << "frame " << i;
        ASSERT_EQ(got[i].payload, want[i].payload) << "frame " << i;
    }
}

TEST(G729Encoder, GivesTheSequenceOfAnnexD) {
    expectFrames(encodeInput("g729-6.4", "annexd_testfile.raw", 1176),
                 readFrames("annexd_testmid.1"));
}

TEST(G729Encoder, GivesTheSequencesOfAnnexE) {
    expectFrames(encodeInput("g729-11.8", "annexe_algthme.118", 30),
                 readFrames("annexe_algthme.bit"));
    expectFrames(encodeInput("g729-11.8", "annexe_fixed35.118", 507),
                 readFrames("annexe_fixed35.bit"));
}

// The statistics behind the choice of the mode are known by this sequence only: five runs of
// backward frames between changes of the rate.
TEST(G729Encoder, FollowsTheSequenceOfChangingRates) {
    expectFrames(encodeInput("g729-11.8", "annexe_switch.xxx", 886,
                             readWords("g729/sequences/annexe_switch")),
                 readFrames("annexe_switch.bit"));
}

// A stream may be anything: whatever the bits, frames come out, one of 80 samples for each.
TEST(G729DecoderRobustness, TakesRandomFrames) {
    Random random;
    std::vector<Frame> frames(4000);
    constexpr int kSizes[] = {0, 15, 16, 64, 80, 118};
    for (Frame& frame : frames) {
        frame.bits = kSizes[uniform(random, 0, 5)];
        frame.payload.resize(static_cast<std::size_t>(frame.bits + 7) / 8);
        for (std::uint8_t& octet : frame.payload) {
            octet = static_cast<std::uint8_t>(uniform(random, 0, 255));
        }
        frame.kind = uniform(random, 0, 9) == 0 ? FrameKind::lost
                     : frame.bits == 0          ? FrameKind::noData
                                                : FrameKind::speech;
    }
    decodeAll(kMain, frames);
    decodeAll(kAnnexA, frames);
}

// A first SID that was lost: the level comes from the energy of the speech before.
TEST(G729DecoderRobustness, ContinuesAsNoiseWhenTheFirstSidIsLost) {
    std::vector<Frame> frames = readFrames("annexb_tstseq1.bit");
    std::size_t first = 0;
    while (frames[first].bits != 16 || first == 0 || frames[first - 1].bits != 80) {
        ++first;
    }
    frames.resize(first);
    for (int i = 0; i < 30; ++i) {
        Frame silent;
        silent.kind = FrameKind::noData;
        frames.push_back(silent);
    }
    const std::vector<Qol16s> pcm = decodeAll(kMain, frames);
    double speech = 0, noise = 0;
    for (std::size_t i = 0; i < 80; ++i) {
        speech += std::pow(pcm[(first - 1) * 80 + i], 2);
        noise += std::pow(pcm[(first + 20) * 80 + i], 2);
    }
    EXPECT_GT(noise, speech / 100);
    EXPECT_LT(noise, speech * 100);
}

} // namespace
} // namespace qolsc::test
