// CRC by carry-less folding, written once for every vector width.
//
// The CRC of a message is linear in its bits, so a 128-bit block may be replaced
// by its product with x^D, reduced to 96 bits, and XORed into the block D bits
// further on without changing the result (foldConst in crc_tables.h). A W-byte
// vector holds W/16 such blocks side by side, and four vectors are in flight at
// once: each step folds every lane 4W bytes forward onto fresh data, two
// carry-less products and one three-way XOR per lane, with no dependency between
// the four chains. At the end the four vectors fold into one, its lanes into one
// 128-bit block, and 16-byte steps take what is left of the 16-byte multiples.
//
// What remains is a 16-byte block plus 0 to 15 bytes of message. We store the
// block back as message bytes and let the byte-level kernel finish from state 0:
// the caller's state was merged into the first four data bytes at the start (the
// state update is c = (c >> 8) ^ T[(c ^ byte) & 0xFF], so a state is the same as
// those four bytes XORed into the data), and leading zero state contributes
// nothing. This needs no Barrett constants and keeps the tail bit-identical to the
// portable kernel by construction.
//
// The bzip2 CRC runs most-significant bit first. Two ways to fold it:
//  - byte-reversed lanes: each 16-byte lane is byte-reversed after loading, so
//    that bit 127 holds the first message bit, and folded with natural-order
//    constants; the block is reversed back before the final store;
//  - mirrored bytes: reversing the bits of every byte turns an MSB-first CRC into
//    the reflected CRC of the same polynomial (its state mirrored too, which for
//    our byte-swapped state is again a per-byte mirror), so the CRC-32 constants
//    apply as they are. With GFNI the mirror is one affine instruction that runs
//    beside the carry-less products, where the byte shuffle would compete with
//    them for the same port.
//
// Everything here has internal linkage: each variant source includes this header
// once and keeps its own copy, compiled with its own instruction-set flags.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "crc.h"
#include "crc32c_hw.h"

namespace lumdc::crc {
namespace {

// How message bytes enter a lane (see above).
enum class Lanes { AsLoaded, ByteReversed, BitsMirrored };

struct Crc32Fold {
    static constexpr Lanes kLanes = Lanes::AsLoaded;
    static constexpr uint32_t kPoly = kPolyCrc32;
    static uint32_t finish(uint32_t c, const uint8_t* p, size_t n) { return sliceBy8(kCrc32Tables, c, p, n); }
};

struct Bz2Fold {
    static constexpr Lanes kLanes = Lanes::ByteReversed;
    static constexpr uint32_t kPoly = kPolyCrc32;
    static uint32_t finish(uint32_t c, const uint8_t* p, size_t n) { return sliceBy8(kBz2Tables, c, p, n); }
};

struct Bz2MirroredFold {
    static constexpr Lanes kLanes = Lanes::BitsMirrored;
    static constexpr uint32_t kPoly = kPolyCrc32;
    static uint32_t finish(uint32_t c, const uint8_t* p, size_t n) { return sliceBy8(kBz2Tables, c, p, n); }
};

struct Crc32cFold {
    static constexpr Lanes kLanes = Lanes::AsLoaded;
    static constexpr uint32_t kPoly = kPolyCrc32c;
    static uint32_t finish(uint32_t c, const uint8_t* p, size_t n) { return crc32cHw(c, p, n); }
};

// Shuffle index that reverses the 16 bytes of a lane.
inline __m128i reverseIndex128() { return _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15); }

inline __m128i reverseBytes128(__m128i v) { return _mm_shuffle_epi8(v, reverseIndex128()); }

inline __m128i fold128(__m128i x, __m128i k, __m128i next) {
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), next);
}

inline __m128i const128(FoldConst k) { return _mm_set_epi64x(int64_t(k.hi), int64_t(k.lo)); }

// Fold multipliers, evaluated at compile time.
template <class Tr, size_t kBytes>
inline constexpr FoldConst kFold = foldConst(Tr::kLanes == Lanes::ByteReversed, Tr::kPoly, kBytes);

// Per-lane multipliers that fold every lane of a vector onto its last lane.
template <class Tr, size_t kLanes>
struct LaneFold {
    FoldConst k[kLanes] = {};  // the last lane stays where it is
    constexpr LaneFold() {
        for (size_t l = 0; l + 1 < kLanes; ++l)
            k[l] = foldConst(Tr::kLanes == Lanes::ByteReversed, Tr::kPoly, 16 * (kLanes - 1 - l));
    }
};

// Below this many bytes the byte-level kernels are faster than setting up a fold.
inline constexpr size_t kMinFoldBytes = 64;

// Message bytes into lane order, and (the same map, being an involution) back.
template <class V, class Tr, class T>
T toLanes(T v) {
    if constexpr (Tr::kLanes == Lanes::ByteReversed)
        return V::reverseLanes(v);
    else if constexpr (Tr::kLanes == Lanes::BitsMirrored)
        return V::mirrorBits(v);
    else
        return v;
}

template <class V, class Tr>
__m128i toLanes128(__m128i v) {
    if constexpr (Tr::kLanes == Lanes::ByteReversed)
        return reverseBytes128(v);
    else if constexpr (Tr::kLanes == Lanes::BitsMirrored)
        return V::mirrorBits128(v);
    else
        return v;
}

// V supplies the vector type of one width: load, withState (XOR the state into
// the low 32 bits of lane 0), reverseLanes (and mirrorBits where a variant folds
// mirrored bytes), broadcast, fold (as fold128 per lane) and reduce (fold all
// lanes into the last one, per-lane constants given).
template <class V, class Tr>
uint32_t foldCrc(uint32_t c, const uint8_t* p, size_t n) {
    using T = typename V::T;
    constexpr size_t W = V::kWidth;
    constexpr size_t kLanes = W / 16;
    if (n < kMinFoldBytes) return Tr::finish(c, p, n);

    const auto load = [](const uint8_t* q) { return toLanes<V, Tr>(V::load(q)); };
    const auto loadFirst = [c](const uint8_t* q) { return toLanes<V, Tr>(V::withState(V::load(q), c)); };

    __m128i x;
    bool wide = false;
    T a;
    if (n >= 4 * W) {
        const T k4 = V::broadcast(kFold<Tr, 4 * W>);
        T a0 = loadFirst(p), a1 = load(p + W), a2 = load(p + 2 * W), a3 = load(p + 3 * W);
        for (p += 4 * W, n -= 4 * W; n >= 4 * W; p += 4 * W, n -= 4 * W) {
            a0 = V::fold(a0, k4, load(p));
            a1 = V::fold(a1, k4, load(p + W));
            a2 = V::fold(a2, k4, load(p + 2 * W));
            a3 = V::fold(a3, k4, load(p + 3 * W));
        }
        a = V::fold(a0, V::broadcast(kFold<Tr, 3 * W>),
                    V::fold(a1, V::broadcast(kFold<Tr, 2 * W>), V::fold(a2, V::broadcast(kFold<Tr, W>), a3)));
        wide = true;
    } else if (W > 16 && n >= 2 * W) {
        a = loadFirst(p);
        p += W;
        n -= W;
        wide = true;
    }
    if (wide) {
        const T k1 = V::broadcast(kFold<Tr, W>);
        for (; n >= W; p += W, n -= W) a = V::fold(a, k1, load(p));
        static constexpr LaneFold<Tr, kLanes> kLaneFold;
        x = V::reduce(a, kLaneFold.k);
    } else {
        x = toLanes128<V, Tr>(
            _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_cvtsi32_si128(int(c))));
        p += 16;
        n -= 16;
    }

    const __m128i k16 = const128(kFold<Tr, 16>);
    for (; n >= 16; p += 16, n -= 16) {
        x = fold128(x, k16, toLanes128<V, Tr>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
    }
    x = toLanes128<V, Tr>(x);
    alignas(16) uint8_t block[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(block), x);
    return Tr::finish(Tr::finish(0, block, 16), p, n);
}

}  // namespace
}  // namespace lumdc::crc
