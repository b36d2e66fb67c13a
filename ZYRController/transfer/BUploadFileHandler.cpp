// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BUploadFileHandler.h>

#include <ZYRController/BActionFinishedCaller.h>

namespace Trelan::Oku::ZYRController {

BUploadFileHandler::BUploadFileHandler(BActionFinishedCallerBase* caller) : BFileInfoHandlerBase(caller) { }

void BUploadFileHandler::slotUploadProgress(qint64 bytesSent, qint64 bytesTotal)
{
    if (caller())
        caller()->onUploadProgress(bytesSent, bytesTotal);
}

} // namespace Trelan::Oku::ZYRController
