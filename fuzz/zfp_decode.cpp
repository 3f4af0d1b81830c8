// The ZFP block decoder on arbitrary stream bytes and arbitrary parameters (the
// record stores them unchecked: budgets below the header, padding beyond the
// budget, negative precisions, huge exponents), with steps of either sign and a
// change of parameters now and then between blocks:
//  - every variant decodes the same floats, with the same statuses, and leaves
//    the record in the same state;
//  - nothing outside the stream is read (it ends at a guard page; with the other
//    placement it starts right after one) and nothing but the 64 slots of each
//    block is written (the rest of the volume keeps its fill, and the volume
//    ends at a guard page);
//  - a failing block is the stream's end: -4, and every later call says so too.

#include <algorithm>
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

void fail(const char* what, const char* variant) {
    std::fprintf(stderr, "variant %s: %s\n", variant, what);
    std::abort();
}

struct Params {
    int32_t minBits, maxBits, maxPrec, minExp;
};

// Mostly sensible values, now and then anything at all.
Params drawParams(lumfuzz::Input& in) {
    const uint32_t shape = in.take(16);
    Params p{};
    p.maxBits = shape < 12 ? int32_t(in.take(4400)) - 20 : int32_t(in.take(0xFFFFFFFFu));
    p.minBits = shape < 6 ? 0 : shape < 9 ? p.maxBits : int32_t(in.take(5000)) - 20;
    p.maxPrec = shape < 13 ? int32_t(in.take(70)) - 3 : int32_t(in.take(0xFFFFFFFFu));
    p.minExp = shape < 4 ? -10740 : shape < 14 ? int32_t(in.take(400)) - 200 : int32_t(in.take(0xFFFFFFFFu));
    return p;
}

struct Outcome {
    const char* variant;
    std::vector<float> volume;
    std::vector<LumStatus> statuses;
    std::vector<uint8_t> record;
};

constexpr float kFill = -12345.0f;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const uint32_t blocks = 1 + in.take(24);
    const Params first = drawParams(in);
    const Params second = drawParams(in);
    const uint32_t switchAt = in.take(32);
    const bool longInit = in.take(2) != 0;
    const bool streamAtStart = in.take(2) != 0;
    // Steps in floats: rows 4 to 7 apart, planes 16 to 47; either sign.
    const int32_t row = int32_t(4 + in.take(4)) * (in.take(2) ? -1 : 1);
    const int32_t plane = int32_t(16 + in.take(32)) * (in.take(2) ? -1 : 1);
    const size_t n = in.size();
    if (n == 0) return 0;

    lumtest::GuardedBuffer stream(
        n, streamAtStart ? lumtest::GuardedBuffer::Flush::Start : lumtest::GuardedBuffer::Flush::End);
    std::memcpy(stream.data(), in.data(), n);

    // The span one block covers, and where its origin lies within it.
    const int32_t lowest = std::min(0, 3 * row) + std::min(0, 3 * plane);
    const int32_t highest = std::max(0, 3 * row) + std::max(0, 3 * plane) + 3;
    const size_t span = size_t(highest - lowest + 1);
    const size_t volumeSize = span * blocks;

    std::vector<Outcome> outcomes;
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::zfp::kVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);

        lumtest::GuardedBuffer volumeMemory(volumeSize * sizeof(float));
        float* volume = reinterpret_cast<float*>(volumeMemory.data());
        std::fill(volume, volume + volumeSize, kFill);
        std::vector<uint8_t> record(lumdc::zfp::kStateBytes + 1);
        auto* st = reinterpret_cast<LumZfpState*>(record.data() + 1);
        const LumStatus init = longInit ? lumsDecodeZfpInitLong_32f(stream.data(), int64_t(n), st)
                                        : lumsDecodeZfpInit_32f(stream.data(), int32_t(n), st);
        if (init != lumStatusOk) fail("Init refused a stream", v.name);
        lumsDecodeZfpSet_32f(first.minBits, first.maxBits, first.maxPrec, first.minExp, st);

        Outcome o;
        o.variant = v.name;
        bool ended = false;
        for (uint32_t b = 0; b < blocks; ++b) {
            if (b == switchAt) lumsDecodeZfpSet_32f(second.minBits, second.maxBits, second.maxPrec, second.minExp, st);
            float* origin = volume + b * span - lowest;
            const LumStatus s = lumsDecodeZfp444_32f(st, origin, row * 4, plane * 4);
            if (s != lumStatusOk && s != lumStatusStreamEnd) fail("a status other than 0 or -4", v.name);
            if (ended && s != lumStatusStreamEnd) fail("a block decoded after the stream ended", v.name);
            ended = ended || s == lumStatusStreamEnd;
            o.statuses.push_back(s);
            int64_t consumed = 0;
            lumsDecodeZfpGetDecompressedSizeLong_32f(st, &consumed);
            if (consumed < 0) fail("the position moved before the stream", v.name);
            // Only the block's slots may have changed.
            std::vector<bool> slot(span, false);
            for (int z = 0; z < 4; ++z)
                for (int y = 0; y < 4; ++y)
                    for (int x = 0; x < 4; ++x) slot[size_t(z * plane + y * row + x - lowest)] = true;
            for (size_t i = 0; i < span; ++i)
                if (!slot[i] && std::memcmp(&volume[b * span + i], &kFill, 4) != 0)
                    fail("a write outside the block", v.name);
        }
        o.volume.assign(volume, volume + volumeSize);
        o.record.assign(record.begin(), record.end());
        outcomes.push_back(std::move(o));
    }
    lumcoreSetFeatureMask(previous);

    for (size_t i = 1; i < outcomes.size(); ++i) {
        const char* name = outcomes[i].variant;
        if (outcomes[i].statuses != outcomes[0].statuses) fail("statuses differ between variants", name);
        if (std::memcmp(outcomes[i].volume.data(), outcomes[0].volume.data(), volumeSize * sizeof(float)) != 0)
            fail("floats differ between variants", name);
        if (outcomes[i].record != outcomes[0].record) fail("records differ between variants", name);
    }
    return 0;
}
