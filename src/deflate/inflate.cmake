# Inflation: the careful loop and exports with the portable fast loop, and the
# AVX2 fast loop (which also serves AVX-512 machines).
list(APPEND LUMDC_SOURCES deflate/inflate.cpp deflate/inflate_avx2.cpp)
lumdc_isa_sources(AVX2 FILES deflate/inflate_avx2.cpp)
