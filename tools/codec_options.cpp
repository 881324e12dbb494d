// SPDX-License-Identifier: Apache-2.0
// Options that the codec sub-commands share.
#include "codec_options.h"

#include "failure.h"

namespace qolsc::tools {

namespace {

Law lawNamed(const std::string& name) {
    return name == "alaw" ? Law::alaw : name == "mulaw" ? Law::mulaw : Law::linear;
}

} // namespace

void addCodecOptions(CLI::App& app, CodecOptions& options) {
    app.add_option("--codec", options.codec, "Codec at its rate; 'qolsc codecs' lists them")
        ->required();
    app.add_option("--raw", options.rawRate,
                   "Samples are headerless, 16-bit little-endian, at this rate in Hz");
    app.add_option(
           "--law", options.law,
           "With --raw: samples are companded, one octet a 16-bit word as in ITU-T sequences")
        ->check(CLI::IsMember({"alaw", "mulaw"}));
    app.add_flag("--octets", options.octets, "With --law: one octet a sample, not a word");
}

void addEncoderOptions(CLI::App& app, CodecOptions& options) {
    app.add_flag("--mix", options.adaptation.mix, "Take the mean of several channels");
    app.add_flag("--resample", options.adaptation.resample, "Convert the sample rate");
    app.add_flag("--dtx", options.dtx, "Discontinuous transmission: code pauses as comfort noise");
    app.add_option("--detector", options.detector,
                   "Voice activity detector of AMR with --dtx: amr1 (default) or amr2")
        ->check(CLI::IsMember({"amr1", "amr2"}).description(""));
}

void addDecoderOptions(CLI::App& app, CodecOptions& options) {
    app.add_option("--loss", options.loss, "Lose this part of the coded frames, e.g. 5%");
    app.add_option("--seed", options.seed, "Which frames get lost: another seed, others")
        ->capture_default_str();
}

void addStreamOption(CLI::App& app, CodecOptions& options) {
    app.add_option(
        "--stream", options.stream,
        "Coded form: packed (octets as in RTP), serial (ITU-T G.192 words), codes or words "
        "(one code an octet or 16-bit word), file (the codec's storage file)");
}

CodecSettings settingsOf(const CodecOptions& options, const Codec& codec) {
    const std::string name = codec.name;
    if (options.dtx && !codec.hasDtx) {
        fail(name + " has no discontinuous transmission (--dtx)");
    }
    if (!options.detector.empty() && !codec.hasDetectors) {
        fail(name + " has no choice of activity detectors (--detector)");
    }
    const Law law = lawNamed(options.law);
    if (law != Law::linear && !codec.hasLaw) {
        fail(name + " has no companded samples (--law)");
    }
    return CodecSettings{options.dtx, law, options.detector};
}

RawFormat rawFormatOf(const CodecOptions& options, const Codec& codec) {
    const Law law = lawNamed(options.law);
    if (law != Law::linear && options.rawRate == 0) {
        fail("--law is for headerless samples: add --raw " + std::to_string(codec.sampleRate));
    }
    if (options.octets && law == Law::linear) {
        fail("--octets is for companded samples: add --law alaw or --law mulaw");
    }
    return RawFormat{options.rawRate, law, options.octets};
}

double lossOf(const CodecOptions& options) {
    if (options.loss.empty()) {
        return 0;
    }
    std::size_t end = 0;
    double percent = -1;
    try {
        percent = std::stod(options.loss, &end);
    } catch (const std::exception&) {
    }
    const std::string unit = options.loss.substr(end);
    if (!(percent >= 0 && percent <= 100) || (unit != "" && unit != "%" && unit != " %")) {
        fail("--loss " + options.loss + ": wants a percentage from 0% to 100%");
    }
    return percent / 100;
}

} // namespace qolsc::tools
