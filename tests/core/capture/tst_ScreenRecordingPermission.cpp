#include "ScreenCaptureAccess.h"
#include "ScreenRecordingPermissionMonitor.h"

#include <QSignalSpy>
#include <QTest>

namespace {

// X11 never refuses access, so the refusing answers of a permission-based desktop come from a
// stand-in here; the X11 answers are checked against a real server in tst_X11ScreenCapture.
class StandInAccess : public ScreenCaptureAccess
{
public:
    bool preflightAnswer = false;
    bool preflightAfterProbe = false;
    Probe probeAnswer{ProbeOutcome::ok, {}};
    int probes = 0;
    int requests = 0;

    bool preflight() override { return probes > 0 ? preflightAfterProbe : preflightAnswer; }
    void request() override { ++requests; }
    Probe probe() override
    {
        ++probes;
        return probeAnswer;
    }
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
        QTest::addColumn<bool>("preflight");
        QTest::addColumn<bool>("requested");
        QTest::addColumn<int>("outcome");
        QTest::addColumn<bool>("preflightAfterProbe");
        QTest::addColumn<Status>("expected");
        QTest::addColumn<int>("probes");

        QTest::newRow("fresh: denied without probing")
            << false << false << int(Outcome::ok) << false << Status::denied() << 0;
        QTest::newRow("requested: probe granted")
            << false << true << int(Outcome::ok) << false << Status::granted() << 1;
        QTest::newRow("requested: declined")
            << false << true << int(Outcome::declined) << true << Status::denied() << 1;
        QTest::newRow("present but unreadable")
            << true << false << int(Outcome::failed) << true << Status::failed(QStringLiteral("no screen")) << 1;
        QTest::newRow("failure without permission")
            << false << true << int(Outcome::failed) << false << Status::denied() << 1;
    }

    void status()
    {
        QFETCH(bool, preflight);
        QFETCH(bool, requested);
        QFETCH(int, outcome);
        QFETCH(bool, preflightAfterProbe);
        QFETCH(Status, expected);
        QFETCH(int, probes);

        StandInAccess access;
        access.preflightAnswer = preflight;
        access.preflightAfterProbe = preflightAfterProbe;
        access.probeAnswer = {Outcome(outcome), QStringLiteral("no screen")};
        ScreenRecordingPermission permission(access);
        if (requested)
            permission.markAccessRequested();
        QCOMPARE(permission.currentStatus(), expected);
        QCOMPARE(access.probes, probes);
    }

    void pollingRunsOnceAndStopsWhenGranted()
    {
        StandInAccess access;
        access.probeAnswer = {Outcome::declined, {}};
        ScreenRecordingPermission permission(access);
        ScreenRecordingPermissionMonitor monitor(permission);
        QVERIFY(!monitor.status());

        monitor.openSettings();
        QCOMPARE(access.requests, 1);
        QVERIFY(monitor.didOpenSettings());
        QCOMPARE(monitor.status(), Status::denied());
        QVERIFY(monitor.isPolling());
        monitor.startPolling();
        QCOMPARE(access.probes, 1); // a second start did not start a second loop

        access.probeAnswer = {Outcome::ok, {}};
        QTRY_COMPARE_WITH_TIMEOUT(monitor.status(), Status::granted(), 4000);
        QVERIFY(!monitor.isPolling());
        QCOMPARE(access.probes, 2);
    }
};

QTEST_GUILESS_MAIN(tst_ScreenRecordingPermission)
#include "tst_ScreenRecordingPermission.moc"
