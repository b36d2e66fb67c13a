// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QObject>

namespace Trelan::Oku::ZYRController {

/// Something a nested wait can wait for: it emits ended() once when its work
/// is over. Waiters hold participants only through this interface and only
/// by guarded pointer, so a participant may be destroyed at any time.
class ZYRCONTROLLER_EXPORT ISyncWorker : public QObject {
    Q_OBJECT
public:
    explicit ISyncWorker(QObject* parent = nullptr);
    ~ISyncWorker() override;

Q_SIGNALS:
    void started();
    void ended();
};

} // namespace Trelan::Oku::ZYRController
