// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BFileInfoHandlerBase.h>

namespace Trelan::Oku::ZYRController {

/// Forwards an upload's progress and completion to its caller and reads the
/// uploaded file's metadata from a 200 answer (file()).
class ZYRCONTROLLER_EXPORT BUploadFileHandler : public BFileInfoHandlerBase {
    Q_OBJECT
public:
    explicit BUploadFileHandler(BActionFinishedCallerBase* caller);

public Q_SLOTS:
    void slotUploadProgress(qint64 bytesSent, qint64 bytesTotal) override;
};

} // namespace Trelan::Oku::ZYRController
