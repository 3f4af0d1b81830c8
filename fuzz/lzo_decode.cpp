// The checked LZO1X decoder, every variant the processor has, against the
// by-the-book reference: same status, same stored length, same decoded bytes.
// The input is decoded as it comes or first encoded (random bytes seldom get past
// a few items, an encoding reaches long valid streams with overlapping matches),
// and either way is often wrapped into a container whose header the input's tail
// may make hostile: segment sizes past the end or wrapping around, totals that
// overflow the capacity, a broken tag, a missing marker. A corrupted byte or a
// truncation can then be applied to the whole. Containers also go through the
// trusted decoder, which must treat them exactly as the checked one does. Source
// and destination sit flush against guard pages (which end is chosen by the input).

#include "lzo/lzo_decode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumcore.h"
#include "lumdc.h"
#include "lzo/lzo_encode.h"
#include "lzo_reference.h"

namespace {

using Bytes = std::vector<uint8_t>;
using lumtest::GuardedBuffer;

// Bounds the reference's buffer; outputs claiming more simply overflow it.
constexpr size_t kMaxCapacity = size_t(1) << 21;

void check(const std::string& difference, const char* decoder, const char* variant) {
    if (difference.empty()) return;
    std::fprintf(stderr, "%s decoder, variant %s: %s\n", decoder, variant, difference.c_str());
    std::abort();
}

void putLe32(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i)));
}

void setLe32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + size_t(i)] = uint8_t(v >> (8 * i));
}

// What a segment holds: the bytes as they are, followed by the end marker so that
// a container made of them is recognised; or their encoding, a valid stream.
Bytes segment(const uint8_t* p, size_t n, bool encoded, LumLzoEncodeState& state) {
    if (!encoded) {
        Bytes s(p, p + n);
        s.insert(s.end(), {0x11, 0x00, 0x00});
        return s;
    }
    if (n == 0) return {};
    Bytes s(lumdc::lzo::worstCase(n));
    uint32_t len = uint32_t(s.size());
    lumsEncodeLZO_8u(p, uint32_t(n), s.data(), &len, &state);
    s.resize(len);
    return s;
}

enum Hostility { kTotal = 8, kTotalNear, kSize, kSizeNear, kCount, kTag, kNoMarker, kCorrupt, kTruncate, kCases };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const uint32_t shape = in.take(8);  // bit 0: encoded, bit 1 or 2: container
    const uint32_t segments = 1 + in.take(32);
    const uint32_t hostility = in.take(kCases);  // below kTotal: none
    const uint32_t hostilePick = in.take(0xFFFFFFFFu);
    const uint32_t capacityMode = in.take(4);
    const size_t capacityPick = in.take(1 << 24);
    const uint32_t placement = in.take(2048);  // guard sides, method, prefill byte
    const bool encoded = shape & 1, container = (shape & 6) != 0;
    const uint8_t* body = in.data();
    const size_t n = in.size();

    auto state = std::make_unique<LumLzoEncodeState>();
    lumsEncodeLZOInit_8u(placement & 4 ? lumLzoMethodVector : lumLzoMethodHash, 0, state.get());
    Bytes blob;
    size_t natural;  // the size the blob was made to decode to, when known
    if (!container) {
        blob = encoded ? segment(body, n, true, *state) : Bytes(body, body + n);
        natural = encoded ? n : 4 * n + 64;
    } else {
        // Segments of n / N bytes each, the last one taking the remainder: the split
        // the container prescribes for a total of n.
        const size_t share = n / segments;
        std::vector<Bytes> parts;
        for (uint32_t i = 0; i < segments; ++i) {
            const size_t from = i * share, to = i + 1 == segments ? n : from + share;
            parts.push_back(segment(body + from, to - from, encoded, *state));
        }
        blob = {0x55, uint8_t(segments), uint8_t(segments ^ 0x55)};
        putLe32(blob, uint32_t(n));
        for (uint32_t i = 0; i + 1 < segments; ++i) putLe32(blob, uint32_t(parts[i].size()));
        for (const Bytes& s : parts) blob.insert(blob.end(), s.begin(), s.end());
        natural = n;

        const size_t header = 3 + 4 * size_t(segments);
        // A small step either way (the negative half wraps), and a segment whose
        // size is stored (all but the last).
        const uint32_t small = hostilePick % 64 - 32;
        const size_t sized = hostilePick % std::max(segments - 1, 1u);
        switch (hostility) {
            case kTotal:
                setLe32(blob, 3, hostilePick);
                natural = hostilePick;
                break;
            case kTotalNear:
                setLe32(blob, 3, uint32_t(n) + small);
                break;
            case kSize:
                if (segments > 1) setLe32(blob, 7 + 4 * sized, hostilePick);
                break;
            case kSizeNear:
                if (segments > 1) setLe32(blob, 7 + 4 * sized, uint32_t(parts[sized].size()) + small);
                break;
            case kCount:
                blob[1] = uint8_t(hostilePick);
                if (hostilePick & 0x100) blob[2] = uint8_t(blob[1] ^ 0x55);
                break;
            case kTag:
                blob[2 - (hostilePick & 2)] ^= uint8_t(1 + (hostilePick >> 8) % 255);
                break;
            case kNoMarker:  // the first segment no longer ends with the marker
                blob[header + parts[0].size() - 1 - hostilePick % 3] ^= uint8_t(1 + (hostilePick >> 8) % 255);
                break;
            default:
                break;
        }
    }
    if (!blob.empty() && hostility == kCorrupt)
        blob[hostilePick % blob.size()] ^= uint8_t(1 + (hostilePick >> 24) % 255);
    if (hostility == kTruncate) blob.resize(blob.empty() ? 0 : hostilePick % blob.size());

    size_t capacity = capacityMode == 0   ? capacityPick % 64
                      : capacityMode == 1 ? natural + capacityPick % 33
                      : capacityMode == 2 ? capacityPick % (2 * natural + 300)
                                          : natural;
    if (capacityMode == 1) capacity = capacity >= 16 ? capacity - 16 : 0;
    capacity = std::min(capacity, kMaxCapacity);

    const auto ref = lumtest::lzoReferenceDecode(blob.data(), blob.size(), capacity);
    const auto srcFlush = placement & 1 ? GuardedBuffer::Flush::Start : GuardedBuffer::Flush::End;
    const auto dstFlush = placement & 2 ? GuardedBuffer::Flush::Start : GuardedBuffer::Flush::End;
    GuardedBuffer src(blob.size(), srcFlush);
    std::copy(blob.begin(), blob.end(), src.data());
    // The trusted decoder checks nothing in a single stream: only containers and
    // the inputs decoded before any stream is looked at are fair game for it.
    const bool trustedToo =
        ref.container || blob.empty() || (blob.size() >= 3 && blob[0] == 0x11 && blob[1] == 0 && blob[2] == 0);

    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::lzo::kDecodeVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        for (const bool trusted : {false, true}) {
            if (trusted && !trustedToo) continue;
            GuardedBuffer dst(capacity, dstFlush);
            std::fill(dst.data(), dst.data() + capacity, uint8_t(placement >> 3));
            uint32_t len = uint32_t(capacity);
            const LumStatus st = (trusted ? lumsDecodeLZO_8u : lumsDecodeLZOSafe_8u)(src.data(), uint32_t(blob.size()),
                                                                                     dst.data(), &len);
            check(lumtest::lzoDifference(ref, st, len, uint32_t(capacity), dst.data()), trusted ? "trusted" : "checked",
                  v.name);
        }
    }
    lumcoreSetFeatureMask(previous);
    return 0;
}
