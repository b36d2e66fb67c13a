// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The open worker on Windows: the shell's "open" verb, then the started
// process, or, when the shell handed the file to a running program, the
// file itself is watched.
#include <ZYRController/BFileOpenWorker.h>

#include <QDir>

// Qt's wrapper of windows.h (without the min and max macros) comes first.
#include <qt_windows.h>

#include <objbase.h>
#include <shellapi.h>
#include <stdio.h>
#include <string>

namespace Trelan::Oku::ZYRController {

bool BFileOpenWorker::openAndWait() const
{
    // The shell may use COM to find the program; this thread is ours.
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    const std::wstring file = QDir::toNativeSeparators(m_localPath).toStdWString();

    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC;
    info.lpVerb = L"open";
    info.lpFile = file.c_str();
    info.nShow = SW_SHOWNORMAL;
    const bool started = ShellExecuteExW(&info) != FALSE;

    if (started && info.hProcess) {
        if (WaitForInputIdle(info.hProcess, DWORD(m_timings.openIdleWaitMs)) == WAIT_FAILED)
            Sleep(DWORD(m_timings.openFallbackSleepMs));
        DWORD code = STILL_ACTIVE;
        while (GetExitCodeProcess(info.hProcess, &code) && code == STILL_ACTIVE)
            Sleep(DWORD(m_timings.openExitPollMs));
        CloseHandle(info.hProcess);
    } else if (started) {
        // A running program took the file: it is held while renaming it to
        // its own name fails.
        while (_wrename(file.c_str(), file.c_str()) != 0)
            Sleep(DWORD(m_timings.openLockPollMs));
    }
    if (SUCCEEDED(com))
        CoUninitialize();
    return started;
}

} // namespace Trelan::Oku::ZYRController
