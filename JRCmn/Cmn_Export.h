#pragma once

// Macros that every public header needs: export of the library's symbols and the compiler's check of
// printf-style arguments.

#if defined(_WIN32)
#if defined(NORVIK_BUILDING_LIBRARY)
#define NORVIK_API __declspec(dllexport)
#else
#define NORVIK_API __declspec(dllimport)
#endif
#else
// The pure parts also compile natively, for sanitizers and fuzzers.
#define NORVIK_API
#endif

// NORVIK_PRINTF(f, a): parameter f is a printf-style format and the arguments begin at parameter a (counted from 1;
// in a non-static member function `this` is parameter 1). The formatter is the Microsoft run-time's, so %I64u is
// right; clang knows that flavour under its plain name on this target.
#if defined(__clang__)
#define NORVIK_PRINTF(f, a) __attribute__((format(printf, f, a)))
#elif defined(__GNUC__) && defined(_WIN32)
#define NORVIK_PRINTF(f, a) __attribute__((format(ms_printf, f, a)))
#elif defined(__GNUC__)
#define NORVIK_PRINTF(f, a) __attribute__((format(printf, f, a)))
#else
#define NORVIK_PRINTF(f, a)
#endif
