// SPDX-License-Identifier: Apache-2.0
// What every codec of the registry promises, whatever it is: each coded form gives back what was
// coded, a coder starts afresh, losses and damaged streams end nowhere but in sound or a refusal.
#include "codecs/bits.h"
#include "codecs/streams.h"
#include "coding.h"
#include "failure.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace {

using namespace qolsc::tools;
using Samples = std::vector<std::int16_t>;

/// Something like speech: bursts of harmonics with noise between them.
Samples speechLike(int rate, int count) {
    qolsc::test::Random r;
    Samples samples;
    for (int i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / rate;
        const double envelope = std::max(0.0, std::sin(2 * M_PI * 3 * t));
        double value = qolsc::test::uniformReal(r, -60, 60);
        for (int h = 1; h <= 8; ++h) {
            value += envelope * 6000 / h * std::sin(2 * M_PI * 120 * h * t + h);
        }
        samples.push_back(static_cast<std::int16_t>(value));
    }
    return samples;
}

Samples speechFor(const Codec& codec) {
    return speechLike(codec.sampleRate, 40 * codec.frameSamples);
}

class EveryCodec : public testing::TestWithParam<const Codec*> {};

TEST_P(EveryCodec, recordIsComplete) {
    const Codec& codec = *GetParam();
    EXPECT_GT(codec.sampleRate, 0);
    EXPECT_GT(codec.granule, 0);
    EXPECT_EQ(codec.frameSamples % codec.granule, 0);
    EXPECT_GT(codec.frameBits, 0);
    ASSERT_FALSE(codec.forms.empty());
    std::set<std::string> names;
    for (const StreamForm* form : codec.forms) {
        EXPECT_TRUE(names.insert(form->name).second) << form->name << " twice";
        EXPECT_EQ(form->writeHeader == nullptr, form->readHeader == nullptr) << form->name;
    }
    EXPECT_EQ(findCodec(codec.name), &codec);
}

TEST_P(EveryCodec, everyFormGivesBackWhatWasCoded) {
    const Codec& codec = *GetParam();
    for (const bool dtx : {false, true}) {
        if (dtx && !codec.hasDtx) {
            continue;
        }
        const CodecSettings settings{.dtx = dtx, .law = Law::linear, .detector = ""};
        const auto frames = encodeAll(codec, settings, speechFor(codec));
        const Samples decoded = decodeAll(codec, settings, frames);
        EXPECT_EQ(decoded.size(), frames.size() * static_cast<std::size_t>(codec.frameSamples));
        for (const StreamForm* form : codec.forms) {
            if (dtx && form->fixedSize) {
                continue;
            }
            const auto stream = writeStream(codec, *form, frames);
            const auto read = readStream(codec, *form, stream, "stream");
            EXPECT_EQ(decodeAll(codec, settings, read), decoded) << form->name << " dtx " << dtx;
        }
    }
}

TEST_P(EveryCodec, codersStartAfresh) {
    const Codec& codec = *GetParam();
    const Samples speech = speechFor(codec);
    const auto first = encodeAll(codec, {}, speech);
    const auto second = encodeAll(codec, {}, speech);
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        ASSERT_EQ(first[i].payload, second[i].payload) << "frame " << i;
    }
    EXPECT_EQ(decodeAll(codec, {}, first), decodeAll(codec, {}, second));
}

TEST_P(EveryCodec, speechIsStillThere) {
    const Codec& codec = *GetParam();
    const Samples speech = speechFor(codec);
    const Samples decoded = decodeAll(codec, {}, encodeAll(codec, {}, speech));
    double in = 0;
    double out = 0;
    for (std::size_t i = 0; i < speech.size(); ++i) {
        in += double{1} * speech[i] * speech[i];
        out += double{1} * decoded[i] * decoded[i];
    }
    EXPECT_NEAR(10 * std::log10(out / in), 0, 4) << "level of the output against the input in dB";
}

TEST_P(EveryCodec, lostFramesKeepTheirTime) {
    const Codec& codec = *GetParam();
    auto frames = encodeAll(codec, {}, speechFor(codec));
    const std::size_t lost = loseFrames(frames, 0.3, 1);
    EXPECT_GT(lost, 0u);
    EXPECT_EQ(decodeAll(codec, {}, frames).size(),
              frames.size() * static_cast<std::size_t>(codec.frameSamples));
    loseFrames(frames, 1, 1);
    EXPECT_EQ(decodeAll(codec, {}, frames).size(),
              frames.size() * static_cast<std::size_t>(codec.frameSamples));
}

TEST_P(EveryCodec, damagedStreamsDecodeOrAreRefused) {
    const Codec& codec = *GetParam();
    qolsc::test::Random r;
    const auto frames = encodeAll(codec, {}, speechFor(codec));
    for (const StreamForm* form : codec.forms) {
        const auto whole = writeStream(codec, *form, frames);
        for (int round = 0; round < 20; ++round) {
            auto stream = whole;
            for (int i = 0; i < 30; ++i) {
                const auto at = qolsc::test::uniform(r, 0, static_cast<int>(stream.size()) - 1);
                stream[static_cast<std::size_t>(at)] ^=
                    static_cast<std::uint8_t>(1 << qolsc::test::uniform(r, 0, 7));
            }
            stream.resize(static_cast<std::size_t>(
                qolsc::test::uniform(r, 1, static_cast<int>(stream.size()))));
            try {
                const auto read = readStream(codec, *form, stream, "stream");
                decodeAll(codec, {}, read);
            } catch (const Failure&) {
            }
        }
    }
}

TEST_P(EveryCodec, fullScaleAndSilencePass) {
    const Codec& codec = *GetParam();
    const auto count = static_cast<std::size_t>(10 * codec.frameSamples);
    Samples square(count);
    for (std::size_t i = 0; i < count; ++i) {
        square[i] = (i / 20) % 2 == 0 ? 32767 : -32768;
    }
    for (const Samples& samples :
         {Samples(count, 0), Samples(count, 32767), Samples(count, -32768), square}) {
        EXPECT_EQ(decodeAll(codec, {}, encodeAll(codec, {}, samples)).size(), count);
    }
}

INSTANTIATE_TEST_SUITE_P(Registry, EveryCodec,
                         testing::ValuesIn(allCodecs().begin(), allCodecs().end()),
                         [](const auto& info) {
                             std::string name = info.param->name;
                             for (char& c : name) {
                                 c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             }
                             return name;
                         });

TEST(Coding, lossIsReproducibleAndNearItsRate) {
    std::vector<Frame> a(10000);
    std::vector<Frame> b(10000);
    const std::size_t lost = loseFrames(a, 0.05, 1);
    EXPECT_NEAR(static_cast<double>(lost), 500, 75);
    EXPECT_EQ(loseFrames(b, 0.05, 1), lost);
    for (std::size_t i = 0; i < a.size(); ++i) {
        ASSERT_EQ(a[i].kind, b[i].kind);
    }
    EXPECT_EQ(loseFrames(a, 0, 1), 0u);
    EXPECT_EQ(loseFrames(a, 1, 1), a.size());
}

} // namespace
