// ZFP encode and decode of blocks made from the input: 24-bit integers times a
// power of two per block (finite, largest magnitude above 2^-96), in one of the
// four modes with parameters libzfp accepts, into a buffer that is roomy or cut
// short at a chosen byte.
//  - every variant writes the same stream and decodes the same floats;
//  - the stream holds libzfp's bits (zfp_encode_block_float_3), and our floats
//    are libzfp's (zfp_decode_block_float_3) bit for bit;
//  - in fixed-accuracy mode every value comes back within the tolerance;
//  - a short buffer gives -4 at some block with a prefix of the whole stream, and
//    nothing is written past it (it ends at a guard page).

#include <zfp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumcore.h"
#include "lumdc.h"
#include "zfp/zfp.h"

namespace {

void fail(const char* what, const char* variant = "") {
    std::fprintf(stderr, "%s%s%s\n", variant, *variant ? ": " : "", what);
    std::abort();
}

struct Params {
    int32_t minBits, maxBits, maxPrec, minExp;
};

struct Encoded {
    std::vector<uint8_t> stream;
    LumStatus status;
    size_t blocks;  // encoded whole
};

Encoded encode(const std::vector<float>& values, const Params& p, double tolerance, size_t capacity) {
    lumtest::GuardedBuffer out(capacity);
    std::vector<uint8_t> record(lumdc::zfp::kStateBytes);
    auto* st = reinterpret_cast<LumZfpState*>(record.data());
    lumsEncodeZfpInitLong_32f(out.data(), int64_t(capacity), st);
    lumsEncodeZfpSet_32f(p.minBits, p.maxBits, p.maxPrec, p.minExp, st);
    if (tolerance > 0) lumsEncodeZfpSetAccuracy_32f(tolerance, st);
    Encoded e{{}, lumStatusOk, 0};
    for (size_t b = 0; b * 64 < values.size() && e.status == lumStatusOk; ++b) {
        e.status = lumsEncodeZfp444_32f(values.data() + 64 * b, 16, 64, st);
        if (e.status == lumStatusOk) ++e.blocks;
    }
    if (e.status == lumStatusOk) e.status = lumsEncodeZfpFlush_32f(st);
    int64_t size = 0;
    lumsEncodeZfpGetCompressedSizeLong_32f(st, &size);
    if (size < 0 || size_t(size) > capacity) fail("the stream's size lies outside the buffer");
    e.stream.assign(out.data(), out.data() + size);
    return e;
}

std::vector<float> decode(const std::vector<uint8_t>& stream, const Params& p, double tolerance, size_t blocks) {
    lumtest::GuardedBuffer in(stream.size());
    std::memcpy(in.data(), stream.data(), stream.size());
    std::vector<uint8_t> record(lumdc::zfp::kStateBytes);
    auto* st = reinterpret_cast<LumZfpState*>(record.data());
    lumsDecodeZfpInitLong_32f(in.data(), int64_t(stream.size()), st);
    lumsDecodeZfpSet_32f(p.minBits, p.maxBits, p.maxPrec, p.minExp, st);
    if (tolerance > 0) lumsDecodeZfpSetAccuracy_32f(tolerance, st);
    std::vector<float> out(64 * blocks);
    for (size_t b = 0; b < blocks; ++b)
        if (lumsDecodeZfp444_32f(st, out.data() + 64 * b, 16, 64) != lumStatusOk)
            fail("a whole stream fails to decode");
    return out;
}

// libzfp with the same parameters (its "no accuracy limit" is ZFP_MIN_EXP; below
// it, it switches to its lossless mode), its byte-word stream padded to ours.
zfp_stream* libzfp(const Params& p, void* buffer, size_t bytes, bitstream** bs) {
    zfp_stream* zs = zfp_stream_open(nullptr);
    if (!zfp_stream_set_params(zs, unsigned(p.minBits), unsigned(p.maxBits), unsigned(p.maxPrec),
                               std::max(p.minExp, ZFP_MIN_EXP)))
        fail("libzfp refuses the parameters");
    *bs = stream_open(buffer, bytes);
    zfp_stream_set_bit_stream(zs, *bs);
    zfp_stream_rewind(zs);
    return zs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const uint32_t mode = in.take(4);  // rate, precision, accuracy, expert
    const uint32_t pick = in.take(0xFFFFFFFFu);
    const uint32_t capacityPick = in.take(1 << 20);
    const bool shortBuffer = in.take(4) == 0;
    const size_t blocks = std::min<size_t>(in.size() / (64 * 3) + 1, 40);

    // 24-bit signed integers from the input (zero past its end), a scale per block.
    std::vector<float> values(64 * blocks);
    const uint8_t* bytes = in.data();
    size_t at = 0;
    for (size_t b = 0; b < blocks; ++b) {
        const int scale = int((pick >> (b % 24)) % 100) - 60 + int(b % 7);
        for (size_t i = 0; i < 64; ++i, at += 3) {
            int32_t v = 0;
            for (size_t k = 0; k < 3; ++k) v |= int32_t(at + k < in.size() ? bytes[at + k] : 0) << (8 * k);
            values[64 * b + i] = std::ldexp(float((v << 8) >> 8), scale);
        }
    }

    Params p{0, 4171, 64, -10740};
    double tolerance = 0;
    if (mode == 0) {
        p.minBits = p.maxBits = int32_t(9 + pick % 2200);
    } else if (mode == 1) {
        p.maxPrec = int32_t(1 + pick % 64);
    } else if (mode == 2) {
        tolerance = std::ldexp(1.0 + double(pick % 1000) / 1000, int(pick >> 16) % 120 - 60);
    } else {
        p.maxBits = int32_t(9 + pick % 3000);  // below 9 libzfp's unsigned budget wraps
        p.minBits = int32_t((pick >> 12) % uint32_t(p.maxBits + 1));
        p.maxPrec = int32_t(1 + (pick >> 8) % 64);
        p.minExp = int32_t((pick >> 20) % 300) - 200;
    }
    const int32_t minExp = tolerance > 0 ? std::ilogb(tolerance) : p.minExp;
    const Params effective{p.minBits, p.maxBits, p.maxPrec, minExp};
    const size_t roomy = blocks * 700 + 64;

    // Every variant: the same stream and floats.
    Encoded first{};
    std::vector<float> firstBack;
    bool any = false;
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::zfp::kVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        Encoded e = encode(values, p, tolerance, roomy);
        if (e.status != lumStatusOk) fail("a roomy buffer is too small", v.name);
        std::vector<float> back = decode(e.stream, p, tolerance, blocks);
        if (!any) {
            first = std::move(e);
            firstBack = std::move(back);
            any = true;
        } else if (e.stream != first.stream) {
            fail("variants write different streams", v.name);
        } else if (std::memcmp(back.data(), firstBack.data(), back.size() * sizeof(float)) != 0) {
            fail("variants decode different floats", v.name);
        }
    }
    lumcoreSetFeatureMask(previous);

    // libzfp writes the same bits and reads them back to the same floats.
    std::vector<uint8_t> theirs(roomy + 8, 0);
    bitstream* bs;
    zfp_stream* zs = libzfp(effective, theirs.data(), theirs.size(), &bs);
    for (size_t b = 0; b < blocks; ++b) zfp_encode_block_float_3(zs, values.data() + 64 * b);
    zfp_stream_flush(zs);
    const size_t theirSize = zfp_stream_compressed_size(zs);
    stream_close(bs);
    zfp_stream_close(zs);
    if ((theirSize + 7) / 8 * 8 != first.stream.size() ||
        !std::equal(first.stream.begin(), first.stream.end(), theirs.begin()))
        fail("our stream differs from libzfp's");
    zs = libzfp(effective, theirs.data(), theirs.size(), &bs);
    std::vector<float> theirBack(64 * blocks);
    for (size_t b = 0; b < blocks; ++b) zfp_decode_block_float_3(zs, theirBack.data() + 64 * b);
    stream_close(bs);
    zfp_stream_close(zs);
    if (std::memcmp(theirBack.data(), firstBack.data(), theirBack.size() * sizeof(float)) != 0)
        fail("our floats differ from libzfp's");

    // The tolerance binds where the planes it asks for fit in the 32 the block's
    // integers have: with a tolerance far below the block's magnitude, the
    // conversion to integers alone loses more.
    if (tolerance > 0)
        for (size_t b = 0; b < blocks; ++b) {
            float largest = 0;
            for (size_t i = 0; i < 64; ++i) largest = std::max(largest, std::fabs(values[64 * b + i]));
            if (largest == 0 || std::ilogb(largest) + 1 - minExp + 8 > 28) continue;
            for (size_t i = 64 * b; i < 64 * b + 64; ++i)
                if (!(std::fabs(double(firstBack[i]) - double(values[i])) <= tolerance))
                    fail("fixed accuracy exceeds the tolerance");
        }

    if (shortBuffer) {
        const size_t capacity = 1 + capacityPick % first.stream.size();
        const Encoded cut = encode(values, p, tolerance, capacity);
        if (cut.status == lumStatusOk) {
            // Only the flush may have ended on a byte instead of a word.
            if (cut.stream.size() + 8 <= first.stream.size()) fail("a short buffer held the whole stream");
        } else if (cut.status != lumStatusStreamEnd) {
            fail("a short buffer gives a status other than -4");
        }
        if (!std::equal(cut.stream.begin(), cut.stream.end(), first.stream.begin()))
            fail("a short buffer holds other bytes than the whole stream");
    }
    return 0;
}
