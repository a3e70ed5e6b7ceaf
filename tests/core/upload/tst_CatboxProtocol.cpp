#include "CatboxProtocol.h"

#include <QTest>

class tst_CatboxProtocol : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every answer a caller may see, with the words the user reads. Empty `error` = success.
    void uploadAnswers_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("retryAfter");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("error");
        const QByteArray link = "https://files.catbox.moe/rs91uk.png";
        QTest::newRow("link") << 200 << QByteArray() << link << QString::fromLatin1(link) << QString();
        QTest::newRow("white space around the link") << 200 << QByteArray() << " \t" + link + "\r\n"
                                                     << QString::fromLatin1(link) << QString();
        QTest::newRow("429 with zero kept") << 429 << QByteArray("-0") << QByteArray() << QString()
                                            << "Catbox is temporarily limiting uploads. Try again in 0 s.";
        for (const QByteArray &header : {QByteArray(), QByteArray("Wed, 21 Oct 2026 07:28:00 GMT"), QByteArray("1.5"),
                 QByteArray("+"), QByteArray("99999999999999999999"), QByteArray(" 5")}) {
            QTest::addRow("429, Retry-After '%s'", header.constData())
                << 429 << header << QByteArray() << QString()
                << "Catbox is temporarily limiting uploads. Try again in a moment.";
        }
        QTest::newRow("500, empty body") << 500 << QByteArray() << QByteArray("  \n") << QString()
                                         << "Catbox rejected the file (HTTP 500).";
        QTest::newRow("412, long body cut at 200 characters")
            << 412 << QByteArray() << QByteArray(300, 'x') << QString()
            << QStringLiteral("Catbox rejected the file: ") + QString(200, QLatin1Char('x'))
                + QStringLiteral(" (HTTP 412).");
        QTest::newRow("a message with placeholders is not filled in")
            << 400 << QByteArray() << QByteArray("100%2 off %3") << QString()
            << "Catbox rejected the file: 100%2 off %3 (HTTP 400).";
        QTest::newRow("invalid UTF-8 is repaired") << 400 << QByteArray() << QByteArray("bad \xff byte") << QString()
                                                   << "Catbox rejected the file: bad \uFFFD byte (HTTP 400).";
        QTest::newRow("no HTTP answer") << 0 << QByteArray() << link << QString()
                                        << "Catbox returned an unexpected response.";
        for (const char *body :
            {"http://files.catbox.moe/a.png", "https://files.example.com/a.png", "https://notcatbox.moe/a.png",
                "https://files.catbox.moe/", "https://files.catbox.moe", "Upload failed", ""}) {
            QTest::addRow("200 with '%s'", body)
                << 200 << QByteArray() << QByteArray(body) << QString() << "Catbox returned an unexpected response.";
        }
    }
    void uploadAnswers()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, retryAfter);
        QFETCH(QByteArray, body);
        QFETCH(QString, link);
        QFETCH(QString, error);
        const Result<UploadResult> result = CatboxProtocol::readUploadAnswer({status, retryAfter, body}, true);
        QCOMPARE(result.ok() ? QString() : result.error().message, error);
        if (!result.ok())
            return;
        QCOMPARE(result->url.toString(), link);
        QCOMPARE(result->remoteName, QStringLiteral("rs91uk.png"));
        QVERIFY(result->deletable);
    }

    void deleteAnswers_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error");
        QTest::newRow("success in any case") << 200 << QByteArray("SUCCESS") << QString();
        QTest::newRow("200 without it") << 200 << QByteArray("Nothing happened")
                                        << "Catbox rejected the file: Nothing happened (HTTP 200).";
        QTest::newRow("not owned")
            << 400 << QByteArray("File doesn't exist or not owned by you: x.png")
            << "Catbox rejected the file: File doesn't exist or not owned by you: x.png (HTTP 400).";
    }
    void deleteAnswers()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        const Result<void> result = CatboxProtocol::readDeleteAnswer({status, QByteArray(), body});
        QCOMPARE(result.ok(), error.isEmpty());
        if (!result.ok())
            QCOMPARE(result.error().message, error);
    }

    // A userhash must never go in clear to another machine, whatever the environment says.
    void endpointOverride_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("used");
        const auto row = [](const char *name, const char *value, const char *used) {
            QTest::newRow(name) << QString::fromLatin1(value) << QString::fromLatin1(used);
        };
        row("none", "", "https://catbox.moe/user/api.php");
        row("https anywhere", "https://mirror.example/user/api.php", "https://mirror.example/user/api.php");
        row("http loopback", "http://127.0.0.1:8089/user/api.php", "http://127.0.0.1:8089/user/api.php");
        row("http localhost", "http://localhost:1/x", "http://localhost:1/x");
        row("http ipv6 loopback", "http://[::1]:8089/user/api.php", "http://[::1]:8089/user/api.php");
        // Empty: refused.
        row("http elsewhere", "http://192.168.1.2/user/api.php", "");
        row("http look-alike", "http://127.0.0.1.example.com/x", "");
        row("ftp", "ftp://127.0.0.1/x", "");
        row("not a URL", "catbox", "");
    }
    void endpointOverride()
    {
        QFETCH(QString, value);
        QFETCH(QString, used);
        const Result<QUrl> endpoint = CatboxProtocol::endpoint(value);
        QCOMPARE(endpoint.ok(), !used.isEmpty());
        if (endpoint.ok())
            QCOMPARE(endpoint->toString(), used);
        else
            QVERIFY(endpoint.error().message.startsWith(QLatin1String("QORVEL_CATBOX_ENDPOINT")));
    }
};

QTEST_GUILESS_MAIN(tst_CatboxProtocol)
#include "tst_CatboxProtocol.moc"
