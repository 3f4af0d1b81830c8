// The LZSS decoder on arbitrary bytes, whole and cut into pieces on both sides
// (down to one byte) as the input chooses: every status is 0 or 33, nothing is
// read or written outside the caller's buffers (each piece has exactly its size,
// for ASan to watch), and the output of any split is the output of one call.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "lumdc.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A buffer of exactly n bytes (a one-call decode uses guarded pages instead).
struct Piece {
    std::unique_ptr<uint8_t[]> bytes;
    explicit Piece(size_t n) : bytes(new uint8_t[n == 0 ? 1 : n]) {}
    uint8_t* data() { return bytes.get(); }
};

void fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

// Decodes `stream` handing out the source in pieces of srcStep bytes and the
// destination in pieces of dstStep bytes, each piece a guarded buffer of its own,
// until the output reaches `limit` bytes or nothing more comes.
Bytes decode(const Bytes& stream, size_t srcStep, size_t dstStep, size_t limit) {
    std::vector<uint64_t> record(327744 / 8);
    auto* st = reinterpret_cast<LumLzssState*>(record.data());
    lumsDecodeLZSSInit_8u(st);
    Bytes out;
    size_t at = 0;
    for (int idle = 0; out.size() < limit && idle < 2;) {
        const size_t n = std::min(srcStep, stream.size() - at);
        const size_t room = std::min(dstStep, limit - out.size());
        // Exact-size pieces: under ASan a touch outside either is caught.
        Piece src(n), dst(room);
        if (n != 0) std::memcpy(src.data(), stream.data() + at, n);
        const uint8_t* s = src.data();
        uint8_t* d = dst.data();
        int32_t sLen = int32_t(n), dLen = int32_t(room);
        const LumStatus status = lumsDecodeLZSS_8u(&s, &sLen, &d, &dLen, st);
        if (status != lumStatusOk && status != lumStatusDstFull) fail("a status other than 0 or 33");
        if (sLen < 0 || size_t(sLen) > n || s != src.data() + (n - size_t(sLen)))
            fail("source pointer and length disagree");
        if (dLen < 0 || size_t(dLen) > room || d != dst.data() + (room - size_t(dLen)))
            fail("destination pointer and length disagree");
        out.insert(out.end(), dst.data(), d);
        at += n - size_t(sLen);
        idle = (n - size_t(sLen) == 0 && room - size_t(dLen) == 0) ? idle + 1 : 0;
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const size_t srcStep = 1 + in.take(in.take(2) ? 8 : 4096);
    const size_t dstStep = 1 + in.take(in.take(2) ? 8 : 70000);
    // Tiny pieces mean a call per byte: such runs take a shorter stream.
    const size_t keep = srcStep < 64 || dstStep < 64 ? std::min<size_t>(in.size(), 1500) : in.size();
    const Bytes stream(in.data(), in.data() + keep);
    // Every item is at least 9 bits and makes at most 258 bytes.
    const size_t limit = stream.size() * 8 / 9 * 258 + 258;
    const Bytes whole = decode(stream, stream.size() + 1, limit, limit);
    const Bytes cut = decode(stream, srcStep, dstStep, limit);
    if (whole != cut) fail("a split decodes to other bytes than one call");
    return 0;
}
