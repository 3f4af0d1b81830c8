/*
 * lumcore.h - the companion core library of lumDC: processor-feature and cache-size
 * queries, and the switch that lets tests and benchmarks hide features so that
 * every kernel path can be forced on one machine.
 *
 * lumDC asks these on every call and caches nothing, so a change made through the
 * switch acts on the very next call. The switch is process-wide; tests that flip it
 * must not run lumDC calls on other threads meanwhile.
 */
#ifndef LUMCORE_H
#define LUMCORE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__) || defined(__clang__)
#define LUMCORE_API __attribute__((visibility("default")))
#else
#define LUMCORE_API
#endif

/* Feature bits. CRC-32C is part of SSE4.2; 0x80 and 0x800 are the bits lumDC's
 * checksum exports test for the CRC-32C instruction and carry-less multiplication.
 * A bit is set only when the operating system also saves the registers it needs. */
#define LUM_CPU_SSE2            0x00000001ull
#define LUM_CPU_SSSE3           0x00000002ull
#define LUM_CPU_SSE41           0x00000004ull
#define LUM_CPU_POPCNT          0x00000008ull
#define LUM_CPU_LZCNT           0x00000010ull
#define LUM_CPU_MOVBE           0x00000020ull
#define LUM_CPU_SSE42           0x00000080ull
#define LUM_CPU_CLMUL           0x00000800ull
#define LUM_CPU_AVX             0x00001000ull
#define LUM_CPU_AVX2            0x00002000ull
#define LUM_CPU_BMI1            0x00004000ull
#define LUM_CPU_BMI2            0x00008000ull
#define LUM_CPU_AVX512F         0x00010000ull
#define LUM_CPU_AVX512CD        0x00020000ull
#define LUM_CPU_AVX512BW        0x00040000ull
#define LUM_CPU_AVX512DQ        0x00080000ull
#define LUM_CPU_AVX512VL        0x00100000ull
#define LUM_CPU_AVX512VBMI      0x00200000ull
#define LUM_CPU_AVX512VBMI2     0x00400000ull
#define LUM_CPU_VPCLMULQDQ      0x00800000ull
#define LUM_CPU_GFNI            0x01000000ull
#define LUM_CPU_AVX512VNNI      0x02000000ull
#define LUM_CPU_ERMS            0x04000000ull
#define LUM_CPU_FSRM            0x08000000ull
#define LUM_CPU_AVX512BITALG    0x10000000ull
#define LUM_CPU_AVX512VPOPCNTDQ 0x20000000ull
#define LUM_CPU_PRFCHW          0x40000000ull /* PREFETCHW */

/* Stores the size in bytes of the largest data (or unified) cache into *pSize and
 * returns 0; nonzero when the size is unknown (then *pSize is not written). */
LUMCORE_API int32_t lumGetMaxCacheSizeB(int32_t* pSize);

/* Nonzero when every feature in mask is present and not hidden by the switch. */
LUMCORE_API int ownGetFeature(uint64_t mask);

/* The present, unhidden features. */
LUMCORE_API uint64_t lumcoreGetFeatures(void);

/* Test switch: features outside `allowed` read as absent from the next query on.
 * ~0 shows everything again, 0 forces the portable kernels. Returns the previous
 * mask. The environment variable LUMCORE_FEATURES (a number, e.g. 0 or 0x800)
 * sets the initial mask, so a whole program can be run on the portable path. */
LUMCORE_API uint64_t lumcoreSetFeatureMask(uint64_t allowed);

/* Test switch for the cache query: bytes > 0 makes lumGetMaxCacheSizeB report that
 * size, 0 restores the processor's answer, a negative value makes the query fail.
 * Returns the previous setting. */
LUMCORE_API int32_t lumcoreSetMaxCacheSizeB(int32_t bytes);

#ifdef __cplusplus
}
#endif

#endif /* LUMCORE_H */
