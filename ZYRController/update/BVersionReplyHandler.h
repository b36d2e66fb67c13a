// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRController {

/// Reads the version list, an XML document whose root holds, in document
/// order, <latest version="" path="" forceUpdate=""/> and <histories> with
/// <historyRelease version="" forceUpdate=""/> children. Finds whether a
/// release newer than the current version exists and whether the update is
/// forced: by the newest release itself, or by any release between the
/// current version and the newest. A document that is not well formed
/// leaves every result empty.
class ZYRCONTROLLER_EXPORT BVersionReplyHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BVersionReplyHandler(BActionFinishedCallerBase* caller, const QString& currentVersion);

    /// True when \a candidate is newer than \a current: dotted parts (empty
    /// ones dropped) compared from the left as decimal numbers, the first
    /// difference deciding; with all compared parts equal, the one with
    /// more parts is newer. A part that is not a number counts as 0.
    static bool isNewerVersion(const QString& candidate, const QString& current);

    const QString& currentVersion() const;
    /// Empty unless the list names a newer release.
    const QString& newestVersion() const;
    /// The installer address of the newest release.
    const QString& installerAddress() const;
    bool isForceUpdate() const;

protected:
    void parseReply() override;

private:
    QString m_currentVersion;
    QString m_newestVersion;
    QString m_installerAddress;
    bool m_forceUpdate = false;
};

} // namespace Trelan::Oku::ZYRController
