// SPDX-License-Identifier: Apache-2.0
// The sub-commands. Each has a file cmd_NAME.cpp with one set-up function: it puts its options on
// the parser and returns what is to be done once they are parsed. A new one is a line here, a line
// in the table of qolsc.cpp and its file.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>

namespace qolsc::tools {

using Run = std::function<void()>;

Run setUpCodecs(CLI::App& app);
Run setUpEncode(CLI::App& app);
Run setUpDecode(CLI::App& app);
Run setUpRoundtrip(CLI::App& app);
Run setUpAec(CLI::App& app);
Run setUpAecScene(CLI::App& app);
Run setUpDenoise(CLI::App& app);
Run setUpAlc(CLI::App& app);
Run setUpVad(CLI::App& app);
Run setUpConformance(CLI::App& app);

} // namespace qolsc::tools
