// SPDX-License-Identifier: Apache-2.0
// qolsc denoise: stationary noise suppressed by the noise filter, and what its detector thought.
#include "audio.h"
#include "commands.h"
#include "denoise.h"
#include "failure.h"
#include "metrics.h"
#include "report.h"

#include <algorithm>
#include <memory>

namespace qolsc::tools {

namespace {

using Samples = std::vector<std::int16_t>;

struct Options {
    std::string in, out, report;
    int level = 5;
    int rawRate = 0;
    bool mix = false;
};

constexpr std::size_t kFrame = 128; ///< of the noise detector

/// A page needs no more than a point every 20 ms: the largest of each.
std::vector<double> thinned(const std::vector<double>& values, std::size_t n) {
    std::vector<double> v;
    for (std::size_t i = 0; i < values.size(); i += n) {
        const auto from = values.begin() + static_cast<std::ptrdiff_t>(i);
        v.push_back(*std::max_element(
            from, from + static_cast<std::ptrdiff_t>(std::min(n, values.size() - i))));
    }
    return v;
}

/// The first times in seconds at which noise was taken; "never" where there is none.
std::string timesTaken(const Denoised& d, int rate) {
    constexpr int kMost = 8;
    std::string text;
    int count = 0;
    for (std::size_t i = 0; i < d.taken.size(); ++i) {
        if (d.taken[i] > 0 && ++count <= kMost) {
            const double end = static_cast<double>((i + 1) * kDenoiseBlock) / rate;
            text += (text.empty() ? "" : ", ") + shown(end, 2);
        }
    }
    return text.empty() ? "never" : text + (count > kMost ? ", ... s" : " s");
}

/// What level 5 made of itself; which decides at the first noise.
std::string choiceOf(const Denoised& d, std::size_t samples, int rate) {
    if (d.lastNoise == 0) {
        return "none yet, as no noise was found";
    }
    return d.off < samples
               ? "off from " + shown(static_cast<double>(d.off) / rate, 2) + " s on: clean input"
               : "level 2";
}

Page reportOf(const Samples& input, const Denoised& d, int rate, int level) {
    Page page{"Noise filter, level " + std::to_string(level), ""};
    const auto taken = std::count(d.taken.begin(), d.taken.end(), 1.0);
    std::vector<std::vector<std::string>> rows{
        {"sample rate", std::to_string(rate) + " Hz"},
        {"frames taken as noise", std::to_string(taken) + " of " + std::to_string(d.taken.size())},
        {"noise taken at", timesTaken(d, rate)}};
    if (taken > 0) {
        rows.push_back({"noise power at the end", shown(d.noisePower.back(), 1) + " dB"});
    }
    if (level == 5) {
        rows.push_back({"choice of level 5", choiceOf(d, input.size(), rate)});
    }
    addTable(page, {}, rows);
    addHeading(page, "Listen");
    addPlayer(page, "Before", input, rate);
    addPlayer(page, "After", d.output, rate);
    addHeading(page, "Spectrograms");
    addSpectrogram(page, "Before", input, rate);
    addSpectrogram(page, "After", d.output, rate);
    addHeading(page, "The noise detector");
    const std::size_t n =
        std::max<std::size_t>(1, static_cast<std::size_t>(rate) / 50 / kDenoiseBlock);
    const double step = static_cast<double>(n * kDenoiseBlock) / rate;
    addLinePlot(page, LinePlot{"Power of the noise known (0 dB: power 1 of 16-bit samples)",
                               "s",
                               "dB",
                               0,
                               step,
                               {{"noise", thinned(d.noisePower, n)}}});
    addLinePlot(page, LinePlot{"Decisions: 1 where a frame became the noise reference",
                               "s",
                               "",
                               0,
                               step,
                               {{"noise taken", thinned(d.taken, n)}},
                               0,
                               1.1});
    if (d.lastNoise >= kFrame && d.lastNoise <= input.size()) {
        const Spectra s =
            powerSpectra(std::span(input).subspan(d.lastNoise - kFrame, kFrame), kFrame, kFrame);
        addLinePlot(page, LinePlot{"Noise spectrum learnt (the frame last taken as noise)",
                                   "Hz",
                                   "dB",
                                   0,
                                   static_cast<double>(rate) / kFrame,
                                   {{"noise", {s.db.begin(), s.db.end()}}}});
    }
    return page;
}

void run(const Options& options) {
    if (options.level < 0 || options.level > 5) {
        fail("--level " + std::to_string(options.level) + ": levels are 0 to 5");
    }
    const RawFormat raw{options.rawRate};
    const Audio audio = readMono(options.in, 0, {options.mix, false}, raw, "denoise");
    const int rate = audio.rate;
    Denoised d;
    if (!denoise(audio.samples, rate, options.level, d)) {
        fail(options.in + ": " + std::to_string(rate) +
             " Hz, but the noise filter takes 8000, 16000, 22050 or 32000 Hz; convert it: sox " +
             (options.in == "-" ? "IN.wav" : options.in) + " -r 16000 OUT.wav");
    }
    writeAudio(options.out, d.output, rate, raw);
    if (!options.report.empty()) {
        writePage(reportOf(audio.samples, d, rate, options.level), options.report);
    }
}

} // namespace

Run setUpDenoise(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("--level", options->level,
                   "Strength: 0 off, 1 to 4 fixed, 5 (default) chosen at the first noise");
    app.add_option(
        "--raw", options->rawRate,
        "Input and output without header: 16-bit little-endian samples at this rate in Hz");
    app.add_flag("--mix", options->mix, "Take the mean of several channels");
    app.add_option("--report", options->report,
                   "Write a self-contained HTML page: players, spectrograms, noise, decisions");
    app.add_option("IN", options->in, "Audio file at 8000, 16000, 22050 or 32000 Hz")->required();
    app.add_option("OUT", options->out, "Filtered audio file")->required();
    return [options] { run(*options); };
}

} // namespace qolsc::tools
