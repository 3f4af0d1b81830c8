// Inflation: table building, the careful loop that runs every state of the
// stream (headers, stored blocks, the ends of the buffers) one whole item at a
// time, and the exports. The fast loop (inflate_fast.h) takes over a block body
// whenever both buffers have margin to spare.
//
// Resuming at any byte rests on two rules. An item (a code with its extra bits, a
// whole match, a header field) is used only when all its bits are at hand, so a
// call stops between items; and bits are taken from the source only as an item
// needs them, so on 32 every pending bit belongs to the unfinished item. On 0 and
// 33 whole bytes read ahead are handed back to the source, which is why the end of
// a stream leaves *ppSrc exactly after it.

#include "deflate/inflate.h"

#include <algorithm>
#include <cstring>

#include "core/lz_copy.h"
#include "deflate/deflate_tables.h"
#include "deflate/inflate_fast.h"
#include "lumdc.h"

namespace lumdc::inflate {

namespace ref {
const Kernels kKernels = {decodeFast<PortableLzCopies>};
}

namespace {

constexpr uint8_t kCodeLenOrder[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

enum class Alphabet { LitLen, Dist, CodeLen };

uint32_t symbolEntry(Alphabet a, uint32_t sym, uint32_t len) {
    using deflate::kDistBase, deflate::kDistExtra, deflate::kLengthBase, deflate::kLengthExtra;
    switch (a) {
        case Alphabet::LitLen:
            if (sym < 256) return entry(len, kLiteral, 0, sym);
            if (sym == 256) return entry(len, kEndOfBlock, 0, 0);
            if (sym < 286) return entry(len, kLength, kLengthExtra[sym - 257], kLengthBase[sym - 257] + 3u);
            return entry(len, kInvalid, 0, 0);
        case Alphabet::Dist:
            if (sym < 30) return entry(len, kLength, kDistExtra[sym], kDistBase[sym] + 1u);
            return entry(len, kInvalid, 0, 0);
        default:
            return entry(len, kLiteral, 0, sym);
    }
}

// Builds the table of a canonical code from n lengths. Over-subscribed lengths are
// refused; so are incomplete ones, except where zlib accepts them: a literal/length
// or distance code of one 1-bit code, or a distance code of none. Entries no code
// reaches decode as invalid.
LumStatus buildTable(Alphabet a, const uint8_t* lens, uint32_t n, uint32_t* table, uint32_t rootBits,
                     uint32_t tableSize) {
    uint32_t count[16] = {};
    for (uint32_t s = 0; s < n; ++s) {
        if (lens[s] > 15) return lumStatusHuffCodeErr;
        ++count[lens[s]];
    }
    count[0] = 0;
    int32_t left = 1;
    uint32_t used = 0;
    for (int b = 1; b < 16; ++b) {
        left = left * 2 - int32_t(count[b]);
        if (left < 0) return lumStatusHuffCodeErr;
        used += count[b];
    }
    if (left > 0) {
        const bool oneBitCode = used == 1 && count[1] == 1;
        const bool allowed = a == Alphabet::Dist ? oneBitCode || used == 0 : a == Alphabet::LitLen && oneBitCode;
        if (!allowed) return lumStatusHuffCodeErr;
    }
    const uint32_t rootSize = 1u << rootBits;
    std::fill(table, table + rootSize, entry(1, kInvalid, 0, 0));

    // Canonical codes, reversed for least-significant-first reading, and for each
    // root slot the longest code below it, which sizes its subtable.
    uint32_t next[16] = {};
    for (int b = 1, code = 0; b < 16; ++b) next[b] = code = (code + count[b - 1]) << 1;
    uint16_t rev[288 + 32];
    uint8_t subBits[1u << kLitRootBits] = {};
    for (uint32_t s = 0; s < n; ++s) {
        const uint32_t len = lens[s];
        if (len == 0) continue;
        uint32_t c = next[len]++, r = 0;
        for (uint32_t i = 0; i < len; ++i, c >>= 1) r = r << 1 | (c & 1);
        rev[s] = uint16_t(r);
        if (len > rootBits) {
            uint8_t& sb = subBits[r & (rootSize - 1)];
            sb = uint8_t(std::max<uint32_t>(sb, len - rootBits));
        }
    }
    uint32_t subOffset[1u << kLitRootBits];
    uint32_t end = rootSize;
    for (uint32_t p = 0; p < rootSize; ++p) {
        if (subBits[p] == 0) continue;
        subOffset[p] = end;
        table[p] = subtableEntry(rootBits, subBits[p], end);
        end += 1u << subBits[p];
        if (end > tableSize) return lumStatusHuffCodeErr;  // beyond any RFC 1951 code: cannot happen
    }
    for (uint32_t s = 0; s < n; ++s) {
        const uint32_t len = lens[s];
        if (len == 0) continue;
        const uint32_t e = symbolEntry(a, s, len);
        if (len <= rootBits) {
            for (uint32_t i = rev[s]; i < rootSize; i += 1u << len) table[i] = e;
        } else {
            const uint32_t p = rev[s] & (rootSize - 1), size = 1u << subBits[p];
            for (uint32_t i = rev[s] >> rootBits; i < size; i += 1u << (len - rootBits)) table[subOffset[p] + i] = e;
        }
    }
    return lumStatusOk;
}

// The literal/length and distance tables of one block, from lens[0, numLit) and
// lens[numLit, numLit + numDist).
LumStatus buildBlockTables(const uint8_t* lens, uint32_t numLit, uint32_t numDist, uint32_t* lit, uint32_t* dist) {
    if (lens[256] == 0) return lumStatusHuffCodeErr;
    if (const LumStatus st = buildTable(Alphabet::LitLen, lens, numLit, lit, kLitRootBits, kLitTableSize); st != 0)
        return st;
    return buildTable(Alphabet::Dist, lens + numLit, numDist, dist, kDistRootBits, kDistTableSize);
}

// The bits of one call. need() takes whole bytes from the source only until n bits
// are pending; it fails, keeping what it took, when the source ends first.
struct Input {
    const uint8_t* src;
    const uint8_t* end;
    uint64_t buf;
    uint32_t count;

    bool need(uint32_t n) {
        while (count < n) {
            if (src == end) return false;
            buf |= uint64_t(*src++) << count;
            count += 8;
        }
        return true;
    }
    // Takes bytes towards n bits as far as the source allows.
    void toward(uint32_t n) { need(n); }
    uint32_t peek(uint32_t n, uint32_t skip = 0) const { return uint32_t(buf >> skip) & ((1u << n) - 1); }
    void drop(uint32_t n) {
        buf = n == 64 ? 0 : buf >> n;
        count -= n;
    }
};

// Looks a code up in a table from `skip` bits on; false when its bits are not all
// at hand yet.
bool lookup(Input& in, const uint32_t* table, uint32_t rootBits, uint32_t skip, uint32_t& e) {
    in.toward(skip + 28);  // a 15-bit code and 13 extra bits
    const uint64_t bits = in.buf >> skip;
    const uint32_t avail = in.count - skip;
    e = table[bits & ((1u << rootBits) - 1)];
    if (entryKind(e) == kSubtable) {
        if (avail < rootBits) return false;
        e = table[entryValue(e) + ((bits >> rootBits) & ((1u << entrySubBits(e)) - 1))];
    }
    return entryLen(e) <= avail;
}

enum class Step { Continue, NeedInput, NeedRoom, BlockEnd, Fail };

class Decoder {
public:
    Decoder(State& s, Input& in, uint8_t* dst, uint8_t* out, uint8_t* outEnd, const Kernels& k)
        : s_(s), in_(in), dst_(dst), out_(out), outEnd_(outEnd), kernels_(k) {}

    LumStatus run();
    uint8_t* out() const { return out_; }

private:
    Step fail(LumStatus st) {
        s_.mode = kFailed;
        s_.error = st;
        return Step::Fail;
    }
    Step header();
    Step storedLength();
    Step stored();
    Step tableCounts();
    Step codeLenLens();
    Step codeLens();
    Step body();
    Step pendingMatch();
    bool distanceOk(uint32_t d) const { return d <= size_t(out_ - dst_); }

    State& s_;
    Input& in_;
    uint8_t* dst_;
    uint8_t* out_;
    uint8_t* outEnd_;
    const Kernels& kernels_;
    bool fixedTables_ = false;
};

Step Decoder::header() {
    if (!in_.need(3)) return Step::NeedInput;
    s_.final = in_.peek(1);
    const uint32_t type = in_.peek(2, 1);
    in_.drop(3);
    switch (type) {
        case 0:
            s_.mode = kStoredLen;
            return Step::Continue;
        case 1: {
            if (!fixedTables_) {
                uint8_t lens[288 + 32];
                std::fill(lens, lens + 144, 8);
                std::fill(lens + 144, lens + 256, 9);
                std::fill(lens + 256, lens + 280, 7);
                std::fill(lens + 280, lens + 288, 8);
                std::fill(lens + 288, lens + 320, 5);
                buildBlockTables(lens, 288, 32, s_.litTable, s_.distTable);
                fixedTables_ = true;
            }
            s_.mode = kBody;
            return Step::Continue;
        }
        case 2:
            s_.mode = kTableCounts;
            return Step::Continue;
        default:
            return fail(lumStatusDataErr);
    }
}

Step Decoder::storedLength() {
    in_.drop(in_.count % 8);  // to the byte boundary: bits are taken in whole bytes
    if (!in_.need(32)) return Step::NeedInput;
    const uint32_t len = in_.peek(16), nlen = in_.peek(16, 16);
    if (len != (~nlen & 0xFFFF)) return fail(lumStatusDataErr);
    in_.drop(32);
    s_.storedLeft = len;
    s_.mode = kStored;
    return Step::Continue;
}

Step Decoder::stored() {
    while (s_.storedLeft > 0 && in_.count >= 8 && out_ < outEnd_) {  // bytes already in the bit buffer
        *out_++ = uint8_t(in_.buf);
        in_.drop(8);
        --s_.storedLeft;
    }
    const size_t n = std::min<size_t>({s_.storedLeft, size_t(outEnd_ - out_), size_t(in_.end - in_.src)});
    std::memcpy(out_, in_.src, n);
    out_ += n;
    in_.src += n;
    s_.storedLeft -= uint32_t(n);
    if (s_.storedLeft == 0) return Step::BlockEnd;
    return out_ == outEnd_ ? Step::NeedRoom : Step::NeedInput;
}

Step Decoder::tableCounts() {
    if (!in_.need(14)) return Step::NeedInput;
    s_.numLit = uint16_t(in_.peek(5) + 257);
    s_.numDist = uint16_t(in_.peek(5, 5) + 1);
    s_.numLenCodes = uint16_t(in_.peek(4, 10) + 4);
    in_.drop(14);
    if (s_.numLit > 286 || s_.numDist > 30) return fail(lumStatusDataErr);
    std::fill(s_.lens, s_.lens + 19, 0);
    s_.index = 0;
    fixedTables_ = false;
    s_.mode = kCodeLenLens;
    return Step::Continue;
}

Step Decoder::codeLenLens() {
    for (; s_.index < s_.numLenCodes; ++s_.index) {
        if (!in_.need(3)) return Step::NeedInput;
        s_.lens[kCodeLenOrder[s_.index]] = uint8_t(in_.peek(3));
        in_.drop(3);
    }
    // A code-length code must be complete: zlib makes no exception here.
    if (const LumStatus st = buildTable(Alphabet::CodeLen, s_.lens, 19, s_.lenTable, kLenRootBits, kLenTableSize);
        st != lumStatusOk)
        return fail(st);
    s_.index = 0;
    s_.mode = kCodeLens;
    return Step::Continue;
}

Step Decoder::codeLens() {
    const uint32_t total = uint32_t(s_.numLit) + s_.numDist;
    while (s_.index < total) {
        uint32_t e;
        if (!lookup(in_, s_.lenTable, kLenRootBits, 0, e)) return Step::NeedInput;
        const uint32_t len = entryLen(e), sym = entryValue(e);
        if (sym < 16) {
            s_.lens[s_.index++] = uint8_t(sym);
            in_.drop(len);
            continue;
        }
        const uint32_t extra = sym == 16 ? 2 : sym == 17 ? 3 : 7;
        if (!in_.need(len + extra)) return Step::NeedInput;
        const uint32_t repeat = in_.peek(extra, len) + (sym == 18 ? 11 : 3);
        if ((sym == 16 && s_.index == 0) || s_.index + repeat > total) return fail(lumStatusDataErr);
        const uint8_t value = sym == 16 ? s_.lens[s_.index - 1] : 0;
        std::fill(s_.lens + s_.index, s_.lens + s_.index + repeat, value);
        s_.index = uint16_t(s_.index + repeat);
        in_.drop(len + extra);
    }
    if (s_.lens[256] == 0) return fail(lumStatusDataErr);  // no end-of-block code
    // Distance lengths follow the literal/length ones directly.
    if (const LumStatus st = buildBlockTables(s_.lens, s_.numLit, s_.numDist, s_.litTable, s_.distTable); st != 0)
        return fail(st);
    s_.mode = kBody;
    return Step::Continue;
}

Step Decoder::pendingMatch() {
    if (!distanceOk(s_.matchDist)) return fail(lumStatusDataErr);
    const uint32_t n = uint32_t(std::min<size_t>(s_.matchLeft, size_t(outEnd_ - out_)));
    ExactLzCopies::copyMatchExact(out_, s_.matchDist, n);
    out_ += n;
    s_.matchLeft -= n;
    return s_.matchLeft > 0 ? Step::NeedRoom : Step::Continue;
}

Step Decoder::body() {
    if (s_.matchLeft > 0)
        if (const Step st = pendingMatch(); st != Step::Continue) return st;
    for (;;) {
        if (size_t(in_.end - in_.src) >= kFastSrcMargin && size_t(outEnd_ - out_) >= kFastDstMargin) {
            Run r{in_.src, in_.end, in_.buf, in_.count, dst_, out_, outEnd_};
            const FastExit exit = kernels_.fast(r, s_);
            in_.src = r.src;
            in_.buf = r.bitBuf;
            in_.count = r.bitCount;
            out_ = r.out;
            if (exit == FastExit::EndOfBlock) return Step::BlockEnd;
            if (exit == FastExit::BadData) return fail(lumStatusDataErr);
        }
        // One item, used only when all its bits are at hand.
        uint32_t e;
        if (!lookup(in_, s_.litTable, kLitRootBits, 0, e)) return Step::NeedInput;
        const uint32_t kind = entryKind(e);
        if (kind == kEndOfBlock) {
            in_.drop(entryLen(e));
            return Step::BlockEnd;
        }
        if (kind == kInvalid) return fail(lumStatusDataErr);
        if (kind == kLiteral) {
            if (out_ == outEnd_) return Step::NeedRoom;
            *out_++ = uint8_t(entryValue(e));
            in_.drop(entryLen(e));
            continue;
        }
        // lookup() made sure each entry's code and extra bits are at hand.
        const uint32_t length = entryValue(e) + extraValue(in_.buf, e);
        uint32_t used = entryLen(e);
        uint32_t d;
        if (!lookup(in_, s_.distTable, kDistRootBits, used, d)) return Step::NeedInput;
        if (entryKind(d) != kLength) return fail(lumStatusDataErr);
        const uint32_t distance = entryValue(d) + extraValue(in_.buf >> used, d);
        used += entryLen(d);
        if (out_ == outEnd_) return Step::NeedRoom;  // before the distance test, as zlib orders them
        if (!distanceOk(distance)) return fail(lumStatusDataErr);
        in_.drop(used);
        s_.matchLeft = length;
        s_.matchDist = distance;
        if (const Step st = pendingMatch(); st != Step::Continue) return st;
    }
}

LumStatus Decoder::run() {
    for (;;) {
        Step st = Step::Continue;
        switch (s_.mode) {
            case kHeader:
                st = header();
                break;
            case kStoredLen:
                st = storedLength();
                break;
            case kStored:
                st = stored();
                break;
            case kTableCounts:
                st = tableCounts();
                break;
            case kCodeLenLens:
                st = codeLenLens();
                break;
            case kCodeLens:
                st = codeLens();
                break;
            case kBody:
                st = body();
                break;
            case kDone:
                return lumStatusOk;
            default:
                return s_.error;
        }
        switch (st) {
            case Step::Continue:
                break;
            case Step::NeedInput:
                return lumStatusSrcExhausted;
            case Step::NeedRoom:
                return lumStatusDstFull;
            case Step::Fail:
                return s_.error;
            case Step::BlockEnd:
                if (s_.callerBlock) {  // the caller parses the next header, or asks us to
                    s_.callerBlock = 0;
                    s_.mode = kHeader;
                    return lumStatusOk;
                }
                s_.mode = s_.final ? kDone : kHeader;
                break;
        }
    }
}

}  // namespace
}  // namespace lumdc::inflate

using namespace lumdc::inflate;

extern "C" {

LumStatus lumsInflate_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint8_t* pDst, uint32_t* pDstIdx, uint32_t dstLen,
                         LumInflateState* pState) {
    if (ppSrc == nullptr || pSrcLen == nullptr || pDst == nullptr || pDstIdx == nullptr || pState == nullptr ||
        (*ppSrc == nullptr && *pSrcLen != 0))
        return lumStatusNullPtr;
    if (*pDstIdx > dstLen) return lumStatusSizeErr;
    State& s = *reinterpret_cast<State*>(pState);
    if (s.mode == kFailed) return s.error;
    if (s.mode == kDone) return lumStatusOk;

    const uint8_t* const start = *ppSrc;
    Input in{start, start + *pSrcLen, s.bitBuf, s.bitCount};
    Decoder d(s, in, pDst, pDst + *pDstIdx, pDst + dstLen, *lumdc::pickVariant(kVariants));
    const LumStatus st = d.run();
    if (st == lumStatusOk || st == lumStatusDstFull) {
        // Whole bytes taken ahead go back to the source; on 32 every pending bit
        // belongs to the item that waits for more input, so none are handed back.
        const uint32_t back = uint32_t(std::min<size_t>(in.count / 8, size_t(in.src - start)));
        in.src -= back;
        in.count -= 8 * back;
        in.buf = in.count == 0 ? 0 : in.buf & (~uint64_t(0) >> (64 - in.count));
        if (s.mode == kDone) in.buf = 0, in.count = 0;  // the final byte's padding
    }
    s.bitBuf = in.buf;
    s.bitCount = in.count;
    *pSrcLen -= uint32_t(in.src - start);
    *ppSrc = in.src;
    *pDstIdx = uint32_t(d.out() - pDst);
    return st;
}

LumStatus lumsInflateBuildHuffTable(const uint8_t* pLens, int32_t numLit, int32_t numDist, LumInflateState* pState) {
    if (pLens == nullptr || pState == nullptr) return lumStatusNullPtr;
    if (numLit < 257 || numLit > 288 || numDist < 1 || numDist > 32) return lumStatusSizeErr;
    State& s = *reinterpret_cast<State*>(pState);
    uint32_t lit[kLitTableSize], dist[kDistTableSize];
    if (const LumStatus st = buildBlockTables(pLens, uint32_t(numLit), uint32_t(numDist), lit, dist); st != 0)
        return st;
    std::copy(lit, lit + kLitTableSize, s.litTable);
    std::copy(dist, dist + kDistTableSize, s.distTable);
    s.mode = kBody;
    s.callerBlock = 1;
    s.final = 0;
    s.matchLeft = 0;
    return lumStatusOk;
}

}  // extern "C"
