// SPDX-License-Identifier: Apache-2.0
// G.722.1: reference streams through the codec, the vector DCT and quantiser against the plain
// ones, the lapped transform's round trip.
#include "codecs/bits.h"
#include "codecs/codec.h"
#include "kit/data.h"
#include "qolsc.h"
#include "tables/g7221.h"
#include "waveform/g7221dct.h"
#include "waveform/pshuffenc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

using namespace qolsc::test;
using qolsc::tools::Codec;
using qolsc::tools::Frame;

namespace {

using Words = std::vector<Qol16s>;
const std::string kDir = "waveform/sequences/g7221/";

Words signalOf(Random& r, int kind, int len) {
    return kind == 0 ? extremes16(r, len) : noise16(r, len, 1 << (kind * 2 % 15));
}

TEST(G7221, vectorDctEqualsPlainOne) {
    Random r;
    for (int turn = 0; turn < 120; ++turn) {
        for (const int len : {qolsc::kDctShort, qolsc::kDctLong}) {
            const Words in = signalOf(r, turn % 8, len);
            for (const bool inverse : {false, true}) {
                auto out = guarded<Qol16s>(static_cast<std::size_t>(len), turn % 7);
                Words plain(in.size());
                ASSERT_EQ((inverse ? qolsDCTInv_G7221_16s : qolsDCTFwd_G7221_16s)(in.data(),
                                                                                  out.data, len),
                          0);
                (inverse ? qolsc::dctInvPlain : qolsc::dctFwdPlain)(in.data(), plain.data(), len);
                ASSERT_EQ(values(out), plain) << turn << " " << len << inverse;
                ASSERT_TRUE(intact(out));
            }
        }
    }
}

/// Every length's transform gives the signal back one frame late.
TEST(G7221, lappedTransformRoundTrip) {
    const Words speech = readWords(kDir + "speech14k_32.pcm");
    for (const std::size_t len : {std::size_t{320}, std::size_t{640}}) {
        Words history(len), overlap(len / 2), before(len);
        double signal = 0, error = 0;
        for (std::size_t i = 0; i + len <= speech.size(); i += len) {
            Words x(len), y(len), out(len);
            const auto n = static_cast<Qol32s>(len);
            qolsDecomposeMLTToDCT_G7221_16s(&speech[i], history.data(), x.data(), n);
            qolsDCTFwd_G7221_16s(x.data(), y.data(), n);
            qolsDCTInv_G7221_16s(y.data(), x.data(), n);
            qolsDecomposeDCTToMLT_G7221_16s(x.data(), overlap.data(), out.data(), n);
            for (std::size_t k = 0; k < len; ++k) {
                const double e = out[k] - before[k];
                signal += double{1} * before[k] * before[k];
                error += e * e;
            }
            before.assign(speech.begin() + static_cast<std::ptrdiff_t>(i),
                          speech.begin() + static_cast<std::ptrdiff_t>(i + len));
        }
        EXPECT_GT(10 * std::log10(signal / error), 25) << len;
    }
}

TEST(G7221, vectorQuantiserEqualsDefinition) {
    Random r;
    for (int turn = 0; turn < 4000; ++turn) {
        const int category = static_cast<int>(uniform(r, 0, 6));
        const int index = static_cast<int>(uniform(r, 0, 63));
        const Words x = signalOf(r, turn % 8, qolsc::kRegion);
        const qolsc::HuffmanStep step = qolsc::huffmanStep(category, index);
        const Qol16s top = qolsc::tables::cnstMaxBin_G722[category];
        Qol16s bins[qolsc::kRegion];
        qolsc::quantiseRegion(x.data(), step, top, bins);
        for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_EQ(bins[i], std::min(qolsc::ownPreHuffman_16s(x[i], step), top));
        }
    }
}

TEST(G7221, packerFillsWordsAndNoMore) {
    Random r;
    for (int turn = 0; turn < 500; ++turn) {
        const Words x = noise16(r, qolsc::kRegion, 1 << (turn % 15));
        auto code = guarded<Qol32u>(10);
        Qol32s bits = 0;
        ASSERT_EQ(qolsHuffmanEncode_G722_16s32u(turn % 7, 24, x.data(), code.data, &bits), 0);
        ASSERT_LE(bits, 320);
        const auto used = static_cast<std::size_t>(bits + 31) / 32;
        ASSERT_TRUE(intact(code));
        if (used < 10) {
            ASSERT_EQ(code.data[used], 0x5A5A5A5Au) << "untouched";
        }
        if (bits % 32 != 0) {
            ASSERT_EQ(code.data[used - 1] << (bits % 32), 0u) << "rest of the last word";
        }
    }
    const Words silence(qolsc::kRegion, 0);
    Qol32u code[10] = {};
    Qol32s bits = 0;
    qolsHuffmanEncode_G722_16s32u(0, 63, silence.data(), code, &bits);
    EXPECT_EQ(bits, 10 * qolsc::tables::cnstMltSqvhBitcountCtg0_G722[0]);
}

struct Stream {
    const char* codec;
    const char* file;
};

class G7221Stream : public testing::TestWithParam<Stream> {};

TEST_P(G7221Stream, equalsTheReferenceBitForBit) {
    const Codec& codec = *qolsc::tools::findCodec(GetParam().codec);
    const std::string file = kDir + GetParam().file;
    const Words pcm = readWords(file + ".pcm"), bits = readWords(file + ".bits");
    const Words expected = readWords(file + ".out");
    std::unique_ptr<void, void (*)(void*)> encoder(codec.openEncoder(codec, {}),
                                                   codec.closeEncoder);
    std::unique_ptr<void, void (*)(void*)> decoder(codec.openDecoder(codec, {}),
                                                   codec.closeDecoder);
    const auto n = static_cast<std::size_t>(codec.frameSamples);
    const auto words = static_cast<std::size_t>(codec.frameBits) / 16;
    ASSERT_EQ(pcm.size() / n, bits.size() / words);
    Words out(n);
    for (std::size_t k = 0; k < pcm.size() / n; ++k) {
        Frame frame;
        codec.encode(encoder.get(), &pcm[k * n], codec.frameSamples, frame);
        ASSERT_EQ(frame.bits, codec.frameBits);
        int position = 0;
        for (std::size_t w = 0; w < words; ++w) {
            ASSERT_EQ(static_cast<Qol16s>(takeBits(frame, position, 16)), bits[k * words + w])
                << "frame " << k << " word " << w;
        }
        ASSERT_EQ(codec.decode(decoder.get(), frame, out.data()), codec.frameSamples);
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_EQ(out[i], expected[k * n + i]) << "frame " << k << " sample " << i;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(All, G7221Stream,
                         testing::Values(Stream{"g7221-24", "speech7k_24"},
                                         Stream{"g7221-32", "speech7k_32"},
                                         Stream{"g7221c-32", "speech14k_32"}),
                         [](const auto& i) { return std::string(i.param.file); });

/// Any bits decode to something, and a lost frame repeats, a second one is silent.
TEST(G7221, damagedAndLostFrames) {
    Random r;
    for (const char* name : {"g7221-24", "g7221-32", "g7221c-24", "g7221c-48"}) {
        const Codec& codec = *qolsc::tools::findCodec(name);
        std::unique_ptr<void, void (*)(void*)> decoder(codec.openDecoder(codec, {}),
                                                       codec.closeDecoder);
        Words out(static_cast<std::size_t>(codec.frameSamples));
        for (int k = 0; k < 3000; ++k) {
            Frame frame;
            while (frame.bits < codec.frameBits) {
                putBits(frame, static_cast<std::uint32_t>(next(r)), 1);
            }
            codec.decode(decoder.get(), frame, out.data());
        }
        for (int k = 0; k < 3; ++k) {
            Frame frame;
            frame.bits = codec.frameBits;
            frame.kind = qolsc::tools::FrameKind::lost;
            codec.decode(decoder.get(), frame, out.data());
        }
        // The inverse DCT's dither and bias are all that is left.
        for (const Qol16s x : out) {
            ASSERT_LE(std::abs(x), 32) << name;
        }
    }
}

} // namespace
