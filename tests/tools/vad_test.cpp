// SPDX-License-Identifier: Apache-2.0
// The voice activity detectors on a labelled scene, and against the frames of their encoders.
#include "codecs/codec.h"
#include "codecs/vad.h"
#include "coding.h"
#include "kit/data.h"

#include "qolsc/amr.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace qolsc::tools;
using namespace qolsc::test;
using Samples = std::vector<std::int16_t>;

// ---- a scene: silence, speech, silence, noise, speech in this noise at 10 dB, noise ----

/// Begin and end in seconds.
struct Label {
    double from, to;
};

/// A recording, and where it holds speech: read by eye off the level of each 40 ms, which lies
/// above 100 (root mean square) there and below 50 in the pauses; closures of stops inside a word
/// count as speech.
struct Recording {
    const char* file;
    double end; ///< of what is taken, s
    std::vector<Label> speech;
};
const Recording kNarrow = {
    "gsm/sequences/speech_a.inp", 5.0, {{0.24, 1.40}, {1.54, 3.42}, {3.52, 4.62}, {4.72, 4.98}}};
const Recording kWide = {"amrwb/sequences/speech.inp", 5.0, {{0.0, 2.74}, {3.08, 5.0}}};

// Seconds of the scene in front of the clean and of the noisy speech; noise begins in between.
constexpr double kSilence = 2, kClean = kSilence;
constexpr double noiseFrom(const Recording& r) { return kClean + r.end + kSilence; }
constexpr double noisyFrom(const Recording& r) { return noiseFrom(r) + 4; }

struct Scene {
    Samples samples;
    std::vector<Label> speech;
    double noiseFrom, noisyFrom;
};

Scene makeScene(const Recording& recording, int rate) {
    const auto at = [rate](double seconds) {
        return static_cast<std::size_t>(std::lround(seconds * rate));
    };
    const Samples pcm = readWords(recording.file);
    Scene scene{{}, {}, noiseFrom(recording), noisyFrom(recording)};
    const double end = scene.noisyFrom + recording.end + 2;
    std::vector<double> sum(at(end));
    double energy = 0, speechSamples = 0;
    for (const double from : {kClean, scene.noisyFrom}) {
        for (std::size_t i = 0; i < at(recording.end); ++i) {
            sum[at(from) + i] = pcm[i] * 0.5;
        }
        for (const Label& label : recording.speech) {
            scene.speech.push_back({from + label.from, from + label.to});
            for (std::size_t i = at(label.from); i < at(label.to); ++i) {
                energy += pcm[i] * 0.5 * pcm[i] * 0.5;
            }
            speechSamples += (label.to - label.from) * rate;
        }
    }
    // White noise 10 dB below the speech; a recording's silence is some noise of its own.
    const double peak = std::sqrt(3 * energy / speechSamples / 10);
    Random r;
    for (std::size_t i = 0; i < sum.size(); ++i) {
        const double least = i < at(scene.noiseFrom) ? 5 : peak;
        scene.samples.push_back(static_cast<std::int16_t>(
            std::lround(std::clamp(sum[i] + uniformReal(r, -least, least), -32768.0, 32767.0))));
    }
    return scene;
}

bool isWithin(double time, const std::vector<Label>& labels, double longer) {
    return std::any_of(labels.begin(), labels.end(), [&](const Label& label) {
        return time >= label.from && time < label.to + longer;
    });
}

/// Per cent of the frames of speech that were found, and of those without that were taken for some.
struct Score {
    double cleanHits, noisyHits, falseAlarms;
};

Score scoreOf(const std::vector<bool>& flags, const Scene& scene) {
    int clean[2] = {}, noisy[2] = {}, pause[2] = {};
    for (std::size_t n = 0; n < flags.size(); ++n) {
        const double middle = (static_cast<double>(n) + 0.5) * kVadFrame;
        if (isWithin(middle, scene.speech, 0)) {
            int* count = middle < scene.noiseFrom ? clean : noisy;
            ++count[0];
            count[1] += flags[n];
        } else if (!isWithin(middle, scene.speech, 0.2) &&                           // hangover
                   !(middle >= scene.noiseFrom && middle < scene.noiseFrom + 2.4)) { // new to it
            ++pause[0];
            pause[1] += flags[n];
        }
    }
    const auto percent = [](const int* count) { return 100.0 * count[1] / count[0]; };
    return {percent(clean), percent(noisy), percent(pause)};
}

struct Bound {
    const char* detector;
    const Recording* recording;
    Score score; ///< least, least, most
};

class VadScene : public testing::TestWithParam<Bound> {};

TEST_P(VadScene, HitsAndFalseAlarms) {
    const Bound& bound = GetParam();
    const Vad& vad = *findVad(bound.detector);
    const Scene scene = makeScene(*bound.recording, vad.rate);
    const std::vector<bool> flags = vad.run(scene.samples);
    ASSERT_EQ(flags.size(), scene.samples.size() / (vad.rate / 50));
    const Score score = scoreOf(flags, scene);
    EXPECT_GE(score.cleanHits, bound.score.cleanHits);
    EXPECT_GE(score.noisyHits, bound.score.noisyHits);
    EXPECT_LE(score.falseAlarms, bound.score.falseAlarms);
}

INSTANTIATE_TEST_SUITE_P(All, VadScene,
                         testing::Values(Bound{"amr1", &kNarrow, {95, 90, 2}},
                                         Bound{"amr2", &kNarrow, {95, 90, 2}},
                                         Bound{"amrwb", &kWide, {95, 90, 2}}),
                         [](const auto& info) { return std::string(info.param.detector); });

// ---- the same flags as inside the encoders ----

std::vector<Frame> framesOf(const char* codecName, const char* detector, const Samples& samples) {
    CodecSettings settings;
    settings.dtx = true;
    settings.detector = detector;
    return encodeAll(*findCodec(codecName), settings, samples);
}

TEST(Vad, FlagsGiveTheEncodersFrames) {
    const Scene scene = makeScene(kNarrow, 8000);
    for (const char* detector : {"amr1", "amr2"}) {
        const auto frames = framesOf("amr-12.2", detector, scene.samples);
        const auto flags = findVad(detector)->run(scene.samples);
        ASSERT_EQ(frames.size(), flags.size());
        Qol16s hang = 7, elapsed = 32767;
        for (std::size_t n = 0; n < flags.size(); ++n) {
            Qol16s mode = 12, update;
            qolsEncDTXHandler_GSMAMR_16s(&hang, &elapsed, &mode, &update, flags[n] ? 1 : 0);
            ASSERT_EQ(frames[n].kind == FrameKind::speech, mode == 12) << detector << " " << n;
        }
    }
}

TEST(Vad, WidebandFlagIsTheFirstBitOfASpeechFrame) {
    const Scene scene = makeScene(kWide, 16000);
    const auto frames = framesOf("amrwb-12.65", "", scene.samples);
    const auto flags = findVad("amrwb")->run(scene.samples);
    ASSERT_EQ(frames.size(), flags.size());
    int noise = 0;
    for (std::size_t n = 0; n < flags.size(); ++n) {
        if (frames[n].kind == FrameKind::speech) {
            ASSERT_EQ(frames[n].payload[0] >> 7 != 0, flags[n]) << n;
        } else {
            ASSERT_FALSE(flags[n]) << n;
            ++noise;
        }
    }
    EXPECT_GT(noise, 100);
}

TEST(Vad, RunsOfFlags) {
    EXPECT_TRUE(speechRuns({}).empty());
    EXPECT_TRUE(speechRuns({false, false}).empty());
    const auto runs = speechRuns({true, false, true, true, false, true});
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[1].from, 2u);
    EXPECT_EQ(runs[1].to, 4u);
    EXPECT_EQ(runs[2].to, 6u);
}

TEST(Vad, LastFrameIsFilledUp) {
    for (const Vad& vad : allVads()) {
        const auto frame = static_cast<std::size_t>(vad.rate) / 50;
        EXPECT_EQ(vad.run({}).size(), 0u);
        EXPECT_EQ(vad.run(Samples(frame)).size(), 1u);
        EXPECT_EQ(vad.run(Samples(frame + 1)).size(), 2u);
    }
}

} // namespace
