#include "lzo_reference.h"

#include <algorithm>
#include <sstream>

namespace lumtest {
namespace {

// One stream into out[base, base + room): returns 0 or -214 and the bytes made.
struct StreamDecoder {
    const uint8_t* in;
    size_t inLen;
    size_t ip = 0;
    std::vector<uint8_t>& out;
    size_t base, room;
    size_t made = 0;

    bool byte(unsigned& v) {
        if (ip >= inLen) return false;
        v = in[ip++];
        return true;
    }
    bool extension(unsigned base0, size_t& len) {
        size_t total = base0;
        unsigned b;
        for (;;) {
            if (!byte(b)) return false;
            if (b != 0) break;
            total += 255;
        }
        len = total + b;
        return true;
    }
    // A literal run or a match must fit whole before any of it is written.
    bool literals(size_t n) {
        if (n > inLen - ip || n > room - made) return false;
        for (size_t i = 0; i < n; ++i) out[base + made++] = in[ip++];
        return true;
    }
    bool copy(size_t distance, size_t n) {
        if (distance == 0 || distance > made || n > room - made) return false;
        for (size_t i = 0; i < n; ++i, ++made) out[base + made] = out[base + made - distance];
        return true;
    }

    LumStatus run() {
        unsigned t;
        int state = 0;  // literals left by the last item: 0..3, or 4 after a literal run
        if (inLen > 0 && in[0] > 17) {
            ++ip;
            const size_t n = in[0] - 17u;
            if (!literals(n)) return lumStatusSrcTruncated;
            state = n < 4 ? int(n) : 4;
        }
        for (;;) {
            if (!byte(t)) return lumStatusSrcTruncated;
            size_t len = 0, distance = 0;
            unsigned trailing = 0, b0, b1;
            if (t < 16 && state == 0) {
                if (t == 0) {
                    if (!extension(15, len)) return lumStatusSrcTruncated;
                    len += 3;
                } else {
                    len = t + 3;
                }
                if (!literals(len)) return lumStatusSrcTruncated;
                state = 4;
                continue;
            }
            if (t < 16) {
                if (!byte(b0)) return lumStatusSrcTruncated;
                len = state == 4 ? 3 : 2;
                distance = (state == 4 ? 2049 : 1) + (t >> 2) + 4 * b0;
                trailing = t & 3;
            } else if (t >= 64) {
                if (!byte(b0)) return lumStatusSrcTruncated;
                len = (t >> 5) + 1;
                distance = 1 + ((t >> 2) & 7) + 8 * b0;
                trailing = t & 3;
            } else if (t >= 32) {
                len = (t & 31) + 2;
                if ((t & 31) == 0 && !extension(33, len)) return lumStatusSrcTruncated;
                if (!byte(b0) || !byte(b1)) return lumStatusSrcTruncated;
                distance = ((b0 | b1 << 8) >> 2) + 1;
                trailing = b0 & 3;
            } else {
                len = (t & 7) + 2;
                if ((t & 7) == 0 && !extension(9, len)) return lumStatusSrcTruncated;
                if (!byte(b0) || !byte(b1)) return lumStatusSrcTruncated;
                distance = 16384 + ((t & 8) << 11) + ((b0 | b1 << 8) >> 2);
                if (distance == 16384) return lumStatusOk;
                trailing = b0 & 3;
            }
            if (!copy(distance, len) || !literals(trailing)) return lumStatusSrcTruncated;
            state = int(trailing);
        }
    }
};

uint32_t le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

}  // namespace

LzoReference lzoReferenceDecode(const uint8_t* src, size_t srcLen, size_t capacity) {
    LzoReference r;
    r.out.assign(capacity, 0);
    if (srcLen == 0 || (srcLen >= 3 && src[0] == 0x11 && src[1] == 0 && src[2] == 0)) return r;

    bool container = srcLen >= 4 && src[0] == 0x55 && src[1] >= 1 && src[1] <= 32 && src[2] == (src[1] ^ 0x55);
    const size_t count = container ? src[1] : 0, header = 3 + 4 * count;
    uint64_t firstSize = 0;
    if (container && srcLen < header) container = false;
    if (container) {
        firstSize = count > 1 ? le32(src + 7) : srcLen - header;
        container = 7 + firstSize <= srcLen && header + firstSize <= srcLen && src[header + firstSize - 3] == 0x11 &&
                    src[header + firstSize - 2] == 0 && src[header + firstSize - 1] == 0;
    }
    if (!container) {
        StreamDecoder d{src, srcLen, 0, r.out, 0, capacity};
        r.status = d.run();
        r.produced = d.made;
        r.decoded.push_back({0, d.made});
        return r;
    }

    r.container = true;
    const uint64_t total = le32(src + 3), share = total / count;
    uint64_t at = header, sum = 0;
    for (size_t i = 0; i < count; ++i) {
        const bool last = i + 1 == count;
        const uint64_t size = last ? (at <= srcLen ? srcLen - at : 0) : le32(src + 7 + 4 * i);
        const uint64_t start = at;
        at += size;
        if (at > srcLen) {
            r.status = lumStatusSrcTruncated;
            continue;
        }
        const uint64_t outStart = i * share, want = last ? share + total % count : share;
        const uint64_t room = outStart < capacity ? std::min<uint64_t>(want, capacity - outStart) : 0;
        StreamDecoder d{src + start, size_t(size), 0, r.out, size_t(room == 0 ? 0 : outStart), size_t(room)};
        const LumStatus st = d.run();
        r.decoded.push_back({size_t(d.base), size_t(d.base + d.made)});
        if (st != lumStatusOk)
            r.status = st;
        else
            sum += d.made;
    }
    if (r.status == lumStatusOk) r.produced = size_t(sum);
    return r;
}

std::string lzoDifference(const LzoReference& ref, LumStatus status, uint32_t storedLen, uint32_t initialLen,
                          const uint8_t* out) {
    std::ostringstream why;
    if (status != ref.status) {
        why << "status " << status << ", expected " << ref.status;
        return why.str();
    }
    const uint32_t expectedLen = ref.container && ref.status != lumStatusOk ? initialLen : uint32_t(ref.produced);
    if (storedLen != expectedLen) {
        why << "length " << storedLen << ", expected " << expectedLen;
        return why.str();
    }
    for (const auto& [begin, end] : ref.decoded)
        for (size_t i = begin; i < end; ++i)
            if (out[i] != ref.out[i]) {
                why << "byte " << i << " is " << int(out[i]) << ", expected " << int(ref.out[i]);
                return why.str();
            }
    return "";
}

}  // namespace lumtest
