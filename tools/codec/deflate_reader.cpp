// Deflate streams read with lumsInflate_8u. The output grows in pieces and stays
// whole, so it is the inflater's history as well; the source is handed over whole
// and the inflater says where each stream ends.

#include "deflate_reader.h"

#include <algorithm>
#include <cstring>

#include "lumdc.h"

namespace lumcodec {
namespace {

constexpr size_t kGrowth = size_t(1) << 20;

uint32_t le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint32_t be32(const uint8_t* p) { return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]; }

// Inflates one raw stream from src[at...] and appends it to out; returns the offset
// just after the stream.
size_t inflateOne(const uint8_t* src, size_t len, size_t at, std::vector<uint8_t>& out) {
    LumInflateState state{};
    const size_t start = out.size();
    size_t made = start;
    for (;;) {
        // The inflater takes 32-bit lengths: the source in pieces of at most 1 GiB,
        // the output window at most 1 GiB past the last 32 KiB.
        const size_t base = made > 32768 ? made - 32768 : 0;
        if (out.size() - made < kGrowth / 2) out.resize(std::max(out.size() + kGrowth, made + kGrowth));
        const size_t room = std::min(out.size() - base, size_t(1) << 30);
        const uint8_t* p = src + at;
        uint32_t piece = uint32_t(std::min(len - at, size_t(1) << 30));
        const uint32_t given = piece;
        uint32_t idx = uint32_t(made - base);
        const LumStatus st = lumsInflate_8u(&p, &piece, out.data() + base, &idx, uint32_t(room), &state);
        at += given - piece;
        made = base + idx;
        if (st == lumStatusOk) break;
        if (st == lumStatusSrcExhausted && at == len) {
            out.resize(made);
            throw FormatError("truncated Deflate stream", at);
        }
        if (st < 0) {
            out.resize(made);
            throw FormatError(st == lumStatusHuffCodeErr ? "invalid Huffman code lengths" : "invalid Deflate data", at);
        }
    }
    out.resize(made);
    return at;
}

uint32_t crc32Of(const uint8_t* p, size_t n) {
    uint32_t crc = 0;
    for (size_t at = 0; at < n; at += size_t(1) << 30)
        lumsCRC32_8u(p + at, int32_t(std::min(n - at, size_t(1) << 30)), &crc);
    return crc;
}

uint32_t adler32Of(const uint8_t* p, size_t n) {
    uint32_t a = 1;
    for (size_t at = 0; at < n; at += size_t(1) << 30)
        lumsAdler32_8u(p + at, int32_t(std::min(n - at, size_t(1) << 30)), &a);
    return a;
}

// Parses a gzip member header at src[at...]; returns the offset of its Deflate data.
size_t gzipHeader(const uint8_t* src, size_t len, size_t at, GzipInfo* info) {
    const size_t start = at;
    auto need = [&](size_t n) {
        if (len - at < n) throw FormatError("truncated gzip header", len);
    };
    need(10);
    if (src[at] != 0x1F || src[at + 1] != 0x8B) throw FormatError("not a gzip member", at);
    if (src[at + 2] != 8) throw FormatError("gzip member with an unknown compression method", at + 2);
    const uint8_t flags = src[at + 3];
    if (flags & 0xE0) throw FormatError("gzip header with reserved flags set", at + 3);
    if (info) info->mtime = le32(src + at + 4);
    at += 10;
    if (flags & 4) {  // FEXTRA
        need(2);
        const size_t xlen = size_t(src[at]) | size_t(src[at + 1]) << 8;
        at += 2;
        need(xlen);
        at += xlen;
    }
    for (int field = 0; field < 2; ++field) {  // FNAME, FCOMMENT: zero-terminated
        if (!(flags & (field == 0 ? 8 : 16))) continue;
        const uint8_t* end = static_cast<const uint8_t*>(std::memchr(src + at, 0, len - at));
        if (end == nullptr) throw FormatError("truncated gzip header", len);
        if (field == 0 && info) info->name.assign(reinterpret_cast<const char*>(src + at), size_t(end - (src + at)));
        at = size_t(end - src) + 1;
    }
    if (flags & 2) {  // FHCRC: the low 16 bits of the header's CRC-32
        need(2);
        if ((crc32Of(src + start, at - start) & 0xFFFF) != (uint32_t(src[at]) | uint32_t(src[at + 1]) << 8))
            throw FormatError("gzip header CRC mismatch", at);
        at += 2;
    }
    return at;
}

}  // namespace

DeflateFraming detectFraming(const uint8_t* src, size_t len) {
    if (len >= 2 && src[0] == 0x1F && src[1] == 0x8B) return DeflateFraming::Gzip;
    if (len >= 2 && (src[0] & 0x0F) == 8 && (src[0] >> 4) <= 7 && (src[0] * 256u + src[1]) % 31 == 0)
        return DeflateFraming::Zlib;
    return DeflateFraming::Raw;
}

std::vector<uint8_t> deflateDecompress(const uint8_t* src, size_t len, DeflateFraming framing, GzipInfo* info) {
    std::vector<uint8_t> out;
    if (framing == DeflateFraming::Raw) {
        const size_t end = inflateOne(src, len, 0, out);
        if (end != len) throw FormatError("data after the end of the Deflate stream", end);
        return out;
    }
    if (framing == DeflateFraming::Zlib) {
        if (len < 2) throw FormatError("truncated zlib header", len);
        if ((src[0] & 0x0F) != 8 || (src[0] >> 4) > 7 || (src[0] * 256u + src[1]) % 31 != 0)
            throw FormatError("invalid zlib header", 0);
        if (src[1] & 0x20) throw FormatError("zlib stream needs a preset dictionary", 1);
        const size_t end = inflateOne(src, len, 2, out);
        if (len - end < 4) throw FormatError("truncated zlib trailer", len);
        if (be32(src + end) != adler32Of(out.data(), out.size())) throw FormatError("Adler-32 mismatch", end);
        if (end + 4 != len) throw FormatError("data after the end of the zlib stream", end + 4);
        return out;
    }
    size_t at = 0;
    bool first = true;
    do {
        const size_t member = out.size();
        at = inflateOne(src, len, gzipHeader(src, len, at, first ? info : nullptr), out);
        first = false;
        if (len - at < 8) throw FormatError("truncated gzip trailer", len);
        if (le32(src + at) != crc32Of(out.data() + member, out.size() - member))
            throw FormatError("CRC-32 mismatch", at);
        if (le32(src + at + 4) != uint32_t(out.size() - member)) throw FormatError("gzip size mismatch", at + 4);
        at += 8;
    } while (at < len);
    return out;
}

}  // namespace lumcodec
