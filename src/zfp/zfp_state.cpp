// ZFP stream state: sizing, Init, parameters, size queries and the encoder's
// flush. The decoder's names are the same functions under other names.

#include "lumdc.h"
#include "zfp/zfp.h"

using namespace lumdc::zfp;

namespace {

// end minus a largest block in whole words, in the record's own 32-bit signed
// arithmetic: whatever Set was given, this is the value the record holds (the
// block coders do not rely on it; they test the room they need themselves).
uint8_t* fastLimitOf(uint8_t* end, int32_t maxBits) {
    const int32_t bytes = int32_t(uint32_t(maxBits) + 7) >> 3;
    const int32_t words = int32_t((uint32_t(bytes) + 7) & ~7u);
    return advance(end, -int64_t(words));
}

LumStatus init(uint8_t* stream, int64_t length, LumZfpState* state) {
    Fields f{};
    f.id = kId;
    f.minBits = 0;
    f.maxBits = kDefaultMaxBits;
    f.maxPrec = kDefaultMaxPrec;
    f.minExp = kNoMinExp;
    f.bitCount = 0;
    f.bitBuffer = 0;
    f.begin = f.cur = stream;
    f.end = advance(stream, length);
    f.fastLimit = fastLimitOf(f.end, f.maxBits);
    storeFields(state, f);
    return lumStatusOk;
}

template <class Size>
LumStatus streamSize(const LumZfpState* state, Size* size, bool inBits) {
    if (state == nullptr || size == nullptr) return lumStatusNullPtr;
    if (!isInitialised(state)) return lumStatusContextMismatch;
    const Fields f = loadFields(state);
    const int64_t bytes = bytesBetween(f.begin, f.cur);
    *size = Size(inBits ? bytes * 8 + f.bitCount : bytes);
    return lumStatusOk;
}

}  // namespace

extern "C" {

LumStatus lumsEncodeZfpGetStateSize_32f(int32_t* pStateSize) {
    if (pStateSize == nullptr) return lumStatusNullPtr;
    *pStateSize = kStateBytes;
    return lumStatusOk;
}

LumStatus lumsEncodeZfpInit_32f(uint8_t* pStream, int32_t streamLen, LumZfpState* pState) {
    if (pStream == nullptr || pState == nullptr) return lumStatusNullPtr;
    if (streamLen < 1) return lumStatusSizeErr;
    return init(pStream, int64_t(uint32_t(streamLen)), pState);
}

LumStatus lumsEncodeZfpInitLong_32f(uint8_t* pStream, int64_t streamLen, LumZfpState* pState) {
    if (pStream == nullptr || pState == nullptr) return lumStatusNullPtr;
    if (streamLen == 0) return lumStatusSizeErr;
    return init(pStream, streamLen, pState);
}

LumStatus lumsEncodeZfpSet_32f(int32_t minBits, int32_t maxBits, int32_t maxPrec, int32_t minExp, LumZfpState* pState) {
    if (pState == nullptr) return lumStatusNullPtr;
    if (!isInitialised(pState)) return lumStatusContextMismatch;
    Fields f = loadFields(pState);
    f.minBits = minBits;
    f.maxBits = maxBits;
    f.maxPrec = maxPrec;
    f.minExp = minExp;
    f.fastLimit = fastLimitOf(f.end, maxBits);
    storeFields(pState, f);
    return lumStatusOk;
}

LumStatus lumsEncodeZfpSetAccuracy_32f(double precision, LumZfpState* pState) {
    if (pState == nullptr) return lumStatusNullPtr;
    if (!isInitialised(pState)) return lumStatusContextMismatch;
    Fields f = loadFields(pState);
    if (precision > 0) {
        uint64_t bits;
        std::memcpy(&bits, &precision, sizeof bits);
        f.minExp = int32_t((bits >> 52) & 0x7FF) - 1023;
    } else {
        f.minExp = kNoMinExp;
    }
    storeFields(pState, f);
    return lumStatusOk;
}

LumStatus lumsEncodeZfpGetCompressedSize_32f(const LumZfpState* pState, int32_t* pSize) {
    return streamSize(pState, pSize, false);
}
LumStatus lumsEncodeZfpGetCompressedSizeLong_32f(const LumZfpState* pState, int64_t* pSize) {
    return streamSize(pState, pSize, false);
}
LumStatus lumsEncodeZfpGetCompressedBitSize_32f(const LumZfpState* pState, int64_t* pBitSize) {
    return streamSize(pState, pBitSize, true);
}

LumStatus lumsEncodeZfpFlush_32f(LumZfpState* pState) {
    if (pState == nullptr) return lumStatusNullPtr;
    if (!isInitialised(pState)) return lumStatusContextMismatch;
    Fields f = loadFields(pState);
    if (f.bitCount <= 0) return lumStatusOk;
    LumStatus status = lumStatusOk;
    if (bytesBetween(f.cur, f.end) >= 8) {
        // The bits above bitCount are zero: the stream ends on a whole word.
        std::memcpy(f.cur, &f.bitBuffer, 8);
        f.cur += 8;
        f.bitBuffer = 0;
        f.bitCount = 0;
    } else {
        // Less than a word of room: whole bytes only, as far as they go.
        for (;;) {
            if (bytesBetween(f.cur, f.end) <= 0) {
                status = lumStatusStreamEnd;
                break;
            }
            *f.cur++ = uint8_t(f.bitBuffer);
            f.bitBuffer >>= 8;
            const int32_t before = f.bitCount;
            f.bitCount -= 8;
            if (before <= 8) {
                f.bitBuffer = 0;
                f.bitCount = 0;
                break;
            }
        }
    }
    storeFields(pState, f);
    return status;
}

// The decoder shares the record and its parameter functions.
LumStatus lumsDecodeZfpGetStateSize_32f(int32_t* pStateSize) { return lumsEncodeZfpGetStateSize_32f(pStateSize); }
LumStatus lumsDecodeZfpInit_32f(const uint8_t* pStream, int32_t streamLen, LumZfpState* pState) {
    return lumsEncodeZfpInit_32f(const_cast<uint8_t*>(pStream), streamLen, pState);
}
LumStatus lumsDecodeZfpInitLong_32f(const uint8_t* pStream, int64_t streamLen, LumZfpState* pState) {
    return lumsEncodeZfpInitLong_32f(const_cast<uint8_t*>(pStream), streamLen, pState);
}
LumStatus lumsDecodeZfpSet_32f(int32_t minBits, int32_t maxBits, int32_t maxPrec, int32_t minExp, LumZfpState* pState) {
    return lumsEncodeZfpSet_32f(minBits, maxBits, maxPrec, minExp, pState);
}
LumStatus lumsDecodeZfpSetAccuracy_32f(double precision, LumZfpState* pState) {
    return lumsEncodeZfpSetAccuracy_32f(precision, pState);
}
LumStatus lumsDecodeZfpGetDecompressedSize_32f(const LumZfpState* pState, int32_t* pSize) {
    return lumsEncodeZfpGetCompressedSize_32f(pState, pSize);
}
LumStatus lumsDecodeZfpGetDecompressedSizeLong_32f(const LumZfpState* pState, int64_t* pSize) {
    return lumsEncodeZfpGetCompressedSizeLong_32f(pState, pSize);
}

}  // extern "C"
