// SPDX-License-Identifier: Apache-2.0
// Whole files, or standard input and output under the name "-".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qolsc::tools {

std::vector<std::uint8_t> readFile(const std::string& path);
void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes);

/// What messages call the path.
std::string shownName(const std::string& path, bool input);

} // namespace qolsc::tools
