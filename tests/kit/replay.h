// SPDX-License-Identifier: Apache-2.0
// Replay of recorded vector sets through the exported entries, from their descriptions alone.
// docs/testing.md tells the format.
#pragma once

#include "kit/block.h"
#include "kit/elements.h"
#include "kit/exports.h"

#include <filesystem>
#include <map>

namespace qolsc::test {

using Json = nlohmann::json;

/// One field of the records.
struct Field {
    std::string arg, type, dir, within, wordsOfBits;
    std::size_t count, at, offset, rows;
    Json raw;
    std::size_t bytes() const { return elementBytes(type) * count; }
};

/// A buffer handed over: one block, or an array of pointers to rows that lie apart.
struct Buffer {
    std::vector<Block> blocks; // rows, or the one block
    std::unique_ptr<Block> table;
    std::size_t rowBytes = 0;
};
using Buffers = std::map<std::string, Buffer>;

/// A set under replay for one of its exports.
struct Replay {
    Json meta;
    std::string name;
    std::vector<Field> fields;
    std::vector<std::size_t> sizes; // what the size query gave
    std::unique_ptr<Buffer> state;
    Buffers memory;
    std::vector<Buffer> kept; // arguments of the state's Init, alive as long as the state
    std::map<std::string, std::pair<double, double>> noise; // signal and error energies
    Bytes blob;
};

/// A set opened for one of the exports that it names; cases 0 when data and description disagree.
Replay openSet(const std::filesystem::path& path, const std::string& name);
std::size_t caseCount(const Replay& r);
/// The raw fields of one record.
std::vector<Bytes> recordData(const Replay& r, std::size_t record);
/// Calls the export on one record; what is wrong, or nothing. Without compare only the canaries and
/// the preparing calls count. outputs, when given, takes the status and every integer output.
std::string replayRecord(Replay& r, std::size_t record, const std::vector<Bytes>& data,
                         bool compare = true, Bytes* outputs = nullptr);
/// A whole set for one export; the first problem found, or nothing.
std::string replaySet(const std::filesystem::path& path, const std::string& name);
/// All sets below a directory, sorted.
std::vector<std::filesystem::path> findSets(const std::filesystem::path& dir);
/// The exports that a set names.
std::vector<std::string> exportsOf(const std::filesystem::path& set);

} // namespace qolsc::test
