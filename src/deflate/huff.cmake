# Deflate Huffman output, code building and the fastest family: sources appended to LUMDC_SOURCES.
list(APPEND LUMDC_SOURCES
  deflate/deflate_huff.cpp
  deflate/deflate_huff_avx2.cpp
  deflate/deflate_huff_avx512.cpp
  deflate/deflate_codes.cpp
  deflate/deflate_codes_header.cpp
  deflate/deflate_codes_stats.cpp
  deflate/deflate_fastest.cpp
  deflate/deflate_fastest_avx2.cpp
  deflate/deflate_fastest_avx512.cpp
)
lumdc_isa_sources(AVX2 FILES deflate/deflate_huff_avx2.cpp deflate/deflate_fastest_avx2.cpp)
lumdc_isa_sources(AVX512 FILES deflate/deflate_huff_avx512.cpp deflate/deflate_fastest_avx512.cpp)
