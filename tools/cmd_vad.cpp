// SPDX-License-Identifier: Apache-2.0
// qolsc vad: where the voice activity detectors of AMR and AMR-WB hear speech.
#include "audio.h"
#include "codecs/vad.h"
#include "commands.h"
#include "failure.h"
#include "report.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace qolsc::tools {

namespace {

using Samples = std::vector<std::int16_t>;
using Table = std::vector<std::vector<std::string>>;

struct Options {
    std::string in, report, detector = "amr1";
    int rawRate = 0;
    Adaptation adaptation;
};

const Vad& vadNamed(const std::string& name) {
    const Vad* vad = findVad(name);
    if (vad == nullptr) {
        std::string names;
        for (const Vad& v : allVads()) {
            names += (names.empty() ? "" : ", ") + std::string(v.name);
        }
        fail("no detector '" + name + "'; there are " + names);
    }
    return *vad;
}

std::vector<Stretch> speechStretches(const std::vector<bool>& flags, double seconds) {
    std::vector<Stretch> stretches;
    for (const VadRun& run : speechRuns(flags)) {
        stretches.push_back({static_cast<double>(run.from) * kVadFrame,
                             std::min(static_cast<double>(run.to) * kVadFrame, seconds)});
    }
    return stretches;
}

Table figuresOf(const Vad& vad, const std::vector<bool>& flags,
                const std::vector<Stretch>& stretches, double seconds) {
    const auto active = static_cast<double>(std::count(flags.begin(), flags.end(), true));
    const double part = 100 * active / static_cast<double>(flags.size());
    return {{"detector", vad.name + std::string(": ") + vad.title},
            {"signal", shown(seconds, 2) + " s at " + std::to_string(vad.rate) + " Hz, " +
                           std::to_string(flags.size()) + " frames"},
            {"speech", shown(part, 1) + " % of the frames, " + std::to_string(stretches.size()) +
                           (stretches.size() == 1 ? " stretch" : " stretches")},
            {"no speech", shown(100 - part, 1) + " %"}};
}

Table rowsOf(const std::vector<Stretch>& stretches) {
    Table rows;
    for (const Stretch& s : stretches) {
        rows.push_back({shown(s.from, 2), shown(s.to, 2), shown(s.to - s.from, 2)});
    }
    return rows;
}

/// The samples of flagged frames, silence in place of all others.
Samples onlySpeech(const Samples& samples, const std::vector<bool>& flags, int rate) {
    Samples out(samples);
    const auto frame = static_cast<std::size_t>(rate * kVadFrame);
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = flags[i / frame] ? out[i] : std::int16_t{0};
    }
    return out;
}

void run(const Options& options) {
    const Vad& vad = vadNamed(options.detector);
    const Audio audio = readMono(options.in, vad.rate, options.adaptation,
                                 RawFormat{options.rawRate}, "the detector " + options.detector);
    const Samples& samples = audio.samples;
    const std::vector<bool> flags = vad.run(samples);
    const double seconds = static_cast<double>(samples.size()) / vad.rate;
    const std::vector<Stretch> stretches = speechStretches(flags, seconds);
    const Table figures = figuresOf(vad, flags, stretches, seconds), rows = rowsOf(stretches);
    for (const auto& figure : figures) {
        std::printf("%-10s %s\n", figure[0].c_str(), figure[1].c_str());
    }
    if (!rows.empty()) {
        std::printf("%8s %8s %8s\n", "from s", "to s", "length");
    }
    for (const auto& row : rows) {
        std::printf("%8s %8s %8s\n", row[0].c_str(), row[1].c_str(), row[2].c_str());
    }
    if (options.report.empty()) {
        return;
    }
    Page page{"Voice activity: " + std::string(vad.title), ""};
    addTable(page, {}, figures);
    addHeading(page, "Decisions");
    addWaveform(page, "Waveform, speech marked", samples, vad.rate, stretches);
    addSpectrogram(page, "Spectrogram", samples, vad.rate);
    addHeading(page, "Listen");
    addPlayer(page, "All", samples, vad.rate);
    addPlayer(page, "Speech only", onlySpeech(samples, flags, vad.rate), vad.rate);
    addHeading(page, "Stretches of speech");
    Table numbered;
    for (const auto& row : rows) {
        numbered.push_back({std::to_string(numbered.size() + 1), row[0], row[1], row[2]});
    }
    addTable(page, {"", "from s", "to s", "length s"}, numbered);
    writePage(page, options.report);
}

} // namespace

Run setUpVad(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("--detector", options->detector,
                   "amr1, amr2 (AMR, options 1 and 2) or amrwb (AMR-WB)")
        ->capture_default_str();
    app.add_option("--raw", options->rawRate,
                   "Input without header: 16-bit little-endian samples at this rate in Hz");
    app.add_flag("--mix", options->adaptation.mix, "Take the mean of several channels");
    app.add_flag("--resample", options->adaptation.resample, "Convert the sample rate");
    app.add_option("--report", options->report,
                   "Write a self-contained HTML page: waveform with the decisions, players");
    app.add_option("IN", options->in, "Audio file at 8000 Hz, for amrwb at 16000 Hz")->required();
    return [options] { run(*options); };
}

} // namespace qolsc::tools
