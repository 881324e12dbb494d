// SPDX-License-Identifier: Apache-2.0
// qolsc denoise: stationary noise suppressed by the noise filter, and what its detector thought.
#include "audio.h"
#include "commands.h"
#include "failure.h"
#include "metrics.h"
#include "report.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

constexpr std::size_t kBlock = 16, kFrame = 128;
constexpr std::size_t kDelay = 56; ///< of the filter at every level but 0

struct Denoised {
    Samples output;                 ///< aligned with the input, of its length
    std::vector<double> noisePower; ///< dB, one a block
    std::vector<double> taken;      ///< 1 where a block's frame became the noise reference
    std::size_t lastNoise = 0;      ///< end of the frame last taken as noise; 0: there was none
};

void filterBlock(QolsFilterNoiseState_EC_32f* state, const std::int16_t* block, Denoised& d) {
    Qol32f x[kBlock], dc = 0;
    Qol64f power = 0;
    Qol32s taken = 0;
    std::copy_n(block, kBlock, x);
    qolsFilterNoiseDetect_EC_32f64f(x, &power, &dc, &taken, state);
    // The detector has taken the block in and set the reference.
    qolsFilterNoise_EC_32f_I(x, -1, state);
    for (const Qol32f v : x) {
        d.output.push_back(
            static_cast<std::int16_t>(std::lrint(std::clamp(v, -32768.0f, 32767.0f))));
    }
    d.noisePower.push_back(power > 0 ? 10 * std::log10(power)
                                     : std::numeric_limits<double>::quiet_NaN());
    d.taken.push_back(taken);
    if (taken) {
        d.lastNoise = d.taken.size() * kBlock;
    }
}

Denoised denoised(Samples input, int rate, int level) {
    Qol32s size = 0;
    if (qolsFilterNoiseGetStateSize_EC_32f(rate, &size) != qolStsNoErr) {
        fail("the noise filter takes 8000, 16000, 22050 or 32000 Hz, not " + std::to_string(rate) +
             " Hz; convert the input, e.g. sox IN.wav -r 16000 OUT.wav");
    }
    std::vector<std::uint64_t> memory((static_cast<std::size_t>(size) + 7) / 8);
    auto* state = reinterpret_cast<QolsFilterNoiseState_EC_32f*>(memory.data());
    qolsFilterNoiseInit_EC_32f(rate, state);
    qolsFilterNoiseLevel_EC_32f(level, state);
    const std::size_t length = input.size(), delay = level == 0 ? 0 : kDelay;
    // Silence behind the end pushes the last samples through the delay.
    input.resize((length + delay + kBlock - 1) / kBlock * kBlock, 0);
    Denoised d;
    for (std::size_t i = 0; i < input.size(); i += kBlock) {
        filterBlock(state, &input[i], d);
    }
    d.output.erase(d.output.begin(), d.output.begin() + static_cast<std::ptrdiff_t>(delay));
    d.output.resize(length);
    return d;
}

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

Page reportOf(const Samples& input, const Denoised& d, int rate, int level) {
    Page page{"Noise filter, level " + std::to_string(level), ""};
    const auto taken = std::count(d.taken.begin(), d.taken.end(), 1.0);
    addTable(
        page, {},
        {{"sample rate", std::to_string(rate) + " Hz"},
         {"frames taken as noise", std::to_string(taken) + " of " + std::to_string(d.taken.size())},
         {"noise power at the end", shown(d.noisePower.back(), 1) + " dB"}});
    addHeading(page, "Listen");
    addPlayer(page, "Before", input, rate);
    addPlayer(page, "After", d.output, rate);
    addHeading(page, "Spectrograms");
    addSpectrogram(page, "Before", input, rate);
    addSpectrogram(page, "After", d.output, rate);
    addHeading(page, "The noise detector");
    const std::size_t n = std::max<std::size_t>(1, static_cast<std::size_t>(rate) / 50 / kBlock);
    const double step = static_cast<double>(n * kBlock) / rate;
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
        addLinePlot(page, LinePlot{"Spectrum of the frame last taken as noise",
                                   "Hz",
                                   "dB",
                                   0,
                                   static_cast<double>(rate) / kFrame,
                                   {{"noise", {s.db.begin(), s.db.end()}}}});
    }
    return page;
}

void denoise(const Options& options) {
    if (options.level < 0 || options.level > 5) {
        fail("--level " + std::to_string(options.level) + ": levels are 0 to 5");
    }
    const RawFormat raw{options.rawRate};
    const Audio audio = readMono(options.in, 0, {options.mix, false}, raw, "denoise");
    const int rate = audio.rate;
    const Denoised d = denoised(audio.samples, rate, options.level);
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
    app.add_option("--raw", options->rawRate, "Input without header, 16 bits, at this rate");
    app.add_flag("--mix", options->mix, "Take the mean of several channels");
    app.add_option("--report", options->report,
                   "Write a self-contained HTML page: players, spectrograms, noise, decisions");
    app.add_option("IN", options->in, "Audio file at 8000, 16000, 22050 or 32000 Hz")->required();
    app.add_option("OUT", options->out, "Filtered audio file")->required();
    return [options] { denoise(*options); };
}

} // namespace qolsc::tools
