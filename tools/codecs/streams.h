// SPDX-License-Identifier: Apache-2.0
// Coded forms that many codecs share, ready for a codec's `forms`. A codec with several frame sizes
// wraps the two serial functions or writes its own form.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools {

/// "packed": the frame's octets as in an RTP payload, no header. All frames have frameBits bits,
/// the last octet of a frame is filled up with zero bits. A codec of granules may end with a
/// shorter frame; what fills up its last octet reads as further codes where it is as long as one.
extern const StreamForm kPacked;

/// "packed" with the first code in the low bits of an octet, as RFC 3551 has it for G.726.
extern const StreamForm kPackedLowFirst;

/// "serial": 16-bit little-endian words after ITU-T G.192: sync word, count of bits, one word a
/// bit.
extern const StreamForm kSerial;

/// "codes": one code an octet, in the low bits (codes of at most 8 bits).
extern const StreamForm kCodes;

/// "words": one code a 16-bit little-endian word, as in most ITU-T test sequences.
extern const StreamForm kWords;

/// The words of the serial form (ITU-T G.192).
inline constexpr std::uint16_t kSerialSync = 0x6B21;
inline constexpr std::uint16_t kSerialSyncLost = 0x6B20;
inline constexpr std::uint16_t kSerialZero = 0x007F;
inline constexpr std::uint16_t kSerialOne = 0x0081;

/// Writes a frame in serial form: a lost one with the sync word of lost frames and zero words, one
/// of which nothing was sent as a frame of 0 bits.
void writeSerial(const Frame& frame, std::vector<std::uint8_t>& out);

/// Reads one serial frame of any size: a frame behind the sync word of lost frames or with a zero
/// word among its bits is lost, one of 0 bits is noData, every other one is speech (a codec that
/// knows its frame sizes sets kind and mode afterwards). Result as StreamForm::readFrame's.
std::ptrdiff_t readSerial(std::span<const std::uint8_t> in, Frame& frame);

/// 16-bit little-endian words in octets.
inline void putWord(std::vector<std::uint8_t>& out, std::uint16_t word) {
    out.push_back(static_cast<std::uint8_t>(word & 0xFF));
    out.push_back(static_cast<std::uint8_t>(word >> 8));
}
inline std::uint16_t wordAt(std::span<const std::uint8_t> in, std::size_t index) {
    return static_cast<std::uint16_t>(in[2 * index] | (in[2 * index + 1] << 8));
}

/// The form of that name among the codec's, or null.
const StreamForm* findForm(const Codec& codec, const std::string& name);

} // namespace qolsc::tools
