// SPDX-License-Identifier: Apache-2.0
// qolsc codecs: what there is, one codec a line.
#include "codecs/codec.h"
#include "commands.h"

#include <cstdio>
#include <string>

namespace qolsc::tools {

Run setUpCodecs(CLI::App&) {
    return [] {
        std::printf("%-12s %8s %9s %7s  %-28s %s\n", "name", "Hz", "kbit/s", "frame", "coded forms",
                    "title");
        for (const Codec* codec : allCodecs()) {
            std::string forms;
            for (const StreamForm* form : codec->forms) {
                forms += (forms.empty() ? "" : " ") + std::string(form->name);
            }
            std::printf("%-12s %8d %9.2f %4.1f ms  %-28s %s\n", codec->name, codec->sampleRate,
                        codec->frameBits * 1e-3 * codec->sampleRate / codec->frameSamples,
                        codec->frameSamples * 1e3 / codec->sampleRate, forms.c_str(), codec->title);
        }
    };
}

} // namespace qolsc::tools
