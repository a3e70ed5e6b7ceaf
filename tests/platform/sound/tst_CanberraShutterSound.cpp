#include "CanberraShutterSound.h"

#include <QFile>
#include <QTemporaryFile>
#include <QTest>

#include <unistd.h>

class tst_CanberraShutterSound : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Test machines have no sound card: the sound system fails on every play, and the user must
    // not see its complaints on the terminal (ALSA prints them by default). Restarting a sound and
    // destroying the player with a sound just requested must not hang either (a hang is the
    // test's time-out).
    void silentWithoutASoundDevice()
    {
        QTemporaryFile captured;
        QVERIFY(captured.open());
        const int savedStderr = ::dup(STDERR_FILENO);
        QVERIFY(savedStderr >= 0);
        ::dup2(captured.handle(), STDERR_FILENO);

        {
            CanberraShutterSound sound;
            sound.play();
            QTest::qWait(300); // the worker opens the sound system and plays
            sound.play();
            QTest::qWait(300);
            sound.play();
        }

        ::dup2(savedStderr, STDERR_FILENO);
        ::close(savedStderr);
        QCOMPARE(QFile(captured.fileName()).size(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_CanberraShutterSound)
#include "tst_CanberraShutterSound.moc"
