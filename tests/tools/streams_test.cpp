// SPDX-License-Identifier: Apache-2.0
// The shared coded forms: what is written comes back, what is cut or damaged is refused.
#include "codecs/bits.h"
#include "codecs/streams.h"
#include "kit/data.h"

#include <gtest/gtest.h>

namespace {

using namespace qolsc::tools;
using Octets = std::vector<std::uint8_t>;

Codec frameCodec(int frameBits) {
    Codec codec{};
    codec.name = "frames";
    codec.frameSamples = codec.granule = 80;
    codec.frameBits = frameBits;
    return codec;
}

Codec granularCodec(int codeBits) {
    Codec codec{};
    codec.name = "granules";
    codec.frameSamples = 160;
    codec.granule = 1;
    codec.frameBits = 160 * codeBits;
    return codec;
}

Frame randomFrame(qolsc::test::Random& r, int bits) {
    Frame frame;
    while (frame.bits < bits) {
        putBits(frame, static_cast<std::uint32_t>(qolsc::test::next(r)), 1);
    }
    return frame;
}

void expectEqual(const Frame& a, const Frame& b) {
    EXPECT_EQ(a.bits, b.bits);
    EXPECT_EQ(a.payload, b.payload);
    EXPECT_EQ(a.kind, b.kind);
}

void expectRoundTrip(const Codec& codec, const StreamForm& form, const std::vector<Frame>& frames) {
    Octets out;
    for (const Frame& frame : frames) {
        form.writeFrame(codec, frame, out);
    }
    std::span<const std::uint8_t> rest(out);
    for (const Frame& frame : frames) {
        Frame read;
        const auto taken = form.readFrame(codec, rest, read);
        ASSERT_GT(taken, 0) << form.name;
        expectEqual(frame, read);
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
    Frame read;
    EXPECT_EQ(form.readFrame(codec, rest, read), 0);
}

TEST(Bits, firstValueInTopBits) {
    Frame frame;
    putBits(frame, 0x5, 3);
    putBits(frame, 0xFFFFFFFF, 0);
    putBits(frame, 0x12345678, 32);
    EXPECT_EQ(frame.bits, 35);
    EXPECT_EQ(frame.payload, (Octets{0xA2, 0x46, 0x8A, 0xCF, 0x00}));
    int position = 0;
    EXPECT_EQ(takeBits(frame, position, 3), 5u);
    EXPECT_EQ(takeBits(frame, position, 32), 0x12345678u);
    EXPECT_EQ(takeBits(frame, position, 5), 0u) << "behind the end";
}

TEST(Streams, framesComeBack) {
    qolsc::test::Random r;
    const Codec codec = frameCodec(75);
    const std::vector<Frame> frames{randomFrame(r, 75), randomFrame(r, 75), randomFrame(r, 75)};
    expectRoundTrip(codec, kPacked, frames);
    expectRoundTrip(codec, kSerial, frames);
}

TEST(Streams, codesOfEveryWidthComeBackWithAShortEnd) {
    qolsc::test::Random r;
    for (int bits = 2; bits <= 8; ++bits) {
        const Codec codec = granularCodec(bits);
        // 8 codes fill whole octets at every width: a short frame that packing keeps exactly.
        const std::vector<Frame> frames{randomFrame(r, 160 * bits), randomFrame(r, 8 * bits)};
        for (const StreamForm* form : {&kPacked, &kPackedLowFirst, &kSerial, &kCodes, &kWords}) {
            expectRoundTrip(codec, *form, frames);
        }
        const std::vector<Frame> oneCode{randomFrame(r, bits)};
        for (const StreamForm* form : {&kSerial, &kCodes, &kWords}) {
            expectRoundTrip(codec, *form, oneCode);
        }
    }
}

TEST(Streams, lowFirstIsTheOrderOfRfc3551) {
    Frame frame;
    for (const unsigned code : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 0u}) {
        putBits(frame, code, 3);
    }
    Octets out;
    kPackedLowFirst.writeFrame(granularCodec(3), frame, out);
    // Octets as drawn for G726-24: the first code in the three low bits of the first.
    EXPECT_EQ(out, (Octets{0xD1, 0x58, 0x1F}));
}

TEST(Streams, serialWordsAreThoseOfG192) {
    Frame frame;
    putBits(frame, 0b10, 2);
    Octets out;
    writeSerial(frame, out);
    EXPECT_EQ(out, (Octets{0x21, 0x6B, 2, 0, 0x81, 0, 0x7F, 0}));
    eraseFrame(frame);
    out.clear();
    writeSerial(frame, out);
    EXPECT_EQ(out, (Octets{0x20, 0x6B, 2, 0, 0, 0, 0, 0}));
    Frame read;
    EXPECT_EQ(readSerial(out, read), 8);
    EXPECT_EQ(read.kind, FrameKind::lost);
    EXPECT_EQ(read.bits, 2);
}

TEST(Streams, serialMarksOfLossAndSilence) {
    Frame read;
    EXPECT_EQ(readSerial(Octets{0x21, 0x6B, 2, 0, 0, 0, 0, 0}, read), 8);
    EXPECT_EQ(read.kind, FrameKind::lost) << "good sync word, zero words";
    EXPECT_EQ(readSerial(Octets{0x21, 0x6B, 0, 0}, read), 4);
    EXPECT_EQ(read.kind, FrameKind::noData);
    const Codec codec = frameCodec(80);
    EXPECT_EQ(kSerial.readFrame(codec, Octets{0x20, 0x6B, 0, 0}, read), 4);
    EXPECT_EQ(read.kind, FrameKind::lost);
    EXPECT_EQ(read.bits, 80) << "a lost frame without words has the codec's size";
}

TEST(Streams, cutStreamsAreRefusedAtEveryPlace) {
    qolsc::test::Random r;
    const Codec codec = frameCodec(80);
    const Frame frame = randomFrame(r, 80);
    for (const StreamForm* form : {&kPacked, &kSerial}) {
        Octets out;
        form->writeFrame(codec, frame, out);
        for (std::size_t size = 1; size < out.size(); ++size) {
            Frame read;
            EXPECT_EQ(form->readFrame(codec, std::span(out).first(size), read), -1)
                << form->name << " cut at " << size;
        }
    }
    Frame read;
    EXPECT_EQ(kWords.readFrame(granularCodec(4), Octets{1, 0, 2}, read), -1);
}

TEST(Streams, damagedStreamsAreRefused) {
    Frame read;
    EXPECT_EQ(readSerial(Octets{0x22, 0x6B, 1, 0, 0x7F, 0}, read), -1) << "sync word";
    EXPECT_EQ(readSerial(Octets{0x21, 0x6B, 1, 0, 0x80, 0}, read), -1) << "bit word";
    EXPECT_EQ(readSerial(Octets{0x21, 0x6B, 0xFF, 0xFF, 0x7F, 0}, read), -1) << "size";
    EXPECT_EQ(kSerial.readFrame(frameCodec(3), Octets{0x21, 0x6B, 2, 0, 0x7F, 0, 0x7F, 0}, read),
              -1)
        << "other size than the codec's";
    EXPECT_EQ(kCodes.readFrame(granularCodec(4), Octets{3, 16}, read), -1) << "code too wide";
    EXPECT_EQ(kWords.readFrame(granularCodec(4), Octets{3, 1}, read), -1) << "code too wide";
}

} // namespace
