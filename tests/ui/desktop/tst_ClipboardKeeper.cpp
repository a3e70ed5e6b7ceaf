#include "ClipboardKeeper.h"
#include "SessionTools.h"

#include <QGuiApplication>
#include <QProcess>
#include <QTest>

#include <cstdio>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace {

// `tst_ClipboardKeeper copy` stands in for `qorvel screenshot --copy`: it copies from
// a process whose Qt runs its X connection's thread, prints the keeper's pid and exits.
int copyAndExit(char **argv)
{
    int qtArgc = 1;
    QGuiApplication app(qtArgc, argv);
    const Result<qint64> keeper = ClipboardKeeper::keepInBackground(
        [](Clipboard &clipboard) { clipboard.setFile(QStringLiteral("/tmp/a b")); });
    if (!keeper)
        std::fprintf(stderr, "%s (%s)\n", qPrintable(keeper.error().message), qPrintable(keeper.error().detail));
    else
        std::printf("%lld\n", static_cast<long long>(*keeper));
    return keeper ? 0 : 1;
}

// The exit status of `pid`, a child of this process, or -1 while it still runs after 5 s.
int exitStatus(pid_t pid)
{
    int status = 0;
    if (!QTest::qWaitFor([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, 5000))
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

class tst_ClipboardKeeper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The keepers of the copying processes are reparented here, so their end can be waited for.
    void initTestCase() { QCOMPARE(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }

    // The copy outlives the process that made it; the keeper ends when another program takes
    // the clipboard. An image travels the same way, as bytes of its MIME type.
    void keepsTheCopyUntilTaken()
    {
        // Through a pipe, as `qorvel screenshot --copy | cat`: the pipeline must end with the
        // command, not when the keeper lets go of the pipe.
        QProcess shell;
        shell.start(QStringLiteral("sh"),
            {QStringLiteral("-c"), QStringLiteral("\"$0\" copy | cat"), QCoreApplication::applicationFilePath()});
        QVERIFY(shell.waitForFinished(15000));
        const pid_t keeper = shell.readAllStandardOutput().trimmed().toInt();
        QVERIFY2(keeper > 0, shell.readAllStandardError().constData());

        QCOMPARE(pasted(QStringLiteral("text/uri-list")), QByteArray("file:///tmp/a%20b\r\n"));
        QCOMPARE(QProcess::execute(QStringLiteral("sh"),
                     {QStringLiteral("-c"), QStringLiteral("printf x | xclip -selection clipboard -i -loops 1")}),
            0);
        QCOMPARE(exitStatus(keeper), 0);
        QCOMPARE(pasted(QStringLiteral("UTF8_STRING")), QByteArray("x"));
    }
};

int main(int argc, char *argv[])
{
    if (ClipboardKeeper::isKeeperInvocation(argc, argv))
        return ClipboardKeeper::runKeeper(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], "copy") == 0)
        return copyAndExit(argv);
    QCoreApplication app(argc, argv);
    tst_ClipboardKeeper test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ClipboardKeeper.moc"
