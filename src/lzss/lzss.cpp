// LZSS: the record's set-up, the encoder's call and flush around the coder, and
// the decoder.

#include "lzss/lzss.h"

#include <algorithm>
#include <cstring>

#include "core/crc32c_hash.h"
#include "core/lz_copy.h"
#include "core/lz_match.h"
#include "lumdc.h"
#include "lzss/lzss_decode_core.h"
#include "lzss/lzss_encode_core.h"

namespace lumdc::lzss {

namespace ref {
const EncodeKernels kEncodeKernels = {codeItems<PortableMatchOps, TableHash>};
const DecodeKernels kDecodeKernels = {decodeFast<PortableLiterals, PortableLzCopies>};
}  // namespace ref

namespace {

// Three fixed tables spreading the bytes of a 3-byte key over 16 bits: the top
// half of one CRC-32C step (reflected, from 0) of the key as a little-endian
// word, split by byte. The step is linear, so XORing the three gives the step of
// the whole key, which the vector kernels take from the crc32 instruction.
constexpr struct HashTables {
    uint16_t t[3 * 256];
    constexpr HashTables() : t{} {
        // Byte k of the word is followed by 3 - k more bytes of the step.
        const Crc32cWordTables crc = makeCrc32cWordTables();
        for (uint32_t k = 0; k < 3; ++k)
            for (uint32_t b = 0; b < 256; ++b) t[256 * k + b] = uint16_t(crc.t[3 - k][b] >> 16);
    }
} kHash;

Header* header(LumLzssState* s) { return reinterpret_cast<Header*>(s); }
uint8_t* base(LumLzssState* s) { return reinterpret_cast<uint8_t*>(s); }

// The pointers are stored as the record describes itself, and recomputed from the
// record's address on every call, so that a record copied as bytes stays valid.
void bind(LumLzssState* s) {
    Header& h = *header(s);
    h.hashTables = kHash.t;
    h.head = reinterpret_cast<uint16_t*>(base(s) + kHeadOffset);
    h.chain = reinterpret_cast<uint16_t*>(base(s) + kChainOffset);
    h.buffer = h.direction == kDecoder ? base(s) + kHeadOffset : base(s) + kBufferOffset;
}

// A fresh header for the given direction, its pointers bound.
Header& start(LumLzssState* s, uint32_t direction) {
    Header& h = *header(s);
    h = Header{};
    h.direction = direction;
    bind(s);
    return h;
}

// Pending bits as a right-aligned 64-bit word.
uint64_t pending(const Header& h) { return uint64_t(h.overflow) << 32 | h.bits; }
void setPending(Header& h, uint64_t acc, int32_t count) {
    acc = count >= 64 ? acc : acc & ((uint64_t(1) << count) - 1);
    h.bits = uint32_t(acc);
    h.overflow = uint32_t(acc >> 32);
    h.bitCount = count;
}

// The checks both directions make first: pointers (-8), lengths (-6), and a
// destination of length 0 (33 at once).
LumStatus checkCall(const uint8_t** ppSrc, const int32_t* pSrcLen, uint8_t** ppDst, const int32_t* pDstLen,
                    const LumLzssState* pState) {
    if (ppSrc == nullptr || pSrcLen == nullptr || ppDst == nullptr || pDstLen == nullptr || pState == nullptr ||
        *ppDst == nullptr || (*ppSrc == nullptr && *pSrcLen != 0))
        return lumStatusNullPtr;
    if (*pSrcLen < 0 || *pDstLen < 0) return lumStatusSizeErr;
    return *pDstLen == 0 ? lumStatusDstFull : lumStatusOk;
}

// Keeps the last 32 KiB before the cursor and makes room behind the data.
void slide(Header& h) {
    const uint32_t shift = h.cursor > kWindow ? h.cursor - kWindow : 0;
    std::memmove(h.buffer, h.buffer + shift, h.filled - shift);
    h.position += shift;
    h.cursor -= shift;
    h.filled -= shift;
}

// How much input one go of the coder may use with `room` bytes of output: at
// most 86 bytes per byte written (a 24-bit match item codes 258), one item more
// into the pending bits and the bits already pending, and the look-ahead behind
// the last one. Taking no more keeps what is copied in and handed back per call
// in proportion to the output when the caller's pieces of output are small.
uint32_t wanted(const Header& h, uint32_t room) {
    const uint64_t reach = uint64_t(room) * (8 * kMaxMatch / 24) + 3 * kMaxMatch + kLookahead;
    const uint64_t ahead = h.filled - h.cursor;
    return uint32_t(std::min<uint64_t>(reach - ahead, kBufferBytes));
}

}  // namespace
}  // namespace lumdc::lzss

using namespace lumdc::lzss;

extern "C" {

LumStatus lumsLZSSGetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return lumStatusNullPtr;
    *pSize = int32_t(kStateBytes);
    return lumStatusOk;
}

LumStatus lumsEncodeLZSSInit_8u(LumLzssState* pState) {
    if (pState == nullptr) return lumStatusNullPtr;
    Header& h = start(pState, kEncoder);
    std::fill(h.head, h.head + 65536, kEmpty);
    std::fill(h.chain, h.chain + 2 * kWindow, kEmpty);
    return lumStatusOk;
}

LumStatus lumsDecodeLZSSInit_8u(LumLzssState* pState) {
    if (pState == nullptr) return lumStatusNullPtr;
    Header& h = start(pState, kDecoder);
    // Distances that reach before the start of the output read these zeros.
    std::memset(h.buffer, 0, kWindow);
    return lumStatusOk;
}

LumStatus lumsEncodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst, int32_t* pDstLen,
                            LumLzssState* pState) {
    const LumStatus check = checkCall(ppSrc, pSrcLen, ppDst, pDstLen, pState);
    if (check < 0) return check;
    // With nothing to take, nothing is left over: 33 would ask for room with no
    // source behind it.
    if (*pSrcLen == 0) return lumStatusOk;
    if (check != lumStatusOk) return check;
    bind(pState);
    Header& h = *header(pState);
    const auto code = lumdc::pickVariant(kEncodeVariants)->code;
    const uint8_t* src = *ppSrc;
    uint32_t left = uint32_t(*pSrcLen);
    uint8_t* dst = *ppDst;
    uint32_t room = uint32_t(*pDstLen);
    Stop stop;
    for (;;) {
        stop = code(h, dst, room, false);
        if (stop == Stop::DstFull || left == 0) break;
        if (h.filled == kBufferBytes) slide(h);  // the coder wants input: the cursor is near the end
        const uint32_t n = std::min({left, kBufferBytes - h.filled, wanted(h, room)});
        std::memcpy(h.buffer + h.filled, src, n);
        h.filled += n;
        src += n;
        left -= n;
    }
    // What lies beyond the look-ahead of the last position coded goes back to the
    // caller: it was all taken in this call (the call began with no more than the
    // look-ahead in the buffer), and it is still in the caller's source.
    if (const uint32_t ahead = h.filled - h.cursor; ahead > kLookahead) {
        const uint32_t back = ahead - kLookahead;
        h.filled -= back;
        src -= back;
        left += back;
    }
    *ppSrc = src;
    *pSrcLen = int32_t(left);
    *ppDst = dst;
    *pDstLen = int32_t(room);
    // A full output with the whole source taken is not worth a warning: the bits
    // that did not fit wait in the record for the next call or the flush.
    return stop == Stop::DstFull && left != 0 ? lumStatusDstFull : lumStatusOk;
}

LumStatus lumsEncodeLZSSFlush_8u(uint8_t** ppDst, int32_t* pDstLen, LumLzssState* pState) {
    if (ppDst == nullptr || pDstLen == nullptr || pState == nullptr || *ppDst == nullptr) return lumStatusNullPtr;
    if (*pDstLen < 1) return lumStatusSizeErr;
    bind(pState);
    Header& h = *header(pState);
    uint8_t* dst = *ppDst;
    uint32_t room = uint32_t(*pDstLen);
    LumStatus status = lumStatusOk;
    // The look-ahead held back for later calls is coded now that the end is known.
    if (lumdc::pickVariant(kEncodeVariants)->code(h, dst, room, true) == Stop::DstFull) {
        status = lumStatusDstFull;
    } else {
        uint64_t acc = pending(h);
        int32_t count = h.bitCount;
        if (count % 8 != 0) {
            acc <<= 8 - count % 8;
            count += 8 - count % 8;
        }
        for (; count >= 8 && room > 0; --room) {
            count -= 8;
            *dst++ = uint8_t(acc >> count);
        }
        setPending(h, acc, count);
        if (count > 0) status = lumStatusDstFull;
    }
    *ppDst = dst;
    *pDstLen = int32_t(room);
    return status;
}

LumStatus lumsDecodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst, int32_t* pDstLen,
                            LumLzssState* pState) {
    if (const LumStatus st = checkCall(ppSrc, pSrcLen, ppDst, pDstLen, pState); st != lumStatusOk) return st;
    bind(pState);
    Header& h = *header(pState);
    // With no source, only the rest of a match cut by a full output is left to do.
    if (*pSrcLen == 0 && h.filled == 0) return lumStatusOk;
    uint8_t* const ring = h.buffer;
    const uint8_t* src = *ppSrc;
    const uint8_t* const srcEnd = src + *pSrcLen;
    uint8_t* const out = *ppDst;
    const uint32_t capacity = uint32_t(*pDstLen);
    uint32_t made = 0;
    uint64_t acc = pending(h);
    int32_t count = h.bitCount;
    const uint64_t start = h.position;  // output position of out[0]

    const auto fast = lumdc::pickVariant(kDecodeVariants)->fast;
    LumStatus status = lumStatusOk;
    for (;;) {
        if (h.filled == 0) {
            DecodeRun run{src, srcEnd, acc, count, out, made, capacity, ring, start};
            fast(run);
            src = run.src;
            acc = run.acc;
            count = run.count;
            made = run.made;
        }
        // A match may outlast the room of one call: its rest waits in the record.
        if (h.filled != 0) {
            const uint32_t n = std::min(h.filled, capacity - made);
            const uint32_t d = h.cursor;
            if (d <= made && d >= n) {
                std::memcpy(out + made, out + made - d, n);
            } else {
                for (uint32_t k = made; k < made + n; ++k) out[k] = historyByte(out, ring, start, k, d);
            }
            made += n;
            h.filled -= n;
            if (h.filled != 0) {
                status = lumStatusDstFull;
                break;
            }
        }
        if (count <= 56 && srcEnd - src >= 8) {
            // Whole bytes up to 57..64 bits, from one big-endian load.
            uint64_t word;
            std::memcpy(&word, src, 8);
            const int take = (64 - count) / 8;
            acc = (take == 8 ? 0 : acc << (8 * take)) | __builtin_bswap64(word) >> (64 - 8 * take);
            src += take;
            count += 8 * take;
        }
        while (count <= 56 && src < srcEnd) {
            acc = acc << 8 | *src++;
            count += 8;
        }
        if (count < 9) break;  // no whole item: its bits wait for the next call
        const bool literal = (acc >> (count - 1) & 1) != 0;
        if (literal) {
            if (made == capacity) {
                status = lumStatusDstFull;
                break;
            }
            count -= 9;
            out[made++] = uint8_t(acc >> count);
            continue;
        }
        if (count < 24) break;
        if (made == capacity) {
            status = lumStatusDstFull;
            break;
        }
        count -= 24;
        const uint32_t item = uint32_t(acc >> count) & 0x7FFFFF;
        // Distance 0 is never written; it reads the byte 32768 back, like any
        // other distance, from what the stream has produced (zeros before it).
        h.cursor = item >> 8 != 0 ? item >> 8 : kWindow;
        h.filled = (item & 0xFF) + kMinMatch;
    }
    // Whole bytes read ahead go back to the caller when the output is full.
    if (status == lumStatusDstFull) {
        const int32_t unread = std::min<int32_t>(count / 8, int32_t(src - *ppSrc));  // this call's bytes only
        src -= unread;
        count -= 8 * unread;
        acc = unread >= 8 ? 0 : acc >> (8 * unread);
    }
    setPending(h, acc, count);

    // The ring takes this call's last 32 KiB, in at most two pieces.
    const uint32_t keep = std::min(made, kWindow);
    const uint32_t at = uint32_t((start + made - keep) % kWindow), first = std::min(keep, kWindow - at);
    std::memcpy(ring + at, out + made - keep, first);
    std::memcpy(ring, out + made - keep + first, keep - first);
    h.position = start + made;

    *ppSrc = src;
    *pSrcLen = int32_t(srcEnd - src);
    *ppDst = out + made;
    *pDstLen = int32_t(capacity - made);
    return status;
}

}  // extern "C"
