// Deflate LZ77 matching: the kernel table of one variant, from its Ops.
#pragma once

#include "deflate/deflate_lz77_greedy.h"
#include "deflate/deflate_lz77_lazy.h"

namespace lumdc::deflate {
namespace {

template <class Ops>
constexpr MatchKernels matchKernelsOf() {
    return {runKernel<GreedyChained, Ops>, runKernel<GreedyRolling, Ops>, runKernel<Lazy, Ops>, enterChained<Ops>};
}

}  // namespace
}  // namespace lumdc::deflate
