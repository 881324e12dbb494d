// SPDX-License-Identifier: Apache-2.0
// Rate codes of the AMR narrowband family and the sizes that all its parts share.
#pragma once

#include "qolsc/types.h"

namespace qolsc::amr {

inline constexpr int kOrder = 10;    ///< of the linear prediction
inline constexpr int kSubframe = 40; ///< samples
inline constexpr int kMaxLag = 143;  ///< of the pitch
inline constexpr int kExcPast = 154; ///< samples in front of the subframe in an excitation buffer

/// The plain numbers of the interface.
enum Rate : Qol32s {
    kRate475 = 0,
    kRate515 = 1,
    kRate59 = 3,
    kRate67 = 6,
    kRate74 = 7,
    kRate795 = 8,
    kRate102 = 11,
    kRate122 = 12,
    kRateDtx = 25
};

/// True for the eight speech rates.
constexpr bool isSpeechRate(Qol32s rate) {
    constexpr Qol32u kRates = 1u << kRate475 | 1u << kRate515 | 1u << kRate59 | 1u << kRate67 |
                              1u << kRate74 | 1u << kRate795 | 1u << kRate102 | 1u << kRate122;
    return rate >= 0 && rate <= kRate122 && (kRates >> rate & 1);
}

/// True for the speech rates and for discontinuous transmission.
constexpr bool isRate(Qol32s rate) { return isSpeechRate(rate) || rate == kRateDtx; }

} // namespace qolsc::amr
