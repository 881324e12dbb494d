// SPDX-License-Identifier: Apache-2.0
// The program: table of sub-commands, errors as one line, exit codes 0 done, 1 failed, 2 misused.
#include "commands.h"
#include "failure.h"

#include "qolsc.h"

#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace qolsc::tools;

struct Command {
    const char* name;
    const char* title;
    Run (*setUp)(CLI::App& app);
};

constexpr Command kCommands[] = {
    {"codecs", "List the codecs with their rates and coded forms", setUpCodecs},
    {"encode", "Code speech: audio file to coded stream", setUpEncode},
    {"decode", "Decode a coded stream to an audio file", setUpDecode},
    {"roundtrip", "Encode and decode, print the figures of the codec", setUpRoundtrip},
    {"aec", "Cancel the echo of the far end in the near end", setUpAec},
    {"aec-scene", "Make a near end with echo, talker and noise from recordings", setUpAecScene},
    {"denoise", "Suppress stationary noise of an audio file", setUpDenoise},
    {"alc", "Bring speech to a target level", setUpAlc},
    {"vad", "Tell where speech is in an audio file", setUpVad},
    {"conformance", "Run the codecs on the standards' test sequences", setUpConformance},
};

/// CLI11 explains itself in several lines; the first sentence is the error.
std::string oneLine(const std::string& text) { return text.substr(0, text.find('\n')); }

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Speech codecs and voice processing on libqolsce9", "qolsc"};
    app.set_version_flag("--version", [] { return std::string(qolscGetLibVersion()->version); });
    app.require_subcommand(1);
    std::vector<std::pair<CLI::App*, Run>> runs;
    for (const Command& command : kCommands) {
        CLI::App* sub = app.add_subcommand(command.name, command.title);
        runs.emplace_back(sub, command.setUp(*sub));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(e); // --help, --version
        }
        std::fprintf(stderr, "qolsc: %s (see qolsc --help)\n", oneLine(e.what()).c_str());
        return 2;
    }
    try {
        for (const auto& [sub, run] : runs) {
            if (sub->parsed()) {
                run();
            }
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qolsc: %s\n", oneLine(e.what()).c_str());
        return 1;
    }
    return 0;
}
