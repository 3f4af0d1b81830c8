// lumsEncodeLZO_8u with both methods, every variant the processor has, from a state
// whose hash table holds what the input's tail puts there: nothing, arbitrary
// words, positions in and just past the source, or what encoding a shifted copy of
// the input left behind. The table is never cleared, so stale entries must only
// ever cost compression. Each encoding runs twice, with a capacity that always
// suffices and with one from the input (often just below the stream's size):
//  - every variant writes the same bytes and leaves the same table;
//  - the roomy call returns 0 and both decoders give back exactly the input
//    (unless the stream happens to read as a container, which the format allows);
//  - the tight call returns 0 when the stream fits, with the same bytes, and 33
//    when it does not, with a prefix of them (the checked writer stops at the
//    first item that does not fit, cutting only the final literal run short; a
//    short run left out also leaves its count out of the match before it) that
//    the checked decoder turns into a prefix of the input;
//  - nothing is written past the capacity (the destination ends at a guard page).

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumcore.h"
#include "lumdc.h"
#include "lzo/lzo_encode.h"
#include "lzo_reference.h"

namespace {

using Bytes = std::vector<uint8_t>;
using State = LumLzoEncodeState;

void fail(const char* what, uint32_t method, const char* variant = "") {
    std::fprintf(stderr, "method %u %s: %s\n", method, variant, what);
    std::abort();
}

struct Outcome {
    LumStatus status;
    Bytes stream;
    std::unique_ptr<State> after;  // the state the call left
};

Outcome encode(const uint8_t* src, size_t n, size_t capacity, const State& before, uint32_t method,
               const char* variant) {
    auto state = std::make_unique<State>(before);
    lumtest::GuardedBuffer dst(capacity);
    uint32_t len = uint32_t(capacity);
    const LumStatus st = lumsEncodeLZO_8u(src, uint32_t(n), dst.data(), &len, state.get());
    if (len > capacity) fail("length above the capacity", method, variant);
    return {st, Bytes(dst.data(), dst.data() + len), std::move(state)};
}

// One encoding by every variant from the same state; they must agree in all.
Outcome allVariants(const uint8_t* src, size_t n, size_t capacity, const State& before, uint32_t method) {
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    Outcome first{};
    bool any = false;
    for (const auto& v : lumdc::lzo::kEncodeVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        Outcome o = encode(src, n, capacity, before, method, v.name);
        if (!any) {
            first = std::move(o);
            any = true;
            continue;
        }
        if (o.status != first.status || o.stream != first.stream)
            fail("variants write different streams", method, v.name);
        if (std::memcmp(o.after.get(), first.after.get(), sizeof(State)) != 0)
            fail("variants leave different tables", method, v.name);
    }
    lumcoreSetFeatureMask(previous);
    return first;
}

// Decodes `stream` into a guarded buffer of exactly `capacity` bytes.
LumStatus decode(bool trusted, const Bytes& stream, size_t capacity, Bytes& out) {
    lumtest::GuardedBuffer in(stream.size()), dst(capacity);
    std::copy(stream.begin(), stream.end(), in.data());
    uint32_t len = uint32_t(capacity);
    const LumStatus st =
        (trusted ? lumsDecodeLZO_8u : lumsDecodeLZOSafe_8u)(in.data(), uint32_t(stream.size()), dst.data(), &len);
    out.assign(dst.data(), dst.data() + std::min<size_t>(len, capacity));
    return st;
}

uint32_t le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

enum TableFill { kZero, kWords, kPositions, kHistory };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const uint32_t fill = in.take(4);
    const uint32_t fillPick = in.take(0xFFFFFFFFu);
    const uint32_t capacityMode = in.take(4);
    const size_t capacityPick = in.take(1 << 24);
    const size_t n = in.size();
    lumtest::GuardedBuffer src(n);
    if (n != 0) std::memcpy(src.data(), in.data(), n);

    auto table = std::make_unique<State>();
    uint32_t* const entries = table->hashTable;
    const size_t slots = std::size(table->hashTable);
    if (fill == kWords && n >= 4) {
        // The input read as words from a chosen offset, round and round.
        for (size_t i = 0, at = fillPick % n; i < slots; ++i, at = (at + 4) % n) {
            uint8_t w[4];
            for (size_t k = 0; k < 4; ++k) w[k] = src.data()[(at + k) % n];
            entries[i] = le32(w);
        }
    } else if (fill == kPositions) {
        // Positions up to a little past the end: mostly in reach, few with equal bytes.
        uint64_t x = fillPick | uint64_t(1) << 32;
        for (size_t i = 0; i < slots; ++i) {
            x ^= x << 13, x ^= x >> 7, x ^= x << 17;
            entries[i] = uint32_t(x % (n + 80));
        }
    } else if (fill == kHistory && n != 0) {
        // What an earlier call left: positions that hold other bytes now, some
        // beyond this source's end. The earlier method may be the other one.
        const size_t shift = fillPick % n;
        lumsEncodeLZOInit_8u(fillPick & 0x80000000u ? lumLzoMethodVector : lumLzoMethodHash, 0, table.get());
        Bytes scratch(lumdc::lzo::worstCase(n));
        uint32_t len = uint32_t(scratch.size());
        lumsEncodeLZO_8u(src.data() + shift, uint32_t(n - shift), scratch.data(), &len, table.get());
    }

    for (const uint32_t method : {uint32_t(lumLzoMethodHash), uint32_t(lumLzoMethodVector)}) {
        State before = *table;
        if (lumsEncodeLZOInit_8u(method, uint32_t(n), &before) != lumStatusOk) fail("init failed", method);

        const Outcome roomy = allVariants(src.data(), n, lumdc::lzo::worstCase(n), before, method);
        if (roomy.status != lumStatusOk) fail("a capacity of the worst case does not suffice", method);
        // A stream whose first 68 literals read as a container header is taken for
        // a container by the decoders: an ambiguity of the format, not of ours.
        if (lumtest::lzoReferenceDecode(roomy.stream.data(), roomy.stream.size(), n).container) continue;
        for (const bool trusted : {false, true}) {
            Bytes out;
            if (decode(trusted, roomy.stream, n, out) != lumStatusOk || out.size() != n ||
                (n != 0 && std::memcmp(out.data(), src.data(), n) != 0))
                fail(trusted ? "the trusted decoder does not give back the input"
                             : "the checked decoder does not give back the input",
                     method);
        }

        const size_t full = roomy.stream.size(), worst = lumdc::lzo::worstCase(n);
        size_t capacity = capacityMode == 0   ? capacityPick % 64
                          : capacityMode == 1 ? full + capacityPick % 33
                          : capacityMode == 2 ? capacityPick % (worst + 8)
                                              : (full != 0 ? capacityPick % full : 0);
        if (capacityMode == 1) capacity = capacity >= 24 ? capacity - 24 : 0;
        const Outcome tight = allVariants(src.data(), n, capacity, before, method);
        if (capacity >= full) {
            if (tight.status != lumStatusOk) fail("the stream fits but the call reports a full output", method);
            if (tight.stream != roomy.stream) fail("tight and roomy calls write different streams", method);
            if (std::memcmp(tight.after.get(), roomy.after.get(), sizeof(State)) != 0)
                fail("tight and roomy calls leave different tables", method);
            continue;
        }
        if (tight.status != lumStatusDstFull) fail("the stream does not fit but the status is not 33", method);
        // A run of 1 to 3 literals is counted in the trailing field of the match
        // before it (the low bits of that match's last-but-one byte). When such a
        // run does not fit, the match ends the output with a count of 0.
        const size_t produced = tight.stream.size();
        Bytes expect(roomy.stream.begin(), roomy.stream.begin() + ptrdiff_t(produced));
        if (produced >= 2 && tight.stream[produced - 2] == (expect[produced - 2] & ~3)) expect[produced - 2] &= ~3;
        if (tight.stream != expect) fail("a full output is not a prefix of the stream", method);
        // Without its marker the prefix decodes as far as it goes and fails.
        Bytes out;
        const LumStatus st = decode(false, tight.stream, n, out);
        if (st != (tight.stream.empty() ? lumStatusOk : lumStatusSrcTruncated) ||
            (!out.empty() && std::memcmp(out.data(), src.data(), out.size()) != 0))
            fail("a full output does not decode to a prefix of the input", method);
    }
    return 0;
}
