// SPDX-License-Identifier: Apache-2.0
// Reading and writing whole files.
#include "files.h"

#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace qolsc::tools {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

int leaveOpen(std::FILE*) { return 0; }

} // namespace

std::string shownName(const std::string& path, bool input) {
    return path == "-" ? (input ? "standard input" : "standard output") : path;
}

std::vector<std::uint8_t> readFile(const std::string& path) {
    const std::string name = shownName(path, true);
    std::error_code ignored;
    if (path != "-" && std::filesystem::is_directory(path, ignored)) {
        fail(name + ": is a directory");
    }
    const File file =
        path == "-" ? File(stdin, leaveOpen) : File(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) {
        fail(name + ": " + std::strerror(errno));
    }
    std::vector<std::uint8_t> bytes;
    std::uint8_t block[65536];
    while (const std::size_t got = std::fread(block, 1, sizeof block, file.get())) {
        bytes.insert(bytes.end(), block, block + got);
    }
    if (std::ferror(file.get())) {
        fail(name + ": cannot read: " + std::strerror(errno));
    }
    return bytes;
}

void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    File file =
        path == "-" ? File(stdout, leaveOpen) : File(std::fopen(path.c_str(), "wb"), std::fclose);
    const std::string name = shownName(path, false);
    if (!file) {
        fail(name + ": cannot write: " + std::strerror(errno));
    }
    const bool written =
        (bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size()) &&
        std::fflush(file.get()) == 0;
    if (!written) {
        fail(name + ": cannot write: " + std::strerror(errno));
    }
}

} // namespace qolsc::tools
