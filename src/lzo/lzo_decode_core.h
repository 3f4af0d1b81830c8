// The LZO1X stream decoder, written once and instantiated per variant with that
// variant's copies (Ops), checked or trusted.
//
// An item starts with a byte t whose meaning depends on t and on the state: how
// many literals the previous item left (0, 1 to 3 after a match's trailing field,
// or "four or more" right after a literal run):
//   t < 16, state 0           literal run of t + 3 (t = 0: 18 + extension);
//   t < 16, after a run       match of 3 at 2049 + (t >> 2) + 4 * next byte;
//   t < 16, state 1..3        match of 2 at 1 + (t >> 2) + 4 * next byte;
//   t >= 64                   match of (t >> 5) + 1 at 1 + ((t >> 2) & 7) + 8 * next;
//   32 <= t < 64              match of (t & 31) + 2 (0: 33 + extension) at
//                             (D >> 2) + 1, D the next 16 bits little-endian;
//   16 <= t < 32              match of (t & 7) + 2 (0: 9 + extension) at
//                             16384 + ((t & 8) << 11) + (D >> 2); 16384 ends the
//                             stream.
// A match's trailing field (t & 3 or D & 3) counts 0 to 3 literals that follow it
// and becomes the state. An extension adds 255 per zero byte and then the first
// nonzero byte. A first byte above 17 is a literal run of t - 17 bytes.
//
// Fast loop: while an item starts kSrcMargin input and kDstMargin output bytes
// before the ends, short runs and matches move in whole pieces that may run past
// them (core/lz_copy.h) and the trailing literals move as 4 bytes; long ones check
// their own room. An item that does not fit is not decoded there: the careful path
// takes over at its first byte and copies exact counts, so where the hand-over
// happens never shows in the result.
//
// Everything here has internal linkage; each variant includes it once.
#pragma once

#include <cstring>

#include "core/lz_copy.h"
#include "core/mem.h"
#include "lzo_decode.h"

namespace lumdc::lzo {
namespace {

constexpr unsigned kAfterRun = 4;  // the state right after a literal run
constexpr size_t kSrcMargin = 40;  // a short item reads at most 33 bytes from its start
constexpr size_t kDstMargin = 64;  // and writes at most 52 (a 48-byte match move, 4 literals)
// Literal runs this long go to the library's large copy, whose aligned wide
// stores beat the decoder's own pieces once a run spans a few cache lines (long
// runs are how incompressible stretches are stored).
constexpr size_t kLongRun = 4096;

inline size_t load16le(const uint8_t* p) { return size_t(p[0]) | size_t(p[1]) << 8; }

// Extension of a length from `base`, for the careful path; false when the input
// ends inside it.
inline bool extendExact(const uint8_t*& ip, const uint8_t* end, size_t base, size_t& len) {
    size_t zeros = 0;
    while (ip < end && *ip == 0) ++ip, ++zeros;
    if (ip == end) return false;
    len = base + 255 * zeros + *ip++;
    return true;
}

struct Cursor {
    const uint8_t* ip;
    uint8_t* op;
    unsigned state;
};

// Decodes from `c` to the end with every test and exact copies.
template <class Ops>
LumStatus carefulPath(Cursor c, const uint8_t* srcEnd, uint8_t* out, uint8_t* dstEnd, size_t* produced) {
    const uint8_t* ip = c.ip;
    uint8_t* op = c.op;
    unsigned state = c.state;
    const auto stop = [&](LumStatus status) {
        *produced = size_t(op - out);
        return status;
    };
    for (;;) {
        if (ip == srcEnd) return stop(lumStatusSrcTruncated);
        const unsigned t = *ip++;
        size_t len, dist, trailing;
        if (t < 16 && state == 0) {
            len = t + 3;
            if (t == 0 && !extendExact(ip, srcEnd, 18, len)) return stop(lumStatusSrcTruncated);
            if (len > size_t(srcEnd - ip) || len > size_t(dstEnd - op)) return stop(lumStatusSrcTruncated);
            Ops::copyLiteralsExact(op, ip, len);
            ip += len;
            op += len;
            state = kAfterRun;
            continue;
        }
        if (t < 64) {
            if (t < 16) {
                if (ip == srcEnd) return stop(lumStatusSrcTruncated);
                len = state == kAfterRun ? 3 : 2;
                dist = (state == kAfterRun ? 2049 : 1) + (t >> 2) + (size_t(*ip++) << 2);
                trailing = t & 3;
            } else {
                const bool near = t >= 32;
                const unsigned field = near ? t & 31 : t & 7;
                len = field + 2;
                if (field == 0 && !extendExact(ip, srcEnd, near ? 33 : 9, len)) return stop(lumStatusSrcTruncated);
                if (srcEnd - ip < 2) return stop(lumStatusSrcTruncated);
                const size_t d = load16le(ip);
                ip += 2;
                trailing = d & 3;
                dist = near ? (d >> 2) + 1 : 16384 + ((t & 8) << 11) + (d >> 2);
                if (!near && dist == 16384) return stop(lumStatusOk);
            }
        } else {
            if (ip == srcEnd) return stop(lumStatusSrcTruncated);
            len = (t >> 5) + 1;
            dist = 1 + ((t >> 2) & 7) + (size_t(*ip++) << 3);
            trailing = t & 3;
        }
        if (dist > size_t(op - out) || len > size_t(dstEnd - op)) return stop(lumStatusSrcTruncated);
        Ops::copyMatchExact(op, dist, len);
        op += len;
        if (trailing > size_t(srcEnd - ip) || trailing > size_t(dstEnd - op)) return stop(lumStatusSrcTruncated);
        for (size_t i = 0; i < trailing; ++i) op[i] = ip[i];
        ip += trailing;
        op += trailing;
        state = unsigned(trailing);
    }
}

// Ops supplies the exact and over-running copies of core/lz_copy.h and zeroRun(p): how many of the 32
// bytes at p are zero before the first nonzero one (32 when all are).
template <class Ops, bool kChecked>
LumStatus decodeStream(const uint8_t* src, size_t srcLen, uint8_t* out, size_t capacity, size_t* produced) {
    const uint8_t* const srcEnd = src + srcLen;
    uint8_t* const dstEnd = out + capacity;
    Cursor c{src, out, 0};
    if (srcLen == 0) return carefulPath<Ops>(c, srcEnd, out, dstEnd, produced);
    if (*src > 17) {  // a first literal run of t - 17 bytes
        const size_t len = *src - 17u;
        if (len > srcLen - 1 || len > capacity) {
            *produced = 0;
            return lumStatusSrcTruncated;
        }
        Ops::copyLiteralsExact(out, src + 1, len);
        c = {src + 1 + len, out + len, len < 4 ? unsigned(len) : kAfterRun};
    }

    if (srcLen > kSrcMargin && capacity > kDstMargin) {
        const uint8_t* ip = c.ip;
        uint8_t* op = c.op;
        unsigned state = c.state;
        const uint8_t* const ipLimit = srcEnd - kSrcMargin;
        uint8_t* const opLimit = dstEnd - kDstMargin;
        // The extension from `base`, zero bytes counted 32 at a time; false when it
        // runs past ipLimit (the careful path then takes the item).
        const auto extend = [&](size_t base, size_t& len) {
            size_t zeros = 0;
            for (;;) {
                if (ip > ipLimit) return false;
                const size_t z = Ops::zeroRun(ip);
                zeros += z;
                ip += z;
                if (z < 32) break;
            }
            len = base + 255 * zeros + *ip++;
            return ip <= ipLimit;
        };

        for (;;) {
            c = {ip, op, state};  // where the careful path resumes if this item does not fit
            if (ip >= ipLimit || op >= opLimit) break;
            const unsigned t = *ip++;
            size_t len, dist, trailing;
            if (t < 16 && state == 0) {
                if (t != 0) {
                    len = t + 3;
                } else {
                    // A long run checks its own room: its pieces read and write up
                    // to 31 bytes past it.
                    if (!extend(18, len) || len + 32 > size_t(srcEnd - ip) || len + 32 > size_t(dstEnd - op)) break;
                }
                if (len < kLongRun)
                    Ops::copyLiterals(op, ip, len);
                else
                    copyLarge(memKernels(), ip, op, len);
                ip += len;
                op += len;
                state = kAfterRun;
                continue;
            }
            if (t < 64) {
                if (t < 16) {
                    len = state == kAfterRun ? 3 : 2;
                    dist = (state == kAfterRun ? 2049 : 1) + (t >> 2) + (size_t(*ip++) << 2);
                    trailing = t & 3;
                } else {
                    const bool near = t >= 32;
                    const unsigned field = near ? t & 31 : t & 7;
                    len = field + 2;
                    if (field == 0 && !extend(near ? 33 : 9, len)) break;
                    const size_t d = load16le(ip);
                    ip += 2;
                    trailing = d & 3;
                    dist = near ? (d >> 2) + 1 : 16384 + ((t & 8) << 11) + (d >> 2);
                    if (!near && dist == 16384) {
                        *produced = size_t(op - out);
                        return lumStatusOk;
                    }
                }
            } else {
                len = (t >> 5) + 1;
                dist = 1 + ((t >> 2) & 7) + (size_t(*ip++) << 3);
                trailing = t & 3;
            }
            if constexpr (kChecked) {
                if (dist > size_t(op - out)) {
                    *produced = size_t(op - out);
                    return lumStatusSrcTruncated;
                }
            }
            if (len <= 32) {
                Ops::copyShortMatch(op, dist, len);
            } else {
                if (len + 32 > size_t(dstEnd - op)) break;
                Ops::copyMatch(op, dist, len);
            }
            op += len;
            std::memcpy(op, ip, 4);
            ip += trailing;
            op += trailing;
            state = unsigned(trailing);
        }
    }
    return carefulPath<Ops>(c, srcEnd, out, dstEnd, produced);
}

template <class Ops>
constexpr DecodeKernels kernelsOf() {
    return {decodeStream<Ops, true>, decodeStream<Ops, false>};
}

}  // namespace
}  // namespace lumdc::lzo
