// SPDX-License-Identifier: Apache-2.0
// Voice activity detection of AMR: seeding as the header shows it, the rules at their edges, where
// the arithmetic parts from that of the standard's program, long runs, the transform of option 2.
#include "codecs/vad.h"
#include "common/vad_filterbank.h"
#include "kit/data.h"
#include "qolsc/amr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <numeric>

namespace qolsc::test {
namespace {

constexpr int kFrame = 160, kHalf = 80;
using Samples = std::vector<Qol16s>;

QolsVad1State_GSMAMR seeded1() {
    QolsVad1State_GSMAMR vad;
    memset(&vad, 0, sizeof vad);
    for (int i = 0; i < 9; ++i) {
        vad.bckrEst[i] = vad.aveLevel[i] = vad.oldLevel[i] = 150;
    }
    vad.corrHpFast = 13106;
    return vad;
}

QolsVad2State_GSMAMR seeded2() {
    QolsVad2State_GSMAMR vad;
    memset(&vad, 0, sizeof vad);
    return vad;
}

Qol16s flag1(const Samples& pcm, QolsVad1State_GSMAMR& vad, Qol16s correlation = 13106) {
    Qol16s flag = -1;
    EXPECT_EQ(qolsVAD1_GSMAMR_16s(pcm.data(), &vad, &flag, correlation, 0), qolStsNoErr);
    return flag;
}

Qol16s flag2(const Samples& pcm, QolsVad2State_GSMAMR& vad) {
    Qol16s flag = -1;
    EXPECT_EQ(qolsVAD2_GSMAMR_16s(pcm.data(), &vad, &flag, 0), qolStsNoErr);
    return flag;
}

bool same(const QolsVad2State_GSMAMR& a, const QolsVad2State_GSMAMR& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// ---- option 1 ----

// The header's example, with an open-loop search on unweighted speech.
TEST(AmrVad1, TheExampleOfTheHeader) {
    const Samples pcm = readWords("gsm/sequences/speech_a.inp");
    std::array<Qol16s, 44> flat{};
    for (std::size_t i = 0; i < 44; i += 11) {
        flat[i] = 4096;
    }
    std::array<Qol16s, 143> past{};
    std::array<Qol16s, 5> history;
    history.fill(40);
    Qol16s voicedLag = 40, voicedGain = 0;

    QolsVad1State_GSMAMR vad;
    memset(&vad, 0, sizeof vad);
    for (int i = 0; i < 9; ++i) {
        vad.bckrEst[i] = vad.aveLevel[i] = vad.oldLevel[i] = 150;
    }
    vad.corrHpFast = 13106;
    Qol16s bestCorrHp = 13106, toneFlag = 0; // pMaxHpCorr and pToneFlag of the search
    Qol16s lagOld = 0, nearOld = 0;

    int active = 0;
    for (int n = 0; n < 248; ++n) {
        const Qol16s* speech = pcm.data() + 40 + n * kFrame;
        Qol16s flag, lags[2], gainFlags[2];
        qolsVAD1_GSMAMR_16s(speech, &vad, &flag, bestCorrHp, toneFlag);
        qolsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(flat.data(), flat.data(), speech, &toneFlag,
                                                  &voicedLag, &voicedGain, history.data(),
                                                  past.data(), &bestCorrHp, lags, gainFlags, 12);
        Qol16s nearNow = 0;
        for (int i = 0; i < 2; ++i) {
            nearNow = static_cast<Qol16s>(nearNow + (abs(lags[i] - lagOld) < 4));
            lagOld = lags[i];
        }
        vad.pitchReg >>= 1;
        if (nearOld + nearNow >= 4) {
            vad.pitchReg |= 0x4000;
        }
        nearOld = nearNow;
        EXPECT_TRUE(n >= 10 || flag == 0) << "the silence in front, frame " << n;
        active += flag;
    }
    EXPECT_GT(active, 210);
}

TEST(AmrVad1, SilenceClearsTheCountersAndCutsTheRegisters) {
    QolsVad1State_GSMAMR vad = seeded1();
    vad.burstCount = vad.hangCount = vad.complexHangCount = 9;
    vad.complexHangTimer = 200;
    vad.pitchReg = 0x7FFF;
    vad.complexLow = 0x7FFF;
    EXPECT_EQ(flag1(Samples(200), vad, 30000), 0);
    EXPECT_EQ(vad.burstCount + vad.hangCount + vad.complexHangCount + vad.complexHangTimer, 0);
    EXPECT_EQ(vad.pitchReg, 0x3FFF);
    EXPECT_EQ(vad.complexLow, 0x1FFF) << "cut, then shifted";
    EXPECT_EQ(vad.corrHpFast, 13106);
}

TEST(AmrVad1, LongComplexHangoverHoldsUntilSilence) {
    QolsVad1State_GSMAMR vad = seeded1();
    vad.complexHangTimer = 100;
    vad.corrHpFast = 23200; // just above what the timer counts
    Random r;
    const Samples faint = noise16(r, 200, 20); // above silence, below any threshold of speech
    EXPECT_EQ(flag1(faint, vad, 30000), 1);
    EXPECT_EQ(vad.complexHangCount, 249);
    for (int n = 1; n < 250; ++n) {
        ASSERT_EQ(flag1(faint, vad, 0), 1) << n;
        ASSERT_EQ(vad.burstCount, 4);
        ASSERT_EQ(vad.complexHangCount, 249 - n);
    }
    EXPECT_EQ(flag1(faint, vad, 0), 0);
    vad.complexHangCount = 100;
    EXPECT_EQ(flag1(Samples(200), vad, 0), 0);
    EXPECT_EQ(vad.complexHangCount, 0);
}

// In the deep stages a difference wraps and a sum has its 17th bit, where the standard saturates.
TEST(AmrVad1, DeepStagesWrap) {
    Qol16s low = 0, high = -32768, memory = 32767;
    vadFilter3<true>(&low, &high, &memory);
    EXPECT_EQ(memory, -32768 - ((13363 * 32767) >> 15) + 65536);
    Qol16s a = 32767, b = 32767, memories[2] = {32767, 32767};
    const Qol16s first = vadAllpass(32767, kVadCoeff5First, memories),
                 second = vadAllpass(32767, kVadCoeff5Second, memories + 1);
    memories[0] = memories[1] = 32767;
    vadFilter5(&a, &b, memories);
    EXPECT_EQ(a, (first + second) >> 1) << "not half of a saturated sum";
    EXPECT_GT(first + second, 32767);
    // Both readings agree on what the quartered input can bring there.
    Random r;
    Qol16s wrapping = 0, saturating = 0;
    for (int n = 0; n < 20000; ++n) {
        const auto x = noise16(r, 2, 8192);
        Qol16s p = x[0], q = x[1], u = x[0], v = x[1];
        vadFilter3<true>(&p, &q, &wrapping);
        vadFilter3<false>(&u, &v, &saturating);
        ASSERT_EQ(p, u);
        ASSERT_EQ(q, v);
    }
}

TEST(AmrVad1, AnyRecordIsSafe) {
    Random r;
    for (int n = 0; n < 500; ++n) {
        auto record = guarded<Qol8u>(sizeof(QolsVad1State_GSMAMR), n % 16);
        const auto words = n & 1 ? extremes16(r, 58) : noise16(r, 58);
        std::memcpy(record.data, words.data(), record.count);
        const auto pcm = n & 2 ? extremes16(r, 200) : noise16(r, 200);
        Qol16s flag = 7;
        ASSERT_EQ(qolsVAD1_GSMAMR_16s(pcm.data(),
                                      reinterpret_cast<QolsVad1State_GSMAMR*>(record.data), &flag,
                                      words[3], words[4]),
                  qolStsNoErr);
        ASSERT_TRUE(flag == 0 || flag == 1);
        ASSERT_TRUE(intact(record));
    }
}

// ---- option 2 ----

/// One frame whose halves have these greatest samples.
Samples peaks(Qol16s first, Qol16s second) {
    Samples pcm(kFrame, 1);
    pcm[40] = first;
    pcm[kHalf + 40] = second;
    return pcm;
}

// The block normalisation takes a negative sample by its complement: a peak of exactly -2^k counts
// as 2^k - 1, for which the standard shifts one bit less.
TEST(AmrVad2, NegativePeakCountsByItsComplement) {
    for (int k = 4; k < 13; ++k) {
        const auto power = static_cast<Qol16s>(1 << k);
        const auto shiftOf = [](Qol16s peak) {
            QolsVad2State_GSMAMR vad = seeded2();
            flag2(peaks(1, peak), vad);
            return vad.lastNormbShift;
        };
        EXPECT_EQ(shiftOf(static_cast<Qol16s>(power - 1)), 13 - k);
        EXPECT_EQ(shiftOf(power), 12 - k);
        EXPECT_EQ(shiftOf(static_cast<Qol16s>(-power)), 13 - k);
        EXPECT_EQ(shiftOf(static_cast<Qol16s>(-power - 1)), 12 - k);
    }
}

// The memory of the pre-emphasis is shifted right without rounding: the bits that go don't matter.
TEST(AmrVad2, MemoryOfPreemphasisIsNotRounded) {
    QolsVad2State_GSMAMR before = seeded2();
    Random r;
    flag2(noise16(r, kFrame, 500), before);
    ASSERT_EQ(before.lastNormbShift, 4);
    int seen = 0;
    for (int n = 0; n < 100; ++n) {
        const Samples loud = noise16(r, kFrame, 4000); // three bits less
        const auto run = [&](int memory) {
            QolsVad2State_GSMAMR vad = before;
            vad.preEmpMem = static_cast<Qol16s>(memory);
            flag2(loud, vad);
            return vad;
        };
        const int kept = n - 50;
        const QolsVad2State_GSMAMR exact = run(8 * kept);
        ASSERT_EQ(exact.lastNormbShift, 1);
        for (int lost = 1; lost < 8; ++lost) {
            ASSERT_TRUE(same(run(8 * kept + lost), exact)) << kept << " " << lost;
        }
        seen += same(run(8 * kept + 8), exact) ? 0 : 1;
    }
    // One unit, as a rounded 4 would have given, shows in the energies now and then.
    EXPECT_GT(seen, 5);
}

TEST(AmrVad2, FirstHalfFrameSetsTheLevels) {
    Random r;
    QolsVad2State_GSMAMR vad = seeded2();
    // What the record held of levels doesn't count in the first half frame.
    QolsVad2State_GSMAMR other = seeded2();
    std::fill_n(other.chEnrg, 16, 123456);
    std::fill_n(other.chEnrgLongDb, 16, Qol16s{-5000});
    const Samples pcm = noise16(r, kFrame, 900);
    EXPECT_EQ(flag2(pcm, vad), flag2(pcm, other));
    EXPECT_TRUE(same(vad, other));
    EXPECT_EQ(vad.frameCount, 2);
}

TEST(AmrVad2, SilenceSettlesAtTheFloors) {
    QolsVad2State_GSMAMR vad = seeded2();
    for (int n = 0; n < 100; ++n) {
        flag2(Samples(kFrame), vad);
    }
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(vad.chEnrg[i], vad.shiftState ? 1 : 32);
        EXPECT_GE(vad.chNoise[i], 32);
    }
    EXPECT_EQ(vad.shiftState, 0);
    EXPECT_EQ(flag2(Samples(kFrame), vad), 0);
}

TEST(AmrVad2, CountOfHalfFramesWraps) {
    Random r;
    QolsVad2State_GSMAMR vad = seeded2();
    for (int n = 0; n < 10; ++n) {
        flag2(noise16(r, kFrame, 50), vad);
    }
    vad.frameCount = 2147483647;
    flag2(noise16(r, kFrame, 3000), vad);
    EXPECT_EQ(vad.frameCount, -2147483647);
    // Below 5 again: the noise takes the channel's energy, whatever it was.
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR(vad.chNoise[i], vad.shiftState ? vad.chEnrg[i] << 5 : vad.chEnrg[i], 4);
    }
}

TEST(AmrVad2, AnyRecordIsSafe) {
    Random r;
    for (int n = 0; n < 500; ++n) {
        auto record = guarded<Qol8u>(sizeof(QolsVad2State_GSMAMR), n % 16);
        const auto words = n & 1 ? extremes16(r, 94) : noise16(r, 94);
        std::memcpy(record.data, words.data(), record.count);
        const auto pcm = n & 2 ? extremes16(r, kFrame) : noise16(r, kFrame);
        Qol16s flag = 7;
        ASSERT_EQ(qolsVAD2_GSMAMR_16s(pcm.data(),
                                      reinterpret_cast<QolsVad2State_GSMAMR*>(record.data), &flag,
                                      words[0]),
                  qolStsNoErr);
        ASSERT_TRUE(flag == 0 || flag == 1);
        ASSERT_TRUE(intact(record));
    }
}

TEST(AmrVad2, AnyVarianceOfNegativeRatiosIsSafe) {
    for (const int variance : {-32768, -457616 / 16, -1, 0, 1024, 32767}) {
        QolsVad2State_GSMAMR vad = seeded2();
        vad.frameCount = 10;
        std::fill(std::begin(vad.chNoise), std::end(vad.chNoise), basop::MAX_32);
        vad.negSNRvar = static_cast<Qol16s>(variance);
        flag2(Samples(kFrame), vad);
        EXPECT_LE(vad.negSNRvar, 1024);
        EXPECT_GE(vad.negSNRbias, 0);
    }
}

// ---- transform ----

/// Bin k of 128 real values in double precision, over 64 as the transform gives it.
std::array<double, 2> binOf(const std::array<double, 128>& x, int k) {
    double re = 0, im = 0;
    for (int n = 0; n < 128; ++n) {
        const double angle = 2 * std::numbers::pi * ((k * n) % 128) / 128;
        re += x[static_cast<std::size_t>(n)] * std::cos(angle);
        im -= x[static_cast<std::size_t>(n)] * std::sin(angle);
    }
    return {re / 64, im / 64};
}

/// Distances of the transform's words from the transform in double precision.
struct Errors {
    double most = 0, squares = 0;
    int count = 0;
};
void enter(Errors& e, const Samples& x) {
    std::array<double, 128> exact;
    std::copy(x.begin(), x.end(), exact.begin());
    Samples y = x;
    ASSERT_EQ(qolsFFTFwd_RToPerm_GSMAMR_16s_I(y.data()), qolStsNoErr);
    for (int k = 0; k < 64; ++k) {
        auto bin = binOf(exact, k);
        if (k == 0) {
            bin[1] = binOf(exact, 64)[0];
        }
        for (const int part : {0, 1}) {
            const double error = y[static_cast<std::size_t>(2 * k + part)] - bin[part];
            e.most = std::max(e.most, std::abs(error));
            e.squares += error * error;
            ++e.count;
        }
    }
}

// Bounds for values that leave two bits of headroom, so that nothing saturates. A stage rounds a
// product (up to 0.7 as a complex distance; its coefficients, a last place off, add up to
// 8192 / 32768 * sqrt(2) = 0.35) and drops a bit after the sum (up to 0.7); a distance d of its
// inputs becomes d + 1.05 / 2 + 0.7, 7.4 after six stages. The fold adds two values and two rotated
// ones and halves: 2 * 7.4 + 0.35 + 0.5 = 15.7. Taken as independent, errors leave each stage with
// a variance of half that of its inputs + 1/48 (rounding, halved) + 1/16 (the bit), which tends to
// 1/6; the fold keeps it and rounds, 1/6 + 1/12 = 0.25. The dropped bits' mean of a quarter a stage
// goes to the few outputs that see a constant.
TEST(AmrVad2Transform, LiesWithinItsRoundings) {
    Random r;
    Errors e;
    for (int n = 0; n < 200; ++n) {
        enter(e, noise16(r, 128, 1 << uniform(r, 4, 13)));
    }
    for (int k = 0; k <= 64; ++k) { // a sine on each bin, an impulse, a constant
        Samples sine(128), impulse(128), constant(128, static_cast<Qol16s>(120 * k));
        for (std::size_t i = 0; i < 128; ++i) {
            sine[i] = static_cast<Qol16s>(
                std::lround(8191 * std::cos(std::numbers::pi * k * static_cast<double>(i) / 64)));
        }
        impulse[static_cast<std::size_t>(k)] = -8192;
        for (const Samples& x : {sine, impulse, constant}) {
            enter(e, x);
        }
    }
    EXPECT_LE(e.most, 15.7);
    EXPECT_LE(e.squares / e.count, 0.5) << "twice the variance expected";
}

// ---- long runs ----

double activity(const char* detector, const Samples& pcm, int skippedFrames) {
    const std::vector<bool> flags = tools::findVad(detector)->run(pcm);
    const auto active = std::count(flags.begin() + skippedFrames, flags.end(), true);
    return static_cast<double>(active) / static_cast<double>(flags.size() - skippedFrames);
}

TEST(AmrVadRuns, SteadyNoiseBecomesBackground) {
    Random r;
    for (const int level : {40, 400, 4000}) {
        const Samples pcm = noise16(r, 60 * 8000, level);
        EXPECT_LT(activity("amr1", pcm, 150), 0.01) << level;
        EXPECT_LT(activity("amr2", pcm, 150), 0.03) << level;
    }
}

TEST(AmrVadRuns, RepeatedSpeechStaysSpeech) {
    const Samples once = readWords("gsm/sequences/speech_a.inp");
    Samples pcm;
    for (int n = 0; n < 8; ++n) {
        pcm.insert(pcm.end(), once.begin(), once.end());
    }
    // Nine tenths of it are speech.
    EXPECT_GT(activity("amr1", pcm, 0), 0.85);
    EXPECT_GT(activity("amr2", pcm, 0), 0.85);
}

/// Chords of three voices with four partials each, a new one every 0.8 s, without any pause.
Samples music(int seconds) {
    constexpr double kPi = std::numbers::pi;
    Samples pcm(static_cast<std::size_t>(seconds) * 8000);
    for (std::size_t i = 0; i < pcm.size(); ++i) {
        const int chord = static_cast<int>(i / 6400) * 5 % 12;
        double x = 0;
        for (const int note : {0, 4, 7}) {
            const double hertz = 220 * std::pow(2, (note + chord) / 12.0);
            for (int k = 1; k <= 4; ++k) {
                x += 900.0 / k * std::sin(2 * kPi * hertz * k * static_cast<double>(i) / 8000);
            }
        }
        pcm[i] = static_cast<Qol16s>(std::lround(x));
    }
    return pcm;
}

TEST(AmrVadRuns, MusicIsNotTakenForBackground) {
    // The correlation of its high-passed speech keeps option 1 active on complex signals.
    EXPECT_GT(activity("amr1", music(40), 0), 0.98);
    EXPECT_GT(activity("amr2", music(40), 0), 0.5);
}

} // namespace
} // namespace qolsc::test
