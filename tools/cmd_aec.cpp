// SPDX-License-Identifier: Apache-2.0
// qolsc aec: cancel the far end's echo in the near end, and show how.
#include "aec/canceller.h"
#include "audio.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "report.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>

namespace qolsc::tools {

namespace {

struct Options {
    std::string far, near, out, report, engine = "subband";
    AecSettings settings;
    bool keepResidual = false;
    Adaptation adaptation;
};

using Figures = std::vector<std::vector<std::string>>;

/// Median over blocks of 100 ms: what it is while the near end is silent most of the time.
double medianErle(std::span<const std::int16_t> near, std::span<const std::int16_t> output,
                  int rate) {
    std::vector<double> values = erle(near, output, rate / 10);
    std::erase_if(values, [](double v) { return std::isnan(v); });
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double decibels(std::span<const std::int16_t> before, std::span<const std::int16_t> after) {
    double a = 0, b = 0;
    for (std::size_t n = 0; n < after.size(); ++n) {
        a += double(before[n]) * before[n];
        b += double(after[n]) * after[n];
    }
    return 10 * std::log10(std::max(a, 1.0) / std::max(b, 1.0));
}

Page pageOf(const Options& options, const Figures& figures, const Audio& far, const Audio& near,
            const AecResult& result) {
    const int rate = options.settings.rate;
    const AecTrace& trace = result.trace;
    const double frame = static_cast<double>(trace.frameSize) / rate;
    Page page{"Echo canceller: " + options.engine, ""};
    addTable(page, {}, figures);
    addHeading(page, "Listen");
    addPlayer(page, "Far end", far.samples, rate);
    addPlayer(page, "Near end with echo", near.samples, rate);
    addPlayer(page, "Output", result.output, rate);
    addHeading(page, "Waveforms");
    addWaveform(page, "Far end", far.samples, rate);
    addWaveform(page, "Near end with echo", near.samples, rate);
    addWaveform(page, "Output", result.output, rate);
    addHeading(page, "Over time");
    addLinePlot(page, LinePlot{"Echo return loss enhancement, blocks of 100 ms (gaps: silence)",
                               "s",
                               "dB",
                               0.05,
                               0.1,
                               {{"ERLE", erle(near.samples, result.output, rate / 10)}}});
    addLinePlot(
        page, LinePlot{"Step size, mean of a frame", "s", "dB", 0, frame, {{"step", trace.step}}});
    addLinePlot(page, LinePlot{"Decisions",
                               "s",
                               "",
                               0,
                               frame,
                               {{"factor of the controller", trace.gain},
                                {"double talk", trace.doubleTalk},
                                {"disabled by a tone", trace.disabled}},
                               0,
                               1.6}); // room for the names
    return page;
}

void run(Options options) {
    AecSettings& settings = options.settings;
    settings.engine = aecEngineNamed(options.engine);
    settings.suppress = !options.keepResidual;
    if (settings.rate != 8000 && settings.rate != 16000) {
        fail("--rate is 8000 or 16000");
    }
    if (settings.tailMs < 1 || settings.tailMs > 700) {
        fail("--tail is 1 to 700 ms");
    }
    const Audio far = readMono(options.far, settings.rate, options.adaptation, {}, "the canceller");
    const Audio near =
        readMono(options.near, settings.rate, options.adaptation, {}, "the canceller");
    const auto start = std::chrono::steady_clock::now();
    const AecResult result = cancelEcho(settings, far.samples, near.samples);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    writeAudio(options.out, result.output, settings.rate);

    const auto half = near.samples.size() / 2;
    const std::span<const std::int16_t> before(near.samples), after(result.output);
    const double duration = static_cast<double>(near.samples.size()) / settings.rate;
    const Figures figures = {
        {"engine", options.engine + ", tail " + std::to_string(settings.tailMs) + " ms"},
        {"signal", shown(duration, 2) + " s at " + std::to_string(settings.rate) + " Hz"},
        {"near over output", shown(decibels(before, after), 1) + " dB, second half " +
                                 shown(decibels(before.subspan(half), after.subspan(half)), 1) +
                                 " dB"},
        {"ERLE", "median " + shown(medianErle(before, after, settings.rate), 1) +
                     " dB of the blocks of 100 ms that aren't silent"},
        {"speed", shown(duration / std::max(seconds, 1e-9), 0) + " x real time"}};
    for (const auto& figure : figures) {
        std::fprintf(options.out == "-" ? stderr : stdout, "%-18s %s\n", figure[0].c_str(),
                     figure[1].c_str());
    }
    if (!options.report.empty()) {
        writePage(pageOf(options, figures, far, near, result), options.report);
    }
}

} // namespace

Run setUpAec(CLI::App& app) {
    auto options = std::make_shared<Options>();
    AecSettings& s = options->settings;
    app.add_option("--engine", options->engine, aecEngineNames())->capture_default_str();
    app.add_option("--rate", s.rate, "Sample rate, 8000 or 16000")->capture_default_str();
    app.add_option("--tail", s.tailMs, "Echo path that is covered, ms")->capture_default_str();
    app.add_flag("--low-delay", s.lowDelay,
                 "Sub-bands: 13 ms in place of 48 ms, in twice the time");
    app.add_flag("--keep-residual", options->keepResidual, "No residual suppression");
    app.add_flag("--mix", options->adaptation.mix, "Take the mean of several channels");
    app.add_flag("--resample", options->adaptation.resample, "Convert other sample rates");
    app.add_option(
        "--report", options->report,
        "Write a self-contained HTML page: players, waveforms, ERLE, step sizes, decisions");
    app.add_option("FAR", options->far, "Far end: what the loudspeaker plays")->required();
    app.add_option("NEAR", options->near, "Near end: what the microphone hears")->required();
    app.add_option("OUT", options->out, "Near end without the echo")->required();
    return [options] { run(*options); };
}

} // namespace qolsc::tools
