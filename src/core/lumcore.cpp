// Processor queries for lumDC: CPUID feature bits and the largest data cache.
//
// Both answers are computed once, on the first query, and kept in atomics; a query
// is then two relaxed loads. lumDC asks on every call, so this is what keeps 4 KiB
// checksum calls cheap while the test switch still takes effect on the next call.
// Racing first queries compute the same values, so no lock is needed.

#include "lumcore.h"

#include <cpuid.h>

#include <atomic>
#include <climits>
#include <cstdlib>

namespace {

constexpr uint64_t kReady = 1ull << 63;

std::atomic<uint64_t> gDetected{0};  // kReady | features found
std::atomic<uint64_t> gAllowed{~0ull};
std::atomic<uint64_t> gEffective{0};             // kReady | (detected & allowed)
std::atomic<int64_t> gCacheDetected{INT64_MIN};  // INT64_MIN: not asked yet; -1: unknown
std::atomic<int32_t> gCacheOverride{0};

bool bit(unsigned reg, int n) { return (reg >> n) & 1u; }

uint64_t xgetbv0() {
    unsigned lo, hi;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (uint64_t(hi) << 32) | lo;
}

uint64_t detectFeatures() {
    unsigned a, b, c, d;
    uint64_t f = 0;
    if (!__get_cpuid(0, &a, &b, &c, &d)) return 0;
    const unsigned maxLeaf = a;
    __cpuid(1, a, b, c, d);
    if (bit(d, 26)) f |= LUM_CPU_SSE2;
    if (bit(c, 9)) f |= LUM_CPU_SSSE3;
    if (bit(c, 19)) f |= LUM_CPU_SSE41;
    if (bit(c, 20)) f |= LUM_CPU_SSE42;
    if (bit(c, 23)) f |= LUM_CPU_POPCNT;
    if (bit(c, 22)) f |= LUM_CPU_MOVBE;
    if (bit(c, 1)) f |= LUM_CPU_CLMUL;

    // AVX and AVX-512 count only if the OS saves their state: XMM|YMM (bits 1-2),
    // and opmask|ZMM_Hi256|Hi16_ZMM (bits 5-7).
    const bool osxsave = bit(c, 27);
    const uint64_t xcr0 = osxsave ? xgetbv0() : 0;
    const bool ymmOk = (xcr0 & 0x6) == 0x6;
    const bool zmmOk = ymmOk && (xcr0 & 0xE0) == 0xE0;
    if (ymmOk && bit(c, 28)) f |= LUM_CPU_AVX;

    unsigned a81 = 0, b81 = 0, c81 = 0, d81 = 0;
    if (__get_cpuid(0x80000001u, &a81, &b81, &c81, &d81)) {
        if (bit(c81, 5)) f |= LUM_CPU_LZCNT;
        if (bit(c81, 8)) f |= LUM_CPU_PRFCHW;
    }

    if (maxLeaf >= 7) {
        __cpuid_count(7, 0, a, b, c, d);
        if (bit(b, 3)) f |= LUM_CPU_BMI1;
        if (bit(b, 8)) f |= LUM_CPU_BMI2;
        if (bit(b, 9)) f |= LUM_CPU_ERMS;
        if (bit(d, 4)) f |= LUM_CPU_FSRM;
        if (ymmOk) {
            if (bit(b, 5)) f |= LUM_CPU_AVX2;
            if (bit(c, 10)) f |= LUM_CPU_VPCLMULQDQ;
            if (bit(c, 8)) f |= LUM_CPU_GFNI;
        }
        if (zmmOk) {
            if (bit(b, 16)) f |= LUM_CPU_AVX512F;
            if (bit(b, 17)) f |= LUM_CPU_AVX512DQ;
            if (bit(b, 28)) f |= LUM_CPU_AVX512CD;
            if (bit(b, 30)) f |= LUM_CPU_AVX512BW;
            if (bit(b, 31)) f |= LUM_CPU_AVX512VL;
            if (bit(c, 1)) f |= LUM_CPU_AVX512VBMI;
            if (bit(c, 6)) f |= LUM_CPU_AVX512VBMI2;
            if (bit(c, 11)) f |= LUM_CPU_AVX512VNNI;
            if (bit(c, 12)) f |= LUM_CPU_AVX512BITALG;
            if (bit(c, 14)) f |= LUM_CPU_AVX512VPOPCNTDQ;
        }
    }
    return f;
}

uint64_t initialMask() {
    const char* env = std::getenv("LUMCORE_FEATURES");
    if (env == nullptr || *env == '\0') return ~0ull;
    char* end = nullptr;
    const unsigned long long v = std::strtoull(env, &end, 0);
    return (end != nullptr && *end == '\0') ? v : ~0ull;
}

uint64_t effective() {
    uint64_t e = gEffective.load(std::memory_order_relaxed);
    if (e & kReady) return e;
    uint64_t det = gDetected.load(std::memory_order_relaxed);
    if (!(det & kReady)) {
        // The environment mask is applied once, together with the first detection,
        // and only if no switch call came first.
        uint64_t expected = ~0ull;
        gAllowed.compare_exchange_strong(expected, initialMask(), std::memory_order_relaxed);
        det = kReady | detectFeatures();
        gDetected.store(det, std::memory_order_relaxed);
    }
    e = kReady | (det & gAllowed.load(std::memory_order_relaxed));
    gEffective.store(e, std::memory_order_relaxed);
    return e;
}

// Largest data or unified cache. Leaf 4 (deterministic cache parameters) and
// extended leaf 0x8000001D (cache topology) describe one cache per subleaf in the
// same layout; a processor implements one or the other, and leaves the one it lacks
// reading as no cache. Extended leaf 0x80000006 (L2 and L3 size fields) is the last
// resort for processors that have neither.
int64_t detectCacheSize() {
    unsigned a, b, c, d;
    if (!__get_cpuid(0, &a, &b, &c, &d)) return -1;
    const unsigned maxLeaf = a;
    const unsigned maxExtLeaf = __get_cpuid_max(0x80000000u, nullptr);
    int64_t best = -1;
    auto scan = [&](unsigned leaf) {
        for (unsigned sub = 0; sub < 16; ++sub) {
            __cpuid_count(leaf, sub, a, b, c, d);
            const unsigned type = a & 0x1F;
            if (type == 0) break;
            if (type != 1 && type != 3) continue;  // data or unified
            const int64_t ways = ((b >> 22) & 0x3FF) + 1;
            const int64_t parts = ((b >> 12) & 0x3FF) + 1;
            const int64_t line = (b & 0xFFF) + 1;
            const int64_t sets = int64_t(c) + 1;
            const int64_t size = ways * parts * line * sets;
            if (size > best) best = size;
        }
    };
    if (maxLeaf >= 4) scan(4);
    // Leaf 0x8000001D is defined only with the topology extensions (0x80000001 ECX bit 22).
    if (best < 0 && maxExtLeaf >= 0x8000001Du) {
        __cpuid(0x80000001u, a, b, c, d);
        if (bit(c, 22)) scan(0x8000001Du);
    }
    if (best < 0 && maxExtLeaf >= 0x80000006u) {
        __cpuid(0x80000006u, a, b, c, d);
        const int64_t l2 = int64_t(c >> 16) * 1024;
        const int64_t l3 = int64_t(d >> 18) * 512 * 1024;
        best = l3 > l2 ? l3 : l2;
        if (best == 0) best = -1;
    }
    if (best > INT32_MAX) best = INT32_MAX;
    return best;
}

}  // namespace

extern "C" {

LUMCORE_API int ownGetFeature(uint64_t mask) { return (effective() & mask) == mask; }

LUMCORE_API uint64_t lumcoreGetFeatures(void) { return effective() & ~kReady; }

LUMCORE_API uint64_t lumcoreSetFeatureMask(uint64_t allowed) {
    effective();  // detect first, so the environment mask cannot overwrite this one
    const uint64_t previous = gAllowed.exchange(allowed, std::memory_order_relaxed);
    const uint64_t det = gDetected.load(std::memory_order_relaxed);
    gEffective.store(kReady | (det & allowed), std::memory_order_relaxed);
    return previous;
}

LUMCORE_API int32_t lumGetMaxCacheSizeB(int32_t* pSize) {
    if (pSize == nullptr) return -8;
    const int32_t forced = gCacheOverride.load(std::memory_order_relaxed);
    if (forced < 0) return -1;
    if (forced > 0) {
        *pSize = forced;
        return 0;
    }
    int64_t size = gCacheDetected.load(std::memory_order_relaxed);
    if (size == INT64_MIN) {
        size = detectCacheSize();
        gCacheDetected.store(size, std::memory_order_relaxed);
    }
    if (size <= 0) return -1;
    *pSize = int32_t(size);
    return 0;
}

LUMCORE_API int32_t lumcoreSetMaxCacheSizeB(int32_t bytes) {
    return gCacheOverride.exchange(bytes, std::memory_order_relaxed);
}

}  // extern "C"
