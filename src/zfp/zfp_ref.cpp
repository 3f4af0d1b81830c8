// ZFP block kernels, portable: the scalar statement of what the vector kernels
// compute. Integers are held unsigned so that the transform wraps at 32 bits.

#include <algorithm>
#include <bit>

#include "zfp/zfp.h"
#include "zfp/zfp_fast_read.h"

namespace lumdc::zfp::ref {
namespace {

inline uint32_t asr1(uint32_t x) { return uint32_t(int32_t(x) >> 1); }

// The forward lifting step on four values s apart.
void forwardLift(uint32_t* p, ptrdiff_t s) {
    uint32_t a = p[0], b = p[s], c = p[2 * s], d = p[3 * s];
    a = asr1(a + d);
    d -= a;
    c = asr1(c + b);
    b -= c;
    a = asr1(a + c);
    c -= a;
    d = asr1(d + b);
    b -= d;
    d += asr1(b);
    b -= asr1(d);
    p[0] = a, p[s] = b, p[2 * s] = c, p[3 * s] = d;
}

void inverseLift(uint32_t* p, ptrdiff_t s) {
    uint32_t a = p[0], b = p[s], c = p[2 * s], d = p[3 * s];
    b += asr1(d);
    d -= asr1(b);
    b += d;
    d = (d << 1) - b;
    c += a;
    a = (a << 1) - c;
    b += c;
    c = (c << 1) - b;
    d += a;
    a = (a << 1) - d;
    p[0] = a, p[s] = b, p[2 * s] = c, p[3 * s] = d;
}

// float to int32 rounding toward zero, INT32_MIN when out of range or NaN (as the
// processor's conversion answers).
inline uint32_t truncate(float v) {
    return v > -2147483648.0f && v < 2147483648.0f ? uint32_t(int32_t(v)) : 0x80000000u;
}

int32_t forward(const uint8_t* src, ptrdiff_t step, ptrdiff_t planeStep, int32_t maxPrec, int32_t minExp,
                uint64_t* planes) {
    uint32_t q[64];
    for (int z = 0; z < 4; ++z)
        for (int y = 0; y < 4; ++y) std::memcpy(q + 16 * z + 4 * y, src + z * planeStep + y * step, 16);
    uint32_t largest = 0;
    for (uint32_t v : q) largest = std::max(largest, v & 0x7FFFFFFFu);
    const int32_t emax = blockExponent(largest);
    if (isEmptyBlock(emax, maxPrec, minExp)) return emax;

    const float scale = std::bit_cast<float>(forwardScaleBits(emax));
    for (uint32_t& v : q) v = truncate(std::bit_cast<float>(v) * scale);
    for (int z = 0; z < 4; ++z)
        for (int y = 0; y < 4; ++y) forwardLift(q + 16 * z + 4 * y, 1);
    for (int z = 0; z < 4; ++z)
        for (int x = 0; x < 4; ++x) forwardLift(q + 16 * z + x, 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) forwardLift(q + 4 * y + x, 16);

    for (int k = 0; k < 32; ++k) planes[k] = 0;
    for (int i = 0; i < 64; ++i) {
        const uint32_t u = (q[kPerm[i]] + kNegabinary) ^ kNegabinary;
        for (int k = 0; k < 32; ++k) planes[k] |= uint64_t((u >> k) & 1) << i;
    }
    return emax;
}

void inverse(const uint64_t* planes, uint32_t biasedExp, uint8_t* dst, ptrdiff_t step, ptrdiff_t planeStep) {
    uint32_t q[64];
    for (int i = 0; i < 64; ++i) {
        uint32_t u = 0;
        for (int k = 0; k < 32; ++k) u |= uint32_t((planes[k] >> i) & 1) << k;
        q[kPerm[i]] = (u ^ kNegabinary) - kNegabinary;
    }
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) inverseLift(q + 4 * y + x, 16);
    for (int z = 0; z < 4; ++z)
        for (int x = 0; x < 4; ++x) inverseLift(q + 16 * z + x, 4);
    for (int z = 0; z < 4; ++z)
        for (int y = 0; y < 4; ++y) inverseLift(q + 16 * z + 4 * y, 1);

    const float scale = std::bit_cast<float>(inverseScaleBits(biasedExp));
    float out[64];
    for (int i = 0; i < 64; ++i) out[i] = float(int32_t(q[i])) * scale;
    for (int z = 0; z < 4; ++z)
        for (int y = 0; y < 4; ++y) std::memcpy(dst + z * planeStep + y * step, out + 16 * z + 4 * y, 16);
}

// Token by token: no bit-gather instruction to lean on.
struct ReadOps {
    static constexpr bool kParallel = false;
};

}  // namespace

const Kernels kKernels = {forward, inverse, readBlockFast<ReadOps>};

}  // namespace lumdc::zfp::ref
