// Deflate Huffman output: records to codes through the caller's tables.
//
// Short runs of records go straight through the word rule of deflate_huff_bits.h.
// From kHuffTableMin records on, merging the tables first (codes with their extra
// bits, some 800 entries) pays for itself, and the records go through the fast
// loop of deflate_huff_core.h, whose 8-byte store per record may write up to 7
// bytes past the last whole byte. The bytes after the output are not ours to
// change, so the last records, at least 64 bits of them counted back from the
// end, go through the word rule again: every byte the fast loop wrote beyond its
// own whole bytes lies before the final end and is written over with its true
// value. Both routes put the same bits, so they write the same bytes.

#include "deflate_huff.h"

#include "deflate_huff_bits.h"
#include "deflate_huff_core.h"

namespace lumdc::deflate {

void buildMergedCodes(const LumDeflateHuffEntry* litCodes, const LumDeflateHuffEntry* distCodes, MergedCodes& m) {
    for (uint32_t b = 0; b < 256; ++b) {
        const uint32_t cl = codeLen(litCodes[b]);
        m.litLen[b] = merged(codeValue(litCodes[b]), cl, cl);
    }
    for (uint32_t l = 0; l < 256; ++l) {
        const uint32_t c = lengthSymbol(l);
        const LumDeflateHuffEntry& e = litCodes[257 + c];
        const uint32_t cl = codeLen(e);
        m.litLen[256 + l] = merged(codeValue(e) | (l - kLengthBase[c]) << cl, cl, cl + kLengthExtra[c]);
    }
    for (uint32_t slot = 0; slot < 512; ++slot) {
        if (slot == kLiteralSlot || slot == kLiteralSlot + 1) {
            m.dist[slot] = merged(slot == kLiteralSlot ? -127 : 0, 0, 0);
            continue;
        }
        const uint32_t first = slot < 256 ? slot : (slot - 256) << 7;  // d - 1 of the entry's first distance
        const uint32_t c = distSymbol(first);
        const LumDeflateHuffEntry& e = distCodes[c];
        const uint32_t cl = codeLen(e);
        const uint64_t extra = uint64_t(first - kDistBase[c]) - (first & 127);
        m.dist[slot] = merged(int64_t(codeValue(e) + (extra << cl)), cl, cl + kDistExtra[c]);
    }
}

namespace {

void putRecord(WordWriter& w, uint32_t l, uint32_t d, const LumDeflateHuffEntry* litCodes,
               const LumDeflateHuffEntry* distCodes) {
    if (d == 0) {
        w.put(codeValue(litCodes[l]), codeLen(litCodes[l]));
        return;
    }
    const uint32_t c = lengthSymbol(l);
    w.put(codeValue(litCodes[257 + c]), codeLen(litCodes[257 + c]));
    if (kLengthExtra[c] != 0) w.put(l - kLengthBase[c], kLengthExtra[c]);
    const uint32_t dm1 = (d - 1) & 0x7FFF;  // distances above 32768 are no records; read them modulo 32768
    const uint32_t dc = distSymbol(dm1);
    w.put(codeValue(distCodes[dc]), codeLen(distCodes[dc]));
    if (kDistExtra[dc] != 0) w.put(dm1 - kDistBase[dc], kDistExtra[dc]);
}

}  // namespace

namespace ref {
const HuffKernels kHuffKernels = {writeRecords};
}

}  // namespace lumdc::deflate

extern "C" LUMDC_API LumStatus lumsDeflateHuff_8u(const uint8_t* pLitSrc, const uint16_t* pDistSrc, int32_t srcLen,
                                                  uint16_t* pBitBuf, uint32_t* pBitCount,
                                                  const LumDeflateHuffEntry* pLitCodes,
                                                  const LumDeflateHuffEntry* pDistCodes, uint8_t* pDst,
                                                  uint32_t* pDstIdx) {
    using namespace lumdc::deflate;
    if (pLitSrc == nullptr || pDistSrc == nullptr || pBitBuf == nullptr || pBitCount == nullptr ||
        pLitCodes == nullptr || pDistCodes == nullptr || pDst == nullptr || pDstIdx == nullptr)
        return lumStatusNullPtr;
    WordWriter w(pDst, *pDstIdx, *pBitBuf, *pBitCount);
    int32_t i = 0;
    if (srcLen >= kHuffTableMin) {
        MergedCodes m;
        buildMergedCodes(pLitCodes, pDistCodes, m);
        int32_t tail = srcLen;
        for (uint32_t bits = 0; tail > 0 && bits < 64;) {
            --tail;
            uint32_t len;
            recordBits(pLitSrc[tail], pDistSrc[tail], m, len);
            bits += len;
        }
        if (tail > 0) {
            // The fast loop enters with fewer than 8 pending bits.
            const uint32_t bytes = w.n >> 3;
            for (uint32_t k = 0; k < bytes; ++k) pDst[w.out + k] = uint8_t(w.acc >> (8 * k));
            BitState s{pDst, w.out + bytes, uint64_t(w.acc) >> (8 * bytes), w.n & 7};
            lumdc::pickVariant(kHuffVariants)->table(pLitSrc, pDistSrc, 0, size_t(tail), m, s);
            w.out = s.out;
            w.acc = uint32_t(s.acc);
            w.n = s.n;
            i = tail;
        }
    }
    for (; i < srcLen; ++i) putRecord(w, pLitSrc[i], pDistSrc[i], pLitCodes, pDistCodes);
    w.finish(pBitBuf, pBitCount, pDstIdx);
    return lumStatusOk;
}
