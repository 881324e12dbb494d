// SPDX-License-Identifier: Apache-2.0
// qolsc aec-scene: the near end that a canceller would hear, made from recordings.
#include "aec/scene.h"
#include "audio.h"
#include "commands.h"
#include "failure.h"

#include <memory>

namespace qolsc::tools {

namespace {

struct Options {
    std::string far, near, talk, echo;
    SceneSettings scene;
    Adaptation adaptation;
};

void run(const Options& options) {
    SceneSettings settings = options.scene;
    if (settings.rate != 8000 && settings.rate != 16000) {
        fail("--rate is 8000 or 16000");
    }
    if (!(settings.roomMs > 0 && settings.roomMs <= 1000) ||
        !(settings.delayMs >= 0 && settings.delayMs <= 1000)) {
        fail("--room is above 0, --delay not below, and both are at most 1000 ms");
    }
    if (!(settings.talkFrom >= 0 && settings.changeAt >= 0)) {
        fail("--talk-from and --change-at are seconds from 0 on");
    }
    if (std::isnan(settings.noiseDb + settings.echoDb + settings.talkDb)) {
        fail("--noise, --echo-level and --talk-level are levels in dB");
    }
    const Audio far = readMono(options.far, settings.rate, options.adaptation, {}, "the scene");
    Audio talk;
    if (!options.talk.empty()) {
        talk = readMono(options.talk, settings.rate, options.adaptation, {}, "the scene");
    }
    const Scene scene = makeScene(settings, far.samples, talk.samples);
    writeAudio(options.near, scene.near, settings.rate);
    if (!options.echo.empty()) {
        writeAudio(options.echo, scene.echo, settings.rate);
    }
}

} // namespace

Run setUpAecScene(CLI::App& app) {
    auto options = std::make_shared<Options>();
    SceneSettings& s = options->scene;
    app.add_option("--rate", s.rate, "Sample rate, 8000 or 16000")->capture_default_str();
    app.add_option("--room", s.roomMs, "Length of the room's response, ms")->capture_default_str();
    app.add_option("--delay", s.delayMs, "Delay in front of it, ms")->capture_default_str();
    app.add_option("--echo-level", s.echoDb, "Level of the echo under the far end, dB")
        ->capture_default_str();
    app.add_option("--noise", s.noiseDb,
                   "Level of noise over full scale, dB (no noise by default)");
    app.add_option("--talk", options->talk, "Speech of the near end");
    app.add_option("--talk-from", s.talkFrom, "When it begins, s")->capture_default_str();
    app.add_option("--talk-level", s.talkDb, "Gain on it, dB")->capture_default_str();
    app.add_option("--change-at", s.changeAt, "When the echo path changes, s (never by default)");
    app.add_option("--seed", s.seed, "Of the noise")->capture_default_str();
    app.add_option("--echo", options->echo, "Also write the echo alone");
    app.add_flag("--mix", options->adaptation.mix, "Take the mean of several channels");
    app.add_flag("--resample", options->adaptation.resample, "Convert other sample rates");
    app.add_option("FAR", options->far, "Far end")->required();
    app.add_option("NEAR", options->near, "Near end to be written")->required();
    return [options] { run(*options); };
}

} // namespace qolsc::tools
