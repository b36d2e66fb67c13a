// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/MFile.h>

#include <QJsonObject>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

#include <functional>

namespace Trelan::Oku::ZYRModel {
class MWorkspace;
}

namespace Trelan::Oku::ZYRCli {

class CloudSession;

/// The active workspace's folder tree as the cloud manager holds it, reached
/// by remote path ("/Design/2019/plan.dwg"). Folders are listed on the way
/// down, as a view opens them; each listing brings the children's
/// privileges.
class RemoteTree {
public:
    using Node = QSharedPointer<ZYRModel::MFile>;

    explicit RemoteTree(CloudSession& session);

    ZYRModel::MWorkspace* workspace() const { return m_workspace; }
    Node root() const;

    /// The names of \a path: "\\" is read as "/", empty parts are skipped.
    static QStringList split(const QString& path);
    /// "/a/b" for "a//b/", "/" for "".
    static QString normalise(const QString& path);

    /// The node at \a path; ends the command with "no such file or folder"
    /// when there is none.
    Node node(const QString& path);
    /// As node(), for a folder.
    Node folder(const QString& path);
    /// The folder's children, listed from the server unless already listed
    /// (\a refresh: always).
    QList<Node> children(const Node& folder, bool refresh = false);
    /// Calls \a visit for every node below \a folder, depth first, with its
    /// path relative to \a folder; lists the folders on the way.
    void walk(const Node& folder, const std::function<void(const Node&, const QString&)>& visit);
    /// Reads the attributes of \a node (through its parent's children, or
    /// the folder's own for the root).
    void loadAttributes(const Node& node);

    /// Ends the command with ExitCode::NotSignedIn when the privileges of
    /// \a node are known and lack \a privilege.
    void require(const Node& node, const QString& privilege) const;

    /// The JSON of a node in listings.
    static QJsonObject toJson(const ZYRModel::MFile& file);
    /// "evdcurg" with "-" for privileges not held.
    static QString privilegeLetters(const ZYRModel::MFile& file);

private:
    CloudSession& m_session;
    ZYRModel::MWorkspace* m_workspace;
};

} // namespace Trelan::Oku::ZYRCli
