// Reading raw Deflate, zlib and gzip streams with the library's inflater and
// checksums: every member of a gzip file (members concatenated are one file), the
// checks of each trailer, and the byte offset of any fault.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "deflate_writer.h"

namespace lumcodec {

// A stream that cannot be read: what is wrong, and the offset of the input byte at
// which it was found.
struct FormatError : std::runtime_error {
    FormatError(const std::string& what, uint64_t offset)
        : std::runtime_error(what + " at byte " + std::to_string(offset)), offset(offset) {}
    uint64_t offset;
};

// What the gzip header of the first member said.
struct GzipInfo {
    std::string name;
    uint32_t mtime = 0;
};

// Decodes a whole stream held in memory. Raw Deflate ends at its final block (bytes
// after it are an error); zlib checks its header and Adler-32; gzip reads member
// after member to the end of the input, checking each header, CRC-32 and size.
std::vector<uint8_t> deflateDecompress(const uint8_t* src, size_t len, DeflateFraming framing,
                                       GzipInfo* info = nullptr);

// The framing a stream's first bytes show: gzip's magic, a valid zlib header, else
// raw Deflate.
DeflateFraming detectFraming(const uint8_t* src, size_t len);

}  // namespace lumcodec
