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
 * apart, the step growing with the misses. accel >= 1 (1 is the plain density);
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

#ifdef __cplusplus
}
#endif

#endif /* LUMDC_H */
