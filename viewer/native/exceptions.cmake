# vesk_exceptions: what Debian's C++ library for WebAssembly lacks to throw and catch.
#
# The sources are LLVM's, as the package emscripten carries them. They are taken out of the package,
# which needn't be installed: its dependencies would be half a gigabyte. VESK_EXCEPTIONS names the
# folder that has usr/share/emscripten; scripts/viewer fills it.
set(VESK_EXCEPTIONS
    "${CMAKE_BINARY_DIR}/emscripten"
    CACHE PATH "Where the package emscripten is unpacked")
set(llvm ${VESK_EXCEPTIONS}/usr/share/emscripten/system/lib)
if(NOT EXISTS ${llvm}/libunwind/src/Unwind-wasm.c)
  message(FATAL_ERROR "${VESK_EXCEPTIONS} has no usr/share/emscripten/system/lib/libunwind; "
                      "scripts/viewer unpacks it")
endif()

# Headers for threads, of which there are none.
set(empty ${CMAKE_CURRENT_BINARY_DIR}/no-threads)
file(WRITE ${empty}/__threading_support "")
file(WRITE ${empty}/threads.h "#define thread_local\n")

add_library(
  vesk_exceptions OBJECT
  ${llvm}/libcxxabi/src/cxa_exception.cpp ${llvm}/libcxxabi/src/cxa_exception_storage.cpp
  ${llvm}/libcxxabi/src/cxa_personality.cpp ${llvm}/libunwind/src/Unwind-wasm.c)
set_target_properties(vesk_exceptions PROPERTIES CXX_STANDARD 14)
target_include_directories(vesk_exceptions SYSTEM PRIVATE ${empty} ${llvm}/libcxxabi/src
                                                          ${llvm}/libcxxabi/include
                                                          ${llvm}/libunwind/include)
# Its config.h knows no WebAssembly, and all that is needed of it are two words.
target_compile_definitions(
  vesk_exceptions
  PRIVATE __USING_WASM_EXCEPTIONS__ _LIBCXXABI_BUILDING_LIBRARY _LIBCXXABI_HAS_NO_THREADS
          _LIBCPP_INLINE_VISIBILITY= LIBUNWIND_CONFIG_H _LIBUNWIND_EXPORT=)
target_compile_options(vesk_exceptions PRIVATE -w "-D_LIBUNWIND_TRACE_API(...)=")
