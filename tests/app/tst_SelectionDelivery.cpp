#include "VisibleWindows.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

// A selection taken with the pointer and delivered all the way: the stand-in for Catbox, the
// keyring for the history, dunst for the notification, xclip for the clipboard, and a browser
// that writes down what it was asked to open.
class tst_SelectionDelivery : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString opened() const { return m_dir.filePath(QStringLiteral("opened.txt")); }

    static QByteArray pasted(const QString &type)
    {
        QProcess xclip;
        xclip.start(QStringLiteral("xclip"),
            {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-t"), type,
                QStringLiteral("-o")});
        xclip.waitForFinished(10'000);
        return xclip.exitCode() == 0 ? xclip.readAllStandardOutput() : QByteArray();
    }

    static QJsonArray lastNotify()
    {
        QFile log(qEnvironmentVariable("QORVEL_SESSION_NOTIFICATIONS_LOG"));
        QJsonArray last;
        if (log.open(QIODevice::ReadOnly)) {
            while (!log.atEnd()) {
                const QJsonObject message = QJsonDocument::fromJson(log.readLine()).object();
                if (message[QLatin1String("member")].toString() == QLatin1String("Notify"))
                    last = message[QLatin1String("payload")].toObject()[QLatin1String("data")].toArray();
            }
        }
        return last;
    }

    // Drags out 300x150 points with xdotool and returns the command's output.
    QStringList selectAndDeliver(int &exitCode)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(
            QStringLiteral("PATH"), m_dir.path() + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
        QProcess::execute(
            QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QStringLiteral("1000"), QStringLiteral("900")});
        // The overlay says when it first painted: from then on it takes the pointer.
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qorvel.overlay.timing=true"));
        QProcess selection;
        selection.setProcessEnvironment(environment);
        selection.start(QStringLiteral(QORVEL_EXECUTABLE),
            {QStringLiteral("screenshot"), QStringLiteral("--select"), QStringLiteral("--copy"),
                QStringLiteral("--save"), QStringLiteral("--upload")});
        QByteArray errors;
        if (!QTest::qWaitFor(
                [&selection, &errors] {
                    errors += selection.readAllStandardError();
                    return errors.contains("first paint") || selection.state() == QProcess::NotRunning;
                },
                15'000))
            return {};
        QTest::qWait(100);
        for (const char *step : {"mousemove 300 200 mousedown 1 mousemove 400 250", "mousemove 600 350 mouseup 1"}) {
            QProcess::execute(QStringLiteral("xdotool"), QString::fromLatin1(step).split(QLatin1Char(' ')));
            QTest::qWait(100);
        }
        // A process still running has no exit status yet: QProcess would report 0.
        if (!selection.waitForFinished(30'000) && selection.state() != QProcess::NotRunning) {
            selection.kill();
            selection.waitForFinished();
            exitCode = -1;
            return {};
        }
        exitCode = selection.exitCode();
        return QString::fromUtf8(selection.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // The browser Qt asks for a link through xdg-open.
        QFile browser(m_dir.filePath(QStringLiteral("xdg-open")));
        QVERIFY(browser.open(QIODevice::WriteOnly));
        browser.write("#!/bin/sh\nprintf '%s' \"$1\" > '" + opened().toUtf8() + "'\n");
        browser.close();
        QVERIFY(browser.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        // Something to select that is not plain black.
        QProcess::startDetached(QStringLiteral("xterm"),
            {QStringLiteral("-geometry"), QStringLiteral("100x30+50+50"), QStringLiteral("-e"),
                QStringLiteral("ls -la /; sleep 600")});
        QVERIFY(QTest::qWaitFor(
            [] {
                return hasVisibleWindow({QStringLiteral("--class"), QStringLiteral("xterm")});
            },
            10'000));
        QTest::qWait(500);
        QProcess account;
        account.start(QStringLiteral(QORVEL_EXECUTABLE), {QStringLiteral("account"), QStringLiteral("set")});
        account.write("testhash0123456789\n");
        account.closeWriteChannel();
        QVERIFY(account.waitForFinished(30'000) && account.exitCode() == 0);
    }

    // Copy, save and upload on: the link on the clipboard, the file saved, a history record, and
    // a notification whose click opens the link.
    void uploadedSelection()
    {
        int exitCode = -1;
        const QStringList output = selectAndDeliver(exitCode);
        QCOMPARE(exitCode, 0);
        QCOMPARE(output.size(), 2);
        const QString saved = output.at(0);
        const QString link = output.at(1);
        QCOMPARE(QImage(saved).size(), QSize(300, 150));
        QVERIFY(link.startsWith(QLatin1String("https://files.catbox.moe/")));
        QCOMPARE(pasted(QStringLiteral("text/plain")), link.toUtf8());

        QProcess uploads;
        uploads.start(QStringLiteral(QORVEL_EXECUTABLE), {QStringLiteral("uploads")});
        QVERIFY(uploads.waitForFinished(30'000));
        QVERIFY(uploads.readAllStandardOutput().contains(link.toUtf8()));

        const QJsonArray notify = lastNotify();
        QCOMPARE(notify.at(3).toString(), QStringLiteral("Screenshot uploaded, link copied"));
        QCOMPARE(notify.at(4).toString(), link + QStringLiteral("\nSaved: ") + QFileInfo(saved).fileName());
        // The user clicks the notification: dunst runs its default action.
        QCOMPARE(QProcess::execute(QStringLiteral("dunstctl"), {QStringLiteral("action"), QStringLiteral("0")}), 0);
        QVERIFY(QTest::qWaitFor([this] { return QFile::exists(opened()); }, 10'000));
        QFile file(opened());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), link);
        QProcess::execute(QStringLiteral("dunstctl"), {QStringLiteral("close-all")});
    }

    // The host fails: nothing is lost, and the notification says where everything went.
    void failedUploadKeepsEverything()
    {
        QFile fault(QDir(qEnvironmentVariable("CATBOX_STUB_DIR")).filePath(QStringLiteral("fault")));
        QVERIFY(fault.open(QIODevice::WriteOnly));
        fault.write("500\n\nInternal error");
        fault.close();
        int exitCode = -1;
        const QStringList output = selectAndDeliver(exitCode);
        QCOMPARE(exitCode, 1);
        QCOMPARE(output.size(), 1);
        QCOMPARE(QImage(output.at(0)).size(), QSize(300, 150));
        QCOMPARE(QImage::fromData(pasted(QStringLiteral("image/png"))).size(), QSize(300, 150));
        const QJsonArray notify = lastNotify();
        QCOMPARE(notify.at(3).toString(), QStringLiteral("Upload failed"));
        QCOMPARE(notify.at(4).toString(),
            QStringLiteral("Catbox rejected the file: Internal error (HTTP 500).\nThe image was copied to the "
                           "clipboard.\nSaved: ")
                + QFileInfo(output.at(0)).fileName());
    }
};

QTEST_GUILESS_MAIN(tst_SelectionDelivery)
#include "tst_SelectionDelivery.moc"
