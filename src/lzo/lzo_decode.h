// LZO1X stream decoding: the kernels each variant provides.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "lumdc.h"

namespace lumdc::lzo {

// Decodes one stream from src[0, srcLen) into out[0, capacity) and stores the
// bytes produced. The checked kernel returns 0 at the end marker and -214 at the
// first violation (input ending inside an item or without the marker, a literal
// run or match that does not fit, a distance reaching before `out`), leaving what
// it wrote. The trusted kernel tests nothing but its copy margins: on a valid
// stream it matches the checked one; on anything else its behaviour is undefined.
using StreamDecoder = LumStatus (*)(const uint8_t* src, size_t srcLen, uint8_t* out, size_t capacity, size_t* produced);

struct DecodeKernels {
    StreamDecoder checked;
    StreamDecoder trusted;
};

namespace ref {
extern const DecodeKernels kDecodeKernels;
}
namespace avx2 {
extern const DecodeKernels kDecodeKernels;
}
namespace avx512 {
extern const DecodeKernels kDecodeKernels;
}

inline constexpr Variant<const DecodeKernels*> kDecodeVariants[] = {
    {"avx512", kIsaAvx512, &avx512::kDecodeKernels},
    {"avx2", kIsaAvx2, &avx2::kDecodeKernels},
    {"ref", kIsaRef, &ref::kDecodeKernels},
};

}  // namespace lumdc::lzo
