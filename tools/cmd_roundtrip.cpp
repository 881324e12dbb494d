// SPDX-License-Identifier: Apache-2.0
// qolsc roundtrip: encode, lose frames if asked to, decode, and tell what the codec did to the
// speech.
#include "codec_options.h"
#include "failure.h"
#include "files.h"
#include "metrics.h"
#include "report.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>
#include <memory>

namespace qolsc::tools {

namespace {

using Samples = std::vector<std::int16_t>;
using Figures = std::vector<std::vector<std::string>>;

struct Roundtrip {
    Samples input;
    Samples output; ///< aligned with the input, of its length
    Samples muted; ///< the same with silence for lost frames in place of concealment; empty without
                   ///< losses
    std::size_t frames = 0;
    std::size_t codedSamples = 0; ///< what the frames stand for
    std::size_t lost = 0;
    double bits = 0; ///< of all frames
    double encodeSeconds = 0;
    double decodeSeconds = 0;
};

/// Expands decoded companded octets for those who listen and measure.
Samples linearOf(const Samples& decoded, Law law) {
    Samples linear(decoded.size());
    std::transform(decoded.begin(), decoded.end(), linear.begin(), [law](std::int16_t sample) {
        return expand(law, static_cast<std::uint8_t>(sample));
    });
    return linear;
}

/// Processor time: other work on the machine doesn't count.
double secondsSince(std::clock_t start) {
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Takes the codec's delay away and brings the signal to the input's length.
void align(Samples& decoded, std::size_t delay, std::size_t length) {
    decoded.erase(decoded.begin(),
                  decoded.begin() + static_cast<std::ptrdiff_t>(std::min(delay, decoded.size())));
    decoded.resize(length, 0);
}

/// `decoded` takes what the decoder gave, in its own law.
Roundtrip runThrough(const Codec& codec, const CodecSettings& settings, Samples input, double loss,
                     std::uint32_t seed, Samples& decoded) {
    Roundtrip trip;
    const std::size_t length = input.size();
    const auto delay = static_cast<std::size_t>(codec.delay);
    // Silence behind the end pushes the last samples through the codec's delay.
    input.resize(length + delay, 0);
    CodecSettings encoderSettings = settings;
    encoderSettings.law = Law::linear;

    auto start = std::clock();
    std::vector<Frame> frames = encodeAll(codec, encoderSettings, input);
    trip.encodeSeconds = secondsSince(start);
    trip.frames = frames.size();
    for (const Frame& frame : frames) {
        trip.bits += frame.bits;
    }
    trip.lost = loseFrames(frames, loss, seed);
    start = std::clock();
    decoded = decodeAll(codec, settings, frames);
    trip.decodeSeconds = secondsSince(start);
    trip.codedSamples = decoded.size();
    align(decoded, delay, length);
    if (trip.lost > 0) {
        trip.muted = decodeAll(codec, encoderSettings, frames, LostFrames::mute);
        align(trip.muted, delay, length);
    }
    input.resize(length);
    trip.input = std::move(input);
    trip.output = settings.law == Law::linear ? decoded : linearOf(decoded, settings.law);
    return trip;
}

Figures figuresOf(const Codec& codec, const std::string& inputName, const Roundtrip& trip) {
    const double seconds = static_cast<double>(trip.input.size()) / codec.sampleRate;
    const double coded = static_cast<double>(trip.codedSamples) / codec.sampleRate;
    const Quality quality = compare(trip.input, trip.output, codec.sampleRate);
    Figures figures = {
        {"codec", std::string(codec.name) + ", " + codec.title},
        {"input", inputName + ", " + shown(seconds, 2) + " s at " +
                      std::to_string(codec.sampleRate) + " Hz"},
        {"bit rate", shown(trip.bits / std::max(coded, 1e-9) / 1000, 2) + " kbit/s"},
        {"segmental SNR", shown(quality.segmentalSnr, 2) + " dB"},
        {"log-spectral distance", shown(quality.logSpectralDistance, 2) + " dB"},
        {"speed", shown(seconds / std::max(trip.encodeSeconds + trip.decodeSeconds, 1e-9), 0) +
                      " x real time (encoder " +
                      shown(seconds / std::max(trip.encodeSeconds, 1e-9), 0) + ", decoder " +
                      shown(seconds / std::max(trip.decodeSeconds, 1e-9), 0) + ")"},
    };
    if (trip.lost > 0) {
        figures.push_back(
            {"lost frames", std::to_string(trip.lost) + " of " + std::to_string(trip.frames)});
        const Quality muted = compare(trip.input, trip.muted, codec.sampleRate);
        figures.push_back({"muted instead", "segmental SNR " + shown(muted.segmentalSnr, 2) +
                                                " dB with silence for the lost frames"});
    }
    return figures;
}

Samples difference(const Samples& a, const Samples& b) {
    Samples d(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        d[i] = static_cast<std::int16_t>(std::clamp(b[i] - a[i], -32768, 32767));
    }
    return d;
}

Page reportOf(const Codec& codec, const Figures& figures, const Roundtrip& trip) {
    Page page{std::string(codec.title) + ": round trip", ""};
    addTable(page, {}, figures);
    const int rate = codec.sampleRate;
    std::vector<std::pair<const char*, Samples>> signals = {
        {"Input", trip.input},
        {"Output", trip.output},
        {"Difference (output - input)", difference(trip.input, trip.output)}};
    std::vector<Series> snr = {{"SNR", segmentSnr(trip.input, trip.output, rate)}};
    if (trip.lost > 0) {
        signals.emplace_back("Output with lost frames muted, for comparison", trip.muted);
        snr.push_back({"lost frames muted", segmentSnr(trip.input, trip.muted, rate)});
    }
    addHeading(page, "Listen");
    for (const auto& [name, samples] : signals) {
        addPlayer(page, name, samples, rate);
    }
    addHeading(page, "Waveforms");
    for (const auto& [name, samples] : signals) {
        addWaveform(page, name, samples, rate);
    }
    addLinePlot(page,
                LinePlot{"SNR of each 20 ms (gaps: silent input)", "s", "dB", 0.01, 0.02, snr});
    addHeading(page, "Spectrograms");
    for (const auto& [name, samples] : signals) {
        addSpectrogram(page, name, samples, rate);
    }
    addText(page, "Colours span 80 dB, the same in all.");
    return page;
}

void roundtrip(const CodecOptions& options) {
    const Codec& codec = codecNamed(options.codec);
    const CodecSettings settings = settingsOf(options, codec);
    const RawFormat raw = rawFormatOf(options, codec);
    const double loss = lossOf(options);
    Audio audio = readMono(options.in, codec.sampleRate, options.adaptation, raw, codec.name);
    Samples decoded;
    const Roundtrip trip =
        runThrough(codec, settings, std::move(audio.samples), loss, options.seed, decoded);
    if (!options.out.empty()) {
        writeAudio(options.out, decoded, codec.sampleRate, raw);
    }
    const Figures figures = figuresOf(codec, shownName(options.in, true), trip);
    for (const auto& figure : figures) {
        std::fprintf(options.out == "-" ? stderr : stdout, "%-22s %s\n", figure[0].c_str(),
                     figure[1].c_str());
    }
    if (!options.report.empty()) {
        writePage(reportOf(codec, figures, trip), options.report);
    }
}

} // namespace

Run setUpRoundtrip(CLI::App& app) {
    auto options = std::make_shared<CodecOptions>();
    addCodecOptions(app, *options);
    addEncoderOptions(app, *options);
    addDecoderOptions(app, *options);
    app.add_option("--report", options->report,
                   "Write a self-contained HTML page: figures, players, waveforms, spectrograms");
    app.add_option("IN", options->in,
                   "WAV, AU, FLAC or, with --raw, raw samples; - is standard input")
        ->required();
    app.add_option("OUT", options->out,
                   "Decoded audio file; - is standard output, none: figures only");
    return [options] { roundtrip(*options); };
}

} // namespace qolsc::tools
