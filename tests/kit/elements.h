// SPDX-License-Identifier: Apache-2.0
// Elements whose type is a text of the recorded sets ("16s", "32fc"): width, reading, writing.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace qolsc::test {

using Bytes = std::vector<std::uint8_t>;

struct Element {
    char kind;         // 'i', 'u' or 'f'
    std::size_t width; // bytes of one scalar
    std::size_t parts; // 2 for complex pairs
};

Element elementOf(const std::string& type);
std::size_t elementBytes(const std::string& type);
/// One scalar as a number.
double number(const Element& e, const std::uint8_t* p);
/// A list of numbers as raw scalars.
Bytes encodeValues(const std::string& type, const nlohmann::json& values);

} // namespace qolsc::test
