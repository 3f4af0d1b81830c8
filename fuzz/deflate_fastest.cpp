// The fastest Deflate family over arbitrary bytes: codes from the counter (some
// length codes left out at times) or built-in statistics, a header, then the
// matcher with the input and the output cut into pieces the input chooses, the
// history in the input's buffer or apart from it behind a guard page, positions
// near 2^31 at times. Every cut and every variant writes the bits of one call,
// zlib inflates them to the input, and every counter variant counts alike.

#include "deflate/deflate_fastest.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumcore.h"
#include "lumdc.h"

namespace {

using Bytes = std::vector<uint8_t>;

void fail(const char* what, const char* variant = "") {
    std::fprintf(stderr, "%s %s\n", variant, what);
    std::abort();
}

struct Codes {
    LumDeflateHuffEntry lit[286];
    LumDeflateHuffEntry dist[30];
};

struct Plan {
    int32_t winSize, hashSize;
    uint32_t startIdx;
    size_t srcStep, dstStep;
    bool apart;
};

const uint8_t kNoData = 0;

Bytes compress(const Bytes& data, const Codes& c, const Plan& p) {
    Bytes out(304);
    uint16_t bitBuf = 0;
    uint32_t bitCount = 0, at = 0;
    if (lumsDeflateLZ77FastestGenHeader_8u(c.lit, c.dist, 1, &bitBuf, &bitCount, out.data(), &at) != lumStatusOk)
        fail("header status");
    out.resize(at);
    std::optional<lumtest::GuardedBuffer> input, history;
    if (p.apart) {
        input.emplace(std::max<size_t>(data.size(), 1));
        history.emplace(size_t(p.winSize));
    }
    std::vector<int32_t> head(size_t(p.hashSize), -32768);
    uint32_t idx = p.startIdx;
    size_t done = 0, avail = 0;
    bool final = false;
    while (!final) {
        avail = std::min(data.size(), avail + p.srcStep);
        final = avail == data.size();
        for (int stuck = 0;;) {
            uint32_t len = uint32_t(avail - done);
            const uint8_t* src = data.empty() ? &kNoData : data.data() + done;
            const uint8_t* window = src;
            if (p.apart) {
                uint8_t* in = input->data() + input->size() - len;
                std::copy(data.begin() + ptrdiff_t(done), data.begin() + ptrdiff_t(avail), in);
                const size_t h = std::min(done, size_t(p.winSize));
                std::copy(data.begin() + ptrdiff_t(done - h), data.begin() + ptrdiff_t(done),
                          history->data() + history->size() - h);
                src = in;
                window = history->data() + history->size();
            }
            // A piece below 16 bytes makes no progress: every third one is widened.
            const size_t give = p.dstStep < 16 && ++stuck % 3 == 0 ? 16 : p.dstStep;
            const size_t base = out.size();
            out.resize(base + give);
            int32_t made = int32_t(give);
            const uint8_t* before = src;
            const LumStatus st =
                lumsDeflateLZ77Fastest_8u(&src, &len, &idx, window, p.winSize, head.data(), p.hashSize, c.lit, c.dist,
                                          out.data() + base, &made, &bitBuf, &bitCount, final ? 2 : 0);
            if (st != lumStatusOk && st != lumStatusDstFull) fail("matcher status");
            if (bitCount >= 8 || made < 0 || size_t(made) > give) fail("bit buffer or produced length");
            out.resize(base + size_t(made));
            done += size_t(src - before);
            if (st == lumStatusOk) break;
        }
    }
    if (done != data.size()) fail("input left over");
    if (bitCount > 0) out.push_back(uint8_t(bitBuf));
    return out;
}

bool inflatesTo(const Bytes& stream, const Bytes& data) {
    Bytes back(data.size() + 1);
    z_stream z{};
    inflateInit2(&z, -15);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = uInt(stream.size());
    z.next_out = back.data();
    z.avail_out = uInt(back.size());
    const int rc = inflate(&z, Z_FINISH);
    inflateEnd(&z);
    return rc == Z_STREAM_END && z.total_out == data.size() && std::equal(data.begin(), data.end(), back.begin());
}

struct Counts {
    LumDeflateHuffEntry lit[286] = {}, dist[30] = {};
    bool operator==(const Counts& o) const {
        for (int s = 0; s < 286; ++s)
            if (lit[s].code != o.lit[s].code) return false;
        for (int s = 0; s < 30; ++s)
            if (dist[s].code != o.dist[s].code) return false;
        return true;
    }
};

Counts count(const Bytes& data) {
    Counts k;
    if (lumsDeflateLZ77FastestGetStat_8u(data.empty() ? &kNoData : data.data(), int32_t(data.size()), k.lit, k.dist) !=
        lumStatusOk)
        fail("counter status");
    return k;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    Plan p;
    p.winSize = int32_t(256u << in.take(8));
    p.hashSize = int32_t(256u << in.take(9));
    p.startIdx = in.take(2) ? 0 : 0x7FFF0000u - in.take(65536);
    p.srcStep = 1 + in.take(in.take(2) ? 64 : 20000);
    p.dstStep = in.take(in.take(2) ? 48 : 20000);
    p.apart = in.take(2) != 0;
    const uint32_t codeKind = in.take(3);
    const size_t keep = p.srcStep < 64 || p.dstStep < 64 ? std::min<size_t>(in.size(), 3000) : in.size();
    const Bytes input(in.data(), in.data() + keep);

    Codes c;
    if (codeKind == 0) {
        LumDeflatePrecompHeader h;
        if (lumsDeflateLZ77FastestPrecompHeader_8u(nullptr, nullptr, &h) != lumStatusOk) fail("precomputed header");
        std::copy(h.litCodes, h.litCodes + 286, c.lit);
        std::copy(h.distCodes, h.distCodes + 30, c.dist);
    } else {
        Counts k = count(input);
        for (int s = 0; s < 256; ++s) k.lit[s].code = std::max<uint16_t>(k.lit[s].code, 1);
        if (codeKind == 2)  // some length codes left out: matches get shortened
            for (int s = 257; s < 286; s += 3) k.lit[s].code = 0;
        if (lumsDeflateLZ77FastestGenHuffTable_8u(k.lit, k.dist, c.lit, c.dist) != lumStatusOk) fail("code building");
    }

    Plan whole = p;
    whole.srcStep = input.size() + 1;
    whole.dstStep = input.size() * 2 + 64;
    whole.apart = false;
    const Bytes stream = compress(input, c, whole);
    if (!inflatesTo(stream, input)) fail("zlib does not inflate the stream to the input");

    const Counts reference = count(input);
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::deflate::kFastestVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        if (compress(input, c, p) != stream) fail("a cut or a variant writes other bits", v.name);
        if (!(count(input) == reference)) fail("a variant counts otherwise", v.name);
    }
    lumcoreSetFeatureMask(previous);
    return 0;
}
