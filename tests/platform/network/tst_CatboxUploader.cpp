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

    Result<UploadResult> upload(CatboxUploader uploader, const QString &path, QList<double> *progress = nullptr)
    {
        std::optional<Result<UploadResult>> result;
        uploader.upload(
            path,
            [progress](double fraction) {
                if (progress)
                    progress->append(fraction);
            },
            [&result](Result<UploadResult> done) { result = std::move(done); });
        if (!QTest::qWaitFor([&result] { return result.has_value(); }, 30'000))
            return Error{QStringLiteral("no completion"), QString()};
        return *result;
    }

    Result<void> remove(CatboxUploader uploader, const QString &remoteName)
    {
        std::optional<Result<void>> result;
        uploader.remove(remoteName, [&result](Result<void> done) { result = std::move(done); });
        if (!QTest::qWaitFor([&result] { return result.has_value(); }, 30'000))
            return Error{QStringLiteral("no completion"), QString()};
        return *result;
    }

    QList<QJsonObject> requests() const
    {
        QFile log(QDir(m_stub).filePath(QStringLiteral("requests.jsonl")));
        QList<QJsonObject> lines;
        if (!log.open(QIODevice::ReadOnly))
            return lines;
        while (!log.atEnd()) {
            const QByteArray line = log.readLine().trimmed();
            if (!line.isEmpty())
                lines << QJsonDocument::fromJson(line).object();
        }
        return lines;
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

        QList<double> progress;
        const Result<UploadResult> result = upload(uploader(userhash), path, &progress);
        QVERIFY2(result.ok(), qPrintable(message(result)));
        QCOMPARE(result->url.scheme(), QStringLiteral("https"));
        QCOMPARE(result->url.host(), QStringLiteral("files.catbox.moe"));
        QVERIFY(result->remoteName.endsWith(QLatin1String(".png")));
        QCOMPARE(result->deletable, withAccount);
        QVERIFY(!progress.isEmpty());
        QVERIFY(std::is_sorted(progress.cbegin(), progress.cend()));
        QCOMPARE(progress.last(), 1.0);

        const QJsonObject request = requests().last();
        const QJsonObject file = request[QLatin1String("file")].toObject();
        QCOMPARE(file[QLatin1String("name")].toString(), QStringLiteral("my shot.png"));
        QCOMPARE(file[QLatin1String("type")].toString(), QStringLiteral("image/png"));
        QCOMPARE(file[QLatin1String("sha256")].toString(),
            QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex()));
        QCOMPARE(request[QLatin1String("userhash_present")].toBool(), withAccount);
        QVERIFY(request[QLatin1String("user_agent")].toString().startsWith(QLatin1String("Qorvel/")));

        const qsizetype sent = requests().size();
        const Result<void> removed = remove(uploader(userhash), result->remoteName);
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
