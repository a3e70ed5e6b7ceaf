#include "ExclusiveFile.h"
#include "TestFiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

// Writes and moves onto a real full disk: a 16 KiB tmpfs that a child process mounts in a mount
// namespace of its own (its own user namespace allows that without root). /dev/full cannot
// stand in, since an exclusive create refuses a name that exists. The child reports through a
// pipe what the call said and whether the target is there.
class tst_ExclusiveFile : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

private Q_SLOTS:
    void onASmallDisk_data()
    {
        QTest::addColumn<QString>("operation"); // write, move from another disk, move within the disk
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("taken"); // a file is at the target's name already
        QTest::addColumn<QString>("message"); // none: done
        const QString full = QStringLiteral("No space left on device");
        const QString exists = QStringLiteral("File exists");
        QTest::newRow("write, disk full") << "write" << 100'000 << false << full;
        QTest::newRow("write over a file") << "write" << 100 << true << exists;
        QTest::newRow("move across disks") << "move" << 100 << false << QString();
        QTest::newRow("move across disks, disk full") << "move" << 100'000 << false << full;
        QTest::newRow("move within the disk over a file") << "move within" << 100 << true << exists;
    }
    void onASmallDisk()
    {
        QFETCH(QString, operation);
        QFETCH(int, size);
        QFETCH(bool, taken);
        QFETCH(QString, message);
        const QString disk = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()));
        const QString target = disk + QLatin1String("/file");
        QString source = writeTestFile(disk + QLatin1String(".source"), QByteArray(size, 's'));
        QVERIFY(QDir().mkpath(disk));
        int answer[2];
        QCOMPARE(::pipe(answer), 0);
        const QByteArray uid = QByteArray::number(::getuid()), gid = QByteArray::number(::getgid());
        const pid_t child = ::fork();
        if (child == 0) {
            // The user keeps its own ids inside, so that it may create files on the new disk.
            const bool ownNamespace = ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
            if (ownNamespace) {
                writeTestFile(QStringLiteral("/proc/self/setgroups"), "deny");
                writeTestFile(QStringLiteral("/proc/self/uid_map"), uid + ' ' + uid + " 1");
                writeTestFile(QStringLiteral("/proc/self/gid_map"), gid + ' ' + gid + " 1");
            }
            QByteArray report = "no namespace or tmpfs: ";
            if (!ownNamespace || ::mount("tmpfs", QFile::encodeName(disk).constData(), "tmpfs", 0, "size=16k") != 0) {
                report += std::strerror(errno);
            } else {
                if (taken)
                    writeTestFile(target, "mine");
                if (operation == QLatin1String("move within"))
                    source = writeTestFile(disk + QLatin1String("/source"), "s");
                const Result<void> done = operation == QLatin1String("write")
                    ? ExclusiveFile::write(target, QByteArray(size, 'w'))
                    : ExclusiveFile::move(source, target);
                QFile written(target);
                report = (done ? QString() : done.error().message).toUtf8() + '|'
                    + (written.open(QIODevice::ReadOnly) ? written.readAll().left(4) : "none");
            }
            ::_exit(::write(answer[1], report.constData(), size_t(report.size())) == report.size() ? 0 : 1);
        }
        ::close(answer[1]);
        QFile pipe;
        QVERIFY(pipe.open(answer[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
        const QByteArray report = pipe.readAll();
        QCOMPARE(::waitpid(child, nullptr, 0), child);
        // What was there stays; a failure leaves nothing behind; a move takes its source along.
        const QByteArray contents = taken         ? "mine"
            : !message.isEmpty()                  ? "none"
            : operation == QLatin1String("write") ? "wwww"
                                                  : "ssss";
        QCOMPARE(report, message.toUtf8() + '|' + contents);
        QCOMPARE(QFile::exists(source), operation != QLatin1String("move") || !message.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_ExclusiveFile)
#include "tst_ExclusiveFile.moc"
