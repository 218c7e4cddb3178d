#pragma once

/// How a function of ours comes before one that MuPDF calls, its own or OpenJPEG's. `type` is the function's type:
///
///     PELGRA_DECLARE_OVERRIDE(fz_some_function, decltype(fz_some_function))
///     int PELGRA_OVERRIDE(fz_some_function)(int value) { return PELGRA_OVERRIDDEN(fz_some_function)(value) + 1; }
///
/// Each such file says for which versions of the library it was made; tools/check-overrides.py compares that with the
/// library at hand, and looks whether it still calls the function.
#ifdef PELGRA_MUPDF_IS_SHARED

#include <dlfcn.h>

// A shared library's calls are bound by name when it is loaded, and the module that needs it is asked before it.
#define PELGRA_DECLARE_OVERRIDE(name, type) extern "C" __attribute__((visibility("default"))) type name;
#define PELGRA_OVERRIDE(name) name
#define PELGRA_OVERRIDDEN(name)                                                                                        \
    ([] {                                                                                                              \
        static const auto next = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name));                           \
        return next;                                                                                                   \
    }())

#else

// The calls of a static library are given other names by the linker (--wrap).
#define PELGRA_DECLARE_OVERRIDE(name, type)                                                                            \
    extern "C" type __real_##name;                                                                                     \
    extern "C" type __wrap_##name;
#define PELGRA_OVERRIDE(name) __wrap_##name
#define PELGRA_OVERRIDDEN(name) __real_##name

#endif
