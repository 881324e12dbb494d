// SPDX-License-Identifier: Apache-2.0
// qolsc conformance: the codecs on the standards' test sequences, bit for bit.
#include "commands.h"
#include "conformance/sequences.h"
#include "failure.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>

namespace qolsc::tools {

namespace {

using conformance::Outcome;
using conformance::Rule;
using conformance::Sequence;
using conformance::Task;

constexpr const char* kSourceTree = "tests/data";

struct Options {
    std::string data;
    std::vector<std::string> standards;
    bool names = false;
};

const char* directionOf(Task task) {
    return task == Task::encode || task == Task::subBandEncode ? "encoder" : "decoder";
}

bool wanted(const Options& options, const Rule& rule) {
    return options.standards.empty() ||
           std::find(options.standards.begin(), options.standards.end(), rule.standard) !=
               options.standards.end();
}

void checkStandards(const Options& options) {
    std::set<std::string> known;
    std::string list;
    for (const Rule& rule : conformance::rules()) {
        if (known.insert(rule.standard).second) {
            list += (list.empty() ? "" : ", ") + rule.standard;
        }
    }
    for (const std::string& standard : options.standards) {
        if (!known.contains(standard)) {
            fail("no sequences of '" + standard + "'; there are those of " + list);
        }
    }
}

/// The names that a user's own files must have.
void printNames(const Options& options) {
    std::printf("%-14s %-11s %-12s %-8s %-8s %-22s %s\n", "standard", "part", "codec", "tests",
                "folder", "input", "expected");
    for (const Rule& rule : conformance::rules()) {
        if (wanted(options, rule)) {
            std::printf("%-14s %-11s %-12s %-8s %-8s %-22s %s\n", rule.standard.c_str(),
                        rule.part.c_str(), rule.codec.c_str(), directionOf(rule.task),
                        rule.folder.c_str(), rule.input.c_str(), rule.expected.c_str());
        }
    }
}

std::string resultOf(const Outcome& outcome) {
    if (outcome.exact) {
        return "bit-exact";
    }
    return "DIFFERS from frame " + std::to_string(outcome.frame) + ", " + outcome.unit + " " +
           std::to_string(outcome.place);
}

struct Counts {
    std::string standard;
    int sequences = 0, exact = 0;
};

void printRow(const Sequence& sequence, const Outcome& outcome) {
    const Rule& rule = *sequence.rule;
    const std::string files =
        sequence.input.filename().string() + " -> " + sequence.expected.filename().string();
    std::printf("%-14s %-11s %-12s %-8s %-54s %7zu  %s\n", rule.standard.c_str(), rule.part.c_str(),
                rule.codec.c_str(), directionOf(rule.task), files.c_str(), outcome.frames,
                resultOf(outcome).c_str());
    std::fflush(stdout);
}

/// One line a standard; false when a sequence differs.
bool printSummary(const std::vector<Counts>& all) {
    bool good = true;
    std::printf("\n%-14s %9s %9s %7s\n", "standard", "sequences", "bit-exact", "differs");
    for (const Counts& c : all) {
        std::printf("%-14s %9d %9d %7d\n", c.standard.c_str(), c.sequences, c.exact,
                    c.sequences - c.exact);
        good = good && c.sequences == c.exact;
    }
    std::printf("\nOn a copy of one's own: qolsc conformance --data DIR; the names of its files: "
                "qolsc conformance --names\n");
    return good;
}

void runSequences(const Options& options) {
    std::vector<Counts> all;
    for (const Rule& rule : conformance::rules()) {
        if (wanted(options, rule) && (all.empty() || all.back().standard != rule.standard)) {
            all.push_back({rule.standard});
        }
    }
    std::size_t at = 0;
    int total = 0;
    for (const Sequence& sequence : conformance::findSequences(options.data)) {
        if (!wanted(options, *sequence.rule)) {
            continue;
        }
        if (total++ == 0) {
            std::printf("%-14s %-11s %-12s %-8s %-54s %7s  %s\n", "standard", "part", "codec",
                        "tests", "files", "frames", "result");
        }
        const Outcome outcome = conformance::run(sequence);
        printRow(sequence, outcome);
        while (all[at].standard != sequence.rule->standard) {
            ++at;
        }
        all[at].sequences += 1;
        all[at].exact += outcome.exact ? 1 : 0;
    }
    if (total == 0) {
        fail(options.data + ": no test sequences; qolsc conformance --names tells the names that "
                            "are looked for");
    }
    if (!printSummary(all)) {
        fail("not bit-exact");
    }
}

} // namespace

Run setUpConformance(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("--data", options->data,
                   "Folder with test sequences, searched with all folders in it; without it "
                   "tests/data of the source tree, from whose top the command has to be called")
        ->type_name("DIR");
    app.add_option("--standard", options->standards,
                   "Only this standard, e.g. G.729; may be given several times")
        ->type_name("NAME");
    app.add_flag("--names", options->names,
                 "Don't run, list the names of the files that are looked for; * stands for the "
                 "same on both sides");
    return [options] {
        checkStandards(*options);
        if (options->names) {
            printNames(*options);
            return;
        }
        if (options->data.empty()) {
            options->data = kSourceTree;
            if (!std::filesystem::is_directory(kSourceTree)) {
                fail("no tests/data here: call it at the top of the source tree or give --data "
                     "DIR");
            }
        }
        runSequences(*options);
    };
}

} // namespace qolsc::tools
