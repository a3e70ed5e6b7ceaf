#include "LeftoverRecordings.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

// Which files of the Recordings folder are taken for recovery: a live writer's never.
class tst_LeftoverRecordings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesOnlyWhatNoWriterHolds()
    {
        QTemporaryDir folder;
        for (const char *name : {"recording-LIVE.mp4", "recording-DEAD.mp4", "recording-BROKEN.mp4",
                 "Qorvel 2026-11-25 at 10.00.00.mp4", "recording-DEAD.mp4.index"}) {
            QFile file(folder.filePath(QLatin1String(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        // The writer of a recording that is still running holds its file.
        const int live = ::open(QFile::encodeName(folder.filePath(QStringLiteral("recording-LIVE.mp4"))), O_RDWR);
        QVERIFY(live >= 0 && flock(live, LOCK_EX | LOCK_NB) == 0);

        QStringList asked;
        const QStringList recovered = LeftoverRecordings::recover(folder.path(), [&asked](const QString &path) {
            asked << QFileInfo(path).fileName();
            return path.contains(QLatin1String("BROKEN")) ? Result<void>(Error{QStringLiteral("no frames"), {}})
                                                          : Result<void>();
        });
        asked.sort();
        QCOMPARE(asked, QStringList({QStringLiteral("recording-BROKEN.mp4"), QStringLiteral("recording-DEAD.mp4")}));
        QCOMPARE(recovered, QStringList(folder.filePath(QStringLiteral("recording-DEAD.mp4"))));
        // What could not be recovered stays for the purge.
        QVERIFY(QFile::exists(folder.filePath(QStringLiteral("recording-BROKEN.mp4"))));
        ::close(live);
    }
};

QTEST_GUILESS_MAIN(tst_LeftoverRecordings)
#include "tst_LeftoverRecordings.moc"
