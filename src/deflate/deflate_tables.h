// The RFC 1951 length and distance alphabets, shared by the matchers (which count
// symbols), the Huffman writers and the header writer.
#pragma once

#include <cstdint>

namespace lumdc::deflate {

inline constexpr int kLitSymbols = 286;  // 0..255 literals, 256 end of block, 257..285 lengths
inline constexpr int kDistSymbols = 30;
inline constexpr int kEndOfBlock = 256;
inline constexpr int kMinMatch = 3;
inline constexpr int kMaxMatch = 258;
inline constexpr int kMaxCodeBits = 15;

// Base (length - 3) and extra bits of length codes 0..28 (symbols 257..285).
inline constexpr uint8_t kLengthBase[29] = {0,  1,  2,  3,  4,  5,  6,  7,  8,   10,  12,  14,  16,  20, 24,
                                            28, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 255};
inline constexpr uint8_t kLengthExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                             2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
// Base (distance - 1) and extra bits of distance codes 0..29.
inline constexpr uint16_t kDistBase[30] = {0,    1,    2,    3,    4,    6,    8,    12,    16,    24,
                                           32,   48,   64,   96,   128,  192,  256,  384,   512,   768,
                                           1024, 1536, 2048, 3072, 4096, 6144, 8192, 12288, 16384, 24576};
inline constexpr uint8_t kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                           6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

// One 768-byte table for both alphabets: 256 length codes indexed by length - 3,
// then the distance codes of distance - 1 below 256 and, from index 512, those of
// (distance - 1) >> 7 for the larger ones.
struct CodeTable {
    uint8_t t[768];
    constexpr CodeTable() : t{} {
        for (int c = 0; c < 29; ++c) {
            const int first = kLengthBase[c];
            const int count = c == 28 ? 1 : 1 << kLengthExtra[c];
            for (int l = first; l < first + count && l < 256; ++l) t[l] = uint8_t(c);
        }
        t[255] = 28;  // length 258 has a code of its own, not code 27's last value
        for (int c = 0; c < 30; ++c) {
            const int first = kDistBase[c], count = 1 << kDistExtra[c];
            for (int d = first; d < first + count; ++d) {
                if (d < 256)
                    t[256 + d] = uint8_t(c);
                else
                    t[512 + (d >> 7)] = uint8_t(c);
            }
        }
    }
};
inline constexpr CodeTable kCodes{};

// Length code (0..28) of a record's length value (length - 3).
inline constexpr uint32_t lengthCode(uint32_t lengthMinus3) { return kCodes.t[lengthMinus3]; }
// Distance code (0..29) of distance - 1 (0..32767).
inline constexpr uint32_t distCode(uint32_t distMinus1) {
    return distMinus1 < 256 ? kCodes.t[256 + distMinus1] : kCodes.t[512 + (distMinus1 >> 7)];
}

static_assert(lengthCode(0) == 0 && lengthCode(8) == 8 && lengthCode(254) == 27 && lengthCode(255) == 28);
static_assert(distCode(0) == 0 && distCode(4) == 4 && distCode(255) == 15 && distCode(256) == 16 &&
              distCode(32767) == 29 && distCode(24576) == 29 && distCode(24575) == 28);

}  // namespace lumdc::deflate
