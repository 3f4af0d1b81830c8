// Deflate streams (raw, zlib, gzip) made from the library's exports alone: a
// matcher's records, codes from the code builder, the header writer, the Huffman
// writer, and checksums.
//
// Input is cut into segments of kDeflateSegment bytes, each compressed on its own
// with the 32 KiB before it as history and ended on a byte boundary, so that the
// segments of one stream can be compressed on several threads and joined, with
// the same bytes whatever the number of threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lumcodec {

// Writer levels: 0..9 match at the matcher's levels 0..9; kDeflateFastest runs the
// one-pass fastest family.
inline constexpr int kDeflateFastest = -1;
inline constexpr size_t kDeflateSegment = size_t(1) << 20;
inline constexpr size_t kDeflateHistory = 32768;

enum class DeflateFraming { Raw, Zlib, Gzip };

// Appends the raw Deflate blocks of src[0, len) to out, matching back into
// src[-historyLen, 0) (at most 32 KiB are used). The last segment of a stream ends
// with the final block; any other with an empty stored block, so it ends on a byte
// boundary and the next segment's bytes follow directly. Levels as above.
void deflateSegment(const uint8_t* src, size_t len, size_t historyLen, int level, bool last, std::vector<uint8_t>& out);

struct GzipHeader {
    std::string name;    // FNAME, written when not empty
    uint32_t mtime = 0;  // seconds since 1970, 0 for none
};

// The frame around the segments: what goes before the first and after the last.
std::vector<uint8_t> deflateHead(DeflateFraming framing, int level, const GzipHeader& gzip = {});
// checksum: Adler-32 of the input (zlib) or its CRC-32 (gzip); size: input bytes.
std::vector<uint8_t> deflateTail(DeflateFraming framing, uint32_t checksum, uint64_t size);

// A stream written piece by piece, single-threaded: the same bytes as any
// threaded writer that compresses the same segments.
class DeflateWriter {
public:
    DeflateWriter(int level, DeflateFraming framing, GzipHeader gzip = {});
    // Takes src[0, len) and appends whatever compressed bytes are ready to out.
    void write(const uint8_t* src, size_t len, std::vector<uint8_t>& out);
    // Ends the stream: the last segment, then the trailer.
    void finish(std::vector<uint8_t>& out);

private:
    void compressBuffered(bool last, std::vector<uint8_t>& out);

    int level_;
    DeflateFraming framing_;
    GzipHeader gzip_;
    bool started_ = false;
    std::vector<uint8_t> buffer_;  // history, then the segment being filled
    size_t history_ = 0;           // bytes of history at the front of buffer_
    uint32_t adler_ = 1, crc_ = 0;
    uint64_t size_ = 0;
};

// One call: the whole stream of src[0, len).
std::vector<uint8_t> deflateCompress(const uint8_t* src, size_t len, int level, DeflateFraming framing,
                                     const GzipHeader& gzip = {});

}  // namespace lumcodec
