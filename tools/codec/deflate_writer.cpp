// Deflate streams from the library's exports. For each block the writer weighs
// the three block types by their exact size in bits (a dynamic header is written
// to scratch to count it) and writes the smallest.

#include "deflate_writer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include "bit_writer.h"
#include "lumdc.h"

namespace lumcodec {
namespace {

constexpr int kLitSymbols = 286, kDistSymbols = 30, kEndOfBlock = 256;
constexpr int32_t kWindow = 32768;
// 65536 heads: fewer keys share a chain, so walks are shorter (level 1 on x-ray
// matches 25% faster than with 32768).
constexpr int32_t kHashSize = 65536;
// The one-probe matcher's head table: small enough to stay in the first-level
// caches, which matters more to it than the candidates a larger table keeps.
constexpr int32_t kFastestHashSize = 8192;
// Records per block: small enough that no count of the 16-bit tables wraps, large
// enough that a header (40-100 bytes) is a small share of the block.
constexpr int32_t kBlockRecords = 32768;
// Input per block of the fastest family, whose counts come from a first pass.
constexpr size_t kFastestBlock = 65536;
constexpr size_t kStoredMax = 65535;

constexpr uint8_t kLengthExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                      2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr uint8_t kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                    6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

void check(LumStatus st, const char* what) {
    if (st < 0) throw std::runtime_error(std::string("lumDC ") + what + " failed with status " + std::to_string(st));
}

// Canonical codes from lengths, bit-reversed for least-significant-first output.
template <size_t N>
void canonical(std::array<LumDeflateHuffEntry, N>& t) {
    uint32_t count[16] = {}, next[16] = {};
    for (const auto& e : t) ++count[e.len];
    count[0] = 0;
    for (int b = 1, code = 0; b < 16; ++b) next[b] = code = (code + count[b - 1]) << 1;
    for (auto& e : t) {
        if (e.len == 0) continue;
        uint32_t c = next[e.len]++, r = 0;
        for (int i = 0; i < e.len; ++i, c >>= 1) r = r << 1 | (c & 1);
        e.code = uint16_t(r);
    }
}

struct FixedCodes {
    std::array<LumDeflateHuffEntry, 288> lit{};
    std::array<LumDeflateHuffEntry, 30> dist{};
    FixedCodes() {
        for (int s = 0; s < 288; ++s) lit[s].len = s < 144 ? 8 : s < 256 ? 9 : s < 280 ? 7 : 8;
        for (auto& e : dist) e.len = 5;
        canonical(lit);
        canonical(dist);
    }
};
const FixedCodes kFixed;

// Bits of the block bodies' extra fields, the same for any code.
uint64_t extraBits(const LumDeflateHuffEntry* litFreq, const LumDeflateHuffEntry* distFreq) {
    uint64_t bits = 0;
    for (int c = 0; c < 29; ++c) bits += uint64_t(litFreq[257 + c].code) * kLengthExtra[c];
    for (int c = 0; c < kDistSymbols; ++c) bits += uint64_t(distFreq[c].code) * kDistExtra[c];
    return bits;
}

uint64_t codedBits(const LumDeflateHuffEntry* freq, const LumDeflateHuffEntry* codes, int n) {
    uint64_t bits = 0;
    for (int s = 0; s < n; ++s) bits += uint64_t(freq[s].code) * codes[s].len;
    return bits;
}

// Stored blocks for n bytes, starting `pending` bits into a byte.
uint64_t storedBits(size_t n, uint32_t pending) {
    const size_t blocks = std::max<size_t>(1, (n + kStoredMax - 1) / kStoredMax);
    return 3 + (8 - (pending + 3) % 8) % 8 + 32 + 8 * n + (blocks - 1) * 40;
}

void writeStored(BitWriter& bw, const uint8_t* src, size_t n, bool final) {
    do {
        const size_t piece = std::min(n, kStoredMax);
        bw.put(final && piece == n ? 1 : 0, 1);
        bw.put(0, 2);
        bw.align();
        const uint16_t len = uint16_t(piece), nlen = uint16_t(~piece);
        const uint8_t head[4] = {uint8_t(len), uint8_t(len >> 8), uint8_t(nlen), uint8_t(nlen >> 8)};
        bw.bytes(head, 4);
        bw.bytes(src, piece);
        src += piece;
        n -= piece;
    } while (n > 0);
}

// The tables one segment's matcher runs on.
struct MatchTables {
    std::vector<int32_t> head = std::vector<int32_t>(kHashSize, -32768);
    std::vector<int32_t> chain = std::vector<int32_t>(kWindow, -32768);
    std::vector<uint8_t> lit = std::vector<uint8_t>(kBlockRecords);
    std::vector<uint16_t> dist = std::vector<uint16_t>(kBlockRecords);
    std::array<LumDeflateHuffEntry, kLitSymbols> litFreq{}, litCodes{};
    std::array<LumDeflateHuffEntry, kDistSymbols> distFreq{}, distCodes{};
};

// Writes one block of records covering block[0, bytes) as the smallest of the three
// block types.
void writeBlock(BitWriter& bw, MatchTables& t, int32_t records, const uint8_t* block, size_t bytes, bool final) {
    check(lumsDeflateLZ77FastestGenHuffTable_8u(t.litFreq.data(), t.distFreq.data(), t.litCodes.data(),
                                                t.distCodes.data()),
          "code building");
    // The header's size, from a trial write to scratch at the same bit offset.
    uint8_t scratch[512];
    uint16_t trialBuf = bw.bitBuf;
    uint32_t trialCount = bw.bitCount, trialIdx = 0;
    check(lumsDeflateLZ77FastestGenHeader_8u(t.litCodes.data(), t.distCodes.data(), final, &trialBuf, &trialCount,
                                             scratch, &trialIdx),
          "header writing");
    const uint64_t extra = extraBits(t.litFreq.data(), t.distFreq.data());
    const uint64_t dynamicBits =
        trialIdx * 8 + trialCount - bw.bitCount + codedBits(t.litFreq.data(), t.litCodes.data(), kLitSymbols) +
        codedBits(t.distFreq.data(), t.distCodes.data(), kDistSymbols) + t.litCodes[kEndOfBlock].len + extra;
    const uint64_t fixedBits = 3 + codedBits(t.litFreq.data(), kFixed.lit.data(), kLitSymbols) +
                               codedBits(t.distFreq.data(), kFixed.dist.data(), kDistSymbols) + 7 + extra;
    if (storedBits(bytes, bw.bitCount) < std::min(dynamicBits, fixedBits)) {
        writeStored(bw, block, bytes, final);
        return;
    }
    const LumDeflateHuffEntry* litCodes = t.litCodes.data();
    const LumDeflateHuffEntry* distCodes = t.distCodes.data();
    uint32_t idx;
    if (fixedBits <= dynamicBits) {
        bw.put(final ? 1 : 0, 1);
        bw.put(1, 2);
        litCodes = kFixed.lit.data();
        distCodes = kFixed.dist.data();
    } else {
        uint8_t* dst = bw.reserve(300 + 4, idx);
        check(lumsDeflateLZ77FastestGenHeader_8u(litCodes, distCodes, final, &bw.bitBuf, &bw.bitCount, dst, &idx),
              "header writing");
        bw.done(idx);
    }
    uint8_t* dst = bw.reserve(size_t(records) * 6 + 4, idx);
    check(lumsDeflateHuff_8u(t.lit.data(), t.dist.data(), records, &bw.bitBuf, &bw.bitCount, litCodes, distCodes, dst,
                             &idx),
          "Huffman writing");
    bw.done(idx);
    bw.put(litCodes[kEndOfBlock].code, litCodes[kEndOfBlock].len);
}

void matchSegment(BitWriter& bw, const uint8_t* src, size_t len, size_t historyLen, int level, bool last) {
    MatchTables t;
    const uint32_t history = uint32_t(std::min<size_t>(historyLen, kWindow));
    if (history > 0)
        check(lumsDeflateUpdateHash_8u(src - history, 0, history, t.head.data(), kHashSize, t.chain.data(), kWindow,
                                       level == 0 ? 0 : 1),
              "history hashing");
    const uint8_t* p = src;
    uint32_t left = uint32_t(len), idx = history;
    do {
        const uint8_t* blockStart = p;
        t.litFreq.fill({});
        t.distFreq.fill({});
        int32_t room = kBlockRecords;
        // The whole segment is at hand, so every call is a final one: it holds
        // nothing back and stops only when the block's records are full.
        check(lumsDeflateLZ77_8u(&p, &left, &idx, p, kWindow, t.head.data(), t.chain.data(), kHashSize,
                                 t.litFreq.data(), t.distFreq.data(), t.lit.data(), t.dist.data(), &room, level, 2),
              "matching");
        writeBlock(bw, t, kBlockRecords - room, blockStart, size_t(p - blockStart), last && left == 0);
    } while (left > 0);
}

void fastestSegment(BitWriter& bw, const uint8_t* src, size_t len, bool last) {
    std::vector<int32_t> head(kFastestHashSize, -32768);
    std::array<LumDeflateHuffEntry, kLitSymbols> freq{}, litCodes{};
    std::array<LumDeflateHuffEntry, kDistSymbols> distFreq{}, distCodes{};
    const uint8_t* p = src;
    uint32_t idx = 0;
    size_t left = len;
    do {
        const size_t n = std::min(left, kFastestBlock);
        const bool final = last && n == left;
        // Codes from a first pass over the block. With the history before it the
        // one-pass matcher may leave a literal the first pass did not see, so
        // every literal keeps a code.
        freq.fill({});
        distFreq.fill({});
        check(lumsDeflateLZ77FastestGetStat_8u(p, int32_t(n), freq.data(), distFreq.data()), "counting");
        for (int s = 0; s < 256; ++s) freq[s].code = std::max<uint16_t>(freq[s].code, 1);
        check(lumsDeflateLZ77FastestGenHuffTable_8u(freq.data(), distFreq.data(), litCodes.data(), distCodes.data()),
              "code building");
        // The first pass's counts tell the coded size closely enough to store
        // incompressible blocks instead (their positions then stay out of the table).
        const uint64_t codedSize = 8 * 300 + codedBits(freq.data(), litCodes.data(), kLitSymbols) +
                                   codedBits(distFreq.data(), distCodes.data(), kDistSymbols) +
                                   extraBits(freq.data(), distFreq.data());
        if (storedBits(n, bw.bitCount) < codedSize) {
            writeStored(bw, p, n, final);
            p += n;
            idx += uint32_t(n);
            left -= n;
            continue;
        }
        uint32_t at;
        uint8_t* dst = bw.reserve(300 + 4, at);
        check(lumsDeflateLZ77FastestGenHeader_8u(litCodes.data(), distCodes.data(), final, &bw.bitBuf, &bw.bitCount,
                                                 dst, &at),
              "header writing");
        bw.done(at);
        uint32_t blockLeft = uint32_t(n);
        for (;;) {
            // Literals of 15 bits at worst, and the end-of-block code.
            const size_t room = 2 * size_t(blockLeft) + 64;
            dst = bw.reserve(room, at);
            int32_t made = int32_t(room);
            const LumStatus st = lumsDeflateLZ77Fastest_8u(&p, &blockLeft, &idx, p, kWindow, head.data(),
                                                           kFastestHashSize, litCodes.data(), distCodes.data(),
                                                           dst + at, &made, &bw.bitBuf, &bw.bitCount, 2);
            check(st, "fastest matching");
            bw.done(at + uint32_t(made));
            if (st != lumStatusDstFull) break;
        }
        left -= n;
    } while (left > 0);
}

}  // namespace

void deflateSegment(const uint8_t* src, size_t len, size_t historyLen, int level, bool last,
                    std::vector<uint8_t>& out) {
    if (level != kDeflateFastest && (level < 0 || level > 9)) throw std::invalid_argument("Deflate level out of range");
    BitWriter bw;
    if (len == 0) {
        if (last) {  // an empty fixed block
            bw.put(1, 1);
            bw.put(1, 2);
            bw.put(kFixed.lit[kEndOfBlock].code, kFixed.lit[kEndOfBlock].len);
        }
    } else if (level == kDeflateFastest) {
        fastestSegment(bw, src, len, last);
    } else {
        matchSegment(bw, src, len, historyLen, level, last);
    }
    if (!last && len > 0) {  // an empty stored block: byte-aligned, and the stream goes on
        bw.put(0, 3);
        bw.align();
        static const uint8_t kEmptyStored[4] = {0x00, 0x00, 0xFF, 0xFF};
        bw.bytes(kEmptyStored, 4);
    }
    bw.align();
    bw.drainTo(out);
}

std::vector<uint8_t> deflateHead(DeflateFraming framing, int level, const GzipHeader& gzip) {
    std::vector<uint8_t> h;
    if (framing == DeflateFraming::Zlib) {
        // FLEVEL tells only how hard the compressor tried: 0 fastest .. 3 best.
        const int flevel = level == kDeflateFastest || level <= 1 ? 0 : level <= 5 ? 1 : level == 6 ? 2 : 3;
        const unsigned cmf = 0x78, flg0 = unsigned(flevel) << 6;
        h = {uint8_t(cmf), uint8_t(flg0 + (31 - (cmf * 256 + flg0) % 31) % 31)};
    } else if (framing == DeflateFraming::Gzip) {
        const uint8_t flags = gzip.name.empty() ? 0 : 0x08;
        const uint8_t xfl = level == 9 ? 2 : level == kDeflateFastest || level <= 1 ? 4 : 0;
        h = {0x1F, 0x8B, 8, flags};
        for (int i = 0; i < 4; ++i) h.push_back(uint8_t(gzip.mtime >> (8 * i)));
        h.push_back(xfl);
        h.push_back(3);  // Unix
        if (!gzip.name.empty()) {
            h.insert(h.end(), gzip.name.begin(), gzip.name.end());
            h.push_back(0);
        }
    }
    return h;
}

std::vector<uint8_t> deflateTail(DeflateFraming framing, uint32_t checksum, uint64_t size) {
    std::vector<uint8_t> t;
    if (framing == DeflateFraming::Zlib) {
        for (int i = 3; i >= 0; --i) t.push_back(uint8_t(checksum >> (8 * i)));
    } else if (framing == DeflateFraming::Gzip) {
        for (int i = 0; i < 4; ++i) t.push_back(uint8_t(checksum >> (8 * i)));
        for (int i = 0; i < 4; ++i) t.push_back(uint8_t(size >> (8 * i)));
    }
    return t;
}

DeflateWriter::DeflateWriter(int level, DeflateFraming framing, GzipHeader gzip)
    : level_(level), framing_(framing), gzip_(std::move(gzip)) {
    if (level != kDeflateFastest && (level < 0 || level > 9)) throw std::invalid_argument("Deflate level out of range");
    buffer_.reserve(kDeflateHistory + kDeflateSegment);
}

void DeflateWriter::write(const uint8_t* src, size_t len, std::vector<uint8_t>& out) {
    if (!started_) {
        const auto head = deflateHead(framing_, level_, gzip_);
        out.insert(out.end(), head.begin(), head.end());
        started_ = true;
    }
    size_ += len;
    for (size_t at = 0; at < len;) {
        const int32_t piece = int32_t(std::min<size_t>(len - at, size_t(1) << 30));
        if (framing_ == DeflateFraming::Zlib) check(lumsAdler32_8u(src + at, piece, &adler_), "Adler-32");
        if (framing_ == DeflateFraming::Gzip) check(lumsCRC32_8u(src + at, piece, &crc_), "CRC-32");
        at += size_t(piece);
    }
    while (len > 0) {
        const size_t n = std::min(len, history_ + kDeflateSegment - buffer_.size());
        buffer_.insert(buffer_.end(), src, src + n);
        src += n;
        len -= n;
        // A full segment waits for one more byte, so the last segment is never empty
        // unless the whole stream is.
        if (len > 0 && buffer_.size() == history_ + kDeflateSegment) compressBuffered(false, out);
    }
}

void DeflateWriter::compressBuffered(bool last, std::vector<uint8_t>& out) {
    deflateSegment(buffer_.data() + history_, buffer_.size() - history_, history_, level_, last, out);
    const size_t keep = std::min(buffer_.size(), kDeflateHistory);
    buffer_.erase(buffer_.begin(), buffer_.end() - ptrdiff_t(keep));
    history_ = keep;
}

void DeflateWriter::finish(std::vector<uint8_t>& out) {
    write(nullptr, 0, out);
    compressBuffered(true, out);
    const auto tail = deflateTail(framing_, framing_ == DeflateFraming::Zlib ? adler_ : crc_, size_);
    out.insert(out.end(), tail.begin(), tail.end());
}

std::vector<uint8_t> deflateCompress(const uint8_t* src, size_t len, int level, DeflateFraming framing,
                                     const GzipHeader& gzip) {
    std::vector<uint8_t> out;
    out.reserve(len / 2 + 1024);
    DeflateWriter w(level, framing, gzip);
    w.write(src, len, out);
    w.finish(out);
    return out;
}

}  // namespace lumcodec
