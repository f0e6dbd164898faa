# What makes a mistake in a released build stop the program instead of being of use to somebody, and
# costs next to nothing. A build with sanitizers has better means.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

check_pie_supported()
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "VESK_HAS${flag}" has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    add_compile_options(${flag})
  endif()
endforeach()
# For the host. The plug-in goes without: the room that it writes into has no size that the C library
# could see, and the checks that come to nothing made the text of a full report take half as long again.
set(VESK_FORTIFY $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
