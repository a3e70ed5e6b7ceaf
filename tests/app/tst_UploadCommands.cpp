#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

// The upload commands of the real executable against the Catbox stand-in and a real keyring
// on a private bus.
class tst_UploadCommands : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_stub = qEnvironmentVariable("CATBOX_STUB_DIR");
    const QString m_userhash = QStringLiteral("testhash0123456789");

    QString makeShot(const QString &name)
    {
        return writeTestFile(m_dir.filePath(name), QByteArray("\x89PNG\r\n\x1a\n") + QByteArray(5000, 'p'));
    }

    // Files of the session's user that hold `secret`, and request bodies left behind (they
    // carry the userhash too).
    QStringList filesHolding(const QString &secret) const
    {
        QStringList found = QDir::temp().entryList({QStringLiteral("qorvel-upload-*")}, QDir::Files);
        for (const char *root : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "HOME"}) {
            if (qEnvironmentVariable(root).isEmpty())
                continue;
            QDirIterator files(qEnvironmentVariable(root), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
            while (files.hasNext()) {
                QFile file(files.next());
                // The keyring's own file is encrypted; the stand-in's folder holds what a
                // server would receive, where the userhash belongs.
                if (file.fileName().contains(QLatin1String("keyring")) || file.fileName().startsWith(m_stub))
                    continue;
                if (file.size() < 10'000'000 && file.open(QIODevice::ReadOnly)
                    && file.readAll().contains(secret.toUtf8()))
                    found << file.fileName();
            }
        }
        return found;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(!m_stub.isEmpty() && qEnvironmentVariableIsSet("QORVEL_SESSION_KEYRING_RESTART"),
            "run under tests/harness/qorvel-session --dbus --keyring --catbox");
    }

    void init() { setCatboxFault({}); }

    // From a stored userhash to a deletable upload that survives the keyring's restart.
    void accountUploadListDelete()
    {
        QorvelRun run = runQorvel(words("account show"));
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.text().startsWith(QLatin1String("No Catbox userhash is stored")));

        run = runQorvel(words("account set"), m_userhash.toUtf8() + '\n');
        QCOMPARE(run.exitCode, 0);
        QVERIFY(!run.text().contains(m_userhash));
        run = runQorvel(words("account"));
        QVERIFY2(run.text().contains(QString::fromUtf8("te…89")), qPrintable(run.text()));

        const QString shot = makeShot(QStringLiteral("shot.png"));
        run = runQorvel(words("upload") << shot);
        QCOMPARE(run.exitCode, 0);
        const QRegularExpressionMatch link
            = QRegularExpression(QStringLiteral("^(https://files\\.catbox\\.moe/[a-z0-9]+\\.png)\\n$"))
                  .match(run.text());
        QVERIFY2(link.hasMatch(), qPrintable(run.text() + run.errors));
        QVERIFY(onCatbox(link.captured(1)));

        QCOMPARE(QProcess::execute(qEnvironmentVariable("QORVEL_SESSION_KEYRING_RESTART"), {}), 0);
        run = runQorvel(words("uploads"));
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(QRegularExpression(QStringLiteral("^ 1  image  \\S+ \\S+  %1  deletable  [0-9A-F-]{36}\\n$")
                                        .arg(QRegularExpression::escape(link.captured(1))))
                     .match(run.text())
                     .hasMatch(),
            qPrintable(run.text()));

        QCOMPARE(filesHolding(m_userhash), QStringList());

        run = runQorvel(words("uploads delete 1"));
        QCOMPARE(run.text(), QStringLiteral("Deleted %1\n").arg(link.captured(1)));
        QVERIFY(!onCatbox(link.captured(1)));
        QCOMPARE(runQorvel(words("uploads")).text(), QStringLiteral("No uploads yet.\n"));

        // An anonymous delete is refused without a request in tst_CatboxUploader.
        QCOMPARE(runQorvel(words("upload --anonymous") << shot).exitCode, 0);
        run = runQorvel(words("uploads clear"));
        QCOMPARE(run.text(), QStringLiteral("Forgot 1 upload; the files stay on Catbox.\n"));

        QCOMPARE(runQorvel(words("account clear")).exitCode, 0);
        QVERIFY(runQorvel(words("account")).text().startsWith(QLatin1String("No Catbox userhash")));
    }

    // A failed file is reported with the description the user reads (each description is the
    // uploader's and the protocol's to test), and the other files still go.
    void failuresSayWhy()
    {
        const QString description = QStringLiteral("Catbox is temporarily limiting uploads. Try again in 30 s.");
        setCatboxFault("429\nRetry-After: 30\n\nSlow down");
        const QString failing = makeShot(QStringLiteral("first.png"));
        const QorvelRun run = runQorvel(words("upload") << failing << makeShot(QStringLiteral("second.png")));
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.errors, QStringLiteral("qorvel: %1: %2\n").arg(failing, description));
        QVERIFY(run.text().startsWith(QLatin1String("https://files.catbox.moe/")));
    }

    // Interrupted while the server takes its time, the command removes the request body, which
    // holds the userhash, and ends with the usual status for the signal.
    void interruptedUploadLeavesNothing_data()
    {
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGHUP") << SIGHUP;
    }
    void interruptedUploadLeavesNothing()
    {
        QFETCH(int, signalNumber);
        QCOMPARE(runQorvel(words("account set"), m_userhash.toUtf8()).exitCode, 0);
        writeTestFile(QDir(m_stub).filePath(QStringLiteral("delay_ms")), "20000");
        QProcess upload;
        upload.start(QStringLiteral(QORVEL_EXECUTABLE), words("upload") << makeShot(QStringLiteral("slow.png")));
        // The body is written and sent before the stand-in starts to wait.
        QTest::qWait(1500);
        ::kill(pid_t(upload.processId()), signalNumber);
        QVERIFY(upload.waitForFinished(10'000));
        QFile::remove(QDir(m_stub).filePath(QStringLiteral("delay_ms")));
        QCOMPARE(upload.exitStatus(), QProcess::NormalExit);
        QCOMPARE(upload.exitCode(), 128 + signalNumber);
        QCOMPARE(filesHolding(m_userhash), QStringList());
        QCOMPARE(runQorvel(words("account clear")).exitCode, 0);
    }

    // The userhash is read from standard input only, where other users cannot see it, and is
    // never repeated in an error.
    void refusedSetups()
    {
        QorvelRun run = runQorvel(words("account set") << m_userhash, m_userhash.toUtf8());
        QVERIFY(run.exitCode != 0);
        QVERIFY2(run.errors.startsWith(QLatin1String("qorvel: account set reads the userhash from standard input"))
                && !run.errors.contains(m_userhash),
            qPrintable(run.errors));
        QProcessEnvironment noBus = QProcessEnvironment::systemEnvironment();
        noBus.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
        run = runQorvel(words("account set"), m_userhash.toUtf8(), noBus);
        QVERIFY(run.exitCode != 0);
        QVERIFY2(run.errors.startsWith(QLatin1String("qorvel: couldn't save the userhash: "))
                && !run.errors.contains(m_userhash),
            qPrintable(run.errors));
    }
};

QTEST_GUILESS_MAIN(tst_UploadCommands)
#include "tst_UploadCommands.moc"
