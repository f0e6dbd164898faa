# How the page's module is compiled: by Debian's clang 19 for WebAssembly, with Debian's C and C++
# libraries for WASI. To be given to CMake as its toolchain file.
#
# There is nothing else on that system: no shared libraries, threads or signals. VESK_PAGE tells the
# other files so.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(VESK_PAGE ON)

# Exceptions as browsers have had them since 2021 or 2022: no flag of theirs is needed.
set(CMAKE_C_FLAGS_INIT "-fwasm-exceptions")
set(CMAKE_CXX_FLAGS_INIT "-fwasm-exceptions")

foreach(kind PROGRAM LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} NEVER)
endforeach()
