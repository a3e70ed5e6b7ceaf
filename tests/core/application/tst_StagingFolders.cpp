#include "StagingFolders.h"

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
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("capture");
        file.close();
        setModified(path, modified);
    }

private Q_SLOTS:
    void purgeByAge_data()
    {
        QTest::addColumn<bool>("inRecordings");
        QTest::addColumn<qint64>("ageSeconds");
        QTest::addColumn<bool>("survives");
        for (const bool recordings : {false, true}) {
            const char *folder = recordings ? "Recordings" : "Uploads";
            QTest::addRow("%s: 23 hours", folder) << recordings << qint64(23 * 3600) << true;
            QTest::addRow("%s: a minute short of a day", folder) << recordings << qint64(86400 - 60) << true;
            QTest::addRow("%s: a minute over a day", folder) << recordings << qint64(86400 + 60) << false;
            QTest::addRow("%s: 25 hours", folder) << recordings << qint64(25 * 3600) << false;
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
};

QTEST_GUILESS_MAIN(tst_StagingFolders)
#include "tst_StagingFolders.moc"
