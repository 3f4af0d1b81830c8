/*
 * lumdc.h - public interface of lumDC, data-compression primitives for x86-64.
 *
 * Every export is a plain function over caller buffers: no allocation, no threads,
 * no global state. Arguments come in the order source, source length, destination,
 * destination length, then state records and parameters; checks run in the order
 * null pointers (-8), lengths (-6), parameter ranges (-5, -16), state identity (-13)
 * and the first failure returns before anything is touched.
 *
 * Lengths are signed 32-bit unless an export says otherwise. Buffer extents are
 * written as index ranges: src[0, len) is read, dst[0, *pDstLen) may be written.
 */
#ifndef LUMDC_H
#define LUMDC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__) || defined(__clang__)
#define LUMDC_API __attribute__((visibility("default")))
#else
#define LUMDC_API
#endif

/* ---- Status codes ------------------------------------------------------------ */

/* 0 success, negative errors, positive warnings (work was done and the length
 * outputs are updated; call again with more input or more room). */
typedef int32_t LumStatus;

enum {
    lumStatusOk = 0,
    lumStatusSrcExhausted = 32,     /* source ended before the coded data did */
    lumStatusDstFull = 33,          /* destination filled before the input was used up */
    lumStatusSortWorkLimit = 47,    /* select-sort transform ran out of its work limit */
    lumStatusDataErr = -2,          /* coded input is invalid */
    lumStatusStreamEnd = -4,        /* bit-stream buffer has no room (encode) or data (decode) left */
    lumStatusBadArg = -5,           /* argument value out of range */
    lumStatusSizeErr = -6,          /* length or size zero, negative or out of range */
    lumStatusNullPtr = -8,          /* required pointer is null */
    lumStatusContextMismatch = -13, /* state record not set up by the matching Init */
    lumStatusBadFactor = -16,       /* tuning factor below its minimum */
    lumStatusHuffCodeErr = -200,    /* code lengths cannot form a prefix code */
    lumStatusSrcTruncated = -214    /* coded input ends inside an item (checked LZO decoding) */
};

/* ---- Version ------------------------------------------------------------------ */

typedef struct LumLibraryVersion {
    int32_t major;         /* 2022 */
    int32_t minor;         /* 0 */
    int32_t majorBuild;    /* 0 */
    int32_t build;         /* 320770992 (revision 0x131e93b0) */
    char targetCpu[4];     /* "q2\0\0": the processor target of this build */
    const char* name;      /* "lumDC AVX-512F/CD/BW/DQ/VL (q2)" */
    const char* version;   /* "2022.0.0 (r0x131e93b0)" */
    const char* buildDate; /* "Sep  4 2024" */
} LumLibraryVersion;

/* The constant version record; the same address on every call. Never fails. */
LUMDC_API const LumLibraryVersion* lumdcGetLibVersion(void);

/* ---- Checksums ------------------------------------------------------------------
 * Each updates a caller-held running value, so a stream can be checksummed in
 * pieces: calls over consecutive pieces give the same value as one call. */

/* Adler-32 of src[0, len) into *pAdler (1 for a fresh stream). A null src stores 1
 * and returns 0 whatever len is; len <= 0 processes nothing but still reduces both
 * halves of *pAdler modulo 65521. -8 only for a null pAdler. */
LUMDC_API LumStatus lumsAdler32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pAdler);

/* zlib/gzip CRC-32 of src[0, len) into *pCRC (0 for a fresh stream; the inversions
 * before and after are applied inside). -8 null pointer, -6 len <= 0. */
LUMDC_API LumStatus lumsCRC32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC);

/* bzip2 CRC (polynomial 0x04C11DB7, most-significant bit first) of src[0, len) into
 * *pCRC (0 for a fresh stream; inversions inside). From 0 it gives the block CRC
 * that bzip2 stores. -8 null pointer, -6 len <= 0. */
LUMDC_API LumStatus lumsCRC32_BZ2_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC);

/* Raw CRC-32C (Castagnoli) of src[0, len) into *pCRC with no inversion: pass
 * 0xFFFFFFFF for a fresh stream and invert the final value for the standard CRC-32C.
 * len is unsigned (up to 4 GiB - 1); -8 null pointer, -6 len == 0. */
LUMDC_API LumStatus lumsCRC32C_8u(const uint8_t* pSrc, uint32_t len, uint32_t* pCRC);

/* ---- LZ4 blocks ------------------------------------------------------------------
 * The raw LZ4 block format: sequences of a token (literal count, match length - 4),
 * literals, a 16-bit little-endian offset and length continuation bytes; the last
 * sequence carries literals only. No frame, no checksum.
 *
 * Decoders. On 0, 32 and 33 the length outputs are updated; on -2 (an offset before
 * the window) and -6 (a match length overflowing 32 bits) they are not, and the
 * output may be partly written. The decoders may write anywhere in dst[0, capacity)
 * beyond the bytes they report as produced. A match of offset 0 leaves its bytes
 * as the destination held them. */

/* Decodes the block src[0, srcLen) into dst[0, *pDstLen); *pDstLen: capacity in,
 * bytes produced out. 0 at the end of the block; 32 when the source ends inside a
 * literal run (and for a lone 1-byte block); 33 when the destination is full. */
LUMDC_API LumStatus lumsDecodeLZ4_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen);

/* Decodes a block whose matches may reach into earlier data. Output goes to
 * dst[startIdx, startIdx + *pDstLen); *pSrcLen: block size in, bytes consumed out.
 * The dictionary is dict[0, dictLen) and logically precedes the output:
 *  - pDict null or dictLen 0: a self-contained block;
 *  - pDict + dictLen == pDst + startIdx: the dictionary lies in memory right before
 *    the output (e.g. earlier blocks decoded into the same buffer) and is read in place;
 *  - otherwise a separate dictionary, whose last 64 KiB a match may reach into.
 * Statuses as lumsDecodeLZ4_8u; dictLen < 0 with a separate dictionary gives -6. */
LUMDC_API LumStatus lumsDecodeLZ4Dict_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst, int32_t startIdx,
                                         int32_t* pDstLen, const uint8_t* pDict, int32_t dictLen);

/* Encoders. The hash table is caller memory of lumsEncodeLZ4HashTableGetSize_8u bytes
 * (16384); any alignment of 4 will do. The one-call encoders zero it themselves, so
 * one table serves any number of unrelated blocks. The worst-case block size for n
 * source bytes is n + n / 255 + 16. */

/* *pSize = 16384. */
LUMDC_API LumStatus lumsEncodeLZ4HashTableGetSize_8u(int32_t* pSize);
/* Zeroes the table for a source of srcLen bytes (8192 bytes below 65536, else 16384). */
LUMDC_API LumStatus lumsEncodeLZ4HashTableInit_8u(uint8_t* pHashTable, int32_t srcLen);
/* Zeroes all 16384 bytes, ready for lumsEncodeLZ4LoadDict_8u. */
LUMDC_API LumStatus lumsEncodeLZ4DictHashTableInit_8u(uint8_t* pHashTable, int32_t srcLen);

/* Encodes src[0, srcLen) as one block into dst and stores its size in *pDstLen (out
 * only). The destination must hold srcLen + srcLen / 255 + 80 bytes: the worst case
 * plus room for 64-byte literal moves. */
LUMDC_API LumStatus lumsEncodeLZ4_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                                     uint8_t* pHashTable);

/* Encodes the longest prefix of src[0, *pSrcLen) whose block fits dst[0, *pDstLen)
 * and never writes past it. *pSrcLen: bytes consumed out; *pDstLen: bytes produced
 * out. 0 when the whole source was consumed, else 33; the output is always a
 * complete block of the consumed prefix. */
LUMDC_API LumStatus lumsEncodeLZ4Safe_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst, int32_t* pDstLen,
                                         uint8_t* pHashTable);

/* As lumsEncodeLZ4_8u, probing fewer positions: rounds of four probes accel bytes
 * apart, the average spacing growing by one every 64 misses (as the plain search's
 * step does at accel 1). accel >= 1 (1 is the plain density);
 * -16 below 1. At the same accel it probes more sparsely than liblz4 (which takes
 * the first positions after a match one by one), so it runs faster and compresses
 * less: compare settings by size and speed, not by number. */
LUMDC_API LumStatus lumsEncodeLZ4Fast_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                                         uint8_t* pHashTable, int32_t accel);

/* Enters every third position of dict[0, dictLen) into a table prepared by
 * lumsEncodeLZ4DictHashTableInit_8u; a dictionary shorter than 9 bytes enters nothing. */
LUMDC_API LumStatus lumsEncodeLZ4LoadDict_8u(uint8_t* pHashTable, const uint8_t* pDict, int32_t dictLen);

/* Encodes src[0, srcLen) as one block whose matches may reach into the last 64 KiB of
 * dict[0, dictLen), the dictionary loaded into the table (dictLen 0: none). The
 * block decodes with lumsDecodeLZ4Dict_8u given the same dictionary. *pDstLen:
 * capacity in, bytes produced out; the encoder never writes past the capacity and
 * returns 33 with *pDstLen = 0 when the block does not fit (srcLen + srcLen / 255 +
 * 16 bytes always suffice). srcLen 0 gives the empty block. The table may be reused
 * for further blocks with the same dictionary: entries left by earlier blocks are
 * clamped into the dictionary and can do no harm, but reloading it gives the best
 * ratio. -5 for srcLen < 0, -6 for a capacity < 1 or dictLen < 0. */
LUMDC_API LumStatus lumsEncodeLZ4Dict_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                                         uint8_t* pHashTable, const uint8_t* pDict, int32_t dictLen);

/* As lumsEncodeLZ4Dict_8u, encoding the longest prefix of src[0, *pSrcLen) whose
 * block fits, as lumsEncodeLZ4Safe_8u does: *pSrcLen consumed out, *pDstLen produced
 * out, 0 or 33. */
LUMDC_API LumStatus lumsEncodeLZ4DictSafe_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst, int32_t* pDstLen,
                                             uint8_t* pHashTable, const uint8_t* pDict, int32_t dictLen);

/* High compression: hash chains over a hash table of 0x20000 bytes and a chain table
 * of 0x40000 bytes (caller memory, 4-byte aligned). Levels 1 to 12: 1-9 search ever
 * longer chains with lazy matching, 10-12 parse optimally. Both encoders zero the
 * hash table on each call (the chain table needs no clearing), encode the longest
 * prefix of src[0, *pSrcLen) whose block fits dst[0, *pDstLen), store the bytes
 * consumed and produced, and return 0 when everything was consumed, else 33. */

/* *pHashSize = 0x20000, *pChainSize = 0x40000. */
LUMDC_API LumStatus lumsEncodeLZ4HCHashTableGetSize_8u(int32_t* pHashSize, int32_t* pChainSize);
/* Zeroes both tables. */
LUMDC_API LumStatus lumsEncodeLZ4HCHashTableInit_8u(uint8_t* pHashTable, uint8_t* pChainTable);
/* -5 for a level outside 1..12. */
LUMDC_API LumStatus lumsEncodeLZ4HC_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst, int32_t* pDstLen,
                                       uint8_t* pHashTable, uint8_t* pChainTable, int32_t level);
/* As lumsEncodeLZ4HC_8u, with matches allowed to reach back into the dictLimit bytes
 * that lie in memory directly before pSrc (src[-dictLimit, 0), of which the last
 * 64 KiB can be reached). The block decodes with lumsDecodeLZ4Dict_8u given those
 * bytes as the dictionary. -5 for dictLimit < 0. */
LUMDC_API LumStatus lumsEncodeLZ4HCDictLimit_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst, int32_t* pDstLen,
                                                uint8_t* pHashTable, uint8_t* pChainTable, int32_t level,
                                                int32_t dictLimit);

/* ---- Deflate (RFC 1951) compression ---------------------------------------------
 * A compressor in two halves whose whole state belongs to the caller. The matchers
 * turn input into records, two parallel arrays: lit[i] is the literal byte when
 * dist[i] is 0, else the match length - 3 (0..255) with dist[i] the distance. They
 * count symbol frequencies as they go; the caller builds codes from the counts
 * (lumsDeflateLZ77FastestGenHuffTable_8u), writes a block header
 * (lumsDeflateLZ77FastestGenHeader_8u) and hands the records to lumsDeflateHuff_8u,
 * then writes the end-of-block code itself. The fastest family does matching and
 * coding in one pass.
 *
 * Positions. Every byte the compressor has seen has a 32-bit position; *pSrcIdx is
 * that of *ppSrc[0]. History before it is read through the window pointer:
 * position p < *pSrcIdx is pWindow[p - *pSrcIdx], so pWindow addresses the byte just
 * after the last history byte (pWindow == *ppSrc when history and input are one
 * buffer). winSize (256..32768) and hashSize (256..65536) are powers of two. The
 * head table has hashSize and the chain table winSize signed 32-bit entries; an
 * entry at or below position - winSize means no candidate (fill both with -32768 to
 * start). Near 2^31 the matchers renumber positions: *pSrcIdx becomes winSize and
 * the tables follow, saturating at -32768.
 *
 * Frequency and code tables have 286 (literal/length) and 30 (distance) entries of
 * LumDeflateHuffEntry: `code` holds the count until the codes are built, then the
 * bit-reversed code; `len` is the code length (0: no code). Counts wrap at 65536. */
typedef struct LumDeflateHuffEntry {
    uint16_t code; /* count (frequency tables) or bit-reversed code (code tables) */
    uint16_t len;  /* code length in bits, 0..15; untouched by the matchers */
} LumDeflateHuffEntry;

/* Matcher parameters: the most candidates examined per position (0 selects the
 * rolling-hash greedy matcher), the length from which a quarter of that suffices,
 * the length that ends a search, and for the greedy matcher the longest match
 * (or overlapping distance) whose inner positions are entered into the tables, for
 * the lazy matcher the pending length from which no search is made one later. */
typedef struct DeflateMatchParams {
    int32_t chain;
    int32_t good;
    int32_t nice;
    int32_t limit; /* insert limit (greedy) or lazy limit (lazy) */
} DeflateMatchParams;

/* Matches *ppSrc[0, *pSrcLen) into records lit[0, *pDstLen) and dist[0, *pDstLen),
 * adding to the frequency tables. *ppSrc, *pSrcLen and *pSrcIdx advance past the
 * bytes consumed; *pDstLen (room in records) decreases by the records written, and
 * output always starts at index 0. flush >= 2 marks the last piece: everything is
 * consumed and the last two or three bytes go out as literals. Below 2 the call
 * holds back the last 261 bytes (the longest match and the hashing of its last
 * positions) for the next call, so that a split of the input changes the records
 * only where a lazy match is cut off from its look one later (a call's end or one
 * record of room) or positions are renumbered. compLevel 0..29: 0, 10 and 20
 * match greedily with one rolling 3-byte hash probe, 1-4 and 11-14, 21-24 greedily
 * over CRC-32C hash chains, the rest lazily. -8 null pointer, -6 winSize or
 * hashSize out of range or compLevel > 29. No failed check touches a table or
 * pointer. */
LUMDC_API LumStatus lumsDeflateLZ77_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                       const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead, int32_t* pHashPrev,
                                       int32_t hashSize, LumDeflateHuffEntry* pLitFreq, LumDeflateHuffEntry* pDistFreq,
                                       uint8_t* pLitDst, uint16_t* pDistDst, int32_t* pDstLen, int32_t compLevel,
                                       int32_t flush);
/* The greedy matcher with the caller's parameters. -5 for chain < 0, or chain > 0
 * with good, nice or limit below 4. */
LUMDC_API LumStatus lumsDeflateLZ77Fast_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                           const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                           int32_t* pHashPrev, int32_t hashSize, LumDeflateHuffEntry* pLitFreq,
                                           LumDeflateHuffEntry* pDistFreq, uint8_t* pLitDst, uint16_t* pDistDst,
                                           int32_t* pDstLen, const DeflateMatchParams* pParams, int32_t flush);
/* The lazy matcher with the caller's parameters. -5 for chain < 1 or any other
 * field below 4. With one record of room left, a pending match goes out without
 * the look one position later, so no call ends with a match still pending: no
 * position is entered twice, and consumed bytes always equal the bytes the records
 * cover. (Only that last choice depends on the room given.) */
LUMDC_API LumStatus lumsDeflateLZ77Slow_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                           const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                           int32_t* pHashPrev, int32_t hashSize, LumDeflateHuffEntry* pLitFreq,
                                           LumDeflateHuffEntry* pDistFreq, uint8_t* pLitDst, uint16_t* pDistDst,
                                           int32_t* pDstLen, const DeflateMatchParams* pParams, int32_t flush);
/* Enters positions srcIdx .. srcIdx + n - 1, keys read from src[0, srcLen): mode 0
 * the rolling 3-byte hash into the head table only (n = srcLen - 2), any other mode
 * the CRC-32C key into head and chain (n = srcLen - 3). Too short a source: 0 and
 * nothing done. -8 null pointer, -6 winSize or hashSize out of range. */
LUMDC_API LumStatus lumsDeflateUpdateHash_8u(const uint8_t* pSrc, uint32_t srcIdx, uint32_t srcLen, int32_t* pHashHead,
                                             uint32_t hashSize, int32_t* pHashPrev, uint32_t winSize, uint32_t mode);
/* Preset dictionary: copies the last min(winSize, dictLen) bytes of dict to
 * pWindow[0, n) and, when n >= 258, enters positions 0 .. n - 258 as
 * lumsDeflateUpdateHash_8u does. Compression then starts at position n with the
 * window pointer at pWindow + n. Statuses as lumsDeflateUpdateHash_8u. */
LUMDC_API LumStatus lumsDeflateDictionarySet_8u(const uint8_t* pDict, uint32_t dictLen, int32_t* pHashHead,
                                                uint32_t hashSize, int32_t* pHashPrev, uint8_t* pWindow,
                                                uint32_t winSize, uint32_t mode);
/* In place, maps every byte x of srcDst[0, len) to its rank among the byte values
 * flagged in inUse[0, 256) (the count of flags below x) and stores the flag total
 * in *pSize. -8 null pointer, -6 len < 1. */
LUMDC_API LumStatus lumsReduceDictionary_8u_I(const uint8_t* pInUse, uint8_t* pSrcDst, int32_t len, uint32_t* pSize);
/* The inverse: maps every rank back to its byte value. -8 null pointer, -6 len < 1
 * or size < 1, -2 when the flag total differs from size (nothing touched). */
LUMDC_API LumStatus lumsExpandDictionary_8u_I(const uint8_t* pInUse, uint8_t* pSrcDst, int32_t len, int32_t size);

/* Writes the records lit/dist[0, srcLen) as Deflate codes, least-significant bit
 * first, to dst from index *pDstIdx on, through the caller's bit buffer (*pBitBuf
 * holds *pBitCount < 8 pending bits between calls). The caller guarantees the room:
 * 6 bytes per record plus 4. srcLen <= 0 only writes out whole pending bytes. Any
 * split of the records gives the same bytes. -8 null pointer. */
LUMDC_API LumStatus lumsDeflateHuff_8u(const uint8_t* pLitSrc, const uint16_t* pDistSrc, int32_t srcLen,
                                       uint16_t* pBitBuf, uint32_t* pBitCount, const LumDeflateHuffEntry* pLitCodes,
                                       const LumDeflateHuffEntry* pDistCodes, uint8_t* pDst, uint32_t* pDstIdx);

/* The fastest family. Codes are built from counts, a header is written for them,
 * and the fastest matcher writes its matches straight as codes. */

/* Length-limited (15 bits) canonical Huffman codes from the counts in
 * litFreq[0, 286) and distFreq[0, 30) into litCodes and distCodes (which may be
 * the frequency tables themselves). Symbols of count 0 get no code, except that
 * the end-of-block symbol 256 always has one, and a distance alphabet with fewer
 * than two counted symbols still gets a complete code (codes 0 and 1 of length 1)
 * that every inflater accepts. Within a length, codes rise with the symbol, as
 * RFC 1951 derives them from the lengths. -8 null pointer. */
LUMDC_API LumStatus lumsDeflateLZ77FastestGenHuffTable_8u(const LumDeflateHuffEntry* pLitFreq,
                                                          const LumDeflateHuffEntry* pDistFreq,
                                                          LumDeflateHuffEntry* pLitCodes,
                                                          LumDeflateHuffEntry* pDistCodes);
/* Writes a dynamic-block header for the given codes (BFINAL = final != 0, BTYPE 2,
 * HLIT, HDIST, HCLEN, the code-length code, the lengths run-length coded with
 * symbols 16, 17 and 18) through the bit buffer convention of lumsDeflateHuff_8u.
 * The header takes at most 300 bytes; the caller guarantees them plus 4. -8 null
 * pointer, -5 a code length above 15. */
LUMDC_API LumStatus lumsDeflateLZ77FastestGenHeader_8u(const LumDeflateHuffEntry* pLitCodes,
                                                       const LumDeflateHuffEntry* pDistCodes, int32_t final,
                                                       uint16_t* pBitBuf, uint32_t* pBitCount, uint8_t* pDst,
                                                       uint32_t* pDstIdx);

/* A header and its codes made once and appended to many blocks. */
typedef struct LumDeflatePrecompHeader {
    LumDeflateHuffEntry litCodes[286];
    LumDeflateHuffEntry distCodes[30];
    uint32_t bitCount; /* length of the header in bits */
    uint8_t bits[300]; /* the header, least-significant bit first, BFINAL clear */
} LumDeflatePrecompHeader;

/* Builds codes in which every symbol has a code, so that any data can be coded with
 * them, from the counts given (every count taken as at least 1) or, when both
 * frequency pointers are null, from built-in statistics of typical data; then the
 * header for them. A final block sets bit 0 of bits[0]. -8 null pHeader or one
 * frequency pointer null and the other not. */
LUMDC_API LumStatus lumsDeflateLZ77FastestPrecompHeader_8u(const LumDeflateHuffEntry* pLitFreq,
                                                           const LumDeflateHuffEntry* pDistFreq,
                                                           LumDeflatePrecompHeader* pHeader);

/* Adds to the frequency tables (saturating at 65535) the symbols the fastest
 * matcher would make of src[0, srcLen) with no history, a head table of 8192
 * entries and a 32 KiB window, every symbol taken to have a code (the end-of-block
 * symbol is not counted), so that codes can be built from a sample or a first
 * pass. -8 null pointer, -6 srcLen < 0. */
LUMDC_API LumStatus lumsDeflateLZ77FastestGetStat_8u(const uint8_t* pSrc, int32_t srcLen, LumDeflateHuffEntry* pLitFreq,
                                                     LumDeflateHuffEntry* pDistFreq);

/* One pass: one CRC-32C hash probe per position (matches of 4 to 258 bytes; of the
 * positions a match covers, its last two are entered into the head table; no
 * position is skipped), each literal or match written at once as codes from
 * litCodes and distCodes, least-significant bit first, to dst[0, *pDstLen) through
 * the bit buffer of lumsDeflateHuff_8u; *pDstLen: room in, bytes produced out
 * (bytes of the room past those may be overwritten). Window, head table, positions
 * and renumbering as for the matchers above (no chain table). flush below 2 holds
 * back the last 261 bytes; 2 or more codes everything and ends the block with the
 * end-of-block code (its last bits stay in the bit buffer). 33 when fewer than 16
 * bytes of room are left with input (or the end-of-block code) still to code: the
 * next call with more room continues exactly, so any split of input and output
 * gives the same bits. A match is shortened to the longest length whose symbol has
 * a code; without one of 4 or more, or without a code for its distance symbol, it
 * is not taken and its first byte goes out as a literal. -8 null pointer, -6
 * winSize or hashSize out of range or *pSrcLen above 0x7FFF0000, -5 a literal or
 * the end-of-block symbol without a code (checked before anything is written). */
LUMDC_API LumStatus lumsDeflateLZ77Fastest_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                              const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                              int32_t hashSize, const LumDeflateHuffEntry* pLitCodes,
                                              const LumDeflateHuffEntry* pDistCodes, uint8_t* pDst, int32_t* pDstLen,
                                              uint16_t* pBitBuf, uint32_t* pBitCount, int32_t flush);

/* ---- Inflation -------------------------------------------------------------------
 * A raw Deflate (RFC 1951) decoder that stops and resumes at any byte of input and
 * of output. Everything that must survive between calls (pending bits, the block
 * being decoded, a partly read header, a match cut by the end of the room) lives
 * in the caller's LumInflateState; the history lives in the caller's destination.
 *
 * Calling sequence: zero a LumInflateState (all zero bytes are a fresh stream),
 * then call lumsInflate_8u with more input on 32 and more room on 33 until it
 * returns 0 at the end of the final block. Output goes to dst[*pDstIdx, dstLen);
 * matches may reach back into dst[0, *pDstIdx), so a caller that reuses its buffer
 * keeps the last 32 KiB of output (or all of it, if less) in front of the index.
 * At the end of the stream the bytes after it are not consumed: *ppSrc points just
 * past the final block (zlib and gzip trailers, further gzip members). For another
 * stream, zero the state again.
 *
 * A caller that parses block headers itself builds the block's tables with
 * lumsInflateBuildHuffTable, stores the bits it has read beyond the header in
 * bitBuf/bitCount, and calls lumsInflate_8u with the source at the next byte: the
 * body is decoded up to its end-of-block code, where the call returns 0 and the
 * state expects a block header next. */
typedef struct LumInflateState {
    uint64_t bitBuf;       /* input bits taken but not yet used, lowest first */
    uint32_t bitCount;     /* how many (0..63) */
    uint32_t reserved;     /* zero */
    uint64_t opaque[2046]; /* the decoder's own (16 KiB in all, 8-byte aligned) */
} LumInflateState;

/* Decodes *ppSrc[0, *pSrcLen) into dst[*pDstIdx, dstLen); *ppSrc, *pSrcLen and
 * *pDstIdx advance by what was consumed and produced. 0 at the end of the stream
 * (and at once on later calls), 32 when the source is used up first, 33 when the
 * destination is full with output still to come. -2 invalid data (a reserved block
 * type, a stored length whose complement disagrees, a code that is not in the
 * block's code, a distance reaching before dst[0] or past 32768 bytes of history,
 * more than 286 literal/length or 30 distance codes, a repeat with nothing to
 * repeat or running past the lengths, no end-of-block code); -200 code lengths
 * that over- or under-subscribe their code (a single distance code, or none for a
 * block without matches, is allowed, as zlib allows it). After an error the state
 * keeps returning it. -8 null pointer, -6 *pDstIdx > dstLen. */
LUMDC_API LumStatus lumsInflate_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint8_t* pDst, uint32_t* pDstIdx,
                                   uint32_t dstLen, LumInflateState* pState);

/* Decoding tables for one block from its code lengths: lens[0, numLit) for the
 * literal/length alphabet and lens[numLit, numLit + numDist) for distances, each
 * 0..15 (the fixed code is 288 lengths and 32). The state then decodes that block's
 * body, as described above. -8 null pointer, -6 numLit outside 257..288 or numDist
 * outside 1..32, -200 lengths above 15, over- or under-subscribed codes (with
 * zlib's exceptions: one distance code of length 1, or none), or no code for
 * end-of-block. The state is unchanged on an error. */
LUMDC_API LumStatus lumsInflateBuildHuffTable(const uint8_t* pLens, int32_t numLit, int32_t numDist,
                                              LumInflateState* pState);

/* ---- LZSS ---------------------------------------------------------------------
 * A streaming LZSS codec over a 32 KiB window. The stream is a sequence of items
 * packed most significant bit first with no gaps and no end marker: a literal is
 * a 1 bit and the byte (9 bits); a match is a 0 bit, the distance (15 bits,
 * 1..32767) and the length minus 3 (8 bits: 3..258). The encoder matches greedily
 * over hash chains (16 candidates at most). Both directions run over any number of
 * calls on one record: the encoder holds back its last 260 bytes of input until
 * more arrives or the flush, so its stream does not depend on how either buffer
 * was split, down to single bytes; the decoder keeps a partial item's bits, the
 * rest of a match that did not fit, and the last 32 KiB of output, so any split
 * of either buffer gives the same output. Pointers and lengths advance by what
 * each call used. */
typedef struct LumLzssState LumLzssState; /* 327744 bytes, 8-byte aligned, either direction */

/* *pSize = 327744. -8 for a null pointer. */
LUMDC_API LumStatus lumsLZSSGetSize_8u(int32_t* pSize);
/* Start a stream in the given direction. -8 for a null pointer. */
LUMDC_API LumStatus lumsEncodeLZSSInit_8u(LumLzssState* pState);
LUMDC_API LumStatus lumsDecodeLZSSInit_8u(LumLzssState* pState);
/* Codes *ppSrc[0, *pSrcLen) into *ppDst[0, *pDstLen) as far as the room goes. The
 * encoder consumes what it codes plus a held-back look-ahead of at most 260 bytes
 * (the longest match and the hashing of its last positions), never more, whatever
 * the room. When the destination fills, the rest of the source stays unconsumed
 * and the call returns 33 (call again with more room); a call that consumed its
 * whole source returns 0, and bits that did not fit stay pending in the record
 * (at most 31) for the next call or the flush. So 33 comes only with source left:
 * loop while source is left, then flush. A source of length 0 returns 0 at once,
 * else a destination of length 0 returns 33 at once. -8 null pointer, -6 a
 * negative length. */
LUMDC_API LumStatus lumsEncodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst, int32_t* pDstLen,
                                      LumLzssState* pState);
/* Ends the stream: codes the input held back, then writes the pending bits as
 * whole bytes, the last padded with 0 bits. Nothing pending: 0 and nothing
 * written. 33 when the destination ran out first; what did not fit stays in the
 * record for another Flush. -8 null pointer, -6 *pDstLen below 1. */
LUMDC_API LumStatus lumsEncodeLZSSFlush_8u(uint8_t** ppDst, int32_t* pDstLen, LumLzssState* pState);
/* Decodes whole items from *ppSrc[0, *pSrcLen) into *ppDst[0, *pDstLen); the bits
 * of an item cut by the end of the source wait in the record. Any bytes decode
 * to some output (a distance reaching before the start reads zeros). A
 * destination of length 0 returns 33 at once; a source of length 0 returns 0
 * after writing what is left of a match that an earlier full output cut; 33
 * when the destination filled up first (bytes read ahead are given back), else 0.
 * -8 null pointer, -6 a negative length. */
LUMDC_API LumStatus lumsDecodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst, int32_t* pDstLen,
                                      LumLzssState* pState);

/* ---- LZO1X ------------------------------------------------------------------------
 * The LZO1X instruction stream (as liblzo2's lzo1x functions read and write it),
 * ended by the marker 0x11 0x00 0x00, and a container of 1 to 32 streams that decode
 * into consecutive parts of one output: the bytes 0x55, N, N ^ 0x55, the total
 * decoded size T (32-bit little-endian), the compressed sizes of the first N - 1
 * streams (32-bit little-endian each), then the streams back to back, the last one
 * taking the rest of the input. Stream i decodes at offset i * (T / N) with room for
 * T / N bytes (the last one T / N + T % N). An input starting with 0x55 is taken as a
 * container only when its header is whole, byte 2 matches, the first stream lies
 * inside the input and ends with the marker; otherwise it is one stream. Lengths
 * are unsigned 32-bit here; source and destination must not overlap. */

/* Checked decoding of a stream or a container into dst[0, *pDstLen); *pDstLen
 * becomes the bytes produced. Every read, write and match distance is tested, and
 * any malformed or truncated input, any output overflow or a match reaching before
 * the output start returns -214, with the bytes decoded so far left in dst (for a
 * single stream *pDstLen then says how many; for a container it is left as it
 * was). Every stream of a container is decoded, also after one failed; the status
 * is the last failure's. An empty input, or one that is only the end marker,
 * produces nothing and returns 0. Decoding stops at the marker: input after it is
 * ignored. -8 for a null pointer. */
LUMDC_API LumStatus lumsDecodeLZOSafe_8u(const uint8_t* pSrc, uint32_t srcLen, uint8_t* pDst, uint32_t* pDstLen);
/* For trusted data only, such as this library's own output: a single stream is
 * decoded without testing its contents (malformed input may read or write outside
 * the buffers) and 0 is returned. Containers are decoded as lumsDecodeLZOSafe_8u
 * does, with the same statuses. */
LUMDC_API LumStatus lumsDecodeLZO_8u(const uint8_t* pSrc, uint32_t srcLen, uint8_t* pDst, uint32_t* pDstLen);

/* Encoder state: caller memory of lumsEncodeLZOGetSize bytes (131104), 4-byte
 * aligned, prepared by lumsEncodeLZOInit_8u. It holds the method and a hash table
 * that is never cleared: entries left by earlier calls (or whatever the memory
 * held) only serve as candidates, each one range-checked and compared with the
 * input, so the output is always valid but may depend on the table's history. A
 * caller that needs reproducible output zeroes the state and calls Init before
 * each encoding. */
typedef struct LumLzoEncodeState LumLzoEncodeState;

enum {
    lumLzoMethodHash = 0,  /* every position hashed, CRC-32C of 4 bytes (1 is taken as 0) */
    lumLzoMethodVector = 2 /* blocks of 64 positions looked up at once, long stretches without
                              matches crossed in growing steps: faster, as compact on most data */
};

/* *pSize = 131104 for methods 0, 1 and 2; for any other method *pSize = 0 and -5.
 * maxSrcLen is not used. -8 for a null pSize. */
LUMDC_API LumStatus lumsEncodeLZOGetSize(uint32_t method, uint32_t maxSrcLen, uint32_t* pSize);
/* Records the method in the state (methods 0 and 1 as 0, 2 as 2); the hash table is
 * left as it is. -8 null state, -5 method above 2. maxSrcLen is not used. */
LUMDC_API LumStatus lumsEncodeLZOInit_8u(uint32_t method, uint32_t maxSrcLen, LumLzoEncodeState* pState);
/* Encodes src[0, srcLen) as one stream ended by the marker into dst[0, *pDstLen);
 * *pDstLen becomes the bytes written. An empty source writes nothing and returns 0;
 * one byte b gives 0x12 b 0x11 0x00 0x00. Returns 33 when the output filled first:
 * the bytes written are then whole instructions (the last literal run possibly cut
 * short) without the marker. A capacity of srcLen + srcLen / 16 + 67 bytes always
 * suffices; srcLen + srcLen / 128 + 16 suffices for all but contrived inputs (runs
 * of 19 or more literals each followed by a 4-byte match more than 2048 bytes
 * back). -8 null pointer, -5 a state whose method is neither 0 nor 2.
 * The format has one ambiguity: a stream opening with a run of 68 literals starts
 * with 0x55, and when the source's first bytes read as a valid container header
 * over the rest (N, N ^ 0x55, sizes, a first "stream" ending in 0x11 0x00 0x00)
 * the decoders take it for a container. Only contrived sources do that; callers
 * that store untrusted data can keep the container form for themselves. */
LUMDC_API LumStatus lumsEncodeLZO_8u(const uint8_t* pSrc, uint32_t srcLen, uint8_t* pDst, uint32_t* pDstLen,
                                     LumLzoEncodeState* pState);

/* ---- ZFP for 4x4x4 blocks of floats -------------------------------------------
 * One block at a time into (or out of) a stream of 64-bit little-endian words,
 * bits filled from bit 0 up, blocks back to back with no alignment; the block
 * format is ZFP's for 3-D floats (libzfp's zfp_encode_block_float_3 writes the
 * same bits for every block whose largest magnitude is at least 2^-96). Everything
 * that persists between blocks is in one caller-allocated record: the parameters,
 * a 64-bit bit buffer and the stream position.
 *
 * Parameters, per block: minBits (a shorter block is padded with zero bits up to
 * it), maxBits (the budget: coding stops when it runs out), maxPrec (the most bit
 * planes coded) and minExp (planes below 2^minExp are not coded). Fixed rate r
 * bits per block: Set(r, r, 64, -10740). Fixed precision p: Set(0, 4171, p,
 * -10740). Fixed accuracy: SetAccuracy(tolerance). The decoder must be given the
 * same parameters as the encoder, and reads blocks in the order they were written.
 *
 * Element (x, y, z) of a block lies at byte offset z * planeStep + y * step + 4 x;
 * steps are signed and may be negative. NaN and infinite values are not part of
 * the format (they are coded without fault, as some value). */
typedef struct LumZfpState LumZfpState; /* 576 bytes, any alignment */

/* *pStateSize = 576. -8 for a null pointer. */
LUMDC_API LumStatus lumsEncodeZfpGetStateSize_32f(int32_t* pStateSize);
/* Starts a stream on pStream[0, streamLen) with the default parameters (0, 4171,
 * 64, -10740). -8 null pointer, -6 streamLen below 1. */
LUMDC_API LumStatus lumsEncodeZfpInit_32f(uint8_t* pStream, int32_t streamLen, LumZfpState* pState);
/* As Init with a 64-bit length; only 0 is refused (-6). A negative length gives a
 * stream whose first block ends with -4. */
LUMDC_API LumStatus lumsEncodeZfpInitLong_32f(uint8_t* pStream, int64_t streamLen, LumZfpState* pState);
/* Stores the four parameters as given (no range checks: consistent values are the
 * caller's business). May be called between blocks. -8 null, -13 record not set
 * up by Init. */
LUMDC_API LumStatus lumsEncodeZfpSet_32f(int32_t minBits, int32_t maxBits, int32_t maxPrec, int32_t minExp,
                                         LumZfpState* pState);
/* Sets minExp to the binary exponent of the tolerance (floor(log2(tolerance)) for
 * normal numbers; -1023 for subnormals), or to -10740 when the tolerance is not
 * above zero or is NaN. The other parameters stay. -8, -13. */
LUMDC_API LumStatus lumsEncodeZfpSetAccuracy_32f(double precision, LumZfpState* pState);
/* Bytes of whole words written so far (the low 32 bits; the Long form all 64),
 * not counting bits still in the buffer: call Flush first. -8, -13. */
LUMDC_API LumStatus lumsEncodeZfpGetCompressedSize_32f(const LumZfpState* pState, int32_t* pSize);
LUMDC_API LumStatus lumsEncodeZfpGetCompressedSizeLong_32f(const LumZfpState* pState, int64_t* pSize);
/* Every bit written so far, the buffered ones included. -8, -13. */
LUMDC_API LumStatus lumsEncodeZfpGetCompressedBitSize_32f(const LumZfpState* pState, int64_t* pBitSize);
/* Writes the buffered bits: a whole zero-filled word when 8 bytes are left, else as
 * many whole bytes as needed and fit; -4 when they do not all fit (the stream is
 * then truncated). Nothing buffered: 0 and nothing written. -8, -13. */
LUMDC_API LumStatus lumsEncodeZfpFlush_32f(LumZfpState* pState);
/* Appends one block. -8 null pointer, -13 record not set up, -4 when the stream
 * ended inside the block: what was written stays (the bit-size query counts it),
 * and the stream cannot be continued. */
LUMDC_API LumStatus lumsEncodeZfp444_32f(const float* pSrc, int32_t srcStep, int32_t srcPlaneStep, LumZfpState* pState);

/* The decoder's record functions behave exactly as the encoder's. */
LUMDC_API LumStatus lumsDecodeZfpGetStateSize_32f(int32_t* pStateSize);
LUMDC_API LumStatus lumsDecodeZfpInit_32f(const uint8_t* pStream, int32_t streamLen, LumZfpState* pState);
LUMDC_API LumStatus lumsDecodeZfpInitLong_32f(const uint8_t* pStream, int64_t streamLen, LumZfpState* pState);
LUMDC_API LumStatus lumsDecodeZfpSet_32f(int32_t minBits, int32_t maxBits, int32_t maxPrec, int32_t minExp,
                                         LumZfpState* pState);
LUMDC_API LumStatus lumsDecodeZfpSetAccuracy_32f(double precision, LumZfpState* pState);
/* Bytes of the stream consumed so far, in whole words or bytes loaded. */
LUMDC_API LumStatus lumsDecodeZfpGetDecompressedSize_32f(const LumZfpState* pState, int32_t* pSize);
LUMDC_API LumStatus lumsDecodeZfpGetDecompressedSizeLong_32f(const LumZfpState* pState, int64_t* pSize);
/* Reads one block and stores its 64 floats (an empty block: 64 zeros). Any bytes
 * may be given: a corrupted stream decodes to some floats, and a stream that ends
 * inside the block returns -4 after consuming what there was (the floats may then
 * be partly or not at all written); nothing outside the stream and the 64 floats
 * is touched. Blocks whose largest magnitude was below 2^-96 do not come back
 * right: the format's decoder scale has no cap, unlike the encoder's. -8, -13. */
LUMDC_API LumStatus lumsDecodeZfp444_32f(LumZfpState* pState, float* pDst, int32_t dstStep, int32_t dstPlaneStep);

#ifdef __cplusplus
}
#endif

#endif /* LUMDC_H */
