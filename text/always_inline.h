/// A function that is inlined wherever it is called, optimized build or not.
#pragma once

#define VESK_ALWAYS_INLINE inline __attribute__((always_inline))
