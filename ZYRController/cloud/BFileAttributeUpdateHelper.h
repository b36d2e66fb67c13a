// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

namespace Trelan::Oku::ZYRController {

class BReplyHandlerBase;
class BTCloudManager;

/// Attaches key/value attributes to files that are being uploaded. The
/// attributes wait in a table, keyed by the upload's workspace and remote
/// path, until the transfer queue reports that file uploaded; then one
/// add-attributes-by-path request is sent for it. The entry is dropped when
/// that request is answered, whatever the answer; a failed request is not
/// reported (the attributes are lost). Made and deleted by the cloud
/// manager, which supplies the access token.
class ZYRCONTROLLER_EXPORT BFileAttributeUpdateHelper : public QObject {
    Q_OBJECT
public:
    /// Attribute key → value.
    using Attributes = QMap<QString, QString>;

    /// \a manager is not owned; no parent object.
    explicit BFileAttributeUpdateHelper(BTCloudManager* manager);
    ~BFileAttributeUpdateHelper() override;

    /// The key of an upload: the two strings the transfer queue reports in
    /// fileUploaded(), its workspace id and the file's remote path.
    static QString generateUploadedFileKey(const QString& first, const QString& second);

    /// Records \a attributesByLocalFile (local file path → attributes) for
    /// the upload of \a localPaths (files or folders) into \a remoteFolder
    /// of workspace \a first. A file inside a listed folder keeps its place
    /// below that folder's name; any other file lands directly in
    /// \a remoteFolder. Attributes of two files with the same key merge.
    void addUploadedFileAttributes(const QString& first, const QString& remoteFolder, const QList<QString>& localPaths,
                                   const QMap<QString, Attributes>& attributesByLocalFile);

    /// Uploads whose attributes are still to be sent or answered.
    const QMap<QString, Attributes>& pendingAttributes() const;

    /// Finished function of its add-attributes requests.
    virtual void onAddAttributesByPathFinished(BReplyHandlerBase* handler);

public Q_SLOTS:
    /// The transfer queue's fileUploaded(): sends the file's attributes, if
    /// any are waiting for it.
    void slotFileUploaded(const QString& first, const QString& remotePath);

Q_SIGNALS:
    /// The service took \a attributes for the file at \a remotePath of
    /// workspace \a first (sent only for an answer with status 200).
    void addAttributesByPathFinished(const QString& first, const QString& remotePath,
                                     const QMap<QString, QString>& attributes);

private:
    void addAttributesByPath(const QString& first, const QString& remotePath, const Attributes& attributes);
    QString getToken() const;

    BTCloudManager* m_cloudManager;
    QMap<QString, Attributes> m_pendingAttributes;
};

} // namespace Trelan::Oku::ZYRController
