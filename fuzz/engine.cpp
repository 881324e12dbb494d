// SPDX-License-Identifier: Apache-2.0
// libFuzzer target of one family (kFuzzFamily, exports matching kFuzzPattern). An input
// either changes the contents of recorded calls, whose buffers are exactly as long as the interface
// asks for, or makes a call with scalars near and beyond their bounds and wide buffers. Sanitizers
// and canaries are the judges.
#include "engine.h"

#include "kit/replay.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>

namespace {

using namespace qolsc::test;

struct Input {
    const std::uint8_t* p;
    std::size_t left;
};

std::uint32_t take(Input& in, int bytes) {
    std::uint32_t v = 0;
    for (; bytes > 0 && in.left > 0; --bytes, --in.left) {
        v = v << 8 | *in.p++;
    }
    return v;
}

struct Target {
    std::filesystem::path set;
    std::string name;
};

/// Sets of the family, one entry for every export that a set names.
const std::vector<Target>& targets() {
    static const std::vector<Target> all = [] {
        std::vector<Target> t;
        const std::filesystem::path dir = std::filesystem::path(QOLSC_TEST_DATA) / kFuzzFamily;
        if (std::filesystem::exists(dir)) {
            for (const auto& set : findSets(dir)) {
                for (const std::string& name : exportsOf(set)) {
                    t.push_back({set, name});
                }
            }
        }
        return t;
    }();
    return all;
}

[[noreturn]] void fail(const std::string& name, const std::string& problem) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), problem.c_str());
    std::abort();
}

/// The target's set, read once, with nothing left of earlier calls.
Replay& freshSet(const Target& target) {
    static std::map<const Target*, Replay> opened;
    const auto [at, isNew] = opened.try_emplace(&target);
    Replay& r = at->second;
    if (isNew) {
        r = openSet(target.set, target.name);
    }
    r.state.reset();
    r.memory.clear();
    r.kept.clear();
    return r;
}

/// A few consecutive records of a set with bytes of their input arrays changed. Scalars stay:
/// lengths and the like are the caller's word.
void changedRecords(Input& in) {
    if (targets().empty()) {
        return;
    }
    const Target& target = targets()[take(in, 2) % targets().size()];
    Replay& r = freshSet(target);
    const std::size_t cases = caseCount(r);
    std::size_t record = r.meta.value("sequence", false) ? 0 : take(in, 2) % cases;
    do {
        std::vector<Bytes> data = recordData(r, record);
        for (std::uint32_t changes = take(in, 1) % 16; changes > 0 && in.left > 0; --changes) {
            const std::size_t k = take(in, 1) % data.size();
            const std::size_t at = take(in, 2);
            const auto value = static_cast<std::uint8_t>(take(in, 1));
            if (r.fields[k].dir == "in" && r.fields[k].count > 1) {
                data[k][at % data[k].size()] = value;
            }
        }
        const std::string problem = replayRecord(r, record, data, false);
        if (problem.starts_with("written")) {
            fail(target.name, problem);
        }
        ++record;
    } while (in.left > 0 && record < cases);
}

const std::vector<Json>& interfaceEntries() {
    static const std::vector<Json> all = [] {
        Json checks;
        std::ifstream(QOLSC_TEST_DATA "/interface/checks.json") >> checks;
        const std::regex pattern(kFuzzPattern);
        std::vector<Json> mine;
        for (const Json& e : checks) {
            const std::string name = e["name"];
            bool record = false; // functions on records run in the recorded calls, whose records
                                 // were set by Init
            for (const Json& a : e["args"]) {
                record |= a["name"].get<std::string>().ends_with("State");
            }
            if (findExport(name) != nullptr && !record && std::regex_search(name, pattern)) {
                mine.push_back(e);
            }
        }
        return mine;
    }();
    return all;
}

/// A call with scalars of any value up to a few hundred and buffers far wider than that.
void arbitraryScalars(Input& in) {
    constexpr std::size_t kReach = 64 * 1024, kRows = 512;
    if (interfaceEntries().empty()) {
        return;
    }
    const Json& entry = interfaceEntries()[take(in, 2) % interfaceEntries().size()];
    std::vector<std::vector<std::uint8_t>> memory;
    memory.reserve(2 * entry["args"].size());
    std::vector<Argument> args;
    for (const Json& a : entry["args"]) {
        const std::string type = a["type"];
        if (type.find('*') == std::string::npos) {
            const auto raw = static_cast<std::int16_t>(take(in, 2));
            const double valid = a.value("valid", 0.0);
            const double v = raw % 4 == 0 ? valid : raw % 4 == 1 ? valid + raw / 4 % 4 : raw / 64;
            args.push_back({nullptr, static_cast<std::int64_t>(v), v});
            continue;
        }
        const auto block = [&]() -> void* {
            memory.emplace_back(2 * kReach);
            for (std::size_t i = 0; in.left > 0 && i < 64; ++i) {
                memory.back()[kReach + i] = static_cast<std::uint8_t>(take(in, 1));
            }
            return memory.back().data() + kReach;
        };
        void* p = block();
        if (type.find("**") != std::string::npos) {
            auto** table = static_cast<void**>(block());
            std::fill(table, table + kRows, p);
            p = table;
        }
        args.push_back({p});
    }
    findExport(entry["name"].get<std::string>())->call(args.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in{data, size};
    if (take(in, 1) % 2 == 0) {
        changedRecords(in);
    } else {
        arbitraryScalars(in);
    }
    return 0;
}
