// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BVersionReplyHandler.h>

#include <QLoggingCategory>
#include <QNetworkReply>
#include <QXmlStreamReader>

Q_LOGGING_CATEGORY(lcVersionList, "zyr.controller.update.list", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

namespace {
bool isForced(const QXmlStreamAttributes& attributes)
{
    return attributes.value(QLatin1String("forceUpdate")).toString().toUpper() == QLatin1String("TRUE");
}
} // namespace

BVersionReplyHandler::BVersionReplyHandler(BActionFinishedCallerBase* caller, const QString& currentVersion)
    : BReplyHandlerBase(caller), m_currentVersion(currentVersion)
{
}

bool BVersionReplyHandler::isNewerVersion(const QString& candidate, const QString& current)
{
    const QStringList newParts = candidate.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    const QStringList oldParts = current.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    const qsizetype common = qMin(newParts.size(), oldParts.size());
    for (qsizetype i = 0; i < common; ++i) {
        const qlonglong newPart = newParts.at(i).toLongLong();
        const qlonglong oldPart = oldParts.at(i).toLongLong();
        if (newPart != oldPart)
            return oldPart < newPart;
    }
    return newParts.size() > oldParts.size();
}

const QString& BVersionReplyHandler::currentVersion() const
{
    return m_currentVersion;
}

const QString& BVersionReplyHandler::newestVersion() const
{
    return m_newestVersion;
}

const QString& BVersionReplyHandler::installerAddress() const
{
    return m_installerAddress;
}

bool BVersionReplyHandler::isForceUpdate() const
{
    return m_forceUpdate;
}

void BVersionReplyHandler::parseReply()
{
    QXmlStreamReader xml(getReply()->readAll());
    QString newest;
    QString address;
    bool force = false;
    bool stopped = false;

    if (xml.readNextStartElement()) {
        // The root's children, in document order, until a rule stops the reading.
        while (xml.readNextStartElement()) {
            if (!stopped && xml.name() == QLatin1String("latest")) {
                const QXmlStreamAttributes attributes = xml.attributes();
                const QString version = attributes.value(QLatin1String("version")).toString();
                stopped = !isNewerVersion(version, m_currentVersion);
                if (!stopped) {
                    newest = version;
                    address = attributes.value(QLatin1String("path")).toString();
                    force = stopped = isForced(attributes);
                }
            } else if (!stopped && xml.name() == QLatin1String("histories")) {
                while (xml.readNextStartElement()) {
                    const QXmlStreamAttributes attributes = xml.attributes();
                    if (!stopped && xml.name() == QLatin1String("historyRelease") && isForced(attributes)
                        && isNewerVersion(attributes.value(QLatin1String("version")).toString(), m_currentVersion))
                        force = stopped = true;
                    xml.skipCurrentElement();
                }
                continue;
            }
            xml.skipCurrentElement();
        }
    }
    // Read to the end: only a well-formed document counts.
    while (!xml.atEnd())
        xml.readNext();
    if (xml.hasError()) {
        qCWarning(lcVersionList) << "the version list is not well formed:" << xml.errorString();
        return;
    }
    m_newestVersion = newest;
    m_installerAddress = address;
    m_forceUpdate = force;
}

} // namespace Trelan::Oku::ZYRController
