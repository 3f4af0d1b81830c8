#include "lz4_reference.h"

namespace lumtest {

Lz4Reference lz4ReferenceDecode(const uint8_t* src, size_t srcLen, size_t capacity,
                                const std::vector<uint8_t>& history) {
    Lz4Reference r;
    size_t s = 0;  // source position
    // The window: history, then output; match sources index into it.
    std::vector<uint8_t> window(history);
    std::vector<bool> known(history.size(), true);
    const size_t base = history.size();
    auto produced = [&] { return window.size() - base; };
    auto finish = [&](LumStatus status) {
        r.status = status;
        r.consumed = s;
        r.produced = produced();
        r.out.assign(window.begin() + ptrdiff_t(base), window.end());
        r.defined.assign(known.begin() + ptrdiff_t(base), known.end());
        return r;
    };
    auto readLength = [&](uint64_t& length) {
        while (s < srcLen) {
            const uint8_t b = src[s++];
            length += b;
            if (b != 255) return;
        }
    };

    for (;;) {
        if (srcLen - s < 2) return finish(srcLen == 1 ? lumStatusSrcExhausted : lumStatusOk);
        const uint8_t token = src[s++];
        uint64_t lit = token >> 4;
        if (lit == 15) readLength(lit);
        const size_t srcLeft = srcLen - s, room = capacity - produced();
        // Literals that overflow the destination: as many as fit, then 33.
        if (lit > room) {
            for (size_t i = 0; i < lit && s < srcLen && produced() < capacity; ++i) {
                window.push_back(src[s++]);
                known.push_back(true);
            }
            return finish(lumStatusDstFull);
        }
        // Literals that end 1 to 7 bytes before the end of the source: truncated.
        if (lit != srcLeft && lit + 8 > srcLeft) {
            for (size_t i = 0; i < lit && s < srcLen; ++i) {
                window.push_back(src[s++]);
                known.push_back(true);
            }
            return finish(lumStatusSrcExhausted);
        }
        for (uint64_t i = 0; i < lit; ++i) {
            window.push_back(src[s++]);
            known.push_back(true);
        }
        if (s == srcLen || produced() == capacity) return finish(srcLen == 1 ? lumStatusSrcExhausted : lumStatusOk);

        const size_t offset = size_t(src[s]) | size_t(src[s + 1]) << 8;
        s += 2;
        if (offset > window.size()) {
            r.status = lumStatusDataErr;
            return r;
        }
        uint32_t raw = token & 15;
        if (raw == 15) {
            uint64_t more = 15;
            readLength(more);
            raw = uint32_t(more);  // the decoder sums in 32 bits
        }
        if (int32_t(raw) < -3) {
            r.status = lumStatusSizeErr;
            return r;
        }
        const uint64_t length = uint64_t(int64_t(int32_t(raw)) + 4);
        for (uint64_t i = 0; i < length; ++i) {
            if (produced() == capacity) return finish(lumStatusDstFull);
            if (offset == 0) {  // the destination byte stays as it was
                window.push_back(0);
                known.push_back(false);
            } else {
                const size_t from = window.size() - offset;
                window.push_back(window[from]);
                known.push_back(known[from]);
            }
        }
    }
}

std::string lz4Difference(const Lz4Reference& ref, LumStatus status, size_t consumed, size_t produced,
                          const uint8_t* out, bool checkConsumed) {
    auto says = [](const char* what, long long ours, long long theirs) {
        return std::string(what) + " " + std::to_string(ours) + ", reference " + std::to_string(theirs);
    };
    if (status != ref.status) return says("status", status, ref.status);
    if (status < 0) return {};
    if (produced != ref.produced) return says("produced", (long long)produced, (long long)ref.produced);
    if (checkConsumed && consumed != ref.consumed)
        return says("consumed", (long long)consumed, (long long)ref.consumed);
    for (size_t i = 0; i < produced; ++i)
        if (ref.defined[i] && out[i] != ref.out[i])
            return says(("byte " + std::to_string(i)).c_str(), out[i], ref.out[i]);
    return {};
}

}  // namespace lumtest
