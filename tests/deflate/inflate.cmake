# Inflation tests: the peers' streams, splits, hand-made edges, bad data.
pkg_check_modules(LIBDEFLATE REQUIRED IMPORTED_TARGET libdeflate)
lumdc_test(inflate_test deflate/inflate_test.cpp LIBS ZLIB::ZLIB PkgConfig::LIBDEFLATE PkgConfig::ISAL)
lumdc_test(deflate_reader_test deflate/reader_test.cpp LIBS lumcodec_internal ZLIB::ZLIB)
lumdc_test(deflate_writer_test deflate/writer_test.cpp LIBS lumcodec_internal ZLIB::ZLIB PkgConfig::LIBDEFLATE)
