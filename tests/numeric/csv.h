// SPDX-License-Identifier: Apache-2.0
// Reader of the tables of tests/data/numeric: one call a row, the first column names the function.
#pragma once

#include "kit/data.h"

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace qolsc::test {

/// Rows as texts, without the heading.
using Rows = std::vector<std::vector<std::string>>;

inline Rows readTable(const std::string& name) {
    const std::vector<std::uint8_t> bytes = readBytes("numeric/" + name);
    std::istringstream text(std::string(bytes.begin(), bytes.end()));
    Rows rows;
    for (std::string line; std::getline(text, line);) {
        std::vector<std::string> fields(1);
        for (const char c : line) {
            if (c == ',') {
                fields.emplace_back();
            } else if (c != '\r') {
                fields.back() += c;
            }
        }
        rows.push_back(fields);
    }
    if (!rows.empty()) {
        rows.erase(rows.begin());
    }
    return rows;
}

inline long long number(const std::string& field) {
    return std::strtoll(field.c_str(), nullptr, 10);
}

/// The elements of a field that holds a vector.
template <typename T>
std::vector<T> elements(const std::string& field) {
    std::istringstream in(field);
    std::vector<T> v;
    for (long long x; in >> x;) {
        v.push_back(static_cast<T>(x));
    }
    return v;
}

/// The rows of a table by the texts of some columns, so that calls with equal parameters can be
/// made with one long vector.
inline std::map<std::string, Rows> grouped(const Rows& rows, const std::vector<int>& columns) {
    std::map<std::string, Rows> groups;
    for (const auto& row : rows) {
        std::string key;
        for (const int c : columns) {
            key += row[static_cast<std::size_t>(c)] + ",";
        }
        groups[key].push_back(row);
    }
    return groups;
}

/// One column of some rows as numbers.
template <typename T>
std::vector<T> column(const Rows& rows, std::size_t c) {
    std::vector<T> v;
    for (const auto& row : rows) {
        v.push_back(static_cast<T>(number(row[c])));
    }
    return v;
}

} // namespace qolsc::test
