#include "lz77_reference.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "guarded_buffer.h"

namespace lz77test {
namespace {

constexpr int kLenBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                              31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr int kLenExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr int kDistBase[30] = {1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
                               193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
constexpr int kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

int lengthCode(int len) {
    if (len == 258) return 28;
    int c = 0;
    while (c + 1 < 28 && kLenBase[c + 1] <= len) ++c;
    return c;
}
int distCode(int d) {
    int c = 0;
    while (c + 1 < 30 && kDistBase[c + 1] <= d) ++c;
    return c;
}

constexpr DeflateMatchParams kLevels[30] = {
    {0, 0, 0, 0},    {4, 8, 8, 8},      {4, 16, 16, 9},    {4, 16, 16, 12},     {48, 32, 32, 16},
    {32, 8, 32, 16}, {128, 8, 256, 16}, {144, 8, 256, 16}, {192, 32, 258, 128}, {256, 32, 258, 258},
    {0, 0, 0, 0},    {3, 7, 8, 258},    {3, 8, 16, 258},   {5, 8, 16, 258},     {16, 32, 32, 258},
    {24, 6, 32, 16}, {120, 7, 256, 16}, {140, 7, 256, 16}, {192, 32, 258, 128}, {512, 32, 258, 258},
    {0, 0, 0, 0},    {4, 8, 8, 258},    {4, 16, 16, 258},  {4, 16, 16, 258},    {16, 32, 32, 258},
    {32, 8, 32, 16}, {128, 8, 256, 16}, {144, 8, 256, 16}, {192, 32, 258, 128}, {512, 32, 258, 258},
};

}  // namespace

DeflateMatchParams levelParams(int level) { return kLevels[level]; }
bool levelIsLazy(int level) { return level % 10 >= 5; }

uint32_t crc32cKey(const uint8_t* p, uint32_t hashSize) {
    uint32_t c = 0;
    for (int k = 0; k < 4; ++k) {
        c ^= p[k];
        for (int b = 0; b < 8; ++b) c = (c >> 1) ^ (0x82F63B78u & (0u - (c & 1)));
    }
    return c & (hashSize - 1);
}

void referenceUpdateHash(const uint8_t* src, uint32_t srcIdx, uint32_t srcLen, int32_t* head, uint32_t hashSize,
                         int32_t* chain, uint32_t winSize, uint32_t mode) {
    if (mode == 0) {
        if (srcLen < 3) return;
        uint32_t h = uint32_t(src[0]) << 5 ^ src[1];
        for (uint32_t i = 0; i + 2 < srcLen; ++i) {
            h = ((h << 5) ^ src[i + 2]) & (hashSize - 1);
            head[h] = int32_t(srcIdx + i);
        }
        return;
    }
    for (uint32_t i = 0; i + 3 < srcLen; ++i) {
        const uint32_t h = crc32cKey(src + i, hashSize);
        chain[(srcIdx + i) & (winSize - 1)] = head[h];
        head[h] = int32_t(srcIdx + i);
    }
}

LumStatus referenceMatch(const DeflateMatchParams& prm, bool lazy, const uint8_t** ppSrc, uint32_t* pSrcLen,
                         uint32_t* pSrcIdx, const uint8_t* pWindow, int32_t winSize, int32_t* head, int32_t* prev,
                         int32_t hashSize, LumDeflateHuffEntry* litFreq, LumDeflateHuffEntry* distFreq, uint8_t* litDst,
                         uint16_t* distDst, int32_t* pDstLen, int32_t flush) {
    const bool chained = lazy || prm.chain > 0, final = flush >= 2;
    uint32_t idx = *pSrcIdx;
    const uint32_t len = *pSrcLen;
    if (uint32_t(idx + uint32_t(winSize) + len) >= (len ^ 0x7FFFFFFFu) && idx > uint32_t(winSize)) {
        const int64_t delta = int64_t(winSize) - int64_t(idx);
        const auto renumber = [&](int32_t& e) {
            e = int32_t(std::max<int64_t>(std::max<int64_t>(e, -32768) + delta, -32768));
        };
        for (int32_t k = 0; k < hashSize; ++k) renumber(head[k]);
        if (chained)
            for (int32_t k = 0; k < winSize; ++k) renumber(prev[k]);
        idx = uint32_t(winSize);
    }
    const uint8_t* const src = *ppSrc;
    const int64_t start = idx, end = int64_t(idx) + len, W = winSize;
    const int32_t room = *pDstLen;
    int32_t written = 0;
    int64_t p = start;

    const auto byteAt = [&](int64_t pos) -> uint8_t { return pos >= start ? src[pos - start] : pWindow[pos - start]; };
    const auto lit = [&](int64_t pos) {
        const uint8_t b = byteAt(pos);
        litDst[written] = b;
        distDst[written] = 0;
        ++written;
        ++litFreq[b].code;
    };
    const auto match = [&](int L, int64_t d) {
        litDst[written] = uint8_t(L - 3);
        distDst[written] = uint16_t(d);
        ++written;
        ++litFreq[257 + lengthCode(L)].code;
        ++distFreq[distCode(int(d))].code;
    };
    const auto insert = [&](int64_t pos) -> int64_t {
        const uint8_t key[4] = {byteAt(pos), byteAt(pos + 1), byteAt(pos + 2), byteAt(pos + 3)};
        const uint32_t h = crc32cKey(key, uint32_t(hashSize));
        const int64_t cand = head[h];
        prev[pos & (W - 1)] = head[h];
        head[h] = int32_t(pos);
        return cand;
    };
    struct Found {
        int len;
        int64_t dist;
    };
    // Every candidate in reach measured byte by byte up to cap.
    const auto search = [&](int64_t at, int64_t cand, int best, int budget, bool reduce, int cap) {
        Found f{best, 0};
        int examined = 0;
        bool reduced = false;
        while (cand > at - W && cand < at && examined < budget) {
            const int64_t next = prev[cand & (W - 1)];
            ++examined;
            int L = 0;
            while (L < cap && byteAt(cand + L) == byteAt(at + L)) ++L;
            if (L > f.len) {
                f = Found{L, at - cand};
                if (reduce && !reduced && L >= prm.good) {
                    budget = prm.chain >> 2;
                    reduced = true;
                }
            }
            if (f.len >= prm.nice) break;
            cand = next;
        }
        return f;
    };

    if (!chained) {
        uint32_t h = len >= 3 ? uint32_t(byteAt(p)) << 5 ^ byteAt(p + 1) : 0;
        const int64_t stop = final ? end - 2 : end - 260;
        while (p < stop && written < room) {
            h = ((h << 5) ^ byteAt(p + 2)) & uint32_t(hashSize - 1);
            const int64_t cand = head[h];
            head[h] = int32_t(p);
            int L = 0;
            if (p - cand < W && cand < p) {
                const int cap = int(std::min<int64_t>(258, end - 2 - p));
                while (L < cap && byteAt(cand + L) == byteAt(p + L)) ++L;
            }
            if (L < 3) {
                lit(p++);
                continue;
            }
            match(L, p - cand);
            for (int64_t q = p + 1; q < p + L; ++q) {
                h = ((h << 5) ^ byteAt(q + 2)) & uint32_t(hashSize - 1);
                head[h] = int32_t(q);
            }
            p += L;
        }
        if (final)
            while (p < end && written < room) lit(p++);
    } else {
        int64_t limit = end - 261;
        int insertLimit = prm.limit;
        if (!final && start == end - 261) {
            limit = end - 260;
            if (insertLimit >= 258) insertLimit = 257;
        }
        const auto capAt = [&](bool tail) { return tail ? int(std::min<int64_t>(258, limit + 258 - p)) : 258; };
        const auto lastLiterals = [&] {
            for (; p < limit + 261 && written < room; ++p) {
                lit(p);
                if (p < limit + 258) {
                    insert(p);
                } else {
                    int32_t& slot = prev[p & (W - 1)];
                    if (slot >= p || slot < start) slot = -winSize;
                }
            }
        };
        if (!lazy) {
            const auto step = [&](bool tail) {
                const int64_t cand = insert(p);
                const Found f = search(p, cand, 3, prm.chain, !tail, capAt(tail));
                if (f.len < 4) {
                    lit(p++);
                    return;
                }
                match(f.len, f.dist);
                if (f.len <= f.dist) {
                    if (f.len <= insertLimit)
                        for (int64_t q = p + 1; q < p + f.len; ++q) insert(q);
                } else if (f.dist <= insertLimit) {
                    const int64_t s = std::max<int64_t>(1, f.len - f.dist - 3);
                    for (int64_t q = p + s; q < p + f.len; ++q) insert(q);
                }
                p += f.len;
            };
            while (p < limit && written < room) step(false);
            if (final) {
                while (p < limit + 258 && written < room) step(true);
                lastLiterals();
            }
        } else {
            bool available = false;  // the record for p - 1 is still to be written
            int prevLen = 0;
            int64_t prevDist = 0;
            const auto insertInner = [&](int64_t m) {
                if (prevLen <= prevDist) {
                    for (int64_t q = p + 1; q < m + prevLen; ++q) insert(q);
                } else {
                    const int64_t s = std::max<int64_t>(1, prevLen - prevDist - 3);
                    if (s <= prevLen - 2)
                        for (int64_t q = m + 1 + s; q < m + prevLen; ++q) insert(q);
                }
            };
            // The pending record written without a look at p (entered as the
            // look would have when it is a match).
            const auto writePending = [&] {
                const int64_t m = p - 1;
                if (prevLen >= 4) {
                    match(prevLen, prevDist);
                    insert(p);
                    insertInner(m);
                    p = m + prevLen;
                } else {
                    lit(m);
                }
                available = false;
                prevLen = 0;
            };
            const auto phase = [&](int64_t stop, bool tail) {
                while (p < stop && written < room) {
                    if (available && room - written == 1) {
                        writePending();
                        break;
                    }
                    const int64_t cand = insert(p);
                    const int pl = available ? prevLen : 0;
                    int newBest = 0;
                    int64_t newDist = 0;
                    if (pl < prm.limit) {
                        const int best0 = std::max(3, pl);
                        const int budget = tail || pl < prm.good ? prm.chain : prm.chain >> 2;
                        const Found f = search(p, cand, best0, budget, false, capAt(tail));
                        newBest = f.len;
                        newDist = f.dist;
                    }
                    if (available) {
                        if (pl < newBest || pl < 4) {
                            lit(p - 1);
                        } else {
                            const int64_t m = p - 1;
                            match(prevLen, prevDist);
                            insertInner(m);
                            p = m + prevLen;
                            available = false;
                            prevLen = 0;
                            continue;
                        }
                    }
                    available = true;
                    prevLen = newBest;
                    prevDist = newDist;
                    ++p;
                }
            };
            phase(limit, false);
            if (final) phase(limit + 258, true);
            if (available) writePending();
            if (final) lastLiterals();
        }
    }
    const uint32_t consumed = uint32_t(p - start);
    *ppSrc += consumed;
    *pSrcLen -= consumed;
    *pSrcIdx = uint32_t(p);
    *pDstLen -= written;
    return lumStatusOk;
}

MatchCall libraryLevel(int level) {
    return [level](const uint8_t** s, uint32_t* sl, uint32_t* si, const uint8_t* w, int32_t ws, int32_t* hh,
                   int32_t* hp, int32_t hs, LumDeflateHuffEntry* lf, LumDeflateHuffEntry* df, uint8_t* ld, uint16_t* dd,
                   int32_t* dl, int32_t flush) {
        return lumsDeflateLZ77_8u(s, sl, si, w, ws, hh, hp, hs, lf, df, ld, dd, dl, level, flush);
    };
}
MatchCall libraryParams(const DeflateMatchParams& prm, bool lazy) {
    return [prm, lazy](const uint8_t** s, uint32_t* sl, uint32_t* si, const uint8_t* w, int32_t ws, int32_t* hh,
                       int32_t* hp, int32_t hs, LumDeflateHuffEntry* lf, LumDeflateHuffEntry* df, uint8_t* ld,
                       uint16_t* dd, int32_t* dl, int32_t flush) {
        return (lazy ? lumsDeflateLZ77Slow_8u : lumsDeflateLZ77Fast_8u)(s, sl, si, w, ws, hh, hp, hs, lf, df, ld, dd,
                                                                        dl, &prm, flush);
    };
}
MatchCall referenceParams(const DeflateMatchParams& prm, bool lazy) {
    return [prm, lazy](const uint8_t** s, uint32_t* sl, uint32_t* si, const uint8_t* w, int32_t ws, int32_t* hh,
                       int32_t* hp, int32_t hs, LumDeflateHuffEntry* lf, LumDeflateHuffEntry* df, uint8_t* ld,
                       uint16_t* dd, int32_t* dl, int32_t flush) {
        return referenceMatch(prm, lazy, s, sl, si, w, ws, hh, hp, hs, lf, df, ld, dd, dl, flush);
    };
}
MatchCall referenceLevel(int level) { return referenceParams(levelParams(level), levelIsLazy(level)); }

Outcome runStream(const MatchCall& call, const Bytes& data, const std::vector<size_t>& pieces,
                  const std::vector<int32_t>& rooms, const Layout& layout) {
    Outcome o;
    o.head.assign(size_t(layout.hashSize), -32768);
    o.chain.assign(size_t(layout.winSize), -32768);
    std::vector<LumDeflateHuffEntry> litFreq(286, LumDeflateHuffEntry{0, 7}), distFreq(30, LumDeflateHuffEntry{0, 5});

    // History and input in one buffer: the dictionary's copy, then the data.
    const size_t dictN = std::min(layout.dictionary.size(), size_t(layout.winSize));
    Bytes all(dictN + data.size());
    std::copy(data.begin(), data.end(), all.begin() + ptrdiff_t(dictN));
    if (!layout.dictionary.empty()) {
        const LumStatus s = lumsDeflateDictionarySet_8u(
            layout.dictionary.data(), uint32_t(layout.dictionary.size()), o.head.data(), uint32_t(layout.hashSize),
            o.chain.data(), all.data(), uint32_t(layout.winSize), layout.rollingDictionary ? 0 : 1);
        if (s != lumStatusOk) o.error = "dictionary status " + std::to_string(s);
    }
    o.idx = layout.dictionary.empty() ? layout.startIdx : uint32_t(dictN);

    lumtest::GuardedBuffer in(std::max<size_t>(data.size(), 1)), hist(size_t(layout.winSize));
    const int32_t most = std::max<int32_t>(1, *std::max_element(rooms.begin(), rooms.end()));
    Bytes lit(size_t(most) + 1);
    std::vector<uint16_t> dist(size_t(most) + 1);
    size_t pos = 0, arrived = 0, roomAt = 0;
    for (size_t k = 0; k < pieces.size() && o.error.empty(); ++k) {
        arrived += pieces[k];
        const bool last = k + 1 == pieces.size();
        for (;;) {
            const int32_t room = std::max<int32_t>(1, rooms[roomAt++ % rooms.size()]);
            const uint32_t len = uint32_t(arrived - pos);
            // Separate buffers end at guard pages: a read past the input or past
            // the history faults.
            static const uint8_t kNothing = 0;  // an empty input still has an address
            const uint8_t* src = all.empty() ? &kNothing : all.data() + dictN + pos;
            const uint8_t* win = src;
            if (layout.separateWindow) {
                std::memcpy(in.data() + in.size() - len, src, len);
                const size_t h = std::min(dictN + pos, size_t(layout.winSize));
                std::memcpy(hist.data() + hist.size() - h, src - h, h);
                src = in.data() + in.size() - len;
                win = hist.data() + hist.size();
            }
            const uint8_t* s = src;
            uint32_t sLen = len, idxBefore = o.idx;
            lit[size_t(room)] = 0xEE;
            dist[size_t(room)] = 0xEEEE;
            int32_t dLen = room;
            const LumStatus st =
                call(&s, &sLen, &o.idx, win, layout.winSize, o.head.data(), o.chain.data(), layout.hashSize,
                     litFreq.data(), distFreq.data(), lit.data(), dist.data(), &dLen, last ? 2 : 0);
            ++o.calls;
            const uint32_t consumed = uint32_t(s - src);
            const int32_t written = room - dLen;
            if (st != lumStatusOk)
                o.error = "status " + std::to_string(st);
            else if (consumed > len || sLen != len - consumed)
                o.error = "source length does not follow the pointer";
            else if (written < 0 || written > room || lit[size_t(room)] != 0xEE || dist[size_t(room)] != 0xEEEE)
                o.error = "records outside the room";
            else if (o.idx - consumed != idxBefore && o.idx - consumed != uint32_t(layout.winSize))
                o.error = "position does not follow the input";
            if (!o.error.empty()) break;
            uint64_t covered = 0, lastStart = 0;
            for (int32_t r = 0; r < written; ++r) {
                lastStart = covered;
                covered += dist[size_t(r)] == 0 ? 1 : lit[size_t(r)] + 3u;
            }
            if (covered != consumed)
                o.error =
                    "records cover " + std::to_string(covered) + " of " + std::to_string(consumed) + " bytes consumed";
            else if (!last && written > 0 && lastStart + 261 > len && !(len == 261 && lastStart == 0))
                o.error = "a call that is not the last matched within the hold-back";
            if (!o.error.empty()) break;
            o.lit.insert(o.lit.end(), lit.begin(), lit.begin() + written);
            o.dist.insert(o.dist.end(), dist.begin(), dist.begin() + written);
            pos += consumed;
            if ((consumed == 0 && written == 0) || (last && pos == arrived)) break;
        }
    }
    if (o.error.empty() && pos != data.size())
        o.error = "consumed " + std::to_string(pos) + " of " + std::to_string(data.size());
    for (const auto& e : litFreq) o.litFreq.push_back(e.len == 7 ? e.code : 0xFFFFFFFFu);
    for (const auto& e : distFreq) o.distFreq.push_back(e.len == 5 ? e.code : 0xFFFFFFFFu);
    return o;
}

std::string compareOutcomes(const Outcome& got, const Outcome& want) {
    if (!got.error.empty() || !want.error.empty()) return "errors: '" + got.error + "' / '" + want.error + "'";
    const size_t n = std::min(got.lit.size(), want.lit.size());
    for (size_t i = 0; i < n; ++i)
        if (got.lit[i] != want.lit[i] || got.dist[i] != want.dist[i])
            return "record " + std::to_string(i) + ": (" + std::to_string(got.lit[i]) + ", " +
                   std::to_string(got.dist[i]) + ") instead of (" + std::to_string(want.lit[i]) + ", " +
                   std::to_string(want.dist[i]) + ")";
    if (got.lit.size() != want.lit.size())
        return std::to_string(got.lit.size()) + " records instead of " + std::to_string(want.lit.size());
    if (got.litFreq != want.litFreq || got.distFreq != want.distFreq) return "frequencies differ";
    for (size_t i = 0; i < want.head.size(); ++i)
        if (got.head[i] != want.head[i])
            return "head[" + std::to_string(i) + "] " + std::to_string(got.head[i]) + " instead of " +
                   std::to_string(want.head[i]);
    for (size_t i = 0; i < want.chain.size(); ++i)
        if (got.chain[i] != want.chain[i])
            return "chain[" + std::to_string(i) + "] " + std::to_string(got.chain[i]) + " instead of " +
                   std::to_string(want.chain[i]);
    if (got.idx != want.idx) return "position " + std::to_string(got.idx) + " instead of " + std::to_string(want.idx);
    if (got.calls != want.calls) return "another number of calls";
    return "";
}

std::string replay(const Outcome& o, const Bytes& history, Bytes& out) {
    out = history;
    for (size_t i = 0; i < o.lit.size(); ++i) {
        if (o.dist[i] == 0) {
            out.push_back(o.lit[i]);
            continue;
        }
        const size_t d = o.dist[i], len = o.lit[i] + 3u;
        if (d > out.size()) return "record " + std::to_string(i) + " reaches before the start";
        for (size_t k = 0; k < len; ++k) out.push_back(out[out.size() - d]);
    }
    out.erase(out.begin(), out.begin() + ptrdiff_t(history.size()));
    return "";
}

namespace {

struct BitWriter {
    Bytes out;
    uint64_t acc = 0;
    int n = 0;
    void put(uint32_t v, int bits) {
        acc |= uint64_t(v) << n;
        n += bits;
        for (; n >= 8; n -= 8, acc >>= 8) out.push_back(uint8_t(acc));
    }
    // A Huffman code goes out most significant bit first.
    void code(uint32_t c, int bits) {
        uint32_t r = 0;
        for (int i = 0; i < bits; ++i) r |= ((c >> i) & 1u) << (bits - 1 - i);
        put(r, bits);
    }
    void symbol(int s) {
        if (s < 144)
            code(0x30u + uint32_t(s), 8);
        else if (s < 256)
            code(0x190u + uint32_t(s - 144), 9);
        else if (s < 280)
            code(uint32_t(s - 256), 7);
        else
            code(0xC0u + uint32_t(s - 280), 8);
    }
};

}  // namespace

Bytes fixedHuffmanBlock(const Bytes& lit, const std::vector<uint16_t>& dist) {
    BitWriter w;
    w.put(1, 1);  // last block
    w.put(1, 2);  // fixed codes
    for (size_t i = 0; i < lit.size(); ++i) {
        if (dist[i] == 0) {
            w.symbol(lit[i]);
            continue;
        }
        const int len = lit[i] + 3, lc = lengthCode(len), dc = distCode(dist[i]);
        w.symbol(257 + lc);
        w.put(uint32_t(len - kLenBase[lc]), kLenExtra[lc]);
        w.code(uint32_t(dc), 5);
        w.put(uint32_t(dist[i] - kDistBase[dc]), kDistExtra[dc]);
    }
    w.symbol(256);
    w.put(0, 7);
    return w.out;
}

bool zlibInflate(const Bytes& stream, const Bytes& dictionary, size_t expected, Bytes& out) {
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) return false;
    if (!dictionary.empty() && inflateSetDictionary(&z, dictionary.data(), uInt(dictionary.size())) != Z_OK) {
        inflateEnd(&z);
        return false;
    }
    out.assign(expected + 1, 0);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = uInt(stream.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    const int r = inflate(&z, Z_FINISH);
    out.resize(z.total_out);
    inflateEnd(&z);
    return r == Z_STREAM_END;
}

void countSymbols(const Bytes& lit, const std::vector<uint16_t>& dist, std::vector<uint32_t>& litFreq,
                  std::vector<uint32_t>& distFreq) {
    litFreq.assign(286, 0);
    distFreq.assign(30, 0);
    for (size_t i = 0; i < lit.size(); ++i) {
        if (dist[i] == 0) {
            ++litFreq[lit[i]];
        } else {
            ++litFreq[257 + size_t(lengthCode(lit[i] + 3))];
            ++distFreq[size_t(distCode(dist[i]))];
        }
    }
}

}  // namespace lz77test
