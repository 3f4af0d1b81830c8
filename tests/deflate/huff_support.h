// Helpers of the Deflate output tests and benchmark: records as a level-6 matcher
// makes them (a lazy matcher of our own, over hash chains), the bit writer of the
// output calls' rule written out plainly, raw inflation by zlib and libdeflate,
// and a small inflater of our own that reads dynamic blocks symbol by symbol, so
// tests can see the header's lengths and the symbols a stream holds.
#pragma once

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "lumdc.h"

namespace lumtest::deflate {

using Bytes = std::vector<uint8_t>;

// RFC 1951 tables, written out again rather than taken from the library.
inline constexpr uint16_t kLenBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                          31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
inline constexpr uint8_t kLenExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                          2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
inline constexpr uint16_t kDistBase[30] = {1,    2,    3,    4,    5,    7,    9,    13,    17,    25,
                                           33,   49,   65,   97,   129,  193,  257,  385,   513,   769,
                                           1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
inline constexpr uint8_t kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                           6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

inline int lengthSymbol(int len) {  // 3..258 -> 0..28
    if (len == 258) return 28;
    int c = 0;
    while (c < 27 && kLenBase[c + 1] <= len) ++c;
    return c;
}
inline int distSymbol(int d) {  // 1..32768 -> 0..29
    int c = 0;
    while (c < 29 && kDistBase[c + 1] <= d) ++c;
    return c;
}

// Records with their symbol counts (kept wide: a block may hold more than 65535).
struct Records {
    Bytes lit;
    std::vector<uint16_t> dist;
    std::array<uint32_t, 286> litCount{};
    std::array<uint32_t, 30> distCount{};
    size_t bytes = 0;  // input the records cover

    void literal(uint8_t b) {
        lit.push_back(b);
        dist.push_back(0);
        ++litCount[b];
        ++bytes;
    }
    void match(int len, int d) {
        lit.push_back(uint8_t(len - 3));
        dist.push_back(uint16_t(d));
        ++litCount[257 + lengthSymbol(len)];
        ++distCount[distSymbol(d)];
        bytes += size_t(len);
    }
};

// Lazy matching as a level-6 compressor does it: hash chains of 3-byte keys,
// 128 candidates at most (a quarter from a match of 8 on), a search ends at 128
// bytes, no look one position later once a match of 16 is pending. Distances up
// to maxDist (32768 allowed).
inline Records lazyRecords(const uint8_t* src, size_t n, size_t maxDist = 32768) {
    Records r;
    constexpr uint32_t kHashBits = 15, kChain = 128, kGood = 8, kNice = 128, kLazy = 16;
    std::vector<int32_t> head(size_t(1) << kHashBits, -1), prev(n, -1);
    auto hashAt = [&](size_t p) {
        return ((uint32_t(src[p]) << 16 | uint32_t(src[p + 1]) << 8 | src[p + 2]) * 2654435761u) >> (32 - kHashBits);
    };
    auto insert = [&](size_t p) {
        if (p + 3 > n) return;
        const uint32_t h = hashAt(p);
        prev[p] = head[h];
        head[h] = int32_t(p);
    };
    auto longest = [&](size_t p, int atLeast, int& bestDist) {
        int best = atLeast;
        const size_t maxLen = std::min<size_t>(258, n - p);
        if (maxLen < 3) return 0;
        uint32_t chain = atLeast >= int(kGood) ? kChain / 4 : kChain;
        for (int32_t c = prev[p]; c >= 0 && p - size_t(c) <= maxDist && chain-- > 0; c = prev[size_t(c)]) {
            size_t l = 0;
            while (l < maxLen && src[size_t(c) + l] == src[p + l]) ++l;
            if (int(l) > best) {
                best = int(l);
                bestDist = int(p - size_t(c));
                if (l >= kNice) break;
            }
        }
        return best > atLeast ? best : 0;
    };
    // The loop of a lazy compressor: a match found at p waits while p + 1 is
    // searched; the longer one wins, and the byte before a winner at p + 1 goes
    // out as a literal.
    size_t p = 0;
    int prevLen = 0, prevDist = 0;
    bool pendingByte = false;  // src[p - 1] not yet coded
    while (p < n) {
        insert(p);
        int d = 0;
        const int len = prevLen >= int(kLazy) ? 0 : longest(p, std::max(prevLen, 2), d);
        if (prevLen >= 3 && len <= prevLen) {
            r.match(prevLen, prevDist);
            const size_t end = p - 1 + size_t(prevLen);
            for (size_t q = p + 1; q < end; ++q) insert(q);
            p = end;
            prevLen = 0;
            pendingByte = false;
            continue;
        }
        if (pendingByte) r.literal(src[p - 1]);
        pendingByte = true;
        prevLen = len;
        prevDist = d;
        ++p;
    }
    if (pendingByte) r.literal(src[n - 1]);
    return r;
}

// Code and frequency tables.
using LitTable = std::array<LumDeflateHuffEntry, 286>;
using DistTable = std::array<LumDeflateHuffEntry, 30>;

// Counts as the 16-bit frequency tables hold them (saturated, for blocks that
// exceed them).
inline void toFreq(const Records& r, LitTable& lit, DistTable& dist) {
    for (int s = 0; s < 286; ++s) lit[s] = {uint16_t(std::min<uint32_t>(r.litCount[s], 65535)), 0};
    for (int s = 0; s < 30; ++s) dist[s] = {uint16_t(std::min<uint32_t>(r.distCount[s], 65535)), 0};
}

// The output calls' bit writer, step by step as its rule reads.
struct RuleWriter {
    uint8_t* dst;
    uint32_t out;
    uint32_t acc;
    uint32_t n;

    void put(uint32_t value, uint32_t len) {
        if (len > 32 - n) {
            const uint32_t word = uint32_t(acc | (uint64_t(value) << n));
            for (int k = 0; k < 4; ++k) dst[out + uint32_t(k)] = uint8_t(word >> (8 * k));
            out += 4;
            acc = uint32_t(uint64_t(value) >> (32 - n));
            n = n + len - 32;
        } else {
            acc |= uint32_t(uint64_t(value) << n);
            n += len;
        }
    }
    void finish(uint16_t& bitBuf, uint32_t& bitCount) {
        if (n >= 8) {
            for (uint32_t k = 0; k < n / 8; ++k) dst[out + k] = uint8_t(acc >> (8 * k));
            out += n / 8;
            acc = uint32_t(uint64_t(acc) >> (8 * (n / 8)));
            n &= 7;
        }
        bitBuf = uint16_t(acc);
        bitCount = n;
    }
};

// Records through the rule, codes from the tables.
inline void ruleRecords(RuleWriter& w, const uint8_t* lit, const uint16_t* dist, size_t count, const LitTable& lc,
                        const DistTable& dc) {
    for (size_t i = 0; i < count; ++i) {
        if (dist[i] == 0) {
            w.put(lc[lit[i]].code, lc[lit[i]].len);
            continue;
        }
        const int len = lit[i] + 3, ls = lengthSymbol(len);
        w.put(lc[257 + size_t(ls)].code, lc[257 + size_t(ls)].len);
        if (kLenExtra[ls] != 0) w.put(uint32_t(len - kLenBase[ls]), kLenExtra[ls]);
        const int ds = distSymbol(dist[i]);
        w.put(dc[size_t(ds)].code, dc[size_t(ds)].len);
        if (kDistExtra[ds] != 0) w.put(uint32_t(dist[i] - kDistBase[ds]), kDistExtra[ds]);
    }
}

// A least-significant-bit-first writer for test streams (block headers, stored
// blocks, the end-of-block code), sharing the bit-buffer convention.
struct StreamWriter {
    Bytes bytes;
    uint16_t bitBuf = 0;
    uint32_t bitCount = 0;

    void put(uint32_t value, uint32_t len) {
        uint64_t acc = bitBuf | uint64_t(value & ((1u << len) - 1)) << bitCount;
        uint32_t n = bitCount + len;
        for (; n >= 8; n -= 8, acc >>= 8) bytes.push_back(uint8_t(acc));
        bitBuf = uint16_t(acc);
        bitCount = n;
    }
    void align() {
        if (bitCount > 0) put(0, 8 - bitCount);
    }
    // Room for a library call writing at dst[*pDstIdx...]; trim() keeps what it wrote.
    uint8_t* reserve(size_t room, uint32_t& idx) {
        idx = uint32_t(bytes.size());
        bytes.resize(bytes.size() + room);
        return bytes.data();
    }
    void trim(uint32_t idx) { bytes.resize(idx); }
};

// Raw Deflate inflation by the peers: the output, or an error message.
struct Inflated {
    Bytes out;
    std::string error;
};
inline Inflated zlibInflate(const Bytes& stream, size_t expected) {
    Inflated r;
    r.out.resize(expected + 1);
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) return {{}, "inflateInit2"};
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = uInt(stream.size());
    z.next_out = r.out.data();
    z.avail_out = uInt(r.out.size());
    const int rc = inflate(&z, Z_FINISH);
    if (rc != Z_STREAM_END) r.error = "zlib " + std::to_string(rc) + (z.msg != nullptr ? std::string(" ") + z.msg : "");
    r.out.resize(z.total_out);
    inflateEnd(&z);
    return r;
}
inline Inflated libdeflateInflate(const Bytes& stream, size_t expected) {
    Inflated r;
    r.out.resize(expected + 1);
    libdeflate_decompressor* d = libdeflate_alloc_decompressor();
    size_t made = 0;
    const libdeflate_result rc =
        libdeflate_deflate_decompress(d, stream.data(), stream.size(), r.out.data(), r.out.size(), &made);
    libdeflate_free_decompressor(d);
    if (rc != LIBDEFLATE_SUCCESS) r.error = "libdeflate " + std::to_string(int(rc));
    r.out.resize(made);
    return r;
}

// Reads a stream of dynamic blocks symbol by symbol: what each header says and
// which symbols the blocks hold. Refuses what no inflater should take.
struct SymbolReader {
    struct Block {
        bool final = false;
        int hlit = 0, hdist = 0, hclen = 0;
        uint8_t clLens[19] = {};
        uint8_t litLens[286] = {};
        uint8_t distLens[30] = {};
        size_t headerBits = 0;
        std::array<uint32_t, 286> litCount{};
        std::array<uint32_t, 30> distCount{};
    };
    const Bytes& s;
    size_t at;  // bit position
    std::string error;
    Bytes out;

    explicit SymbolReader(const Bytes& stream, size_t startBit = 0) : s(stream), at(startBit) {}

    uint32_t bits(int n) {
        uint32_t v = 0;
        for (int i = 0; i < n; ++i, ++at) {
            if (at / 8 >= s.size()) {
                error = "out of input";
                return 0;
            }
            v |= uint32_t(s[at / 8] >> (at % 8) & 1) << i;
        }
        return v;
    }
    // Canonical decoding, one bit at a time (lengths as RFC 1951 assigns codes).
    int decode(const uint8_t* lens, int n) {
        int code = 0, first = 0, index = 0;
        for (int len = 1; len <= 15; ++len) {
            code |= int(bits(1));
            int count = 0;
            for (int k = 0; k < n; ++k) count += lens[k] == len;
            if (code - first < count) {
                int seen = 0;
                for (int k = 0; k < n; ++k)
                    if (lens[k] == len && seen++ == code - first) return k;
            }
            index += count;
            first = (first + count) << 1;
            code <<= 1;
            if (!error.empty()) return -1;
        }
        error = "no such code";
        return -1;
    }
    static bool prefixCode(const uint8_t* lens, int n, bool allowSingle) {
        int64_t kraft = 0;  // in units of 2^-15
        int coded = 0;
        for (int k = 0; k < n; ++k)
            if (lens[k] != 0) kraft += int64_t(1) << (15 - lens[k]), ++coded;
        if (kraft > (1 << 15)) return false;
        return kraft == (1 << 15) || (allowSingle && coded == 1) || coded == 0;
    }

    // Reads one block (dynamic only); false with `error` set on anything amiss.
    bool block(Block& b) {
        b.final = bits(1) != 0;
        if (bits(2) != 2) return error = "not a dynamic block", false;
        const size_t start = at - 3;
        b.hlit = int(bits(5)) + 257;
        b.hdist = int(bits(5)) + 1;
        b.hclen = int(bits(4)) + 4;
        static constexpr uint8_t kOrder[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        for (int i = 0; i < b.hclen; ++i) b.clLens[kOrder[i]] = uint8_t(bits(3));
        if (!prefixCode(b.clLens, 19, false)) return error = "code-length code not complete", false;
        uint8_t lens[316] = {};
        const int total = b.hlit + b.hdist;
        for (int i = 0; i < total;) {
            const int sym = decode(b.clLens, 19);
            if (sym < 0) return false;
            if (sym < 16) {
                lens[i++] = uint8_t(sym);
                continue;
            }
            int rep = 0, value = 0;
            if (sym == 16) {
                if (i == 0) return error = "repeat with nothing before", false;
                value = lens[i - 1];
                rep = 3 + int(bits(2));
            } else {
                rep = sym == 17 ? 3 + int(bits(3)) : 11 + int(bits(7));
            }
            if (i + rep > total) return error = "repeat past the lengths", false;
            while (rep-- > 0) lens[i++] = uint8_t(value);
        }
        std::memcpy(b.litLens, lens, size_t(std::min(b.hlit, 286)));
        std::memcpy(b.distLens, lens + b.hlit, size_t(std::min(b.hdist, 30)));
        b.headerBits = at - start;
        if (!prefixCode(b.litLens, 286, true)) return error = "literal/length code not a prefix code", false;
        if (!prefixCode(b.distLens, 30, true)) return error = "distance code not a prefix code", false;
        for (;;) {
            const int sym = decode(b.litLens, 286);
            if (sym < 0) return false;
            ++b.litCount[size_t(sym)];
            if (sym < 256) {
                out.push_back(uint8_t(sym));
                continue;
            }
            if (sym == 256) return true;
            const int ls = sym - 257;
            if (ls > 28) return error = "length symbol above 285", false;
            const int len = kLenBase[ls] + int(bits(kLenExtra[ls]));
            const int ds = decode(b.distLens, 30);
            if (ds < 0) return false;
            ++b.distCount[size_t(ds)];
            const int d = kDistBase[ds] + int(bits(kDistExtra[ds]));
            if (size_t(d) > out.size()) return error = "distance before the start", false;
            for (int k = 0; k < len; ++k) out.push_back(out[out.size() - size_t(d)]);
        }
    }
};

}  // namespace lumtest::deflate
