// Every checksum variant the processor has against the portable kernel, on the
// fuzz input, from a fuzz-chosen state; and each export fed in fuzz-chosen pieces
// against one call. Any disagreement aborts.

#include <cstdio>
#include <cstdlib>
#include <span>

#include "checksum/adler32.h"
#include "checksum/crc.h"
#include "fuzz_input.h"
#include "lumdc.h"

namespace {

using Kernel = uint32_t (*)(uint32_t, const uint8_t*, size_t);

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "mismatch: %s\n", what);
        std::abort();
    }
}

void allVariants(const char* family, std::span<const lumdc::Variant<Kernel>> variants, uint32_t init, const uint8_t* p,
                 size_t n) {
    const uint32_t expect = variants.back().fn(init, p, n);
    for (const auto& v : variants)
        if (ownGetFeature(v.features)) check(v.fn(init, p, n) == expect, family);
}

// One export over the whole input and over pieces; the CRC exports reject empty pieces.
template <class Call>
void piecewise(const char* name, lumfuzz::Input& in, const uint8_t* p, size_t n, uint32_t init, Call call) {
    uint32_t whole = init, pieces = init;
    if (n > 0) call(p, n, &whole);
    for (size_t at = 0; at < n;) {
        const size_t len = 1 + in.take(uint32_t(n - at));
        call(p + at, len, &pieces);
        at += len;
    }
    check(whole == pieces, name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const uint32_t init = in.take(0xFFFFFFFFu) ^ in.take(0xFFFFFFFFu);
    const size_t n = in.size() / 2;  // the rest of the tail stays for split points
    const uint8_t* p = in.data();

    allVariants("crc32", lumdc::crc::kCrc32Variants, init, p, n);
    allVariants("bz2", lumdc::crc::kBz2Variants, init, p, n);
    allVariants("crc32c", lumdc::crc::kCrc32cVariants, init, p, n);
    allVariants("adler32", lumdc::adler::kAdler32Variants, init, p, n);

    piecewise("lumsCRC32_8u", in, p, n, init,
              [](const uint8_t* q, size_t len, uint32_t* v) { lumsCRC32_8u(q, int32_t(len), v); });
    piecewise("lumsCRC32_BZ2_8u", in, p, n, init,
              [](const uint8_t* q, size_t len, uint32_t* v) { lumsCRC32_BZ2_8u(q, int32_t(len), v); });
    piecewise("lumsCRC32C_8u", in, p, n, init,
              [](const uint8_t* q, size_t len, uint32_t* v) { lumsCRC32C_8u(q, uint32_t(len), v); });
    piecewise("lumsAdler32_8u", in, p, n, init,
              [](const uint8_t* q, size_t len, uint32_t* v) { lumsAdler32_8u(q, int32_t(len), v); });
    return 0;
}
