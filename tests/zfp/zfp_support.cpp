#include "zfp_support.h"

#include <zfp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "guarded_buffer.h"

namespace zfptest {

Floats makeBlock(std::mt19937_64& rng, Kind kind, bool tiny) {
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(tiny ? -140 : -90, tiny ? -97 : 90);
    const float scale = std::ldexp(1.0f, exponent(rng));
    Floats b(64);
    switch (kind) {
        case Kind::Smooth: {
            const float fx = unit(rng), fy = unit(rng), fz = unit(rng), phase = 3 * unit(rng);
            for (int i = 0; i < 64; ++i)
                b[i] = scale * std::sin(phase + fx * float(i & 3) + fy * float((i >> 2) & 3) + fz * float(i >> 4));
            break;
        }
        case Kind::Noisy:
            for (float& v : b) v = scale * unit(rng);
            break;
        case Kind::WithZeros:
            for (float& v : b) v = rng() % 3 == 0 ? scale * unit(rng) : (rng() & 1 ? 0.0f : -0.0f);
            b[rng() % 64] = scale;
            break;
        case Kind::Zero:
            for (float& v : b) v = rng() & 1 ? 0.0f : -0.0f;
            break;
        case Kind::Subnormal:
            // Subnormals beside one value large enough to keep the block in range.
            for (float& v : b) v = std::ldexp(unit(rng), -127 - int(rng() % 20));
            if (!tiny) b[rng() % 64] = std::ldexp(1.0f + unit(rng) / 2, -96 + int(rng() % 8));
            break;
        case Kind::Huge:
            for (float& v : b) v = std::ldexp(unit(rng), 100 + int(rng() % 28));
            break;
        case Kind::Spike:
            for (float& v : b) v = scale * unit(rng) * 1e-6f;
            b[rng() % 64] = -scale;
            break;
        case Kind::Count:
            break;
    }
    return b;
}

Floats makeBlocks(std::mt19937_64& rng, size_t n) {
    Floats all;
    for (size_t i = 0; i < n; ++i) {
        const Floats b = makeBlock(rng, Kind(rng() % size_t(Kind::Count)));
        all.insert(all.end(), b.begin(), b.end());
    }
    return all;
}

Encoded encodeOurs(const Floats& blocks, const Params& p, size_t capacity) {
    lumtest::GuardedBuffer out(capacity);
    Record r;
    Encoded e{{}, lumStatusOk, 0, 0};
    if (lumsEncodeZfpInitLong_32f(out.data(), int64_t(capacity), r.get()) != lumStatusOk ||
        lumsEncodeZfpSet_32f(p.minBits, p.maxBits, p.maxPrec, p.minExp, r.get()) != lumStatusOk)
        throw std::runtime_error("setting up the encoder failed");
    for (size_t i = 0; i * 64 < blocks.size(); ++i) {
        e.status = lumsEncodeZfp444_32f(blocks.data() + 64 * i, 16, 64, r.get());
        if (e.status != lumStatusOk) break;
        ++e.blocksOk;
        lumsEncodeZfpGetCompressedBitSize_32f(r.get(), &e.bitsBefore);
    }
    if (e.status == lumStatusOk) e.status = lumsEncodeZfpFlush_32f(r.get());
    int64_t size = 0;
    lumsEncodeZfpGetCompressedSizeLong_32f(r.get(), &size);
    e.stream.assign(out.data(), out.data() + size);
    return e;
}

namespace {

struct ZfpStream {
    zfp_stream* zs;
    bitstream* bs;
    ZfpStream(void* data, size_t bytes, const Params& p) : zs(zfp_stream_open(nullptr)), bs(stream_open(data, bytes)) {
        // libzfp reads a minimum exponent below ZFP_MIN_EXP as its reversible mode;
        // every exponent at or below it means "no accuracy limit" to both of us.
        const int minExp = p.minExp < ZFP_MIN_EXP ? ZFP_MIN_EXP : p.minExp;
        if (!zfp_stream_set_params(zs, unsigned(p.minBits), unsigned(p.maxBits), unsigned(p.maxPrec), minExp))
            throw std::runtime_error("libzfp refuses the parameters");
        zfp_stream_set_bit_stream(zs, bs);
        zfp_stream_rewind(zs);
    }
    ~ZfpStream() {
        stream_close(bs);
        zfp_stream_close(zs);
    }
};

}  // namespace

Bytes encodeZfp(const Floats& blocks, const Params& p) {
    Bytes out(blocks.size() / 64 * 600 + 64);
    ZfpStream z(out.data(), out.size(), p);
    for (size_t i = 0; i * 64 < blocks.size(); ++i) zfp_encode_block_float_3(z.zs, blocks.data() + 64 * i);
    zfp_stream_flush(z.zs);
    // Debian's libzfp stores the stream in bytes, not 64-bit words: the bits are
    // the same, but it pads only the last byte. Ours ends on a whole word.
    out.resize((zfp_stream_compressed_size(z.zs) + 7) / 8 * 8);
    std::fill(out.begin() + ptrdiff_t(zfp_stream_compressed_size(z.zs)), out.end(), 0);
    return out;
}

Decoded decodeOurs(const Bytes& stream, const Params& p, size_t n) {
    lumtest::GuardedBuffer in(stream.size());
    if (!stream.empty()) std::memcpy(in.data(), stream.data(), stream.size());
    Record r;
    Decoded d{Floats(64 * n, -1.0f), lumStatusOk, 0};
    if (lumsDecodeZfpInitLong_32f(in.data(), int64_t(stream.size()), r.get()) != lumStatusOk ||
        lumsDecodeZfpSet_32f(p.minBits, p.maxBits, p.maxPrec, p.minExp, r.get()) != lumStatusOk)
        throw std::runtime_error("setting up the decoder failed");
    for (size_t i = 0; i < n; ++i) {
        d.status = lumsDecodeZfp444_32f(r.get(), d.values.data() + 64 * i, 16, 64);
        if (d.status != lumStatusOk) break;
        ++d.blocksOk;
    }
    return d;
}

Floats decodeZfp(const Bytes& stream, const Params& p, size_t n) {
    Bytes copy(stream);
    copy.resize((copy.size() + 7) / 8 * 8 + 8);  // libzfp reads whole words
    ZfpStream z(copy.data(), copy.size(), p);
    Floats out(64 * n);
    for (size_t i = 0; i < n; ++i) zfp_decode_block_float_3(z.zs, out.data() + 64 * i);
    return out;
}

int32_t fieldI32(LumZfpState* s, size_t offset) {
    int32_t v;
    std::memcpy(&v, reinterpret_cast<uint8_t*>(s) + offset, 4);
    return v;
}

int64_t pointerField(LumZfpState* s, size_t offset, const uint8_t* base) {
    uintptr_t v;
    std::memcpy(&v, reinterpret_cast<uint8_t*>(s) + offset, 8);
    return int64_t(v - reinterpret_cast<uintptr_t>(base));
}

}  // namespace zfptest
