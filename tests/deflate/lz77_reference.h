// Deflate LZ77 matching for the tests: a slow matcher written straight from the
// rules (bytes read one at a time, every candidate measured in full), a driver
// that feeds a stream to a matcher in pieces as a caller would, a replay of the
// records, and a fixed-Huffman block writer for inflating them with zlib.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "lumdc.h"

namespace lz77test {

using Bytes = std::vector<uint8_t>;

// One matcher call with the exports' arguments after the checks; the parameter
// record and the choice of matcher come from the export being imitated.
using MatchCall = std::function<LumStatus(
    const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx, const uint8_t* pWindow, int32_t winSize,
    int32_t* pHashHead, int32_t* pHashPrev, int32_t hashSize, LumDeflateHuffEntry* pLitFreq,
    LumDeflateHuffEntry* pDistFreq, uint8_t* pLitDst, uint16_t* pDistDst, int32_t* pDstLen, int32_t flush)>;

// The rules, for the greedy (lazy false) or lazy matcher with these parameters.
LumStatus referenceMatch(const DeflateMatchParams& prm, bool lazy, const uint8_t** ppSrc, uint32_t* pSrcLen,
                         uint32_t* pSrcIdx, const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                         int32_t* pHashPrev, int32_t hashSize, LumDeflateHuffEntry* pLitFreq,
                         LumDeflateHuffEntry* pDistFreq, uint8_t* pLitDst, uint16_t* pDistDst, int32_t* pDstLen,
                         int32_t flush);

// The table row of a level (chain, good, nice, limit) and whether it is lazy.
DeflateMatchParams levelParams(int level);
bool levelIsLazy(int level);

MatchCall libraryLevel(int level);
MatchCall libraryParams(const DeflateMatchParams& prm, bool lazy);
MatchCall referenceLevel(int level);
MatchCall referenceParams(const DeflateMatchParams& prm, bool lazy);

// The rules of the table-entering exports: CRC-32C (mode != 0) or rolling keys.
uint32_t crc32cKey(const uint8_t* p, uint32_t hashSize);
void referenceUpdateHash(const uint8_t* src, uint32_t srcIdx, uint32_t srcLen, int32_t* head, uint32_t hashSize,
                         int32_t* chain, uint32_t winSize, uint32_t mode);

struct Layout {
    int32_t winSize = 32768;
    int32_t hashSize = 65536;
    uint32_t startIdx = 0;
    bool separateWindow = false;  // history copied to a buffer of its own, ending at a guard page
    Bytes dictionary;             // loaded with lumsDeflateDictionarySet_8u (mode chained unless rolling)
    bool rollingDictionary = false;
};

// Everything a stream of calls leaves behind.
struct Outcome {
    Bytes lit;
    std::vector<uint16_t> dist;
    std::vector<uint32_t> litFreq, distFreq;  // the count fields
    std::vector<int32_t> head, chain;
    uint32_t idx = 0;
    size_t calls = 0;
    std::string error;  // a call's status or a broken promise about lengths
};

// Feeds data to `call` as input pieces arrive (the last call flushes) with the
// output room of each call drawn in turn from `rooms` (cycled, each at least 1),
// calling again while a call makes progress.
Outcome runStream(const MatchCall& call, const Bytes& data, const std::vector<size_t>& pieces,
                  const std::vector<int32_t>& rooms, const Layout& layout);

// Describes the first difference between two outcomes; empty when equal.
std::string compareOutcomes(const Outcome& got, const Outcome& want);

// Rebuilds the data from the records after the given history; an error message
// when a record reaches outside it.
std::string replay(const Outcome& o, const Bytes& history, Bytes& out);

// The records as one final fixed-Huffman Deflate block.
Bytes fixedHuffmanBlock(const Bytes& lit, const std::vector<uint16_t>& dist);
// zlib's raw inflate of a stream, with an optional preset dictionary.
bool zlibInflate(const Bytes& stream, const Bytes& dictionary, size_t expected, Bytes& out);

// Symbol counts the records imply.
void countSymbols(const Bytes& lit, const std::vector<uint16_t>& dist, std::vector<uint32_t>& litFreq,
                  std::vector<uint32_t>& distFreq);

}  // namespace lz77test
