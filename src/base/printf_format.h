// Lets the compiler check the arguments of a printf-style function of ours against its format.
#pragma once

// `text` and `first` are the 1-based places of the format and of the first argument. The C99 rules hold on both
// platforms.
#if defined(__clang__)
#define CVTOSS_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define CVTOSS_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#endif
