#include "ScreenCaptureAccess.h"
#include "ScreenRecordingPermission.h"
#include "ScreenshotService.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

// Stand-ins for the desktop: a unit test has no screen, overlay, clipboard or notification
// server. The real ones run in the end-to-end tests; here the service's own decisions are
// counted (what is encoded, what sounds, what is reported).
struct Desk : ScreenCapturePlatform, ScreenCaptureAccess, TargetSelector, Clipboard, Notifier, ShutterSound
{
    ScreenDisplay display{7, QRectF(0, 0, 40, 30), 1.0, QRect(0, 0, 40, 30), QStringLiteral("test")};
    Probe probeAnswer{ProbeOutcome::ok, {}};
    QList<NotificationRequest> notifications;
    int shutters = 0;
    int selections = 0;

    Result<ScreenContent> shareableContent() override { return ScreenContent{{display}, {}, {}}; }
    Result<Bitmap> grabDisplayArea(const ScreenDisplay &, const QRectF &, PixelSize size) override
    {
        return Bitmap::allocate(QSize(int(size.width), int(size.height)));
    }
    Result<Bitmap> grabWindow(const ScreenWindow &, double, PixelSize, WindowShadow) override { return Bitmap(); }
    std::optional<QPointF> pointerPosition() override { return std::nullopt; }

    bool preflight() override { return true; }
    void request() override { }
    Probe probe() override { return probeAnswer; }
    void openSettings() override { }

    // The user picks the whole display at once.
    void select(bool, Completion done) override
    {
        ++selections;
        // The screens, unowned: they live as long as the test.
        const std::shared_ptr<ScreenCapturePlatform> screens(std::shared_ptr<void>(), this);
        done(std::optional<Selection>(Selection{CaptureTarget::display(7), screens}));
    }
    bool isSelecting() const override { return false; }
    void cancel() override { }

    void setLink(const QUrl &) override { }
    void setImage(const Bitmap &, double) override { }
    void setFile(const QString &) override { }
    void post(const NotificationRequest &request) override { notifications << request; }
    void play() override { ++shutters; }
};

struct NoSecrets : SecretStore
{
    Result<std::optional<QByteArray>> read(const QString &) override { return std::optional<QByteArray>(); }
    Result<void> write(const std::optional<QByteArray> &, const QString &) override { return {}; }
};

} // namespace

class tst_ScreenshotService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Encoding happens only for what is kept as a file; the shutter sounds only for the user's
    // own selections with the preference on; a screen that cannot be read stops a selection
    // before it opens, with the platform's reason; the answer always comes from the event loop,
    // never inside take(), where a caller could not yet be waiting for it.
    void runsEachStepOnlyWhenItIsNeeded_data()
    {
        QTest::addColumn<bool>("select");
        QTest::addColumn<bool>("save");
        QTest::addColumn<bool>("encoderWorks");
        QTest::addColumn<int>("encodes");
        QTest::addColumn<int>("shutters");
        QTest::addColumn<ScreenshotOutcome::Kind>("kind");
        QTest::newRow("scripted save") << false << true << true << 1 << 0 << ScreenshotOutcome::Kind::delivered;
        QTest::newRow("selected copy") << true << false << true << 0 << 1 << ScreenshotOutcome::Kind::delivered;
        QTest::newRow("selected, encoder fails") << true << true << false << 1 << 1 << ScreenshotOutcome::Kind::failed;
        QTest::newRow("selected, screen unreadable")
            << true << true << true << 0 << 0 << ScreenshotOutcome::Kind::unavailable;
    }
    void runsEachStepOnlyWhenItIsNeeded()
    {
        QFETCH(bool, select);
        QFETCH(bool, save);
        QFETCH(bool, encoderWorks);
        QFETCH(int, encodes);
        QFETCH(int, shutters);
        QFETCH(ScreenshotOutcome::Kind, kind);

        QTemporaryDir dir;
        Preferences preferences(dir.filePath(QStringLiteral("qorvel.conf")), dir.filePath(QStringLiteral("Desktop")));
        Desk desk;
        if (kind == ScreenshotOutcome::Kind::unavailable)
            desk.probeAnswer = {ScreenCaptureAccess::ProbeOutcome::failed, QStringLiteral("no screen")};
        NoSecrets secrets;
        UploadHistory history(secrets);
        TemporaryFiles temporaries;
        CaptureOutput output({preferences, StagingFolders(dir.filePath(QStringLiteral("cache"))), history, desk, desk,
            []() -> Result<std::unique_ptr<Uploader>> {
                return Error{QStringLiteral("no uploads here"), {}};
            },
            temporaries});
        ScreenRecordingPermission permission(desk);
        int encoded = 0;
        ScreenshotService service({preferences, desk, permission, desk, desk, desk, output,
            [&](const Bitmap &, ImageFormat, double, double) -> Result<QByteArray> {
                ++encoded;
                if (!encoderWorks)
                    return Error{QStringLiteral("Couldn't encode the image."), {}};
                return QByteArray("not really a PNG");
            }});

        ScreenshotRequest request = select ? ScreenshotRequest::userSelection() : ScreenshotRequest();
        request.copy = true;
        request.save = save;
        request.upload = false;
        std::optional<ScreenshotOutcome> outcome;
        service.take(request, [&outcome](const ScreenshotOutcome &done) { outcome = done; });
        QVERIFY(!outcome);
        QTRY_VERIFY(outcome);

        QCOMPARE(outcome->kind, kind);
        QCOMPARE(encoded, encodes);
        QCOMPARE(desk.shutters, shutters);
        QCOMPARE(desk.selections, select && kind != ScreenshotOutcome::Kind::unavailable ? 1 : 0);
        if (kind == ScreenshotOutcome::Kind::unavailable)
            QCOMPARE(outcome->error.message, QStringLiteral("no screen"));
        if (kind == ScreenshotOutcome::Kind::failed) {
            // Reported once, in the user's words, and nothing was kept.
            QCOMPARE(
                outcome->error.message, QStringLiteral("Couldn't save the screenshot: Couldn't encode the image."));
            QCOMPARE(desk.notifications.size(), 1);
            QCOMPARE(desk.notifications.first().title, QStringLiteral("Couldn't save the screenshot"));
            QVERIFY(!QDir(dir.filePath(QStringLiteral("Desktop"))).exists());
        }
    }
};

QTEST_GUILESS_MAIN(tst_ScreenshotService)
#include "tst_ScreenshotService.moc"
