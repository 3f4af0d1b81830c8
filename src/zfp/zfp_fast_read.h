// ZFP block reading without tests, for blocks that lie wholly inside the buffer:
// included by each kernel variant, whose Ops may parse a plane's group tests all
// at once.
//
// After the bits of the coefficients already significant, a plane holds tokens
// "1 0^t 1" (the next coefficient t places on is significant), ended by a "0".
// Drop every token's leading 1 and what remains are exactly the plane's bits of
// the coefficients it passed. The token starts are the 1s of even rank and the end
// is the first 0 outside every token, so PDEP of alternating bits into a 64-bit
// look-ahead finds both, and PEXT removes the starts. That
// holds while the tokens stop short of coefficient 63 (whose 1 is implied, not
// written) and inside the budget and the look-ahead; otherwise the plane is read
// token by token.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <bit>

#include "zfp/zfp.h"

namespace lumdc::zfp {
// Each kernel file has its own copy, built for its instruction set.
namespace {

// The stream from the record's position, read by bit position straight from
// memory. Away from the end of the buffer the record's buffered bits are the top
// of the word before cur (whole words are loaded there), so the stream starts
// inside that word; readable() checks it. A look-ahead is one load and a shift.
// The record is brought up to date at the end, exactly as the checked reader (one
// word loaded whenever its buffer runs dry) leaves it.
class FastReader {
public:
    explicit FastReader(Fields& f)
        : f_(f),
          count0_(unsigned(f.bitCount)),
          base_(count0_ == 0 ? f.cur : f.cur - 8),
          pos_(count0_ == 0 ? 0 : 64 - count0_) {}
    ~FastReader() {
        const uint64_t used = pos_ - (count0_ == 0 ? 0 : 64 - count0_);
        if (used <= count0_) {
            f_.bitBuffer = shiftDown(f_.bitBuffer, unsigned(used));
            f_.bitCount = int32_t(count0_ - used);
            return;
        }
        const uint64_t rest = used - count0_, words = (rest + 63) / 64;
        f_.cur += 8 * words;
        f_.bitCount = int32_t(64 * words - rest);
        f_.bitBuffer = shiftDown(read64(f_.cur - 8), unsigned(64 - f_.bitCount));
    }
    FastReader(const FastReader&) = delete;
    FastReader& operator=(const FastReader&) = delete;

    static bool readable(const Fields& f) {
        if (f.bitCount == 0) return true;
        if (f.bitCount < 0 || f.bitCount > 64 || bytesBetween(f.begin, f.cur) < 8) return false;
        return f.bitBuffer == shiftDown(read64(f.cur - 8), unsigned(64 - f.bitCount));
    }

    // The next 57 bits or more (the bits above are the stream's too, or zero).
    uint64_t peek() const { return read64(base_ + pos_ / 8) >> (pos_ % 8); }
    // The next 64 bits.
    uint64_t peek64() const {
        const uint8_t* p = base_ + pos_ / 8;
        const unsigned shift = unsigned(pos_ % 8);
        return shift == 0 ? read64(p) : read64(p) >> shift | read64(p + 8) << (64 - shift);
    }
    void consume(unsigned n) { pos_ += n; }

private:
    Fields& f_;
    const unsigned count0_;
    const uint8_t* const base_;
    uint64_t pos_;
};

#ifdef __BMI2__
// The parallel parse, for the kernels built with BMI2.
struct Bmi2ReadOps {
    static constexpr bool kParallel = true;
    static uint64_t pdep(uint64_t v, uint64_t mask) { return _pdep_u64(v, mask); }
    static uint64_t pext(uint64_t v, uint64_t mask) { return _pext_u64(v, mask); }
};
#endif

// Ops: kParallel, and when set pdep(value, mask) and pext(value, mask).
template <class Ops>
bool readBlockFast(Fields& f, uint64_t* planes, uint32_t& biasedExp, int64_t& used) {
    FastReader in(f);
    biasedExp = uint32_t(in.peek() & 0xFF);
    in.consume(8);
    const int64_t room = int64_t(f.maxBits) - 9;
    int64_t budget = room;
    if (f.maxBits < 10) {
        used = 0;
        return true;
    }
    const int kmin = lowestPlane(precision(int32_t(biasedExp) - 127, f.maxPrec, f.minExp));
    unsigned n = 0;  // coefficients known to be significant
    for (int k = 31; k >= kmin && budget > 0; --k) {
        const unsigned m = unsigned(std::min<int64_t>(n, budget));
        uint64_t x = lowBits(m <= 57 ? in.peek() : in.peek64(), m);
        in.consume(m);
        budget -= m;
        if constexpr (Ops::kParallel) {
            if (n <= 62 && budget > 0) {
                const uint64_t w = in.peek();
                // Most planes above the noise add no coefficient. Taken as a branch,
                // which the processor predicts, the next plane's position does not
                // wait for this plane's bits.
                if ((w & 1) == 0) {
                    planes[k] = x;
                    in.consume(1);
                    --budget;
                    continue;
                }
                // The 1s of even rank start tokens, those of odd rank close them;
                // closes - starts sets every token's span but its closing 1 (and
                // all bits from an unclosed start up).
                const uint64_t starts = Ops::pdep(0x5555555555555555ull, w);
                const uint64_t closes = Ops::pdep(0xAAAAAAAAAAAAAAAAull, w);
                const uint64_t tokens = (closes - starts) | closes;
                const unsigned end = unsigned(std::countr_zero(~w & ~tokens));  // 64 when none
                const uint64_t inside = lowBits(~uint64_t(0), end);
                const unsigned passed = end - unsigned(std::popcount(starts & inside));
                if (end < 57 && n + passed <= 63 && int64_t(end) < budget) {
                    planes[k] = x | Ops::pext(w & inside, ~starts & inside) << n;
                    n += passed;
                    in.consume(end + 1);
                    budget -= end + 1;
                    continue;
                }
            }
        }
        while (n < 64 && budget > 0) {
            const uint64_t look = in.peek64();
            --budget;
            if ((look & 1) == 0) {
                in.consume(1);
                break;
            }
            // The run ends at the next 1, or without one at coefficient 63 or when
            // the budget runs out; its coefficient is significant either way.
            const unsigned limit = unsigned(std::min<int64_t>(63 - n, budget));
            const unsigned t = unsigned(std::countr_zero(look >> 1));
            const unsigned one = t < limit ? 1 : 0;
            const unsigned zeros = one ? t : limit;
            in.consume(1 + zeros + one);
            budget -= zeros + one;
            n += zeros;
            x |= uint64_t(1) << n;
            ++n;
        }
        planes[k] = x;
    }
    used = room - budget;
    return true;
}

}  // namespace
}  // namespace lumdc::zfp
