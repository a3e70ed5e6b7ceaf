#include "ScreenCaptureAccess.h"
#include "ScreenRecordingPermission.h"

#include <QTest>

namespace {

// On X11 access is never refused: permission is whether a 1x1 grab works, which the stand-in
// answers here; the real grab is checked against a server in tst_X11ScreenCapture.
class StandInAccess : public ScreenCaptureAccess
{
public:
    Probe probeAnswer{ProbeOutcome::ok, {}};

    bool preflight() override { return true; }
    void request() override { }
    Probe probe() override { return probeAnswer; }
    void openSettings() override { }
};

using Status = ScreenRecordingPermission::Status;
using Outcome = ScreenCaptureAccess::ProbeOutcome;

} // namespace

Q_DECLARE_METATYPE(ScreenRecordingPermission::Status)

class tst_ScreenRecordingPermission : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void status_data()
    {
        QTest::addColumn<int>("outcome");
        QTest::addColumn<Status>("expected");
        QTest::newRow("grab works: granted") << int(Outcome::ok) << Status::granted();
        // The server's reason reaches the user, who can do something about it.
        QTest::newRow("grab fails: failed with the reason")
            << int(Outcome::failed) << Status::failed(QStringLiteral("no screen"));
    }
    void status()
    {
        QFETCH(int, outcome);
        QFETCH(Status, expected);
        StandInAccess access;
        access.probeAnswer = {Outcome(outcome), QStringLiteral("no screen")};
        QCOMPARE(ScreenRecordingPermission(access).currentStatus(), expected);
    }
};

QTEST_GUILESS_MAIN(tst_ScreenRecordingPermission)
#include "tst_ScreenRecordingPermission.moc"
