// Deflate streams of arbitrary bytes at a level the input chooses, fed to the
// writer in pieces the input chooses: zlib inflates each to the input, the pieces
// change nothing, and a segment compressed against history inflates with that
// history as zlib's dictionary.

#include "deflate_writer.h"

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fuzz_input.h"

namespace {

using Bytes = std::vector<uint8_t>;

void fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

Bytes inflateWith(const Bytes& in, int windowBits, const uint8_t* dict, size_t dictLen, size_t expected) {
    z_stream z{};
    if (inflateInit2(&z, windowBits) != Z_OK) fail("inflateInit2");
    if (dictLen > 0 && inflateSetDictionary(&z, dict, uInt(dictLen)) != Z_OK) fail("inflateSetDictionary");
    Bytes out(expected + 1);
    z.next_in = const_cast<Bytef*>(in.data());
    z.avail_in = uInt(in.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    if (inflate(&z, Z_FINISH) != Z_STREAM_END) fail("zlib refused our stream");
    if (z.avail_in != 0) fail("bytes after the end of the stream");
    out.resize(z.total_out);
    inflateEnd(&z);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const int level = int(in.take(11)) - 1;  // kDeflateFastest (-1) .. 9
    const auto framing = lumcodec::DeflateFraming(in.take(3));
    const size_t step = 1 + in.take(4096);
    const uint32_t cut = in.take(1u << 30);
    const Bytes src(in.data(), in.data() + in.size());
    const size_t history = cut % (src.size() + 1);

    const Bytes whole = lumcodec::deflateCompress(src.data(), src.size(), level, framing);
    const int windowBits = framing == lumcodec::DeflateFraming::Raw    ? -15
                           : framing == lumcodec::DeflateFraming::Zlib ? 15
                                                                       : 31;
    if (inflateWith(whole, windowBits, nullptr, 0, src.size()) != src) fail("round trip");

    lumcodec::DeflateWriter w(level, framing);
    Bytes pieces;
    for (size_t at = 0; at < src.size(); at += step) w.write(src.data() + at, std::min(step, src.size() - at), pieces);
    w.finish(pieces);
    if (pieces != whole) fail("the pieces changed the stream");

    // The bytes after `history` as a last segment matched against those before.
    Bytes segment;
    lumcodec::deflateSegment(src.data() + history, src.size() - history, history, level, true, segment);
    const size_t dictLen = std::min<size_t>(history, 32768);
    const Bytes rest(src.begin() + ptrdiff_t(history), src.end());
    if (inflateWith(segment, -15, src.data() + history - dictLen, dictLen, rest.size()) != rest)
        fail("segment with history");
    return 0;
}
