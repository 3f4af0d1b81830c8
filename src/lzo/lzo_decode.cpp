// LZO1X decoding: the portable kernel, the segmented container and the two
// exports.

#include <bit>
#include <cstring>

#include "core/crc32c_hash.h"
#include "core/lz_copy.h"
#include "lzo_decode_core.h"

namespace lumdc::lzo {
namespace {

struct RefOps : ExactLzCopies, PortableLzCopies {
    static size_t zeroRun(const uint8_t* p) {
        for (size_t i = 0; i < 32; i += 8) {
            uint64_t w;
            std::memcpy(&w, p + i, 8);
            if (w != 0) return i + size_t(std::countr_zero(w) >> 3);
        }
        return 32;
    }
};

}  // namespace

namespace ref {
const DecodeKernels kDecodeKernels = kernelsOf<RefOps>();
}  // namespace ref

namespace {

// The segmented container: 0x55, N (1 to 32), N ^ 0x55, the total decoded size T,
// the compressed sizes of the first N - 1 segments, then the segments; the last
// one takes the rest of the input. Accepted only when the first segment ends with
// the canonical end marker; anything else starting with 0x55 is a plain stream.
struct Container {
    uint32_t count;
    uint32_t total;
    size_t header;  // offset of the first segment
};

constexpr uint8_t kContainerTag = 0x55;
constexpr size_t kMaxSegments = 32;

bool readContainer(const uint8_t* src, size_t srcLen, Container& c) {
    if (srcLen < 4 || src[0] != kContainerTag) return false;
    const uint32_t n = src[1];
    if (n < 1 || n > kMaxSegments || src[2] != (n ^ kContainerTag)) return false;
    // The header must be there to be read; the first segment must lie inside the
    // input for its marker to be looked at.
    const size_t header = 3 + 4 * size_t(n);
    if (srcLen < header) return false;
    const uint64_t first = n > 1 ? load32le(src + 7) : srcLen - header;
    if (7 + first > srcLen || header + first > srcLen) return false;
    const uint8_t* marker = src + header + first - 3;
    if (marker[0] != 0x11 || marker[1] != 0 || marker[2] != 0) return false;
    c = {n, load32le(src + 3), header};
    return true;
}

// Every segment is decoded, even after one failed; the status is that of the
// last failure. A segment's part of the output is cut at the caller's capacity,
// so a container claiming more than the room there fails in the segments that
// do not fit.
LumStatus decodeContainer(const Container& c, const uint8_t* src, size_t srcLen, uint8_t* dst, uint32_t* pDstLen,
                          StreamDecoder decode) {
    const uint64_t capacity = *pDstLen;
    const uint64_t share = c.total / c.count;
    uint64_t at = c.header, produced = 0;
    LumStatus status = lumStatusOk;
    for (uint32_t i = 0; i < c.count; ++i) {
        const bool last = i + 1 == c.count;
        const uint64_t size = last ? (at <= srcLen ? srcLen - at : 0) : load32le(src + 7 + 4 * size_t(i));
        const uint64_t start = at;
        at += size;
        if (at > srcLen) {
            status = lumStatusSrcTruncated;
            continue;
        }
        const uint64_t outStart = i * share;
        const uint64_t want = last ? share + c.total % c.count : share;
        const uint64_t room = outStart < capacity ? capacity - outStart : 0;
        size_t made = 0;
        const LumStatus st = decode(src + start, size_t(size), room != 0 ? dst + outStart : dst,
                                    size_t(want < room ? want : room), &made);
        if (st != lumStatusOk)
            status = st;
        else
            produced += made;
    }
    if (status == lumStatusOk) *pDstLen = uint32_t(produced);
    return status;
}

LumStatus decodeLzo(const uint8_t* src, uint32_t srcLen, uint8_t* dst, uint32_t* pDstLen, bool trusted) {
    if (src == nullptr || dst == nullptr || pDstLen == nullptr) return lumStatusNullPtr;
    if (srcLen == 0 || (srcLen >= 3 && src[0] == 0x11 && src[1] == 0 && src[2] == 0)) {
        *pDstLen = 0;
        return lumStatusOk;
    }
    const DecodeKernels* kernels = pickVariant(kDecodeVariants);
    Container c;
    if (readContainer(src, srcLen, c)) return decodeContainer(c, src, srcLen, dst, pDstLen, kernels->checked);
    size_t produced = 0;
    const LumStatus status = (trusted ? kernels->trusted : kernels->checked)(src, srcLen, dst, *pDstLen, &produced);
    *pDstLen = uint32_t(produced);
    return trusted ? lumStatusOk : status;
}

}  // namespace
}  // namespace lumdc::lzo

extern "C" LUMDC_API LumStatus lumsDecodeLZOSafe_8u(const uint8_t* pSrc, uint32_t srcLen, uint8_t* pDst,
                                                    uint32_t* pDstLen) {
    return lumdc::lzo::decodeLzo(pSrc, srcLen, pDst, pDstLen, false);
}

extern "C" LUMDC_API LumStatus lumsDecodeLZO_8u(const uint8_t* pSrc, uint32_t srcLen, uint8_t* pDst,
                                                uint32_t* pDstLen) {
    return lumdc::lzo::decodeLzo(pSrc, srcLen, pDst, pDstLen, true);
}
