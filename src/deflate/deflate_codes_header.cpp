// Dynamic block headers: the code lengths of both alphabets as one sequence, run-
// length coded with the symbols 16 (repeat the previous length 3-6 times), 17 (3-10
// zeros) and 18 (11-138 zeros), under a code-length code of at most 7 bits.
//
// Two ways of cutting the sequence into runs are weighed and the shorter header is
// written: the usual greedy one (longest runs first), and a cut of least cost under
// the code-length code the greedy cut gives, found by dynamic programming over the
// sequence (it splits runs where a literal length is cheaper than the repeat code,
// and crosses from one alphabet into the other). The code-length code is then
// built again for the symbols that cut uses, so it is never worse than the first.

#include <algorithm>
#include <cstring>

#include "deflate_codes.h"
#include "deflate_huff_bits.h"
#include "deflate_tables.h"

namespace lumdc::deflate {
namespace {

constexpr int kClSymbols = 19;
constexpr int kClMaxBits = 7;
constexpr uint8_t kClOrder[kClSymbols] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
constexpr uint8_t kClExtra[kClSymbols] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 3, 7};
constexpr int kMaxLengths = kLitSymbols + kDistSymbols;

struct Item {
    uint8_t sym;    // code-length symbol 0..18
    uint8_t extra;  // its extra value (run length less the symbol's least)
};

// A cut of the sequence with the code-length code for it and its size in bits.
struct Plan {
    Item items[kMaxLengths];
    int count = 0;
    uint8_t clLens[kClSymbols];
    int nclen = 4;
    uint32_t bits = 0;

    void add(int sym, int extra) { items[count++] = {uint8_t(sym), uint8_t(extra)}; }

    // The code-length code of the items, and the bits they and its lengths take.
    void finish() {
        uint32_t freq[kClSymbols] = {};
        for (int i = 0; i < count; ++i) ++freq[items[i].sym];
        huffmanLengths(freq, kClSymbols, kClMaxBits, clLens);
        completeSingle(clLens, kClSymbols, 16, 17);  // a one-symbol code-length code is refused
        nclen = kClSymbols;
        while (nclen > 4 && clLens[kClOrder[nclen - 1]] == 0) --nclen;
        bits = 3 * uint32_t(nclen);
        for (int s = 0; s < kClSymbols; ++s) bits += freq[s] * (clLens[s] + kClExtra[s]);
    }
};

void greedyCut(const uint8_t* lens, int n, Plan& p) {
    for (int i = 0; i < n;) {
        const uint8_t v = lens[i];
        int run = 1;
        while (i + run < n && lens[i + run] == v) ++run;
        i += run;
        if (v == 0) {
            for (; run >= 11; run -= std::min(run, 138)) p.add(18, std::min(run, 138) - 11);
            if (run >= 3) {
                p.add(17, run - 3);
                run = 0;
            }
        } else {
            p.add(v, 0);
            for (--run; run >= 3; run -= std::min(run, 6)) p.add(16, std::min(run, 6) - 3);
        }
        for (; run > 0; --run) p.add(v, 0);
    }
    p.finish();
}

// The cut of least cost when symbol s costs cost[s] bits with its extra bits.
void cheapestCut(const uint8_t* lens, int n, const uint32_t* cost, Plan& p) {
    uint32_t best[kMaxLengths + 1];  // bits of the cheapest cut of lens[i, n)
    uint16_t take[kMaxLengths];      // lengths the first symbol of that cut covers
    uint8_t sym[kMaxLengths];
    uint16_t same[kMaxLengths];  // equal lengths from i on
    // In a zero run, the position in [i, end of the run] of least best[], the
    // furthest on ties: the 18 symbol's choice among its 11-138 zeros.
    uint16_t minFrom[kMaxLengths + 1];
    for (int i = n - 1; i >= 0; --i) same[i] = uint16_t(i + 1 < n && lens[i + 1] == lens[i] ? same[i + 1] + 1 : 1);
    best[n] = 0;
    for (int i = n - 1; i >= 0; --i) {
        const int v = lens[i], run = same[i];
        uint32_t b = cost[v] + best[i + 1];
        int t = 1, s = v;
        if (i > 0 && lens[i - 1] == v)
            for (int k = 3; k <= std::min(6, run); ++k)
                if (cost[16] + best[i + k] < b) b = cost[16] + best[i + k], t = k, s = 16;
        if (v == 0) {
            if (run == 1) minFrom[i + 1] = uint16_t(i + 1);  // first look at this run, from its end
            for (int k = 3; k <= std::min(10, run); ++k)
                if (cost[17] + best[i + k] < b) b = cost[17] + best[i + k], t = k, s = 17;
            if (run >= 11) {
                int j = i + 11;
                if (run <= 138) {
                    j = minFrom[i + 11];
                } else {
                    for (int k = 12; k <= 138; ++k)
                        if (best[i + k] <= best[j]) j = i + k;
                }
                if (cost[18] + best[j] < b) b = cost[18] + best[j], t = j - i, s = 18;
            }
        }
        best[i] = b;
        take[i] = uint16_t(t);
        sym[i] = uint8_t(s);
        if (v == 0) minFrom[i] = best[i] < best[minFrom[i + 1]] ? uint16_t(i) : minFrom[i + 1];
    }
    for (int i = 0; i < n; i += take[i]) p.add(sym[i], sym[i] < 16 ? 0 : take[i] - (sym[i] == 18 ? 11 : 3));
    p.finish();
}

// Lengths of the two alphabets (trimmed) and the header for them.
void writeHeader(const uint8_t* litLens, const uint8_t* distLens, bool final, WordWriter& w) {
    int nlit = kLitSymbols, ndist = kDistSymbols;
    while (nlit > 257 && litLens[nlit - 1] == 0) --nlit;
    while (ndist > 1 && distLens[ndist - 1] == 0) --ndist;
    uint8_t lens[kMaxLengths];
    std::memcpy(lens, litLens, size_t(nlit));
    std::memcpy(lens + nlit, distLens, size_t(ndist));
    const int n = nlit + ndist;

    Plan greedy, cheap;
    greedyCut(lens, n, greedy);
    uint32_t cost[kClSymbols];
    for (int s = 0; s < kClSymbols; ++s) cost[s] = (greedy.clLens[s] != 0 ? greedy.clLens[s] : 8) + kClExtra[s];
    cheapestCut(lens, n, cost, cheap);
    const Plan& p = cheap.bits < greedy.bits ? cheap : greedy;

    LumDeflateHuffEntry clCodes[kClSymbols];
    canonicalCodes(p.clLens, kClSymbols, clCodes);
    w.put((final ? 1u : 0u) | 2u << 1, 3);  // BFINAL, BTYPE 2: dynamic codes
    w.put(uint32_t(nlit - 257), 5);
    w.put(uint32_t(ndist - 1), 5);
    w.put(uint32_t(p.nclen - 4), 4);
    for (int i = 0; i < p.nclen; ++i) w.put(p.clLens[kClOrder[i]], 3);
    for (int i = 0; i < p.count; ++i) {
        const Item it = p.items[i];
        w.put(clCodes[it.sym].code, clCodes[it.sym].len);
        if (kClExtra[it.sym] != 0) w.put(it.extra, kClExtra[it.sym]);
    }
}

bool lengthsValid(const LumDeflateHuffEntry* codes, int n) {
    return std::all_of(codes, codes + n, [](const LumDeflateHuffEntry& e) { return e.len <= kMaxCodeBits; });
}

}  // namespace
}  // namespace lumdc::deflate

extern "C" LUMDC_API LumStatus lumsDeflateLZ77FastestGenHeader_8u(const LumDeflateHuffEntry* pLitCodes,
                                                                  const LumDeflateHuffEntry* pDistCodes, int32_t final,
                                                                  uint16_t* pBitBuf, uint32_t* pBitCount, uint8_t* pDst,
                                                                  uint32_t* pDstIdx) {
    using namespace lumdc::deflate;
    if (pLitCodes == nullptr || pDistCodes == nullptr || pBitBuf == nullptr || pBitCount == nullptr ||
        pDst == nullptr || pDstIdx == nullptr)
        return lumStatusNullPtr;
    if (!lengthsValid(pLitCodes, kLitSymbols) || !lengthsValid(pDistCodes, kDistSymbols)) return lumStatusBadArg;
    uint8_t litLens[kLitSymbols], distLens[kDistSymbols];
    for (int s = 0; s < kLitSymbols; ++s) litLens[s] = uint8_t(pLitCodes[s].len);
    for (int s = 0; s < kDistSymbols; ++s) distLens[s] = uint8_t(pDistCodes[s].len);
    WordWriter w(pDst, *pDstIdx, *pBitBuf, *pBitCount);
    writeHeader(litLens, distLens, final != 0, w);
    w.finish(pBitBuf, pBitCount, pDstIdx);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsDeflateLZ77FastestPrecompHeader_8u(const LumDeflateHuffEntry* pLitFreq,
                                                                      const LumDeflateHuffEntry* pDistFreq,
                                                                      LumDeflatePrecompHeader* pHeader) {
    using namespace lumdc::deflate;
    if (pHeader == nullptr || (pLitFreq == nullptr) != (pDistFreq == nullptr)) return lumStatusNullPtr;
    uint32_t litFreq[kLitSymbols], distFreq[kDistSymbols];
    for (int s = 0; s < kLitSymbols; ++s)
        litFreq[s] = std::max<uint32_t>(1, pLitFreq != nullptr ? pLitFreq[s].code : kTypicalLitFreq[s]);
    for (int s = 0; s < kDistSymbols; ++s)
        distFreq[s] = std::max<uint32_t>(1, pDistFreq != nullptr ? pDistFreq[s].code : kTypicalDistFreq[s]);
    uint8_t litLens[kLitSymbols], distLens[kDistSymbols];
    huffmanLengths(litFreq, kLitSymbols, kMaxCodeBits, litLens);
    huffmanLengths(distFreq, kDistSymbols, kMaxCodeBits, distLens);
    LumDeflatePrecompHeader h;
    canonicalCodes(litLens, kLitSymbols, h.litCodes);
    canonicalCodes(distLens, kDistSymbols, h.distCodes);
    uint8_t bits[sizeof(h.bits) + 4] = {};
    uint16_t pending = 0;
    uint32_t count = 0, bytes = 0;
    WordWriter w(bits, 0, 0, 0);
    writeHeader(litLens, distLens, false, w);
    w.finish(&pending, &count, &bytes);
    bits[bytes] = uint8_t(pending);
    h.bitCount = bytes * 8 + count;
    std::memcpy(h.bits, bits, sizeof(h.bits));
    *pHeader = h;
    return lumStatusOk;
}
