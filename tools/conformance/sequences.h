// SPDX-License-Identifier: Apache-2.0
// The test sequences of the standards: which files belong together, and which coder makes the one
// of the other.
#pragma once

#include "codecs/codec.h"

#include <filesystem>
#include <string>
#include <vector>

namespace qolsc::tools::conformance {

enum class Task : std::uint8_t {
    encode,        ///< samples to coded stream
    decode,        ///< coded stream to samples
    subBandEncode, ///< G.722 without its filters: a sample of both bands to an octet
    subBandLow,    ///< octets to samples of the lower band
    subBandHigh    ///< octets to samples of the higher band
};

/// Sequences whose rate changes from frame to frame.
enum class Rates : std::uint8_t { fixed, amrAllModes, g729Switch };

/// One rule: files of two names, the coder between them. A star in `input` is whatever stands there
/// and goes in the place of the star in `expected`.
struct Rule {
    std::string standard; ///< "G.729"
    std::string part;     ///< "Annex A", or nothing
    std::string codec;    ///< of the registry
    Task task;
    std::string form;   ///< coded form; for G.722's bands the mode
    std::string folder; ///< folder or prefix of the files where names alone don't tell the codec
    std::string input;
    std::string expected;
    Law law = Law::linear;           ///< of an encoder's input, a decoder's output
    std::string initialisation = ""; ///< runs through the coder first; what comes out is dropped
    Rates rates = Rates::fixed;
    bool dtx = false, filters = true; ///< as in CodecSettings
};

/// A rule's files as they were found.
struct Sequence {
    const Rule* rule;
    std::filesystem::path input, expected, initialisation, rates;
};

/// All rules, by standard.
const std::vector<Rule>& rules();

/// The sequences below a folder, in the order of the rules. Names are compared without case; a
/// rule's folder may be a folder above the file whose name ends with it, or stand before the file's
/// name with an underscore.
std::vector<Sequence> findSequences(const std::filesystem::path& folder);

/// What came of one.
struct Outcome {
    std::size_t frames = 0;
    bool exact = false;
    std::size_t frame = 0, place = 0; ///< the first difference, and where it lies in its frame
    const char* unit = "sample";      ///< what place counts
};

Outcome run(const Sequence& sequence);

} // namespace qolsc::tools::conformance
