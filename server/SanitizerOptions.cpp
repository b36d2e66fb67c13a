// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// ThreadSanitizer settings for the server.
//
// ConnectionSockets scans the process's descriptors while connection
// threads open and close theirs; the tool models each descriptor as a
// memory location and reports the scan as a race. It is benign: only
// connected sockets are acted on, and they are matched by their exact
// addresses (a held request's own socket stays open while it is looked up)
// or, when stopping, no new socket can appear any more.

#if defined(__SANITIZE_THREAD__)
extern "C" const char* __tsan_default_suppressions()
{
    return "race:ConnectionSockets::find\n"
           "race:ConnectionSockets::abortAll\n";
}
#endif
