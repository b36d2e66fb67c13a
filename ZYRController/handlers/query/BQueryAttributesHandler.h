// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QMap>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a file's key/value attribute query
/// ({"data": [{"key", "value"}, ...]}). Carries the node it was made for.
/// Elements without a key are dropped; an empty value is kept; a later
/// duplicate key wins.
class ZYRCONTROLLER_EXPORT BQueryAttributesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BQueryAttributesHandler(BActionFinishedCallerBase* caller,
                                     QWeakPointer<ZYRModel::MFile> child = QWeakPointer<ZYRModel::MFile>());
    ~BQueryAttributesHandler() override;

    QWeakPointer<ZYRModel::MFile> child() const;
    const QMap<QString, QString>& attributes() const;

protected:
    void parseReply() override;

private:
    QWeakPointer<ZYRModel::MFile> m_child;
    QMap<QString, QString> m_attributes;
};

} // namespace Trelan::Oku::ZYRController
