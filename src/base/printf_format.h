// Makes the compiler check the arguments of a printf-style function against its format.
#pragma once

// `text` and `first` are the positions, from 1, of the format and of the first argument. The rules of C99 apply on both
// platforms.
#if defined(__clang__)
#define CVTOSS_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define CVTOSS_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#endif
