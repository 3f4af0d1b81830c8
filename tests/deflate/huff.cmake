# Deflate Huffman output, code building and fastest-family tests.
pkg_check_modules(LIBDEFLATE REQUIRED IMPORTED_TARGET libdeflate)
lumdc_test(deflate_huff_test deflate/huff_test.cpp deflate/huff_codes_test.cpp LIBS ZLIB::ZLIB PkgConfig::LIBDEFLATE)
lumdc_test(deflate_fastest_test deflate/fastest_test.cpp LIBS ZLIB::ZLIB PkgConfig::LIBDEFLATE)
