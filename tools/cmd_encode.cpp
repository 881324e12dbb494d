// SPDX-License-Identifier: Apache-2.0
// qolsc encode: audio file to coded stream.
#include "codec_options.h"
#include "files.h"

#include <memory>

namespace qolsc::tools {

Run setUpEncode(CLI::App& app) {
    auto options = std::make_shared<CodecOptions>();
    addCodecOptions(app, *options);
    addEncoderOptions(app, *options);
    addStreamOption(app, *options);
    app.add_option("IN", options->in,
                   "WAV, AU, FLAC or, with --raw, raw samples; - is standard input")
        ->required();
    app.add_option("OUT", options->out, "Coded stream; - is standard output")->required();
    return [options] {
        const Codec& codec = codecNamed(options->codec);
        CodecSettings settings = settingsOf(*options, codec);
        const StreamForm& form =
            settings.dtx ? formOfPauses(codec, options->stream) : formNamed(codec, options->stream);
        settings.law = Law::linear; // encoders take linear samples, expanded when they were read
        const Audio audio = readMono(options->in, codec.sampleRate, options->adaptation,
                                     rawFormatOf(*options, codec), codec.name);
        writeFile(options->out,
                  writeStream(codec, form, encodeAll(codec, settings, audio.samples)));
    };
}

} // namespace qolsc::tools
