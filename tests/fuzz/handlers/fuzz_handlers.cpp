// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The first byte picks a reply handler, the rest is a 200 body arriving in three pieces. The owner
// reads every result; the download handler must have written the body exactly.
#include <HandlerCatalogue.h>

#include <ZYRController/BDownloadFileHandler.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QNetworkRequest>

#include <cstring>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRTest;

namespace {

/// A 200 answer played synchronously: readyRead per piece, then finished.
class FuzzReply : public QNetworkReply {
public:
    explicit FuzzReply(const QByteArray& body) : m_body(body)
    {
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, 200);
        open(ReadOnly | Unbuffered);
    }

    void play()
    {
        while (m_arrived < m_body.size()) {
            m_arrived = qMin(m_arrived + m_body.size() / 3 + 1, m_body.size());
            Q_EMIT readyRead();
        }
        setFinished(true);
        Q_EMIT finished();
    }

    void abort() override { }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const qint64 count = qMin(maxSize, m_arrived - m_read);
        std::memcpy(data, m_body.constData() + m_read, size_t(count));
        m_read += count;
        return count;
    }

private:
    QByteArray m_body;
    qint64 m_arrived = 0;
    qint64 m_read = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static int argc = 1;
    static char* argv[] = { const_cast<char*>("fuzz_handlers"), nullptr };
    static QCoreApplication app(argc, argv);
    if (size == 0)
        return 0;

    static const QByteArrayList classes = handlerClasses();
    const qsizetype pick = data[0] % (classes.size() + 1); // and the download handler
    const QByteArray body(reinterpret_cast<const char*>(data) + 1, qsizetype(size) - 1);
    TestOwner owner;
    QBuffer written;
    written.open(QIODevice::WriteOnly);
    BReplyHandlerBase* handler = pick < classes.size() ? makeHandler(classes.at(pick), owner.caller())
                                                       : new BDownloadFileHandler(owner.caller(), &written);
    auto* reply = new FuzzReply(body);
    handler->setReply(reply);
    QObject::connect(reply, &QNetworkReply::readyRead, handler, &BReplyHandlerBase::slotReadyRead);
    QObject::connect(reply, &QNetworkReply::finished, handler, &BReplyHandlerBase::slotFinished);
    reply->play();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // the handler and the reply
    QCoreApplication::sendPostedEvents(); // only an unfiltered call empties the queue of what was sent
    if (owner.calls != 1 || (pick == classes.size() && written.data() != body))
        __builtin_trap();
    return 0;
}
