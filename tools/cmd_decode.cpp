// SPDX-License-Identifier: Apache-2.0
// qolsc decode: coded stream to audio file.
#include "codec_options.h"
#include "failure.h"
#include "files.h"

#include <memory>

namespace qolsc::tools {

Run setUpDecode(CLI::App& app) {
    auto options = std::make_shared<CodecOptions>();
    addCodecOptions(app, *options);
    addDecoderOptions(app, *options);
    addStreamOption(app, *options);
    app.add_option("IN", options->in, "Coded stream; - is standard input")->required();
    app.add_option("OUT", options->out,
                   "Audio file (.wav, .au, .flac; raw samples with --raw); - is standard output")
        ->required();
    return [options] {
        const Codec& codec = codecNamed(options->codec);
        const StreamForm& form = formNamed(codec, options->stream);
        const CodecSettings settings = settingsOf(*options, codec);
        const RawFormat raw = rawFormatOf(*options, codec);
        if (raw.rate > 0 && raw.rate != codec.sampleRate) {
            fail("--raw " + std::to_string(raw.rate) + ": " + codec.name + " gives " +
                 std::to_string(codec.sampleRate) + " Hz");
        }
        std::vector<Frame> frames =
            readStream(codec, form, readFile(options->in), shownName(options->in, true));
        loseFrames(frames, lossOf(*options), options->seed);
        writeAudio(options->out, decodeAll(codec, settings, frames), codec.sampleRate, raw);
    };
}

} // namespace qolsc::tools
