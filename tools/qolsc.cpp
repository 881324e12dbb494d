// SPDX-License-Identifier: Apache-2.0
// The program: table of sub-commands, errors as one line, exit codes 0 done, 1 failed, 2 misused.
#include "commands.h"
#include "failure.h"

#include "qolsc.h"

#include <algorithm>
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
    const char* example;
};

constexpr Command kCommands[] = {
    {"codecs", "List the codecs with their rates and coded forms", setUpCodecs, "qolsc codecs"},
    {"encode", "Code speech: audio file to coded stream", setUpEncode,
     "qolsc encode --codec g729a speech.wav coded.g729"},
    {"decode", "Decode a coded stream to an audio file", setUpDecode,
     "qolsc decode --codec g729a coded.g729 decoded.wav"},
    {"roundtrip", "Encode and decode, print the figures of the codec", setUpRoundtrip,
     "qolsc roundtrip --codec amr-12.2 --loss 3% speech.wav decoded.wav --report page.html"},
    {"aec", "Cancel the echo of the far end in the near end", setUpAec,
     "qolsc aec far.wav mic.wav clean.wav --report page.html"},
    {"aec-scene", "Make a near end with echo, talker and noise from recordings", setUpAecScene,
     "qolsc aec-scene --talk near.wav --talk-from 8 --noise -60 far.wav mic.wav"},
    {"denoise", "Suppress stationary noise of an audio file", setUpDenoise,
     "qolsc denoise --level 3 noisy.wav clean.wav"},
    {"alc", "Bring speech to a target level", setUpAlc,
     "qolsc alc --target 20 quiet.wav level.wav"},
    {"vad", "Tell where speech is in an audio file", setUpVad,
     "qolsc vad --detector amrwb --resample call.wav --report page.html"},
    {"conformance", "Run the codecs on the standards' test sequences", setUpConformance,
     "qolsc conformance --data ~/g729/test_vectors --standard G.729"},
};

/// CLI11 explains itself in several lines; the first sentence is the error.
std::string oneLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// What is wrong with the command line. What nobody knows comes first: a word mistyped is often why
/// another is missing.
std::string misuse(const CLI::App& app, const CLI::ParseError& e) {
    const std::vector<const CLI::App*> subs = app.get_subcommands({});
    const auto parsed =
        std::find_if(subs.begin(), subs.end(), [](const CLI::App* sub) { return sub->parsed(); });
    const CLI::App& where = parsed == subs.end() ? app : **parsed;
    const std::vector<std::string> unknown = where.remaining();
    std::string text = oneLine(e.what());
    if (!unknown.empty()) {
        text = (unknown[0].starts_with('-') ? "no option '"
                : &where == &app            ? "no sub-command '"
                                            : "an argument too many: '") +
               unknown[0] + "'";
    }
    return text + " (see qolsc " + (&where == &app ? "" : where.get_name() + " ") + "--help)";
}

/// What the help calls the values: a positional is called by its name alone, of the others those
/// that take files and numbers of a unit tell that. Rates of headerless samples are checked here,
/// alike for all.
void nameValues(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) {
        const std::string name = option->get_name();
        if (option->get_positional() && option->get_lnames().empty()) {
            option->type_name("");
        } else if (name == "--report" || name == "--echo" || name == "--talk") {
            option->type_name("FILE");
        } else if (name == "--raw") {
            option->type_name("RATE")->check(CLI::Range(1, 1'000'000).description(""));
        } else if (name == "--loss") {
            option->type_name("PERCENT");
        } else if (option->get_type_name() == "TEXT") {
            option->type_name("NAME");
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Speech codecs and voice processing on libqolsce9", "qolsc"};
    app.set_version_flag("--version", [] { return std::string(qolscGetLibVersion()->version); });
    app.require_subcommand(1);
    app.footer("'qolsc SUBCOMMAND --help' tells the options of each, 'man qolsc' all of them.");
    std::vector<std::pair<CLI::App*, Run>> runs;
    for (const Command& command : kCommands) {
        CLI::App* sub = app.add_subcommand(command.name, command.title);
        sub->footer(std::string("Example: ") + command.example);
        runs.emplace_back(sub, command.setUp(*sub));
        nameValues(*sub);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(e); // --help, --version
        }
        std::fprintf(stderr, "qolsc: %s\n", misuse(app, e).c_str());
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
