// SPDX-License-Identifier: Apache-2.0
// G.723.1: the ITU-T sequences through the codec, kernels against their definitions, codes there
// and back.
#include "codecs/g7231/decoder.h"
#include "codecs/g7231/encoder.h"
#include "codecs/g7231/filters.h"
#include "g723/acelp.h"
#include "g723/adaptive.h"
#include "g723/multipulse.h"
#include "kit/data.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using namespace qolsc::test;
namespace g723 = qolsc::g723;
namespace codec = qolsc::tools::g7231;
using qolsc::tools::Frame;

namespace {

const std::string kDir = "g723/sequences/";

TEST(G723Sequences, encoder) {
    struct Sequence {
        const char* input;
        const char* output;
        bool high, highPass, dtx;
    };
    for (const Sequence& s : {Sequence{"PATHC63H.TIN", "PATHC63H.RCO", true, true, false},
                              Sequence{"OVERC63.TIN", "OVERC63.RCO", true, false, false},
                              Sequence{"INEQC53.TIN", "INEQC53.RCO", false, false, false},
                              Sequence{"TAMEC63H.TIN", "TAMEC63H.RCO", true, true, false},
                              Sequence{"DTX53MIX.TIN", "DTX53.RCO", false, true, true}}) {
        const auto in = readWords(kDir + s.input);
        const auto out = readBytes(kDir + s.output);
        void* encoder = codec::openEncoder(s.high, s.highPass, s.dtx);
        std::vector<std::uint8_t> coded;
        for (std::size_t i = 0; i + codec::kFrame <= in.size(); i += codec::kFrame) {
            Frame frame;
            codec::encodeFrame(encoder, in.data() + i, frame);
            coded.insert(coded.end(), frame.payload.begin(), frame.payload.end());
            ASSERT_LE(coded.size(), out.size()) << s.input;
            ASSERT_TRUE(std::equal(
                frame.payload.begin(), frame.payload.end(),
                out.begin() + static_cast<std::ptrdiff_t>(coded.size() - frame.payload.size())))
                << s.input << " frame " << i / codec::kFrame;
        }
        EXPECT_EQ(coded.size(), out.size()) << s.input;
        codec::closeEncoder(encoder);
    }
}

TEST(G723Sequences, decoder) {
    struct Sequence {
        const char* input;
        const char* output;
        bool postFilter;
    };
    for (const Sequence& s :
         {Sequence{"PATHD53.TCO", "PATHD53.ROU", false},
          Sequence{"OVERD53.TCO", "OVERD53.ROU", false},
          Sequence{"INEQD53.TCO", "INEQD53.ROU", false}, Sequence{"DTX53.RCO", "DTX53.ROU", true},
          Sequence{"DTX63B.TCO", "DTX63B.ROU", true}}) {
        const auto in = readBytes(kDir + s.input);
        const auto out = readWords(kDir + s.output);
        void* decoder = codec::openDecoder(s.postFilter);
        std::size_t samples = 0;
        for (std::size_t at = 0; at < in.size(); samples += codec::kFrame) {
            const auto octets =
                static_cast<std::size_t>(codec::octetsOf(static_cast<codec::Kind>(in[at] & 3)));
            Frame frame;
            frame.payload.assign(in.begin() + static_cast<std::ptrdiff_t>(at),
                                 in.begin() + static_cast<std::ptrdiff_t>(at + octets));
            frame.bits = static_cast<int>(8 * octets);
            at += octets;
            std::vector<Qol16s> pcm(codec::kFrame);
            codec::decodeFrame(decoder, frame, pcm.data());
            ASSERT_LE(samples + pcm.size(), out.size());
            ASSERT_TRUE(std::equal(pcm.begin(), pcm.end(),
                                   out.begin() + static_cast<std::ptrdiff_t>(samples)))
                << s.input << " frame " << samples / codec::kFrame;
        }
        EXPECT_EQ(samples, out.size()) << s.input;
        codec::closeDecoder(decoder);
    }
}

/// Quiet blocks, which take plain sums, and loud ones, whose sums saturate.
TEST(G723Filters, equalTheirDefinitions) {
    Random r;
    for (int round = 0; round < 2000; ++round) {
        const int amplitude = 32767 >> round % 6, size = 32767 >> round / 6 % 5;
        const auto x = noise16(r, codec::kSubframe, amplitude);
        const auto past = noise16(r, codec::kLine, amplitude);
        codec::Vector10 c;
        for (Qol16s& v : c) {
            v = round % 97 == 0 ? Qol16s{-32768} : static_cast<Qol16s>(uniform(r, -size, size));
        }
        auto line = past, expectedLine = past;
        codec::synthesis(c, x.data(), line.data());
        codec::synthesisPlain(c, x.data(), expectedLine.data());
        ASSERT_EQ(line, expectedLine) << round;
        Qol32s w[codec::kSubframe], expected[codec::kSubframe];
        codec::allZero(c, past.data(), w);
        codec::allZeroPlain(c, past.data(), expected);
        ASSERT_TRUE(std::equal(w, w + codec::kSubframe, expected)) << round;
    }
}

TEST(G723Multipulse, positionCodesAreInvertible) {
    Random r;
    for (int round = 0; round < 4000; ++round) {
        const int subframe = static_cast<int>(uniform(r, 0, 3)), pulses = subframe % 2 ? 5 : 6;
        const int grid = static_cast<int>(uniform(r, 0, 1));
        Qol16s vector[60] = {}, decoded[60];
        for (int placed = 0; placed < pulses;) {
            Qol16s& v = vector[grid + 2 * uniform(r, 0, 29)];
            if (v == 0) {
                v = uniform(r, 0, 1) ? 115 : -115;
                ++placed;
            }
        }
        const g723::PulseCode code = g723::codePulses_G723(vector, grid, pulses);
        codec::Subframe s{};
        s.grid = grid;
        s.level = 12; // 115
        s.position = code.code;
        s.signs = code.signs;
        codec::multipulseVector(s, subframe, decoded);
        EXPECT_TRUE(std::equal(vector, vector + 60, decoded)) << round;
    }
    // Every code is a different set: each one decodes to a vector that has this code.
    for (int subframe : {0, 1}) {
        const int pulses = subframe ? 5 : 6, codes = subframe ? 142506 : 593775;
        for (int c = 0; c < codes; c += 37) {
            codec::Subframe s{};
            s.level = 12;
            s.position = c;
            Qol16s vector[60];
            codec::multipulseVector(s, subframe, vector);
            ASSERT_EQ(g723::codePulses_G723(vector, 0, pulses).code, c);
        }
    }
}

TEST(G723Multipulse, pulsesInLanesEqualTheDefinition) {
    Random r;
    for (int round = 0; round < 3000; ++round) {
        g723::PulseField field{};
        const Qol32s amplitude = 1 << uniform(r, 0, 30);
        const auto correlation = noise32(r, 30, amplitude);
        const auto response = noise16(r, 30);
        for (int k = 0; k < 30; ++k) {
            field.correlation[k] = round % 3 == 0 ? correlation[static_cast<std::size_t>(k / 4)]
                                                  : correlation[static_cast<std::size_t>(k)];
            field.response[32 + k] = field.response[32 - k] =
                2 * response[static_cast<std::size_t>(k)];
            if (qolsc::basop::L_abs(field.correlation[k]) >= field.most) {
                field.most = qolsc::basop::L_abs(field.correlation[k]);
                field.place = k;
            }
        }
        const Qol16s level = qolsc::tables::g723::GainDBLvls[uniform(r, 0, 23)];
        const int pulses = static_cast<int>(uniform(r, 5, 6));
        Qol16s p[6] = {}, a[6] = {}, q[6] = {}, b[6] = {};
        g723::ownQuantGain_G723_BestPulse(field, level, pulses, p, a);
        g723::ownPlacePulsesPlain_G723(field, level, pulses, q, b);
        EXPECT_TRUE(std::equal(p, p + 6, q)) << round;
        EXPECT_TRUE(std::equal(a, a + 6, b)) << round;
    }
}

TEST(G723Acelp, lanesEqualTheDefinition) {
    Random r;
    for (int round = 0; round < 600; ++round) {
        const auto correlation =
            round % 4 == 0 ? extremes16(r, 60) : noise16(r, 60, 1 + 8191 / (1 + round % 50));
        auto matrix = round % 5 == 0 ? extremes16(r, 416) : noise16(r, 416, 4000);
        for (std::size_t i = 0; i < 32; ++i) {
            matrix[i] = static_cast<Qol16s>(16000 + std::abs(matrix[i] / 4));
        }
        g723::AcelpField field;
        g723::prepareAcelp_G723(correlation.data(), matrix.data(), field);
        const int budget = static_cast<int>(uniform(r, -2, 300));
        const auto fast = g723::ownAcelpSearch_G723(field, budget);
        const auto plain = g723::ownAcelpSearchPlain_G723(field, budget);
        EXPECT_TRUE(std::equal(fast.place, fast.place + 4, plain.place)) << round;
        EXPECT_EQ(fast.grid, plain.grid) << round;
        EXPECT_EQ(fast.budget, plain.budget) << round;
    }
}

TEST(G723Acelp, matrixHoldsTheSumsInItsLayout) {
    Random r;
    const auto h = noise16(r, 60, 200);
    Qol32s matrix[416];
    ASSERT_EQ(qolsToeplizMatrix_G723_16s32s(h.data(), matrix), 0);
    Qol64s energy = 0;
    for (const Qol16s x : h) {
        energy += x * x;
    }
    const int up = qolsc::basop::norm_l(static_cast<Qol32s>(2 * energy)) / 2;
    const auto sum = [&](int p, int q) {
        Qol64s s = 0;
        for (int i = 0; i <= 59 - std::max(p, q); ++i) {
            s += Qol64s{h[static_cast<std::size_t>(i)]} *
                 h[static_cast<std::size_t>(i + std::abs(p - q))];
        }
        return s * (1 << 2 * up);
    };
    int at = 0;
    for (int t = 0; t < 4; ++t) {
        for (int k = 0; k < 8; ++k) {
            EXPECT_EQ(matrix[at++], sum(8 * k + 2 * t, 8 * k + 2 * t));
        }
    }
    for (int t = 0; t < 4; ++t) {
        for (int u = t + 1; u < 4; ++u) {
            for (int k = 0; k < 8; ++k) {
                for (int l = 0; l < 8; ++l) {
                    ASSERT_EQ(matrix[at++], sum(8 * k + 2 * t, 8 * l + 2 * u));
                }
            }
        }
    }
}

TEST(G723Matrix, FullScaleResponseKeepsTheLowBitsOfItsSums) {
    const std::vector<Qol16s> h(60, -32768);
    Qol32s matrix[416];
    ASSERT_EQ(qolsToeplizMatrix_G723_16s32s(h.data(), matrix), 0);
    for (int t = 0, at = 0; t < 4; ++t) {
        for (int k = 0; k < 8; ++k, ++at) {
            const Qol64u terms = static_cast<Qol64u>(std::max(60 - 8 * k - 2 * t, 0));
            EXPECT_EQ(static_cast<Qol32u>(matrix[at]), static_cast<Qol32u>(terms << 28)) << at;
        }
    }
}

TEST(G723Adaptive, scoresEqualTheDefinition) {
    Random r;
    for (int round = 0; round < 300; ++round) {
        const auto values = round % 3 == 0 ? extremes16(r, 20) : noise16(r, 20);
        for (const auto& [table, rows] :
             {std::pair{qolsc::tables::g723::AdCdbkGainTblHighRate, 85},
              std::pair{qolsc::tables::g723::AdCdbkGainTblLowRate, 170}}) {
            const int some = static_cast<int>(uniform(r, 1, rows));
            Qol32s fast[170], plain[170];
            g723::ownMulCdbkTbl20_D2D1_16s32s(values.data(), table, some, fast);
            g723::ownScorePlain_G723(values.data(), table, some, plain);
            EXPECT_TRUE(std::equal(fast, fast + some, plain)) << round;
        }
    }
}

TEST(G723Adaptive, tamingLimitsAtTheBoundsOfTheHistory) {
    constexpr Qol32s kStep = 1 << 23, kMost = 0x40000000;
    for (int lag = 18; lag <= 142; ++lag) {
        for (const bool odd : {false, true}) {
            // The cells hold delays 1 to 30, 31 to 60 and so on.
            const int first = lag < 63 ? 0 : (lag - 63) / 30, last = (lag + odd + 2) / 30;
            for (int cell = 0; cell < 5; ++cell) {
                Qol32s history[5] = {-5, -5, -5, -5, -5};
                history[cell] = kMost + 1;
                const auto limits = g723::tamingLimits(lag, odd, history, 0);
                const bool seen = cell >= first && cell <= last;
                EXPECT_EQ(limits.high, seen ? 51 : 85) << lag << " cell " << cell;
                EXPECT_EQ(limits.low, seen ? 93 : 170) << lag << " cell " << cell;
            }
        }
    }
    for (int t = 0; t <= 10; ++t) {
        for (const Qol32s over : {0, 1}) {
            const Qol32s error = kMost - t * kStep + over;
            Qol32s history[5] = {error, error, error, error, error};
            const int steps = over ? t - 1 : t;
            const auto limits = g723::tamingLimits(60, false, history, 0);
            EXPECT_EQ(limits.high, steps < 0 ? 51 : std::min(51 + 4 * steps, 85)) << t;
            EXPECT_EQ(limits.low, steps < 0 ? 93 : std::min(93 + 8 * steps, 170)) << t;
            EXPECT_EQ(g723::tamingLimits(60, false, history, -1).high, 51);
        }
    }
}

TEST(G723Adaptive, decodingStaysInsideTheHistory) {
    Random r;
    auto past = guarded(noise16(r, 145));
    Qol16s out[60];
    for (int lag = 18; lag <= 146; ++lag) {
        for (int offset = 0; offset < 4 && lag + offset < 147; ++offset) {
            EXPECT_EQ(qolsDecodeAdaptiveVector_G723_16s(static_cast<Qol16s>(lag),
                                                        static_cast<Qol16s>(offset), 84, past.data,
                                                        out, 4),
                      0);
        }
    }
    EXPECT_EQ(qolsDecodeAdaptiveVector_G723_16s(40, 1, 85, past.data, out, 4), 0);
    EXPECT_TRUE(std::all_of(out, out + 60, [](Qol16s v) { return v == 0; }));
    EXPECT_EQ(qolsDecodeAdaptiveVector_G723_16s(40, 1, 86, past.data, out, 4), qolStsOutOfRangeErr);
}

} // namespace
