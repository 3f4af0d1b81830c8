// ZFP block coding: the bit stream, the embedded plane coder and the two block
// exports.
//
// The plane coder works on whole runs instead of single bits. In one plane, after
// the bits of the coefficients already significant, each group test that finds a
// 1 is followed by the zeros up to the next significant coefficient and its 1:
// that is "1", t zeros, "1", one write of t + 2 bits with t from a count of
// trailing zeros. The decoder reads it back the same way from a 64-bit look-ahead.
//
// Both directions come in two forms. While the block's largest possible size fits
// before the end of the buffer, the fast writer and reader touch memory without
// a test; otherwise the checked ones test every word (and every byte at the very
// end of a stream being read), as the stream rules require. Their results are
// the same by construction: the fast forms are only used where no test can fail.

#include <algorithm>
#include <bit>

#include "lumdc.h"
#include "zfp/zfp.h"
#include "zfp/zfp_fast_read.h"

namespace lumdc::zfp {
namespace {

// ---- Writing ---------------------------------------------------------------------

// Bits go in at bitCount; a word is stored as soon as the buffer holds 64. A
// checked store that finds no room leaves the full word in the buffer with a
// count of 64 and fails: the bit-size query then counts every bit written.
template <bool kChecked>
class Writer {
public:
    explicit Writer(Fields& f) : f_(f), buf_(f.bitBuffer), count_(unsigned(f.bitCount)), cur_(f.cur) {}
    ~Writer() {
        f_.bitBuffer = buf_;
        f_.bitCount = int32_t(count_);
        f_.cur = cur_;
    }

    // Appends the low n bits of v (no bits above them), n <= 64.
    bool put(uint64_t v, unsigned n) {
        buf_ |= count_ < 64 ? v << count_ : 0;
        const unsigned total = count_ + n;
        if (total < 64) {
            count_ = total;
            return true;
        }
        if (!storeWord(buf_)) return false;
        count_ = total - 64;
        buf_ = count_ == 0 ? 0 : v >> (n - count_);
        return true;
    }

    // Appends n zero bits, storing whole zero words where they span them. Always
    // tested: minBits is not bounded by maxBits, so padding may run past the room
    // that made the fast form safe.
    bool pad(uint64_t n) {
        if (count_ + n < 64) {
            count_ += unsigned(n);
            return true;
        }
        n -= 64 - count_;
        if (!storeWord<true>(buf_)) return false;
        buf_ = 0;
        const uint64_t words = n / 64;
        const int64_t room = bytesBetween(cur_, f_.end);
        const uint64_t fit = room >= 8 ? uint64_t(room) / 8 : 0;
        if (words > fit) {
            std::memset(cur_, 0, fit * 8);
            cur_ += fit * 8;
            count_ = 64;  // the word that found no room
            return false;
        }
        std::memset(cur_, 0, words * 8);
        cur_ += words * 8;
        count_ = unsigned(n % 64);
        return true;
    }

private:
    template <bool kTest = kChecked>
    bool storeWord(uint64_t word) {
        if constexpr (kTest) {
            if (bytesBetween(cur_, f_.end) < 8) {
                buf_ = word;
                count_ = 64;
                return false;
            }
        }
        std::memcpy(cur_, &word, 8);
        cur_ += 8;
        count_ = 0;
        return true;
    }

    Fields& f_;
    uint64_t buf_;
    unsigned count_;
    uint8_t* cur_;
};

// The planes from 31 down to kmin within a budget of `budget` bits; returns
// the budget left.
template <class W>
bool encodePlanes(W& out, const uint64_t* planes, int kmin, int64_t& budget) {
    unsigned n = 0;  // coefficients known to be significant
    for (int k = 31; k >= kmin && budget > 0; --k) {
        uint64_t x = planes[k];
        const unsigned m = unsigned(std::min<int64_t>(n, budget));
        if (!out.put(lowBits(x, m), m)) return false;
        budget -= m;
        x = shiftDown(x, m);
        while (n < 64 && budget > 0) {
            --budget;
            if (x == 0) {
                if (!out.put(0, 1)) return false;
                break;
            }
            // "1", then the zeros up to the next 1 and that 1, as far as the budget
            // and coefficient 63 (whose 1 is implied) allow.
            const unsigned limit = unsigned(std::min<int64_t>(63 - n, budget));
            const unsigned t = unsigned(std::countr_zero(x));
            if (t < limit) {
                if (!out.put(1 | uint64_t(2) << t, t + 2)) return false;
                budget -= t + 1;
                n += t;
                x >>= t;
            } else {
                if (!out.put(1, limit + 1)) return false;
                budget -= limit;
                n += limit;
                x >>= limit;
            }
            x >>= 1;
            ++n;
        }
    }
    return true;
}

template <bool kChecked>
LumStatus encodeBlock(Fields& f, const uint64_t* planes, int32_t emax) {
    Writer<kChecked> out(f);
    if (isEmptyBlock(emax, f.maxPrec, f.minExp)) {
        if (!out.put(0, 1)) return lumStatusStreamEnd;
        if (f.minBits >= 2 && !out.pad(uint64_t(f.minBits) - 1)) return lumStatusStreamEnd;
        return lumStatusOk;
    }
    if (!out.put(2 * uint64_t(emax + 127) + 1, 9)) return lumStatusStreamEnd;
    const int64_t room = int64_t(f.maxBits) - 9;
    int64_t budget = room;
    if (f.maxBits >= 10 && !encodePlanes(out, planes, lowestPlane(precision(emax, f.maxPrec, f.minExp)), budget))
        return lumStatusStreamEnd;
    const int64_t used = room - budget;
    if (used < int64_t(f.minBits) - 9 && !out.pad(uint64_t(int64_t(f.minBits) - 9 - used))) return lumStatusStreamEnd;
    return lumStatusOk;
}

// ---- Reading ---------------------------------------------------------------------

// Bits come from the low end of the buffer; an empty buffer is refilled with the
// next word, or near the end with the next byte, when a bit is needed.
class CheckedReader {
public:
    explicit CheckedReader(Fields& f) : f_(f) {}

    // The next n bits, n <= 64.
    bool read(unsigned n, uint64_t& v) {
        v = 0;
        for (unsigned got = 0; got < n;) {
            if (f_.bitCount == 0 && !refill()) return false;
            const unsigned t = std::min(n - got, unsigned(f_.bitCount));
            v |= lowBits(f_.bitBuffer, t) << got;
            take(t);
            got += t;
        }
        return true;
    }

    // Reads up to `limit` bits, stopping after the first 1; `zeros` counts the
    // zeros read and `one` tells whether the 1 came.
    bool zerosThenOne(unsigned limit, unsigned& zeros, bool& one) {
        zeros = 0;
        one = false;
        while (zeros < limit) {
            if (f_.bitCount == 0 && !refill()) return false;
            const unsigned avail = unsigned(f_.bitCount);
            const uint64_t bits = lowBits(f_.bitBuffer, avail);
            const unsigned t = std::min(
                {unsigned(std::countr_zero(bits | (avail < 64 ? uint64_t(1) << avail : 0))), avail, limit - zeros});
            take(t);
            zeros += t;
            if (zeros < limit && t < avail) {
                take(1);
                one = true;
                return true;
            }
        }
        return true;
    }

private:
    bool refill() {
        const int64_t room = bytesBetween(f_.cur, f_.end);
        if (room >= 8) {
            f_.bitBuffer = read64(f_.cur);
            f_.cur += 8;
            f_.bitCount = 64;
        } else if (room > 0) {
            f_.bitBuffer = *f_.cur++;
            f_.bitCount = 8;
        } else {
            return false;
        }
        return true;
    }
    void take(unsigned n) {
        f_.bitBuffer = shiftDown(f_.bitBuffer, n);
        f_.bitCount -= int32_t(n);
    }

    Fields& f_;
};

// Skips n bits by the stream's rule: whole words are stepped over without being
// read, and the word holding the last skipped bit is loaded (at the very end of
// the buffer, its bytes only, unshifted: there the skipped bits are zero fill
// that nothing reads).
bool skipBits(Fields& f, uint64_t n) {
    if (n <= uint64_t(f.bitCount)) {
        f.bitBuffer = shiftDown(f.bitBuffer, unsigned(n));
        f.bitCount -= int32_t(n);
        return true;
    }
    const uint64_t rest = n - uint64_t(f.bitCount);
    f.cur = advance(f.cur, int64_t((rest >> 3) & ~uint64_t(7)));
    f.bitBuffer = 0;
    const unsigned s = unsigned(rest % 64);
    if (s == 0) {
        f.bitCount = 0;
        return bytesBetween(f.cur, f.end) >= 0;
    }
    if (bytesBetween(f.cur, f.end) >= 8) {
        f.bitBuffer = read64(f.cur) >> s;
        f.cur += 8;
    } else {
        f.bitCount = 0;  // what the loop does not finish stays unread
        for (unsigned covered = 0; covered < s; covered += 8) {
            if (bytesBetween(f.cur, f.end) <= 0) return false;
            f.bitBuffer |= uint64_t(*f.cur++) << covered;
        }
    }
    f.bitCount = int32_t(64 - s);
    return true;
}

bool decodePlanes(CheckedReader& in, uint64_t* planes, int kmin, int64_t& budget) {
    unsigned n = 0;
    for (int k = 31; k >= kmin && budget > 0; --k) {
        const unsigned m = unsigned(std::min<int64_t>(n, budget));
        uint64_t x;
        if (!in.read(m, x)) return false;
        budget -= m;
        while (n < 64 && budget > 0) {
            --budget;
            uint64_t test;
            if (!in.read(1, test)) return false;
            if (test == 0) break;
            // The 1 ending the run is set also when the budget or coefficient 63
            // ends the run first.
            const unsigned limit = unsigned(std::min<int64_t>(63 - n, budget));
            unsigned zeros;
            bool one;
            if (!in.zerosThenOne(limit, zeros, one)) return false;
            budget -= zeros + (one ? 1 : 0);
            n += zeros;
            x |= uint64_t(1) << n;
            ++n;
        }
        planes[k] = x;
    }
    return true;
}

// Reads the block after its first bit (1: not empty) into planes; `used` is the
// number of plane bits read.
bool readBlockChecked(Fields& f, uint64_t* planes, uint32_t& biasedExp, int64_t& used) {
    CheckedReader in(f);
    uint64_t e;
    if (!in.read(8, e)) return false;
    biasedExp = uint32_t(e);
    const int64_t room = int64_t(f.maxBits) - 9;
    int64_t budget = room;
    if (f.maxBits >= 10 &&
        !decodePlanes(in, planes, lowestPlane(precision(int32_t(e) - 127, f.maxPrec, f.minExp)), budget))
        return false;
    used = room - budget;
    return true;
}

}  // namespace
}  // namespace lumdc::zfp

using namespace lumdc::zfp;

extern "C" {

LumStatus lumsEncodeZfp444_32f(const float* pSrc, int32_t srcStep, int32_t srcPlaneStep, LumZfpState* pState) {
    if (pSrc == nullptr || pState == nullptr) return lumStatusNullPtr;
    if (!isInitialised(pState)) return lumStatusContextMismatch;
    Fields f = loadFields(pState);
    const Kernels* kernels = lumdc::pickVariant(kVariants);
    alignas(64) uint64_t planes[32];
    const int32_t emax =
        kernels->forward(reinterpret_cast<const uint8_t*>(pSrc), srcStep, srcPlaneStep, f.maxPrec, f.minExp, planes);
    LumStatus status;
    if (blockFits(f))
        status = encodeBlock<false>(f, planes, emax);
    else
        status = encodeBlock<true>(f, planes, emax);
    storeFields(pState, f);
    return status;
}

LumStatus lumsDecodeZfp444_32f(LumZfpState* pState, float* pDst, int32_t dstStep, int32_t dstPlaneStep) {
    if (pDst == nullptr || pState == nullptr) return lumStatusNullPtr;
    if (!isInitialised(pState)) return lumStatusContextMismatch;
    Fields f = loadFields(pState);
    uint8_t* const dst = reinterpret_cast<uint8_t*>(pDst);
    LumStatus status = lumStatusOk;
    uint64_t nonEmpty;
    if (!CheckedReader(f).read(1, nonEmpty)) {
        status = lumStatusStreamEnd;
    } else if (nonEmpty == 0) {
        for (int z = 0; z < 4; ++z)
            for (int y = 0; y < 4; ++y) std::memset(dst + z * ptrdiff_t(dstPlaneStep) + y * ptrdiff_t(dstStep), 0, 16);
        if (f.minBits > 1 && !skipBits(f, uint64_t(f.minBits) - 1)) status = lumStatusStreamEnd;
    } else {
        alignas(64) uint64_t planes[32] = {};
        uint32_t biasedExp = 0;
        int64_t used = 0;
        const Kernels* kernels = lumdc::pickVariant(kVariants);
        const bool whole = blockFits(f) && FastReader::readable(f) ? kernels->readBlock(f, planes, biasedExp, used)
                                                                   : readBlockChecked(f, planes, biasedExp, used);
        if (!whole) {
            status = lumStatusStreamEnd;
        } else {
            // The values are known once the planes are read; a stream that ends in
            // the block's padding still reports that it ended.
            kernels->inverse(planes, biasedExp, dst, dstStep, dstPlaneStep);
            if (used < int64_t(f.minBits) - 9 && !skipBits(f, uint64_t(int64_t(f.minBits) - 9 - used)))
                status = lumStatusStreamEnd;
        }
    }
    storeFields(pState, f);
    return status;
}

}  // extern "C"
