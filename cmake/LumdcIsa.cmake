# Compiler flags of each instruction-set level. They must name exactly the features
# of the matching masks in src/core/isa.h: a variant is called only where its mask
# is present, so any instruction these flags allow must be covered by it.
set(LUMDC_ISA_SSE42 -msse4.2 -mpopcnt)
set(LUMDC_ISA_CLMUL ${LUMDC_ISA_SSE42} -mpclmul)
set(LUMDC_ISA_AVX2 ${LUMDC_ISA_CLMUL} -mavx2 -mbmi -mbmi2 -mlzcnt)
# 512-bit registers only where a kernel asks for them with intrinsics: code the
# compiler vectorises or inlines (memcpy) stays at 256 bits, so that a kernel
# does not pay for wider instructions (and a possibly lower clock) it never chose.
set(LUMDC_ISA_AVX512 ${LUMDC_ISA_AVX2} -mavx512f -mavx512cd -mavx512bw -mavx512dq -mavx512vl
    -mprefer-vector-width=256)
# GCC 12's own AVX-512 headers trip -W(maybe-)uninitialized: their shuffles and
# shifts pass _mm512_undefined_* as the unused merge source.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND LUMDC_ISA_AVX512 -Wno-maybe-uninitialized -Wno-uninitialized)
endif()

# lumdc_isa_sources(<level> <extra flags...> FILES <files...>)
function(lumdc_isa_sources level)
  cmake_parse_arguments(ARG "" "" "FILES" ${ARGN})
  set(flags ${LUMDC_ISA_${level}} ${ARG_UNPARSED_ARGUMENTS})
  set_source_files_properties(${ARG_FILES} DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
                              PROPERTIES COMPILE_OPTIONS "${flags}")
endfunction()
