// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// ThreadSanitizer defaults for the service's tests. Debian's Qt and GLib are
// not instrumented: the tool cannot see the locks with which Qt hands events
// and network data between threads, and would report every allocation made
// on one thread and freed by Qt on another. With this option the tool
// ignores memory and file-descriptor accesses made by those libraries'
// own calls, while everything this project compiles stays checked.
// TSAN_OPTIONS from the environment still override it.

#if defined(__SANITIZE_THREAD__)
extern "C" const char* __tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}
#endif
