// Landlock refuses a file silently: the kernel tells nobody but the caller, and a library takes the file for absent.
// These functions stand before those of the C library, since a program's own come first by name, and tell of it.
#include "programs/RaiseWalls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>

namespace {

/// The function of that name in whatever comes after this program.
template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// What libraries look for without need; they go on without it, and nobody is told.
bool isQuiet(std::string_view path)
{
    return path == "/proc/filesystems" || path == "/proc/mounts";
}

void tell(bool failed, const char* path)
{
    if (!failed || errno != EACCES || isQuiet(path))
        return;
    Pelgra::tellRefusedCall(SYS_openat);
    errno = EACCES;
}

using Open = int (*)(const char*, int, ...);
using OpenAt = int (*)(int, const char*, int, ...);
using OpenStream = FILE* (*)(const char*, const char*);

int openBy(Open open, const char* path, int flags, va_list rest)
{
    const bool hasMode = (flags & (O_CREAT | O_TMPFILE)) != 0;
    const int file = hasMode ? open(path, flags, va_arg(rest, mode_t)) : open(path, flags);
    tell(file < 0, path);
    return file;
}

int openAtBy(OpenAt open, int folder, const char* path, int flags, va_list rest)
{
    const bool hasMode = (flags & (O_CREAT | O_TMPFILE)) != 0;
    const int file = hasMode ? open(folder, path, flags, va_arg(rest, mode_t)) : open(folder, path, flags);
    tell(file < 0, path);
    return file;
}

FILE* openStreamBy(OpenStream open, const char* path, const char* mode)
{
    FILE* const file = open(path, mode);
    tell(!file, path);
    return file;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...)
{
    static const auto original = next<Open>("open");
    va_list rest;
    va_start(rest, flags);
    const int file = openBy(original, path, flags, rest);
    va_end(rest);
    return file;
}

int open64(const char* path, int flags, ...)
{
    static const auto original = next<Open>("open64");
    va_list rest;
    va_start(rest, flags);
    const int file = openBy(original, path, flags, rest);
    va_end(rest);
    return file;
}

int openat(int folder, const char* path, int flags, ...)
{
    static const auto original = next<OpenAt>("openat");
    va_list rest;
    va_start(rest, flags);
    const int file = openAtBy(original, folder, path, flags, rest);
    va_end(rest);
    return file;
}

int openat64(int folder, const char* path, int flags, ...)
{
    static const auto original = next<OpenAt>("openat64");
    va_list rest;
    va_start(rest, flags);
    const int file = openAtBy(original, folder, path, flags, rest);
    va_end(rest);
    return file;
}

FILE* fopen(const char* path, const char* mode)
{
    static const auto original = next<OpenStream>("fopen");
    return openStreamBy(original, path, mode);
}

FILE* fopen64(const char* path, const char* mode)
{
    static const auto original = next<OpenStream>("fopen64");
    return openStreamBy(original, path, mode);
}
}
