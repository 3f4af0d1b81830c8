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

#ifdef __cplusplus
}
#endif

#endif /* LUMDC_H */
