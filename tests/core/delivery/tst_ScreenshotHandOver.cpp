#include "ImageEncoder.h"
#include "ScreenshotHandOver.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(OutputActions)

namespace {

// The desktop's services as the hand-over sees them. There is no sound card, clipboard or
// notification server in this test; the real ones are tested with their own servers.
struct Desk : Clipboard, Notifier, ShutterSound
{
    int clipboardWrites = 0;
    QList<NotificationRequest> notifications;
    int shutters = 0;

    void setLink(const QUrl &) override { ++clipboardWrites; }
    void setImage(const Bitmap &, double) override { ++clipboardWrites; }
    void setFile(const QString &) override { ++clipboardWrites; }
    void post(const NotificationRequest &request) override { notifications << request; }
    void play() override { ++shutters; }
};

// A secret store that keeps nothing: no upload runs in these tests.
struct NoSecrets : SecretStore
{
    Result<std::optional<QByteArray>> read(const QString &) override { return std::optional<QByteArray>(); }
    Result<void> write(const std::optional<QByteArray> &, const QString &) override { return {}; }
};

} // namespace

class tst_ScreenshotHandOver : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_desktop; // fresh for every test

    Result<DeliveryOutcome> handOver(const Bitmap &image, OutputActions actions, bool shutter, Desk &desk, int &encodes)
    {
        Preferences preferences(m_dir.filePath(QStringLiteral("qorvel.conf")), m_desktop);
        preferences.registerDefaults();
        preferences.setValue(PreferenceKey::playShutterSound, shutter);
        NoSecrets secrets;
        UploadHistory history(secrets);
        CaptureOutput output({preferences, StagingFolders(m_dir.filePath(QStringLiteral("cache"))), history, desk, desk,
            []() -> Result<std::unique_ptr<Uploader>> {
                return Error{QStringLiteral("no uploads here"), QString()};
            }});
        ScreenshotHandOver handOver(preferences, desk, desk,
            [&encodes](const Bitmap &bitmap, ImageFormat format, double scale, double quality) {
                ++encodes;
                return ImageEncoder::encode(bitmap, format, scale, quality);
            });
        std::optional<Result<DeliveryOutcome>> result;
        handOver.handOver({image, 1.0, ImageFormat::png, 0.9, actions, QString()}, output,
            [&result](Result<DeliveryOutcome> done) { result = std::move(done); });
        if (!QTest::qWaitFor([&result] { return result.has_value(); }, 10'000))
            return Error{QStringLiteral("never finished"), QString()};
        return *result;
    }

private Q_SLOTS:
    void init()
    {
        m_desktop = m_dir.filePath(QStringLiteral("Desktop-%1").arg(QLatin1String(QTest::currentTestFunction())));
    }

    void encodesOnlyWhatIsKept_data()
    {
        QTest::addColumn<OutputActions>("actions");
        QTest::addColumn<int>("encodes");
        QTest::newRow("copy only") << OutputActions{true, false, false} << 0;
        QTest::newRow("nothing") << OutputActions{false, false, false} << 0;
        QTest::newRow("save") << OutputActions{true, true, false} << 1;
    }
    void encodesOnlyWhatIsKept()
    {
        QFETCH(OutputActions, actions);
        QFETCH(int, encodes);
        Desk desk;
        int encoded = 0;
        const Result<DeliveryOutcome> outcome = handOver(Bitmap::allocate(QSize(8, 8)), actions, true, desk, encoded);
        QVERIFY(outcome.ok());
        QCOMPARE(encoded, encodes);
        QCOMPARE(desk.shutters, 1);
        QCOMPARE(desk.notifications.size(), 1);
    }

    // An image the encoder refuses is reported once, in the user's words, and goes no further.
    void encodingFailureStopsTheDelivery()
    {
        Desk desk;
        int encoded = 0;
        const Result<DeliveryOutcome> outcome = handOver(Bitmap(), {true, true, false}, false, desk, encoded);
        QVERIFY(!outcome.ok());
        QCOMPARE(desk.shutters, 0);
        QCOMPARE(desk.clipboardWrites, 0);
        QCOMPARE(desk.notifications.size(), 1);
        QCOMPARE(desk.notifications.first().title, QStringLiteral("Couldn't save the screenshot"));
        QCOMPARE(desk.notifications.first().body, QStringLiteral("Couldn't encode the image."));
        QVERIFY(desk.notifications.first().failure);
        QVERIFY(!QDir(m_desktop).exists());
    }
};

QTEST_GUILESS_MAIN(tst_ScreenshotHandOver)
#include "tst_ScreenshotHandOver.moc"
