# Deflate LZ77 matching tests.
lumdc_test(deflate_lz77_test deflate/lz77_test.cpp deflate/lz77_api_test.cpp deflate/lz77_reference.cpp
           LIBS ZLIB::ZLIB)
