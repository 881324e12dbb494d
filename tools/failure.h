// SPDX-License-Identifier: Apache-2.0
// How the program gives up: one line for the user, thrown to main.
#pragma once

#include <stdexcept>
#include <string>

namespace qolsc::tools {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void fail(const std::string& line) { throw Failure(line); }

} // namespace qolsc::tools
