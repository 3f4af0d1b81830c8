// A by-the-book LZ4 block decoder for the tests and the fuzzers: byte by byte over a
// virtual window (history bytes, then the output), with the library's statuses
// and reported lengths, and a mark of which output bytes are defined. A match of
// offset 0 leaves its bytes as the destination held them, so those bytes, and any
// later match byte copied from them, are undefined and excluded from comparisons.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lumdc.h"

namespace lumtest {

struct Lz4Reference {
    LumStatus status = lumStatusOk;
    size_t consumed = 0;  // meaningful for statuses >= 0
    size_t produced = 0;
    std::vector<uint8_t> out;   // out[0, produced)
    std::vector<bool> defined;  // per byte of out
};

// Decodes src[0, srcLen) into at most `capacity` bytes after `history` bytes of
// earlier data (empty for a self-contained block). srcLen and capacity are >= 1.
Lz4Reference lz4ReferenceDecode(const uint8_t* src, size_t srcLen, size_t capacity,
                                const std::vector<uint8_t>& history = {});

// How a decoder's outcome differs from the reference (status, lengths, defined
// bytes); empty when it does not.
std::string lz4Difference(const Lz4Reference& ref, LumStatus status, size_t consumed, size_t produced,
                          const uint8_t* out, bool checkConsumed = true);

}  // namespace lumtest
