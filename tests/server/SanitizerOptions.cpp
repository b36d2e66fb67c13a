// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// ThreadSanitizer defaults for the server suites. They start zyr-cloud with
// QProcess, which forks while Qt's network threads run; the child execs at
// once, so the fork is safe, but the tool would stop the test unless told
// so. Debian's Qt is not instrumented, and its own thread hand-overs would
// be reported as races. TSAN_OPTIONS from the environment still override.

#if defined(__SANITIZE_THREAD__)
extern "C" const char* __tsan_default_options()
{
    return "die_after_fork=0 ignore_noninstrumented_modules=1";
}
#endif
