// A by-the-book LZO1X decoder for the tests and the fuzzers, with the statuses and
// lengths of lumsDecodeLZOSafe_8u, containers included: one byte at a time, each
// literal run and match tested to fit whole before any of it is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "lumdc.h"

namespace lumtest {

struct LzoReference {
    LumStatus status = lumStatusOk;
    bool container = false;
    size_t produced = 0;                             // what *pDstLen becomes (unchanged by a failed container)
    std::vector<uint8_t> out;                        // capacity bytes; only `decoded` ranges are meaningful
    std::vector<std::pair<size_t, size_t>> decoded;  // [begin, end) of bytes a decoder must have written
};

LzoReference lzoReferenceDecode(const uint8_t* src, size_t srcLen, size_t capacity);

// How a decoder's outcome (status, the length it stored, the output) differs from
// the reference; empty when it does not. `initialLen` is what *pDstLen held before.
std::string lzoDifference(const LzoReference& ref, LumStatus status, uint32_t storedLen, uint32_t initialLen,
                          const uint8_t* out);

}  // namespace lumtest
