// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/ISyncWorker.h>

namespace Trelan::Oku::ZYRController {

/// The concrete ISyncWorker: whoever does the work calls notifyStarted() and
/// notifyEnded(). A reply handler that can be waited for owns one as a child
/// object and hands it out as its notifier().
class ZYRCONTROLLER_EXPORT BSyncWorker : public ISyncWorker {
    Q_OBJECT
public:
    explicit BSyncWorker(QObject* parent = nullptr);
    ~BSyncWorker() override;

    void notifyStarted();
    /// Emits ended(), every time it is called: a waiter counts each one.
    void notifyEnded();
    /// True once notifyEnded() has been called.
    bool hasEnded() const;

private:
    bool m_ended = false;
};

} // namespace Trelan::Oku::ZYRController
