# Deflate LZ77 matching: sources appended to LUMDC_SOURCES.
list(APPEND LUMDC_SOURCES deflate/deflate_lz77.cpp deflate/deflate_lz77_dict.cpp deflate/deflate_lz77_avx2.cpp
     deflate/deflate_lz77_avx512.cpp)
lumdc_isa_sources(AVX2 FILES deflate/deflate_lz77_avx2.cpp)
lumdc_isa_sources(AVX512 FILES deflate/deflate_lz77_avx512.cpp)
