#include "CatboxUploader.h"
#include "TestFiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

// Runs against the Catbox stand-in of the test harness: PHP's own multipart parser reads
// every body this uploader sends.
class tst_CatboxUploader : public QObject
{
    Q_OBJECT

private:
    QNetworkAccessManager m_network;
    QTemporaryDir m_dir;
    QString m_stub = qEnvironmentVariable("CATBOX_STUB_DIR");
    const QString m_userhash = QStringLiteral("testhash0123456789");
    QList<double> m_progress; // of the last upload

    QString bodyFolder() const { return m_dir.filePath(QStringLiteral("bodies")); }

    CatboxUploader uploader(
        std::optional<QString> userhash, std::chrono::milliseconds timeout = std::chrono::seconds(120))
    {
        return CatboxUploader(m_network, std::move(userhash),
            {QUrl(qEnvironmentVariable("QORVEL_CATBOX_ENDPOINT")), timeout, bodyFolder()});
    }

    QString makeFile(const QString &name, const QByteArray &content)
    {
        return writeTestFile(m_dir.filePath(name), content);
    }

    // Runs `start` with a completion and waits for the result it is given.
    template <typename T, typename Start> static Result<T> awaited(Start start)
    {
        std::optional<Result<T>> result;
        start([&result](Result<T> done) { result = std::move(done); });
        if (!QTest::qWaitFor([&result] { return result.has_value(); }, 30'000))
            return Error{QStringLiteral("no completion"), QString()};
        return *result;
    }

    Result<UploadResult> upload(CatboxUploader uploader, const QString &path)
    {
        return awaited<UploadResult>([&](Uploader::UploadCompletion done) {
            uploader.upload(
                path, [this](double fraction) { m_progress.append(fraction); }, std::move(done));
        });
    }

    // The stand-in's log, one JSON object a request.
    QStringList requests() const
    {
        QFile log(QDir(m_stub).filePath(QStringLiteral("requests.jsonl")));
        return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()).split(u'\n', Qt::SkipEmptyParts)
                                             : QStringList();
    }

    static QString message(const Result<UploadResult> &result)
    {
        return result.ok() ? result->url.toString() : result.error().message;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY2(!m_stub.isEmpty(), "run under tests/harness/qorvel-session --catbox"); }

    void init()
    {
        QFile::remove(QDir(m_stub).filePath(QStringLiteral("fault")));
        QFile::remove(QDir(m_stub).filePath(QStringLiteral("delay_ms")));
        m_progress.clear();
        QDir(bodyFolder()).removeRecursively();
        QVERIFY(QDir().mkpath(bodyFolder()));
    }

    // No request, however it ended, leaves its body behind.
    void cleanup() { QCOMPARE(QDir(bodyFolder()).entryList(QDir::Files | QDir::Hidden), QStringList()); }

    void uploadsAndDeletes_data()
    {
        QTest::addColumn<bool>("withAccount");
        QTest::newRow("anonymous") << false;
        QTest::newRow("with the userhash") << true;
    }
    void uploadsAndDeletes()
    {
        QFETCH(bool, withAccount);
        const std::optional<QString> userhash = withAccount ? std::optional(m_userhash) : std::nullopt;
        QByteArray content(3 * 1024 * 1024 + 7, Qt::Uninitialized);
        for (qsizetype i = 0; i < content.size(); ++i)
            content[i] = char((i * 131) >> 3);
        const QString path = makeFile(QStringLiteral("my \"shot\".png"), content);

        const Result<UploadResult> result = upload(uploader(userhash), path);
        QVERIFY2(result.ok(), qPrintable(message(result)));
        QCOMPARE(result->deletable, withAccount);
        QVERIFY(!m_progress.isEmpty());
        QVERIFY(std::is_sorted(m_progress.cbegin(), m_progress.cend()));
        QCOMPARE(m_progress.last(), 1.0);

        const QJsonObject request = QJsonDocument::fromJson(requests().last().toUtf8()).object();
        const QJsonObject file = request[QLatin1String("file")].toObject();
        QCOMPARE(file[QLatin1String("name")].toString(), QStringLiteral("my shot.png"));
        QCOMPARE(file[QLatin1String("type")].toString(), QStringLiteral("image/png"));
        QCOMPARE(file[QLatin1String("sha256")].toString(),
            QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex()));
        QCOMPARE(request[QLatin1String("userhash_present")].toBool(), withAccount);

        const qsizetype sent = requests().size();
        const Result<void> removed = awaited<void>(
            [&](Uploader::RemoveCompletion done) { uploader(userhash).remove(result->remoteName, std::move(done)); });
        if (!withAccount) {
            QCOMPARE(removed.error().message,
                QStringLiteral("This file can't be deleted from Catbox because it was uploaded anonymously."));
            QCOMPARE(requests().size(), sent);
            return;
        }
        QVERIFY2(removed.ok(), qPrintable(removed.error().message));
        QVERIFY(!QFile::exists(QDir(m_stub).filePath(QLatin1String("files/") + result->remoteName)));
    }

    // Each answer's wording is the protocol's to test; here the uploader must hand over the
    // status, Retry-After and body, and end requests that fail or stall.
    void failures_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QByteArray>("delayMs");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<QString>("expected"); // empty: any message
        QTest::newRow("429 with Retry-After")
            << QByteArray("429\nRetry-After: 30\n\nSlow down") << QByteArray() << 120'000
            << QStringLiteral("Catbox is temporarily limiting uploads. Try again in 30 s.");
        QTest::newRow("412 with a reason") << QByteArray("412\n\nNo thanks") << QByteArray() << 120'000
                                           << QStringLiteral("Catbox rejected the file: No thanks (HTTP 412).");
        // Qt sends a request again once when the connection closes without an answer.
        QTest::newRow("connection dropped") << QByteArray("drop 2\n") << QByteArray() << 120'000 << QString();
        QTest::newRow("stalled") << QByteArray() << QByteArray("3000") << 500
                                 << QStringLiteral("The request timed out.");
    }
    void failures()
    {
        QFETCH(QByteArray, fault);
        QFETCH(QByteArray, delayMs);
        QFETCH(int, timeoutMs);
        QFETCH(QString, expected);
        if (!fault.isEmpty())
            writeTestFile(QDir(m_stub).filePath(QStringLiteral("fault")), fault);
        if (!delayMs.isEmpty())
            writeTestFile(QDir(m_stub).filePath(QStringLiteral("delay_ms")), delayMs);
        const Result<UploadResult> result = upload(
            uploader(m_userhash, std::chrono::milliseconds(timeoutMs)), makeFile(QStringLiteral("a.png"), "png"));
        QVERIFY(!result.ok());
        if (expected.isEmpty())
            QVERIFY(!result.error().message.isEmpty());
        else
            QCOMPARE(result.error().message, expected);
    }

    // The limit is decimal megabytes and is checked before a byte is written or sent.
    void sizeLimit()
    {
        const QString path = m_dir.filePath(QStringLiteral("large.mp4"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(200'000'001));
        const qsizetype sent = requests().size();
        QCOMPARE(message(upload(uploader(m_userhash), path)),
            QStringLiteral("The file is 200.0 MB; Catbox accepts at most 200.0 MB."));
        QCOMPARE(requests().size(), sent);
    }
};

QTEST_GUILESS_MAIN(tst_CatboxUploader)
#include "tst_CatboxUploader.moc"
