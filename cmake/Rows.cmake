# The best instructions that text may be made by (see text/instructions.h). The plug-in that ships is
# built with all of them, and takes what its processor has. A lower set is for tests and benchmarks; a
# processor that lacks it takes the next one below.
set(VESK_ROWS
    ""
    CACHE STRING "The best set of row kernels: portable, sse2, avx2 or avx512 (empty, auto: avx512)")
set(row_sets portable sse2 avx2 avx512)
set_property(CACHE VESK_ROWS PROPERTY STRINGS auto ${row_sets})
if(VESK_ROWS AND NOT VESK_ROWS STREQUAL auto)
  list(FIND row_sets ${VESK_ROWS} number)
  if(number EQUAL -1)
    message(FATAL_ERROR "VESK_ROWS is ${VESK_ROWS}; choose auto, portable, sse2, avx2 or avx512")
  endif()
  add_compile_definitions(VESK_ROWS=${number})
endif()
