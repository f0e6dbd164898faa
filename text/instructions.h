/// Which instructions this build may use besides those that every processor has: VESK_SSE2,
/// VESK_AVX2 and VESK_AVX512 are 1 or 0.
///
/// All that the compiler knows are built, and the best that the processor has is chosen when the
/// library is loaded. To try out a lower set, VESK_ROWS (a number; CMake's option of that name gives
/// it) leaves out those above it: 0 is portable, 1 SSE2, 2 AVX2, 3 AVX-512.
#pragma once

#if !defined(VESK_ROWS)
#define VESK_ROWS 3
#endif

// Every x86-64 has SSE2, unless the compiler is told to keep away from it.
#if defined(__x86_64__) && defined(__SSE2__)
#define VESK_SSE2 (VESK_ROWS >= 1)
#define VESK_AVX2 (VESK_ROWS >= 2)
#define VESK_AVX512 (VESK_ROWS >= 3)
#else
#define VESK_SSE2 0
#define VESK_AVX2 0
#define VESK_AVX512 0
#endif
