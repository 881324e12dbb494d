// SPDX-License-Identifier: Apache-2.0
// AMR-WB sample filters, activity detector and comfort-noise histories.
#include "kit/data.h"
#include "qolsc/amrwb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using namespace qolsc;
using test::Random;
using test::uniform;
using Words = std::vector<Qol16s>;

const Qol16s kA2[3] = {8192, 16211, -8021}, kB2[3] = {4053, -8106, 4053};
const Qol16s kA3[4] = {8192, 21663, -19258, 5734}, kB3[4] = {-3432, 10280, -10280, 3432};

/// A record at an odd address.
struct HighPass {
    std::vector<Qol8u> bytes = std::vector<Qol8u>(41);
};
QolsHighPassState_AMRWB* of(HighPass& s) {
    return reinterpret_cast<QolsHighPassState_AMRWB*>(s.bytes.data() + 1);
}
HighPass make(int order) {
    HighPass s;
    EXPECT_EQ(qolsHighPassFilterInit_AMRWB_16s(order == 2 ? kA2 : kA3, order == 2 ? kB2 : kB3,
                                               order, of(s)),
              qolStsNoErr);
    return s;
}

TEST(AmrWbHighPass, FollowsTheDifferenceEquation) {
    Random r;
    const auto x = test::noise16(r, 400, 8000);
    Words y = x;
    HighPass s = make(2);
    ASSERT_EQ(qolsHighPassFilter_AMRWB_16s_ISfs(y.data(), 400, of(s), 12), qolStsNoErr);
    double y1 = 0, y2 = 0, x1 = 0, x2 = 0;
    for (int i = 0; i < 400; ++i) {
        const double v =
            (kB2[0] * x[i] + kB2[1] * x1 + kB2[2] * x2) / 4096 + (kA2[1] * y1 + kA2[2] * y2) / 8192;
        y2 = y1, y1 = v, x2 = x1, x1 = x[i];
        ASSERT_NEAR(y[i], v, 1.0) << i;
    }
}

TEST(AmrWbHighPass, SplitCallsEqualOneCall) {
    Random r;
    for (const int order : {2, 3}) {
        const auto x = test::noise16(r, 256, 12000);
        Words whole(256), parts(256);
        HighPass a = make(order), b = make(order);
        qolsHighPassFilter_AMRWB_16s_Sfs(x.data(), whole.data(), 256, of(a), 5);
        for (int at = 0, len; at < 256; at += len) {
            len = static_cast<int>(std::min<std::int64_t>(uniform(r, 1, 40), 256 - at));
            qolsHighPassFilter_AMRWB_16s_Sfs(x.data() + at, parts.data() + at, len, of(b), 5);
        }
        EXPECT_EQ(whole, parts);
        EXPECT_EQ(a.bytes, b.bytes);
    }
}

TEST(AmrWbHighPass, DelayLineGoesOutAndIn) {
    Random r;
    for (const int order : {2, 3}) {
        HighPass a = make(order), b = make(order);
        Words x = test::noise16(r, 100, 9000), line(9), again(9);
        qolsHighPassFilter_AMRWB_16s_ISfs(x.data(), 100, of(a), 12);
        ASSERT_EQ(qolsHighPassFilterGetDlyLine_AMRWB_16s(of(a), line.data(), order), qolStsNoErr);
        ASSERT_EQ(qolsHighPassFilterSetDlyLine_AMRWB_16s(line.data(), of(b), order), qolStsNoErr);
        qolsHighPassFilterGetDlyLine_AMRWB_16s(of(b), again.data(), order);
        EXPECT_EQ(line, again);
        Words ya = test::noise16(r, 50, 9000), yb = ya;
        qolsHighPassFilter_AMRWB_16s_ISfs(ya.data(), 50, of(a), 12);
        qolsHighPassFilter_AMRWB_16s_ISfs(yb.data(), 50, of(b), 12);
        EXPECT_EQ(ya, yb);
    }
}

TEST(AmrWbHighPass, RescaledHistoryIsContinuous) {
    Random r;
    HighPass same = make(3), scaled = make(3);
    const Words x = test::noise16(r, 64, 3000), zero(64);
    Words y(64), a(64), b(64);
    qolsHighPassFilter_AMRWB_16s_Sfs(x.data(), y.data(), 64, of(same), 0);
    qolsHighPassFilter_AMRWB_16s_Sfs(x.data(), y.data(), 64, of(scaled), 0);
    qolsHighPassFilter_AMRWB_16s_Sfs(zero.data(), a.data(), 64, of(same), 0);
    qolsHighPassFilter_AMRWB_16s_Sfs(zero.data(), b.data(), 64, of(scaled), -2);
    for (int i = 0; i < 64; ++i) {
        ASSERT_NEAR(b[i], 4 * a[i], 4) << i;
    }
    // The ends of the range of scale factors don't overflow.
    for (const Qol32s s : {INT32_MIN, INT32_MAX, 0}) {
        ASSERT_EQ(qolsHighPassFilter_AMRWB_16s_Sfs(x.data(), y.data(), 64, of(scaled), s),
                  qolStsNoErr);
        Words z = x;
        ASSERT_EQ(qolsHighPassFilter_AMRWB_16s_ISfs(z.data(), 64, of(scaled), s), qolStsNoErr);
    }
}

TEST(AmrWbFilters, DirectFormAtEveryLength) {
    Random r;
    for (int len = 1; len <= 20; ++len) {
        const Words x = test::noise16(r, len + 2, 10000); // no saturation on the way
        const Qol16s taps[2] = {0, static_cast<Qol16s>(uniform(r, -32768, 32767))};
        auto y0 = test::guarded<Qol16s>(static_cast<std::size_t>(len)), y1 = y0;
        y1 = test::guarded<Qol16s>(static_cast<std::size_t>(len));
        qolsHighPassFilter_Direct_AMRWB_16s(taps, x.data() + 1, y0.data, len, 0);
        qolsHighPassFilter_Direct_AMRWB_16s(taps, x.data() + 1, y1.data, len, 1);
        ASSERT_TRUE(test::intact(y0) && test::intact(y1));
        for (int i = 0; i < len; ++i) {
            const double c = taps[1] / 32768.0, both = x[i + 1] - c * (x[i] + x[i + 2]);
            const double inner = x[i + 1] - c * ((i > 0 ? x[i] : 0) + (i < len - 1 ? x[i + 2] : 0));
            ASSERT_NEAR(y1.data[i], std::clamp(both, -32768.0, 32767.0), 1);
            ASSERT_NEAR(y0.data[i], std::clamp(inner, -32768.0, 32767.0), 1);
        }
    }
}

TEST(AmrWbFilters, PreemphasisKeepsTheLastInput) {
    Random r;
    for (int scale = 0; scale <= 15; ++scale) {
        const Words x = test::noise16(r, 33);
        Words y = x;
        Qol16s memory = 1234;
        ASSERT_EQ(qolsPreemphasize_AMRWB_16s_ISfs(22282, y.data(), 33, scale, &memory),
                  qolStsNoErr);
        EXPECT_EQ(memory, x[32]);
        for (int i = 0; i < 33; ++i) {
            const double v =
                (x[i] * 32768.0 - 22282.0 * (i > 0 ? x[i - 1] : 1234)) / std::pow(2.0, scale + 1);
            ASSERT_EQ(y[i], std::clamp(std::floor(v + 0.5), -32768.0, 32767.0));
        }
    }
}

TEST(AmrWbFilters, DeemphasisOfOneSample) {
    Qol16s y = 1000, memory = -500;
    ASSERT_EQ(qolsDeemphasize_AMRWB_NR_16s_I(22282, &y, 1, &memory), qolStsNoErr);
    EXPECT_EQ(y, (1000 * 16384 - 500 * 22282 + 16384) >> 15);
    EXPECT_EQ(memory, y);
    // Full scale saturates instead of wrapping; the low four bits don't count.
    const Qol32s full[3] = {INT32_MAX, INT32_MIN, 15};
    Qol16s out[3];
    memory = 0;
    ASSERT_EQ(qolsDeemphasize_AMRWB_32s16s(11141, full, out, 3, &memory), qolStsNoErr);
    EXPECT_EQ(out[0], 32767);
    EXPECT_EQ(out[1], -32768);
    EXPECT_EQ(out[2], static_cast<Qol16s>((-32768 * 11141 * 4LL + 32768) >> 16));
}

TEST(AmrWbFilters, SynthesisInParts) {
    Random r;
    for (const int order : {1, 4, 16, 20}) {
        Words a(static_cast<std::size_t>(order) + 1);
        a[0] = 4096;
        for (int j = 1; j <= order; ++j) {
            a[j] = static_cast<Qol16s>(uniform(r, -1500, 1500) / j);
        }
        const Words x = test::noise16(r, 256, 500);
        std::vector<Qol32s> whole(static_cast<std::size_t>(order) + 256), parts = whole;
        qolsSynthesisFilter_AMRWB_16s32s_I(a.data(), order, x.data(), whole.data() + order, 256);
        for (int at = 0; at < 256; at += 32) {
            qolsSynthesisFilter_AMRWB_16s32s_I(a.data(), order, x.data() + at,
                                               parts.data() + order + at, 32);
        }
        ASSERT_EQ(whole, parts);
    }
}

TEST(AmrWbFilters, ResidualPathsAgree) {
    Random r;
    for (int round = 0; round < 300; ++round) {
        // Coefficients on both sides of the bound up to which the vector form is taken.
        const int amplitude = 1 << uniform(r, 6, 15);
        Words a = test::noise16(r, 17, amplitude - 1);
        const int len = static_cast<int>(uniform(r, 16, 70)),
                  scale = static_cast<int>(uniform(r, 0, 15));
        const Words x = round % 3 == 0 ? test::extremes16(r, len + 16) : test::noise16(r, len + 16);
        auto y = test::guarded<Qol16s>(static_cast<std::size_t>(len),
                                       static_cast<std::size_t>(round % 8));
        ASSERT_EQ(qolsResidualFilter_AMRWB_16s_Sfs(a.data(), 16, x.data() + 16, y.data, len, scale),
                  qolStsNoErr);
        ASSERT_TRUE(test::intact(y));
        for (int n = 0; n < len; ++n) {
            Qol64s sum = 0;
            for (int j = 0; j <= 16; ++j) {
                sum += Qol64s{a[j]} * x[16 + n - j];
            }
            const Qol64s v = (2 * sum + (Qol64s{1} << scale)) >> (scale + 1);
            ASSERT_EQ(y.data[n], std::clamp<Qol64s>(v, -32768, 32767));
        }
    }
}

// ---- detector and histories ----

struct Detector {
    std::vector<Qol8u> bytes = std::vector<Qol8u>(177);
    Qol16s tone = 0, flag = -1;
};
QolsVadState_AMRWB* of(Detector& d) {
    return reinterpret_cast<QolsVadState_AMRWB*>(d.bytes.data() + 1);
}
Detector makeDetector() {
    Detector d;
    EXPECT_EQ(qolsVADInit_AMRWB_16s(of(d)), qolStsNoErr);
    return d;
}
void run(Detector& d, const Words& frame) {
    ASSERT_EQ(qolsVAD_AMRWB_16s(frame.data(), of(d), &d.tone, &d.flag), qolStsNoErr);
}

TEST(AmrWbVad, SilenceAfterSpeechIsNoSpeechAtOnce) {
    Random r;
    Detector d = makeDetector();
    for (int frame = 0; frame < 30; ++frame) {
        run(d, test::noise16(r, 256, 12000));
    }
    EXPECT_EQ(d.flag, 1);
    run(d, Words(256)); // the power of two frames counts
    EXPECT_EQ(d.flag, 1);
    run(d, Words(256));
    EXPECT_EQ(d.flag, 0);
}

TEST(AmrWbVad, ToneRegisterIsCutInQuietFramesOnly) {
    Random r;
    Detector d = makeDetector();
    d.tone = 0x7FFF;
    run(d, test::noise16(r, 256, 3000));
    EXPECT_EQ(d.tone, 0x7FFF);
    run(d, Words(256));
    EXPECT_EQ(d.tone, 0x7FFF);
    run(d, Words(256));
    EXPECT_EQ(d.tone, 0x1FFF);
}

TEST(AmrWbVad, LevelsFollowABandsTone) {
    // 1 kHz lies in the band from 800 to 1200 Hz, number 4.
    Detector d = makeDetector();
    Words frame(256), level(12);
    for (int n = 0; n < 6; ++n) {
        for (int i = 0; i < 256; ++i) {
            frame[i] =
                static_cast<Qol16s>(8000 * std::sin(2 * M_PI * 1000 * (256 * n + i) / 12800));
        }
        run(d, frame);
    }
    ASSERT_EQ(qolsVADGetEnergyLevel_AMRWB_16s(reinterpret_cast<Qol16s*>(of(d)), level.data()),
              qolStsNoErr);
    EXPECT_EQ(std::max_element(level.begin(), level.end()) - level.begin(), 4);
}

TEST(AmrWbVad, InitLeavesTheStationarityCounter) {
    Detector a, b;
    std::fill(b.bytes.begin(), b.bytes.end(), Qol8u{0x11});
    b.bytes[0] = 0;
    qolsVADInit_AMRWB_16s(of(a));
    qolsVADInit_AMRWB_16s(of(b));
    int different = 0;
    for (std::size_t i = 0; i < a.bytes.size(); ++i) {
        different += a.bytes[i] != b.bytes[i] ? 1 : 0;
    }
    EXPECT_EQ(different, 2); // one word
}

TEST(AmrWbVad, AnyRecordAndInputIsSafe) {
    Random r;
    for (int round = 0; round < 300; ++round) {
        Detector d;
        for (Qol8u& b : d.bytes) {
            b = static_cast<Qol8u>(uniform(r, 0, 255));
        }
        run(d, test::extremes16(r, 256));
        run(d, test::noise16(r, 256));
        ASSERT_TRUE(d.flag == 0 || d.flag == 1);
    }
}

TEST(AmrWbDtx, RingMovesBeforeTheRowIsWritten) {
    Random r;
    const Words frame(256, 16), isf = test::noise16(r, 16);
    Words rows(128), energies(8);
    Qol16s index = 0;
    ASSERT_EQ(
        qolsDecDTXBuffer_AMRWB_16s(frame.data(), isf.data(), &index, rows.data(), energies.data()),
        qolStsNoErr);
    EXPECT_EQ(index, 1);
    EXPECT_TRUE(std::equal(isf.begin(), isf.end(), rows.begin() + 16));
    EXPECT_EQ(energies[1], 16 * 128 - 1024); // 256 * 16^2 = 2^16
    index = 7;
    ASSERT_EQ(qolsEncDTXBuffer_AMRWB_16s(frame.data(), isf.data(), &index, rows.data(),
                                         energies.data(), 13),
              qolStsNoErr);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(energies[0], 16 * 128 - 1024 - 141);
    index = 32767; // not a row: stays inside the ring
    ASSERT_EQ(qolsDecDTXBuffer_AMRWB_16s(Words(256).data(), isf.data(), &index, rows.data(),
                                         energies.data()),
              qolStsNoErr);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(energies[0], -1024);
}

} // namespace
