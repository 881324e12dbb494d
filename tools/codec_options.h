// SPDX-License-Identifier: Apache-2.0
// Options that the codec sub-commands share.
#pragma once

#include "audio.h"
#include "coding.h"
#include "commands.h"

#include <string>

namespace qolsc::tools {

struct CodecOptions {
    std::string codec;
    std::string in;
    std::string out;
    std::string stream;
    int rawRate = 0;
    Adaptation adaptation;
    bool dtx = false;
    std::string law;
    bool octets = false;
    std::string detector;
    std::string loss;
    std::uint32_t seed = 1;
    std::string report;
};

/// Which of the options a sub-command has.
void addCodecOptions(CLI::App& app, CodecOptions& options);
void addEncoderOptions(CLI::App& app, CodecOptions& options);
void addDecoderOptions(CLI::App& app, CodecOptions& options);
void addStreamOption(CLI::App& app, CodecOptions& options);

/// The codec's settings; fails on those that the codec doesn't know.
CodecSettings settingsOf(const CodecOptions& options, const Codec& codec);
/// Form of headerless samples, rate 0 without --raw.
RawFormat rawFormatOf(const CodecOptions& options, const Codec& codec);
/// "5%", "5 %" or "5" as 0.05.
double lossOf(const CodecOptions& options);

} // namespace qolsc::tools
