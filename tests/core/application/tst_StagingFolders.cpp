#include "StagingFolders.h"

#include "ExclusiveFile.h"
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
        const timespec times[2] = {{ms / 1000, (ms % 1000) * 1000000}, {ms / 1000, (ms % 1000) * 1000000}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    }

    static void touch(const QString &path, const QDateTime &modified)
    {
        setModified(writeTestFile(path, "capture"), modified);
    }

private Q_SLOTS:
    void purgeByAge_data()
    {
        QTest::addColumn<bool>("inRecordings");
        QTest::addColumn<qint64>("ageSeconds");
        QTest::addColumn<bool>("survives");
        for (const bool recordings : {false, true}) {
            const char *folder = recordings ? "Recordings" : "Uploads";
            QTest::addRow("%s: a minute short of a day", folder) << recordings << qint64(86400 - 60) << true;
            QTest::addRow("%s: a minute over a day", folder) << recordings << qint64(86400 + 60) << false;
        }
    }

    void purgeByAge()
    {
        QFETCH(bool, inRecordings);
        QFETCH(qint64, ageSeconds);
        QFETCH(bool, survives);

        QTemporaryDir root;
        const StagingFolders staging(root.path());
        const QString folder = inRecordings ? staging.recordings() : staging.uploads();
        QVERIFY(QDir().mkpath(folder));
        const QDateTime now = QDateTime::currentDateTime();
        const QString file = QDir(folder).filePath(QStringLiteral("Qorvel 2026-01-01 at 10.00.00.png"));
        touch(file, now.addSecs(-ageSeconds));

        QCOMPARE(staging.purge(now), survives ? 0 : 1);
        QCOMPARE(QFile::exists(file), survives);
    }

    void purgeTakesOldFoldersWholeAndToleratesMissingOnes()
    {
        QTemporaryDir root;
        const StagingFolders staging(root.path());
        QVERIFY(!QDir(staging.recordings()).exists());
        QVERIFY(QDir().mkpath(staging.uploads() + QLatin1String("/leftover")));
        const QDateTime now = QDateTime::currentDateTime();
        touch(staging.uploads() + QLatin1String("/leftover/part.bin"), now);
        setModified(staging.uploads() + QLatin1String("/leftover"), now.addDays(-2));

        QCOMPARE(staging.purge(now), 1);
        QVERIFY(!QDir(staging.uploads() + QLatin1String("/leftover")).exists());
        QVERIFY(QDir(staging.uploads()).exists());
    }

    // Captures wait in staging where only the user can read them: the folder 0700 and its
    // files 0600, and a symbolic link in the folder's place is refused rather than followed
    // and chmodded.
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
        const QString file = staging.uploads() + QLatin1String("/shot.png");
        QVERIFY(ExclusiveFile::write(file, "capture", ExclusiveFile::Access::privateToUser).ok());
        QVERIFY(::stat(QFile::encodeName(file).constData(), &status) == 0);
        QCOMPARE(status.st_mode & 0777, mode_t(0600));
    }
};

QTEST_GUILESS_MAIN(tst_StagingFolders)
#include "tst_StagingFolders.moc"
