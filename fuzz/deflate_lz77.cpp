// Deflate LZ77 matching of arbitrary bytes at a level or on a parameter record
// the input chooses, over window and hash sizes, window layouts, positions near
// renumbering and a preset dictionary it chooses, fed in input pieces and output
// rooms it chooses: every kernel variant writes the records, counts, tables and
// positions of the matcher written from the rules (tests/deflate), every call
// keeps its promises about lengths and the hold-back, and the records rebuild
// the input and inflate with zlib.

#include "deflate/deflate_lz77.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fuzz_input.h"
#include "lumcore.h"
#include "lumdc.h"
// The rules' matcher and the stream driver, shared with the tests.
#include "../tests/deflate/lz77_reference.cpp"

namespace {

using lz77test::Bytes;

void fail(const char* call, const std::string& what, const char* variant = "") {
    std::fprintf(stderr, "%s: %s %s\n", call, variant, what.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const uint32_t kind = in.take(3);  // a level, greedy parameters, lazy parameters
    const int level = int(in.take(30));
    DeflateMatchParams prm{int32_t(in.take(kind == 2 ? 40 : 41)), int32_t(4 + in.take(64)), int32_t(4 + in.take(300)),
                           int32_t(4 + in.take(300))};
    if (kind == 2) prm.chain += 1;
    lz77test::Layout layout;
    layout.winSize = int32_t(256u << in.take(8));
    layout.hashSize = int32_t(256u << in.take(9));
    layout.separateWindow = in.take(2) == 1;
    if (in.take(4) == 0) layout.startIdx = 0x7FFFFFFFu - in.take(1u << 20);
    const size_t srcStep = 1 + in.take(in.take(2) ? 300 : 70000);
    const int32_t room = int32_t(1 + in.take(in.take(2) ? 12 : 70000));
    const size_t dictLen = in.take(3) == 0 ? in.take(40000) : 0;

    // The rules' matcher measures every candidate byte by byte: long chains get
    // short inputs.
    const int32_t chain = kind == 0 ? lz77test::levelParams(level).chain : prm.chain;
    const size_t limit = chain <= 8 ? 65536 : chain <= 64 ? 16384 : 4096;
    const size_t n = std::min(in.size(), limit);
    const size_t d = std::min(dictLen, n / 2);
    layout.dictionary.assign(in.data(), in.data() + d);
    layout.rollingDictionary = kind == 0 ? level % 10 == 0 : kind == 1 && prm.chain == 0;
    const Bytes src(in.data() + d, in.data() + n);
    if (d > 0) layout.startIdx = 0;

    std::vector<size_t> pieces(src.size() / srcStep, srcStep);
    pieces.push_back(src.size() % srcStep);
    const std::vector<int32_t> rooms = {room, 1, room * 3 + 7, 2};
    const bool lazy = kind == 0 ? lz77test::levelIsLazy(level) : kind == 2;
    const auto rules = kind == 0 ? lz77test::referenceLevel(level) : lz77test::referenceParams(prm, lazy);
    const auto ours = kind == 0 ? lz77test::libraryLevel(level) : lz77test::libraryParams(prm, lazy);

    char what[200];
    std::snprintf(what, sizeof what,
                  "kind %u level %d {%d, %d, %d, %d} win %d hash %d%s start %u step %zu room %d dict %zu n %zu", kind,
                  level, prm.chain, prm.good, prm.nice, prm.limit, layout.winSize, layout.hashSize,
                  layout.separateWindow ? " separate" : "", layout.startIdx, srcStep, room, d, src.size());
    const lz77test::Outcome want = lz77test::runStream(rules, src, pieces, rooms, layout);
    if (!want.error.empty()) fail(what, "the rules' matcher: " + want.error);
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::deflate::kMatchVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        const std::string diff = lz77test::compareOutcomes(lz77test::runStream(ours, src, pieces, rooms, layout), want);
        if (!diff.empty()) fail(what, diff, v.name);
    }
    lumcoreSetFeatureMask(previous);

    const size_t h = std::min(layout.dictionary.size(), size_t(layout.winSize));
    const Bytes history(layout.dictionary.end() - ptrdiff_t(h), layout.dictionary.end());
    Bytes out;
    const std::string replayed = lz77test::replay(want, history, out);
    if (!replayed.empty() || out != src) fail(what, "the records do not rebuild the input " + replayed);
    if (!lz77test::zlibInflate(lz77test::fixedHuffmanBlock(want.lit, want.dist), history, src.size(), out) ||
        out != src)
        fail(what, "zlib does not inflate the records to the input");
    return 0;
}
