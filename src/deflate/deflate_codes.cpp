// Deflate code building.
//
// Lengths come from an unlimited optimal code first, computed in place over the
// counts sorted in ascending order (the two-queue construction of Moffat and
// Katajainen: one left-to-right pass pairs the smallest weights and records parent
// links, two right-to-left passes turn links into depths, then depths of internal
// nodes into leaf depths). Only when its longest code passes the limit, which
// takes counts growing like the Fibonacci numbers over more than 15 symbols, the
// lengths are made again by package-merge, optimal under the limit. Sorting is two
// counting passes over 8-bit digits of the count, on keys that keep the symbol,
// so ties fall by symbol and the result is the same on every run.

#include "deflate_codes.h"

#include <algorithm>
#include <cstring>

#include "deflate_tables.h"

namespace lumdc::deflate {
namespace {

// keys[0, m) (count << 9 | symbol) into ascending order.
void sortKeys(uint32_t* keys, int m) {
    uint32_t tmp[kMaxSymbols];
    uint32_t top = 0;
    for (int i = 0; i < m; ++i) top |= keys[i];
    for (int shift = 9; shift < 32 && (top >> shift) != 0; shift += 8) {
        uint32_t count[257] = {};
        for (int i = 0; i < m; ++i) ++count[((keys[i] >> shift) & 0xFF) + 1];
        for (int d = 0; d < 256; ++d) count[d + 1] += count[d];
        for (int i = 0; i < m; ++i) tmp[count[(keys[i] >> shift) & 0xFF]++] = keys[i];
        std::memcpy(keys, tmp, sizeof(uint32_t) * size_t(m));
    }
}

// a[0, m) ascending weights (m >= 2) become the depths of an optimal code, the
// longest first.
void minimumRedundancy(uint32_t* a, int m) {
    a[0] += a[1];
    int root = 0, leaf = 2;
    for (int next = 1; next < m - 1; ++next) {
        if (leaf >= m || a[root] < a[leaf]) {
            a[next] = a[root];
            a[root++] = uint32_t(next);
        } else {
            a[next] = a[leaf++];
        }
        if (leaf >= m || (root < next && a[root] < a[leaf])) {
            a[next] += a[root];
            a[root++] = uint32_t(next);
        } else {
            a[next] += a[leaf++];
        }
    }
    a[m - 2] = 0;
    for (int next = m - 3; next >= 0; --next) a[next] = a[a[next]] + 1;
    int avail = 1, used = 0, depth = 0, root2 = m - 2, next = m - 1;
    while (avail > 0) {
        while (root2 >= 0 && int(a[root2]) == depth) {
            ++used;
            --root2;
        }
        while (avail > used) {
            a[next--] = uint32_t(depth);
            --avail;
        }
        avail = 2 * used;
        ++depth;
        used = 0;
    }
}

// Package-merge: lengths (at most maxBits) of an optimal code for ascending weights
// w[0, m), 2 <= m <= 2^maxBits, the longest first.
void packageMerge(const uint32_t* w, int m, int maxBits, uint32_t* lens) {
    constexpr int kMaxItems = 2 * kMaxSymbols;
    // isPackage[level][i]: whether item i of that level's list is a package of two
    // items of the level below (level 0 is the deepest, leaves only).
    uint8_t isPackage[15][kMaxItems];
    uint64_t weight[2][kMaxItems];
    int size[15];
    for (int i = 0; i < m; ++i) {
        weight[0][i] = w[i];
        isPackage[0][i] = 0;
    }
    size[0] = m;
    for (int level = 1; level < maxBits; ++level) {
        const uint64_t* below = weight[(level - 1) & 1];
        uint64_t* here = weight[level & 1];
        const int packages = size[level - 1] / 2;
        int leaf = 0, pkg = 0, k = 0;
        while (leaf < m || pkg < packages) {
            const bool takeLeaf =
                pkg >= packages || (leaf < m && uint64_t(w[leaf]) <= below[2 * pkg] + below[2 * pkg + 1]);
            if (takeLeaf) {
                here[k] = w[leaf++];
                isPackage[level][k++] = 0;
            } else {
                here[k] = below[2 * pkg] + below[2 * pkg + 1];
                ++pkg;
                isPackage[level][k++] = 1;
            }
        }
        size[level] = k;
    }
    for (int i = 0; i < m; ++i) lens[i] = 0;
    // The 2m - 2 cheapest items of the top list; each chosen leaf adds one bit to
    // its symbol, each chosen package chooses two items one level down.
    int take = 2 * m - 2;
    for (int level = maxBits - 1; level >= 0 && take > 0; --level) {
        int leaves = 0, packages = 0;
        for (int i = 0; i < take; ++i) (isPackage[level][i] ? packages : leaves)++;
        for (int i = 0; i < leaves; ++i) ++lens[i];
        take = 2 * packages;
    }
    // lens[i] now counts levels for the i-th smallest weight: nonincreasing in i.
}

}  // namespace

void huffmanLengths(const uint32_t* freq, int n, int maxBits, uint8_t* lens) {
    uint32_t keys[kMaxSymbols];
    int m = 0;
    for (int s = 0; s < n; ++s) {
        lens[s] = 0;
        if (freq[s] != 0) keys[m++] = std::min<uint32_t>(freq[s], 0x7FFFFF) << 9 | uint32_t(s);
    }
    if (m == 0) return;
    if (m == 1) {
        lens[keys[0] & 0x1FF] = 1;
        return;
    }
    sortKeys(keys, m);
    uint32_t depth[kMaxSymbols];
    for (int i = 0; i < m; ++i) depth[i] = keys[i] >> 9;
    minimumRedundancy(depth, m);
    if (int(depth[0]) > maxBits) {
        uint32_t w[kMaxSymbols];
        for (int i = 0; i < m; ++i) w[i] = keys[i] >> 9;
        packageMerge(w, m, maxBits, depth);
    }
    for (int i = 0; i < m; ++i) lens[keys[i] & 0x1FF] = uint8_t(depth[i]);
}

void canonicalCodes(const uint8_t* lens, int n, LumDeflateHuffEntry* codes) {
    static constexpr struct Reverse {
        uint8_t t[256];
        constexpr Reverse() : t{} {
            for (int i = 0; i < 256; ++i)
                for (int b = 0; b < 8; ++b)
                    if (i >> b & 1) t[i] |= uint8_t(0x80 >> b);
        }
    } kReverse{};
    uint32_t count[16] = {}, next[16] = {};
    for (int s = 0; s < n; ++s) ++count[lens[s]];
    count[0] = 0;
    for (int b = 1, code = 0; b < 16; ++b) next[b] = uint32_t(code = (code + int(count[b - 1])) << 1);
    for (int s = 0; s < n; ++s) {
        const uint32_t len = lens[s];
        if (len == 0) {
            codes[s] = {0, 0};
            continue;
        }
        const uint32_t c = next[len]++;
        const uint32_t reversed = uint32_t(kReverse.t[c & 0xFF]) << 8 | kReverse.t[c >> 8];
        codes[s] = {uint16_t(reversed >> (16 - len)), uint16_t(len)};
    }
}

void completeSingle(uint8_t* lens, int n, int preferred, int fallback) {
    int coded = 0, which = 0;
    for (int s = 0; s < n; ++s)
        if (lens[s] != 0) ++coded, which = s;
    if (coded != 1) return;
    lens[which == preferred ? fallback : preferred] = 1;
}

}  // namespace lumdc::deflate

extern "C" LUMDC_API LumStatus lumsDeflateLZ77FastestGenHuffTable_8u(const LumDeflateHuffEntry* pLitFreq,
                                                                     const LumDeflateHuffEntry* pDistFreq,
                                                                     LumDeflateHuffEntry* pLitCodes,
                                                                     LumDeflateHuffEntry* pDistCodes) {
    using namespace lumdc::deflate;
    if (pLitFreq == nullptr || pDistFreq == nullptr || pLitCodes == nullptr || pDistCodes == nullptr)
        return lumStatusNullPtr;
    // Counts are read whole before any code is written: the tables may be the same.
    uint32_t litFreq[kLitSymbols], distFreq[kDistSymbols];
    for (int s = 0; s < kLitSymbols; ++s) litFreq[s] = pLitFreq[s].code;
    for (int s = 0; s < kDistSymbols; ++s) distFreq[s] = pDistFreq[s].code;
    litFreq[kEndOfBlock] = std::max<uint32_t>(litFreq[kEndOfBlock], 1);
    uint8_t litLens[kLitSymbols], distLens[kDistSymbols];
    huffmanLengths(litFreq, kLitSymbols, kMaxCodeBits, litLens);
    huffmanLengths(distFreq, kDistSymbols, kMaxCodeBits, distLens);
    // The end-of-block symbol alone: a literal 0 beside it. No distance at all: two
    // codes nonetheless, as one is not a complete code.
    completeSingle(litLens, kLitSymbols, 0, 1);
    if (std::all_of(distLens, distLens + kDistSymbols, [](uint8_t l) { return l == 0; })) distLens[0] = 1;
    completeSingle(distLens, kDistSymbols, 0, 1);
    canonicalCodes(litLens, kLitSymbols, pLitCodes);
    canonicalCodes(distLens, kDistSymbols, pDistCodes);
    return lumStatusOk;
}
