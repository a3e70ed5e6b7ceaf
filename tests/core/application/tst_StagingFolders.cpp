#include "StagingFolders.h"

#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>

class tst_StagingFolders : public QObject
{
    Q_OBJECT

private:
    static void setModified(const QString &path, const QDateTime &modified)
    {
        const qint64 ms = modified.toMSecsSinceEpoch();
        const timespec when{ms / 1000, (ms % 1000) * 1000000};
        const timespec times[2] = {when, when};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    }

private Q_SLOTS:
    // What is over a day old goes, folders whole; loose files in Uploads are also checked end to
    // end by tst_AppProcess.
    void purgeTakesWhatIsOverADayOld()
    {
        QTemporaryDir root;
        const StagingFolders staging(root.path());
        const QDateTime now = QDateTime::currentDateTime();
        const QString leftover = staging.uploads() + QLatin1String("/leftover");
        QVERIFY(QDir().mkpath(leftover) && QDir().mkpath(staging.recordings()));
        writeTestFile(leftover + QLatin1String("/part.bin"), "capture");
        setModified(leftover, now.addDays(-2));
        const QString older = staging.recordings() + QLatin1String("/older.mp4");
        const QString newer = staging.recordings() + QLatin1String("/newer.mp4");
        setModified(writeTestFile(older, "capture"), now.addSecs(-86400 - 60));
        setModified(writeTestFile(newer, "capture"), now.addSecs(-86400 + 60));

        QCOMPARE(staging.purge(now), 2);
        QVERIFY(!QDir(leftover).exists() && QDir(staging.uploads()).exists());
        QVERIFY(!QFile::exists(older) && QFile::exists(newer));
    }

    // Captures wait in staging where only the user can read them: the folder is 0700 (its files
    // are made 0600, as tst_MultipartBody checks), and a symbolic link in the folder's place is
    // refused rather than followed and chmodded.
    void stagingIsPrivate_data()
    {
        QTest::addColumn<QString>("before"); // "absent", "open" (0755) or "link"
        QTest::newRow("created") << QStringLiteral("absent");
        QTest::newRow("made private") << QStringLiteral("open");
        QTest::newRow("a link in its place") << QStringLiteral("link");
    }
    void stagingIsPrivate()
    {
        QFETCH(QString, before);
        QTemporaryDir root;
        const StagingFolders staging(root.filePath(QStringLiteral("cache")));
        const QString elsewhere = root.filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkpath(elsewhere) && QDir().mkpath(root.filePath(QStringLiteral("cache"))));
        QVERIFY(::chmod(QFile::encodeName(elsewhere).constData(), 0755) == 0);
        if (before == QLatin1String("open"))
            QVERIFY(QDir().mkpath(staging.uploads())
                && ::chmod(QFile::encodeName(staging.uploads()).constData(), 0755) == 0);
        if (before == QLatin1String("link"))
            QVERIFY(QFile::link(elsewhere, staging.uploads()));

        const Result<void> made = StagingFolders::makePrivate(staging.uploads());
        struct stat status = {};
        if (before == QLatin1String("link")) {
            QVERIFY(!made.ok() && made.error().message.contains(QLatin1String("symbolic link")));
            QVERIFY(::stat(QFile::encodeName(elsewhere).constData(), &status) == 0);
            QCOMPARE(status.st_mode & 0777, mode_t(0755));
            return;
        }
        QVERIFY(made.ok());
        QVERIFY(::lstat(QFile::encodeName(staging.uploads()).constData(), &status) == 0);
        QCOMPARE(status.st_mode & 0777, mode_t(0700));
    }
};

QTEST_GUILESS_MAIN(tst_StagingFolders)
#include "tst_StagingFolders.moc"
