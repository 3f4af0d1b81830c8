/*
 * lumdc - command-line front end of the library. For now one command:
 *
 *   lumdc sum FILE...   Adler-32, CRC-32, bzip2 CRC and CRC-32C of each file,
 *                       then the throughput of each checksum over all files.
 *
 * Uses only the public header, as any caller would. CRC-32C is printed in its
 * standard form (started from all ones and inverted at the end).
 */
#define _POSIX_C_SOURCE 200809L

#include "lumdc.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "lumcore.h"

enum { kChecksums = 4 };
static const char* const kNames[kChecksums] = {"adler32", "crc32", "crc32_bz2", "crc32c"};

/* The checksum exports take 32-bit lengths; files go through in pieces. */
static const size_t kPiece = (size_t)1 << 30;

static double now(void) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec * 1e-9;
}

static unsigned char* readWhole(const char* path, size_t* size) {
    FILE* f = fopen(path, "rb");
    unsigned char* buf = NULL;
    size_t cap = 0, len = 0;
    if (f == NULL) return NULL;
    for (;;) {
        size_t got;
        if (len == cap) {
            unsigned char* grown;
            cap = cap ? cap * 2 : (size_t)1 << 20;
            grown = realloc(buf, cap);
            if (grown == NULL) break;
            buf = grown;
        }
        got = fread(buf + len, 1, cap - len, f);
        len += got;
        if (got == 0) {
            if (ferror(f)) break;
            fclose(f);
            *size = len;
            return buf != NULL ? buf : malloc(1);
        }
    }
    free(buf);
    fclose(f);
    return NULL;
}

/* The machine as the kernels see it: the instruction sets they choose by (after
 * the lumcore switch), cores, clock and the largest cache. No processor names:
 * figures taken on machines with the same features compare, whoever made them. */
static void describeMachine(char* out, size_t room) {
    static const struct {
        uint64_t mask;
        const char* name;
    } kSubsets[] = {{LUM_CPU_AVX512F, "F"},           {LUM_CPU_AVX512CD, "CD"},
                    {LUM_CPU_AVX512BW, "BW"},         {LUM_CPU_AVX512DQ, "DQ"},
                    {LUM_CPU_AVX512VL, "VL"},         {LUM_CPU_AVX512VBMI, "VBMI"},
                    {LUM_CPU_AVX512VBMI2, "VBMI2"},   {LUM_CPU_AVX512VNNI, "VNNI"},
                    {LUM_CPU_AVX512BITALG, "BITALG"}, {LUM_CPU_AVX512VPOPCNTDQ, "VPOPCNTDQ"}};
    static const struct {
        uint64_t mask;
        const char* name;
    } kOthers[] = {{LUM_CPU_VPCLMULQDQ, "VPCLMULQDQ"}, {LUM_CPU_GFNI, "GFNI"}, {LUM_CPU_BMI2, "BMI2"}};
    const uint64_t f = lumcoreGetFeatures();
    size_t n = 0, i;
    int32_t cache = 0;
    double mhz = 0;
    char line[256];
    FILE* info = fopen("/proc/cpuinfo", "r");
    if (info != NULL) {
        while (mhz == 0 && fgets(line, sizeof line, info) != NULL)
            if (strncmp(line, "cpu MHz", 7) == 0 && strchr(line, ':') != NULL) mhz = atof(strchr(line, ':') + 1);
        fclose(info);
    }
    out[0] = '\0';
    if (f & LUM_CPU_AVX512F) {
        n += (size_t)snprintf(out + n, room - n, "AVX-512");
        for (i = 0; i < sizeof kSubsets / sizeof kSubsets[0] && n < room; ++i)
            if (f & kSubsets[i].mask) n += (size_t)snprintf(out + n, room - n, "%s%s", i ? "/" : " ", kSubsets[i].name);
    } else {
        n += (size_t)snprintf(out + n, room - n, "%s", f & LUM_CPU_AVX2 ? "AVX2" : "no AVX2");
    }
    for (i = 0; i < sizeof kOthers / sizeof kOthers[0] && n < room; ++i)
        if (f & kOthers[i].mask) n += (size_t)snprintf(out + n, room - n, ", %s", kOthers[i].name);
    if (n < room) n += (size_t)snprintf(out + n, room - n, "; %ld cores", sysconf(_SC_NPROCESSORS_ONLN));
    if (n < room && mhz > 0) n += (size_t)snprintf(out + n, room - n, " at %.0f MHz", mhz);
    if (n < room && lumGetMaxCacheSizeB(&cache) == 0)
        snprintf(out + n, room - n, "; largest cache %d KiB", (int)(cache / 1024));
}

/* Runs checksum k over buf[0, size) and returns its value; adds the time taken. */
static uint32_t checksum(int k, const unsigned char* buf, size_t size, double* seconds) {
    uint32_t v = k == 0 ? 1u : k == 3 ? 0xFFFFFFFFu : 0u;
    const double t0 = now();
    size_t at;
    for (at = 0; at < size; at += kPiece) {
        const size_t n = size - at < kPiece ? size - at : kPiece;
        switch (k) {
            case 0:
                lumsAdler32_8u(buf + at, (int32_t)n, &v);
                break;
            case 1:
                lumsCRC32_8u(buf + at, (int32_t)n, &v);
                break;
            case 2:
                lumsCRC32_BZ2_8u(buf + at, (int32_t)n, &v);
                break;
            default:
                lumsCRC32C_8u(buf + at, (uint32_t)n, &v);
                break;
        }
    }
    *seconds += now() - t0;
    return k == 3 ? ~v : v;
}

static int sum(int argc, char** argv) {
    double seconds[kChecksums] = {0};
    double total = 0;
    int i, k, failures = 0;
    printf("%-40s %12s  %-8s  %-8s  %-9s  %-8s\n", "file", "bytes", kNames[0], kNames[1], kNames[2], kNames[3]);
    for (i = 0; i < argc; ++i) {
        size_t size = 0;
        unsigned char* buf = readWhole(argv[i], &size);
        if (buf == NULL) {
            fprintf(stderr, "lumdc: %s: %s\n", argv[i], strerror(errno));
            ++failures;
            continue;
        }
        printf("%-40s %12zu", argv[i], size);
        for (k = 0; k < kChecksums; ++k) {
            /* Best of three, so that the first pass's page faults do not count. */
            double best = 1e30, s;
            uint32_t v = 0;
            int r;
            for (r = 0; r < 3; ++r) {
                s = 0;
                v = checksum(k, buf, size, &s);
                if (s < best) best = s;
            }
            seconds[k] += best;
            printf("  %08x%s", (unsigned)v, k == 2 ? " " : "");
        }
        printf("\n");
        total += (double)size;
        free(buf);
    }
    printf("%-40s %12.0f", "throughput (GB/s)", total);
    for (k = 0; k < kChecksums; ++k)
        printf("  %8.1f%s", seconds[k] > 0 ? total / seconds[k] / 1e9 : 0.0, k == 2 ? " " : "");
    {
        char desc[512];
        describeMachine(desc, sizeof desc);
        printf("\n%s %s\nmachine: %s\n", lumdcGetLibVersion()->name, lumdcGetLibVersion()->version, desc);
    }
    return failures == 0 ? 0 : 1;
}

static void usage(FILE* out) {
    fprintf(out,
            "usage: lumdc sum FILE...\n"
            "  sum   Adler-32, CRC-32, bzip2 CRC and CRC-32C of each file, and throughput\n");
}

int main(int argc, char** argv) {
    if (argc >= 2 && strcmp(argv[1], "sum") == 0 && argc >= 3) return sum(argc - 2, argv + 2);
    if (argc >= 2 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0)) {
        usage(stdout);
        return 0;
    }
    usage(stderr);
    return 2;
}
