// SPDX-License-Identifier: Apache-2.0
// qolsc alc: speech brought to a target level by the level control (ITU-T G.169).
#include "audio.h"
#include "commands.h"
#include "failure.h"
#include "report.h"

#include "qolsc.h"

#include <cmath>
#include <limits>
#include <memory>

namespace qolsc::tools {

namespace {

using Samples = std::vector<std::int16_t>;

struct Options {
    std::string in, out, report;
    double target = 26.1, maxGain = 11.6, clip = 0;
    int rawRate = 0;
    Adaptation adaptation;
};

constexpr int kRate = 8000;
constexpr std::size_t kBlock = 8;

Samples controlled(const Options& options, Samples samples) {
    Qol32s size = 0;
    qolsALCGetStateSize_G169_16s(&size);
    std::vector<std::uint8_t> memory(static_cast<std::size_t>(size));
    auto* state = reinterpret_cast<QolsALCState_G169_16s*>(memory.data());
    qolsALCInit_G169_16s(state);
    qolsALCSetLevel_G169_16s(state, static_cast<Qol32f>(options.target),
                             static_cast<Qol32f>(options.clip));
    qolsALCSetGain_G169_16s(state, static_cast<Qol32f>(options.maxGain));
    const std::size_t length = samples.size();
    samples.resize((length + kBlock - 1) / kBlock * kBlock, 0);
    for (std::size_t i = 0; i < samples.size(); i += kBlock) {
        qolsALC_G169_16s(&samples[i], &samples[i], kBlock, state);
    }
    samples.resize(length);
    return samples;
}

constexpr double kLowest = -80; ///< dB on the page

/// Decibels to full scale of each 20 ms; NaN where there is nothing.
std::vector<double> levels(const Samples& samples) {
    constexpr std::size_t n = kRate / 50;
    std::vector<double> v;
    for (std::size_t i = 0; i + n <= samples.size(); i += n) {
        double sum = 0;
        for (std::size_t k = i; k < i + n; ++k) {
            sum += static_cast<double>(samples[k]) * samples[k];
        }
        v.push_back(sum > 0 ? 10 * std::log10(sum / n / (32768.0 * 32768.0))
                            : std::numeric_limits<double>::quiet_NaN());
    }
    return v;
}

std::vector<double> cutOff(std::vector<double> levels) {
    for (double& level : levels) {
        level = level < kLowest ? kLowest : level;
    }
    return levels;
}

Page reportOf(const Options& options, const Samples& input, const Samples& output) {
    Page page{"Level control", ""};
    addTable(page, {},
             {{"target", shown(options.target, 1) + " dB below full scale"},
              {"largest gain", shown(options.maxGain, 1) + " dB"},
              {"clip level", shown(options.clip, 1) + " dB below full scale"}});
    addHeading(page, "Listen");
    addPlayer(page, "Before", input, kRate);
    addPlayer(page, "After", output, kRate);
    const std::vector<double> before = levels(input), after = levels(output);
    std::vector<double> gain(before.size());
    for (std::size_t i = 0; i < gain.size(); ++i) {
        gain[i] = after[i] - before[i];
    }
    addHeading(page, "Level and gain");
    addLinePlot(page, LinePlot{"Level of each 20 ms to full scale, -80 dB and more (gaps: silence)",
                               "s",
                               "dB",
                               0.01,
                               0.02,
                               {{"before", cutOff(before)},
                                {"after", cutOff(after)},
                                {"target", std::vector<double>(before.size(), -options.target)}},
                               kLowest,
                               0});
    addLinePlot(page, LinePlot{"Gain of each 20 ms", "s", "dB", 0.01, 0.02, {{"gain", gain}}});
    addHeading(page, "Waveforms");
    addWaveform(page, "Before", input, kRate);
    addWaveform(page, "After", output, kRate);
    return page;
}

void alc(const Options& options) {
    const std::pair<const char*, double> decibels[] = {
        {"--target", options.target}, {"--max-gain", options.maxGain}, {"--clip", options.clip}};
    for (const auto& [name, value] : decibels) {
        if (!(value >= 0 && value <= 96)) {
            fail(std::string(name) + " takes 0 to 96 dB");
        }
    }
    const Audio audio =
        readMono(options.in, kRate, options.adaptation, RawFormat{options.rawRate}, "alc");
    const Samples output = controlled(options, audio.samples);
    writeAudio(options.out, output, kRate, RawFormat{options.rawRate});
    if (!options.report.empty()) {
        writePage(reportOf(options, audio.samples, output), options.report);
    }
}

} // namespace

Run setUpAlc(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("--target", options->target,
                   "Speech level wanted, dB below full scale (26.1 by default)");
    app.add_option("--max-gain", options->maxGain, "Largest gain in dB (11.6 by default)");
    app.add_option("--clip", options->clip,
                   "Largest magnitude, dB below full scale (0 by default)");
    app.add_option(
        "--raw", options->rawRate,
        "Input and output without header: 16-bit little-endian samples at this rate in Hz");
    app.add_flag("--mix", options->adaptation.mix, "Take the mean of several channels");
    app.add_flag("--resample", options->adaptation.resample, "Convert the sample rate");
    app.add_option("--report", options->report,
                   "Write a self-contained HTML page: players, plots of level and gain");
    app.add_option("IN", options->in, "Audio file at 8000 Hz")->required();
    app.add_option("OUT", options->out, "Audio file at the level wanted")->required();
    return [options] { alc(*options); };
}

} // namespace qolsc::tools
