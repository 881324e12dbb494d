// SPDX-License-Identifier: Apache-2.0
// A progress bar on standard error: only on a terminal, and only for work of more than a moment.
#pragma once

#include <chrono>
#include <cstddef>

namespace qolsc::tools {

struct Progress {
    const char* label;
    std::size_t total;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    int shown = -1; ///< per cent on the screen
};

/// Cheap enough to be called once a frame.
void showProgress(Progress& progress, std::size_t done);
/// Wipes the bar.
void endProgress(Progress& progress);

} // namespace qolsc::tools
