// SPDX-License-Identifier: Apache-2.0
// The list of codecs. Each directory declares its records here and adds them to the list.
#include "codecs/codec.h"

namespace qolsc::tools {

// One declaration line and one list line per codec record.
// ---- G.726 ----
extern const Codec kG726_16, kG726_24, kG726_32, kG726_40;
// ---- G.722 ----
extern const Codec kG722_64, kG722_56, kG722_48;
// ---- G.722.1 ----
extern const Codec kG7221_24, kG7221_32, kG7221C_24, kG7221C_32, kG7221C_48;
// ---- G.723.1 ----
extern const Codec kG7231_63, kG7231_53;
// ---- G.728 ----
extern const Codec kG728_16, kG728_128, kG728_96;
// ---- G.729 ----
extern const Codec kG729, kG729_6400, kG729_11800, kG729A;
// ---- GSM full rate ----
extern const Codec kGsmFullRate;
// ---- AMR ----
extern const Codec kAMR_475, kAMR_515, kAMR_590, kAMR_670, kAMR_740, kAMR_795, kAMR_1020, kAMR_1220;
// ---- AMR-WB ----
extern const Codec kAMRWB_660, kAMRWB_885, kAMRWB_1265, kAMRWB_1425, kAMRWB_1585, kAMRWB_1825,
    kAMRWB_1985, kAMRWB_2305, kAMRWB_2385;

namespace {
const Codec* const kCodecs[] = {
    // ---- G.726 ----
    &kG726_16, &kG726_24, &kG726_32, &kG726_40,
    // ---- G.722 ----
    &kG722_64, &kG722_56, &kG722_48,
    // ---- G.722.1 ----
    &kG7221_24, &kG7221_32, &kG7221C_24, &kG7221C_32, &kG7221C_48,
    // ---- G.723.1 ----
    &kG7231_63, &kG7231_53,
    // ---- G.728 ----
    &kG728_16, &kG728_128, &kG728_96,
    // ---- G.729 ----
    &kG729, &kG729_6400, &kG729_11800, &kG729A,
    // ---- GSM full rate ----
    &kGsmFullRate,
    // ---- AMR ----
    &kAMR_475, &kAMR_515, &kAMR_590, &kAMR_670, &kAMR_740, &kAMR_795, &kAMR_1020, &kAMR_1220,
    // ---- AMR-WB ----
    &kAMRWB_660, &kAMRWB_885, &kAMRWB_1265, &kAMRWB_1425, &kAMRWB_1585, &kAMRWB_1825, &kAMRWB_1985,
    &kAMRWB_2305, &kAMRWB_2385, nullptr};
} // namespace

std::span<const Codec* const> allCodecs() {
    return std::span(kCodecs).first(std::size(kCodecs) - 1);
}

const Codec* findCodec(const std::string& name) {
    for (const Codec* codec : allCodecs()) {
        if (name == codec->name) {
            return codec;
        }
    }
    return nullptr;
}

} // namespace qolsc::tools
