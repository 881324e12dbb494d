// SPDX-License-Identifier: Apache-2.0
// Prints, for each family, a digest of all integer results over the recorded calls and over calls
// with changed contents. Builds by any compiler, at any optimisation, must print the same:
// packaging/determinism.sh compares them.
#include "kit/replay.h"

#include <cstdio>

using namespace qolsc::test;

namespace {

void absorb(std::uint64_t& digest, const Bytes& bytes) { // FNV-1a
    for (const std::uint8_t b : bytes) {
        digest = (digest ^ b) * 0x100000001B3u;
    }
}

/// A few bytes of every input array changed.
void change(Random& random, const Replay& r, std::vector<Bytes>& data) {
    for (std::size_t k = 0; k < data.size(); ++k) {
        if (r.fields[k].dir == "in" && r.fields[k].count > 4) {
            for (int i = 0; i < 8; ++i) {
                data[k][next(random) % data[k].size()] = static_cast<std::uint8_t>(next(random));
            }
        }
    }
}

} // namespace

int main() {
    std::map<std::string, std::uint64_t> digests;
    for (const auto& set : findSets(QOLSC_TEST_DATA)) {
        const std::string family = set.parent_path().parent_path().filename();
        for (const std::string& name : exportsOf(set)) {
            for (const bool changed : {false, true}) {
                Replay r = openSet(set, name);
                Random random;
                const std::size_t cases = caseCount(r);
                for (std::size_t record = 0; record < cases && record < 50; ++record) {
                    std::vector<Bytes> data = recordData(r, record);
                    if (changed) {
                        change(random, r, data);
                    }
                    Bytes outputs;
                    replayRecord(r, record, data, false, &outputs);
                    absorb(digests.try_emplace(family, 0xCBF29CE484222325u).first->second, outputs);
                }
            }
        }
    }
    for (const auto& [family, digest] : digests) {
        std::printf("%-10s %016llx\n", family.c_str(), static_cast<unsigned long long>(digest));
    }
    return 0;
}
