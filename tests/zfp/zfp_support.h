// ZFP test helpers: block generators, and streams of whole block sequences made
// and read by our exports and by libzfp with the same parameters.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "lumdc.h"

namespace zfptest {

using Floats = std::vector<float>;
using Bytes = std::vector<uint8_t>;

struct Params {
    int32_t minBits = 0, maxBits = 4171, maxPrec = 64, minExp = -10740;
};

enum class Kind { Smooth, Noisy, WithZeros, Zero, Subnormal, Huge, Spike, Count };

// One block of 64 values (x fastest) of the given kind. Unless `tiny` is set, its
// largest magnitude is at least 2^-96 (or it is all zeros), where the format's two
// halves agree.
Floats makeBlock(std::mt19937_64& rng, Kind kind, bool tiny = false);
// n blocks of mixed kinds, back to back.
Floats makeBlocks(std::mt19937_64& rng, size_t n);

// A record of 576 bytes at an odd address (the record has no alignment
// requirement), set up on `stream` with the parameters.
struct Record {
    std::vector<uint8_t> memory = std::vector<uint8_t>(576 + 3);
    LumZfpState* get() { return reinterpret_cast<LumZfpState*>(memory.data() + 3); }
};

struct Encoded {
    Bytes stream;        // the bytes written, flushed
    LumStatus status;    // the first failing status, or 0
    size_t blocksOk;     // blocks that returned 0
    int64_t bitsBefore;  // bit size after the last successful block
};

// Encodes `blocks` with our exports into a buffer of `capacity` bytes (flush
// included), one block per call, stopping at the first failure.
Encoded encodeOurs(const Floats& blocks, const Params& p, size_t capacity);
Bytes encodeZfp(const Floats& blocks, const Params& p);

// Decodes n blocks; the stream lies flush against a guard page.
struct Decoded {
    Floats values;
    LumStatus status;
    size_t blocksOk;
};
Decoded decodeOurs(const Bytes& stream, const Params& p, size_t n);
Floats decodeZfp(const Bytes& stream, const Params& p, size_t n);

// Field offsets inside the record.
int32_t fieldI32(LumZfpState* s, size_t offset);
int64_t pointerField(LumZfpState* s, size_t offset, const uint8_t* base);  // as an offset from base

}  // namespace zfptest
