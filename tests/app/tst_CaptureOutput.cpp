#include "CaptureOutput.h"
#include "CatboxUploader.h"
#include "FreedesktopNotifier.h"
#include "MediaThumbnailer.h"
#include "QtClipboard.h"
#include "SecretServiceStore.h"
#include "SessionTools.h"
#include "TestFiles.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Where a screenshot's pieces end up; what the notification says of it is the outcome table's
// business (tst_DeliveryOutcome), so here it must only match the outcome.
struct Expected
{
    QByteArray clipboard; // "link", "image" or "" for untouched
    QByteArray kept; // where the file ends: "folder" or ""
};

} // namespace

Q_DECLARE_METATYPE(OutputActions)
Q_DECLARE_METATYPE(Expected)

// Deliveries through real parts: files in real folders, the X clipboard read back by xclip,
// the Catbox stand-in, the keyring for the history, and dunst showing the notification.
class tst_CaptureOutput : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_stub = qEnvironmentVariable("CATBOX_STUB_DIR");
    QNetworkAccessManager m_network;
    SecretServiceStore m_secrets;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<UploadHistory> m_history;
    MediaThumbnailer m_thumbnailer;
    TemporaryFiles m_temporaries;
    std::unique_ptr<FreedesktopNotifier> m_notifier;
    QtClipboard m_clipboard;
    std::unique_ptr<CaptureOutput> m_output;

    QString saveFolder() const { return m_dir.filePath(QStringLiteral("Pictures")); }
    QString stagingRoot() const { return m_dir.filePath(QStringLiteral("cache")); }

    static Bitmap testImage()
    {
        Bitmap image = Bitmap::allocate(QSize(64, 48));
        for (int y = 0; y < image.height(); ++y) {
            auto *row = reinterpret_cast<quint32 *>(image.bits() + y * image.bytesPerLine());
            for (int x = 0; x < image.width(); ++x)
                row[x] = 0xff000000u | quint32(x * 4) << 16 | quint32(y * 5) << 8 | 0x40;
        }
        return image;
    }

    // Starts a delivery through `start` and waits for its outcome.
    static DeliveryOutcome awaitOutcome(const std::function<void(CaptureOutput::Completion)> &start)
    {
        std::optional<DeliveryOutcome> outcome;
        start([&outcome](const DeliveryOutcome &done) { outcome = done; });
        if (!QTest::qWaitFor([&outcome] { return outcome.has_value(); }, 30'000))
            qFatal("the delivery never finished");
        return *outcome;
    }

    DeliveryOutcome deliver(OutputActions actions)
    {
        return awaitOutcome(
            [&](CaptureOutput::Completion done) { m_output->deliverScreenshot(screenshot(actions), std::move(done)); });
    }

    static CaptureOutput::Screenshot screenshot(OutputActions actions)
    {
        CaptureOutput::Screenshot shot;
        shot.image = testImage();
        shot.scale = 2.0;
        shot.actions = actions;
        if (actions.save || actions.upload)
            shot.data = QByteArray("\x89PNG\r\n\x1a\n", 8) + QByteArray(2000, 'q'); // the bytes, not decoded
        return shot;
    }

    // The one notification dunst got says what the outcome says.
    static void expectNotification(const DeliveryOutcome &outcome)
    {
        const NotificationRequest request = outcome.notification();
        QVERIFY(QTest::qWaitFor([&] { return lastNotify().at(3).toString() == request.title; }, 10'000));
        QCOMPARE(lastNotify().at(4).toString(), request.body);
    }

    QStringList filesIn(const QString &folder) const { return QDir(folder).entryList(QDir::Files); }

private Q_SLOTS:
    void init()
    {
        QDir(saveFolder()).removeRecursively();
        QDir(stagingRoot()).removeRecursively();
        QFile::remove(m_dir.filePath(QStringLiteral("qorvel.conf")));
        setCatboxFault({});
        m_preferences = std::make_unique<Preferences>(m_dir.filePath(QStringLiteral("qorvel.conf")), saveFolder());
        m_preferences->setValue(PreferenceKey::screenshotSaveFolderPath, saveFolder());
        m_preferences->setValue(PreferenceKey::videoSaveFolderPath, saveFolder());
        m_preferences->setValue(PreferenceKey::fileNameTemplate, QStringLiteral("shot"));
        m_history = std::make_unique<UploadHistory>(m_secrets);
        m_history->clear();
        m_notifier = std::make_unique<FreedesktopNotifier>(
            QDBusConnection::sessionBus(), FreedesktopNotifier::Handlers{}, m_thumbnailer);
        m_output = std::make_unique<CaptureOutput>(
            CaptureOutput::Services{*m_preferences, StagingFolders(stagingRoot()), *m_history, *m_notifier, m_clipboard,
                [this]() -> Result<std::unique_ptr<Uploader>> {
                    return std::unique_ptr<Uploader>(
                        std::make_unique<CatboxUploader>(m_network, QStringLiteral("testhash0123456789"),
                            CatboxUploader::Options{QUrl(qEnvironmentVariable("QORVEL_CATBOX_ENDPOINT")),
                                std::chrono::seconds(20), {}, &m_temporaries}));
                },
                m_temporaries});
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    }

    void screenshotOutcomes_data()
    {
        QTest::addColumn<OutputActions>("actions");
        QTest::addColumn<bool>("uploadFails");
        QTest::addColumn<Expected>("expected");
        QTest::newRow("everything on, uploaded")
            << OutputActions{true, true, true} << false << Expected{"link", "folder"};
        QTest::newRow("copy and upload, upload fails")
            << OutputActions{true, false, true} << true << Expected{"image", "folder"};
        QTest::newRow("upload only") << OutputActions{false, false, true} << false << Expected{"link", ""};
        QTest::newRow("copy only") << OutputActions{true, false, false} << false << Expected{"image", ""};
    }
    void screenshotOutcomes()
    {
        QFETCH(OutputActions, actions);
        QFETCH(bool, uploadFails);
        QFETCH(Expected, expected);
        if (uploadFails)
            setCatboxFault("500\n\n");
        const qsizetype recordsBefore = m_history->records().size();
        const DeliveryOutcome outcome = deliver(actions);

        // The file: in the folder when asked for or as the fallback; never left in staging.
        QCOMPARE(
            filesIn(saveFolder()), expected.kept == "folder" ? QStringList{QStringLiteral("shot.png")} : QStringList());
        QCOMPARE(filesIn(QDir(stagingRoot()).filePath(QStringLiteral("Uploads"))), QStringList());
        QCOMPARE(m_history->records().size(), recordsBefore + (outcome.uploaded() ? 1 : 0));

        const QString link = outcome.link ? outcome.link->toString() : QString();
        if (expected.clipboard == "link") {
            QCOMPARE(pasted(QStringLiteral("text/plain")), link.toUtf8());
            QVERIFY(pasted(QStringLiteral("image/png")).isEmpty());
        } else if (expected.clipboard == "image") {
            const QImage image = QImage::fromData(pasted(QStringLiteral("image/png")));
            QCOMPARE(image.size(), QSize(64, 48));
            QCOMPARE(image.pixel(10, 20), QRgb(0xff000000u | 40u << 16 | 100u << 8 | 0x40u));
            QCOMPARE(image.dotsPerMeterX(), qRound(144 / 0.0254));
        } else {
            QCOMPARE(pasted(QStringLiteral("text/plain")), QByteArray("before"));
        }

        QCOMPARE(outcome.copied, expected.clipboard == "image");
        QCOMPARE(outcome.saved(), expected.kept == "folder");
        QCOMPARE(outcome.uploaded(), actions.upload && !uploadFails);
        expectNotification(outcome);
        QVERIFY(lastNotify().at(6).toObject().contains(QLatin1String("image-path")));
    }

    // Two captures in the same second, the same folder: nothing is overwritten.
    void secondCaptureGetsTheNextName()
    {
        deliver({false, true, false});
        const DeliveryOutcome second = deliver({false, true, false});
        QCOMPARE(QFileInfo(second.savedPath).fileName(), QStringLiteral("shot (2).png"));
        QCOMPARE(filesIn(saveFolder()), (QStringList{QStringLiteral("shot (2).png"), QStringLiteral("shot.png")}));
    }

    void saveFolderThatCannotExist()
    {
        const QString blocker = writeTestFile(m_dir.filePath(QStringLiteral("not-a-folder")), "file");
        m_preferences->setValue(
            PreferenceKey::screenshotSaveFolderPath, QString(blocker + QStringLiteral("/Pictures")));
        const DeliveryOutcome outcome = deliver({true, true, false});
        QVERIFY(outcome.saveError);
        // The image is not lost: it is on the clipboard all the same.
        QCOMPARE(QImage::fromData(pasted(QStringLiteral("image/png"))).size(), QSize(64, 48));
        expectNotification(outcome);
    }

    void recordingPlacement_data()
    {
        QTest::addColumn<OutputActions>("actions");
        QTest::addColumn<bool>("uploadFails");
        QTest::addColumn<QString>("kept"); // "folder", "staging" or ""
        QTest::addColumn<QString>("clipboard");
        QTest::newRow("copy only stays in staging") << OutputActions{true, false, false} << false << "staging"
                                                    << "file";
        QTest::newRow("copied link, staging emptied") << OutputActions{true, false, true} << false << ""
                                                      << "link";
        QTest::newRow("saved") << OutputActions{false, true, false} << false << "folder"
                               << "";
        QTest::newRow("failed upload falls back to the folder") << OutputActions{true, false, true} << true << "folder"
                                                                << "file";
    }
    void recordingPlacement()
    {
        QFETCH(OutputActions, actions);
        QFETCH(bool, uploadFails);
        QFETCH(QString, kept);
        QFETCH(QString, clipboard);
        m_preferences->setValue(PreferenceKey::videoCopyToClipboard, actions.copy);
        m_preferences->setValue(PreferenceKey::videoSaveToFolder, actions.save);
        m_preferences->setValue(PreferenceKey::videoUpload, actions.upload);
        if (uploadFails)
            setCatboxFault("500\n\n");
        const QString recorded
            = writeTestFile(m_dir.filePath(QStringLiteral("recorder-output.mp4")), QByteArray(4096, 'v'));

        const DeliveryOutcome outcome = awaitOutcome(
            [&](CaptureOutput::Completion done) { m_output->deliverRecording(recorded, std::move(done)); });
        QVERIFY(!QFile::exists(recorded));
        const QString staging = QDir(stagingRoot()).filePath(QStringLiteral("Recordings"));
        QCOMPARE(filesIn(saveFolder()),
            kept == QLatin1String("folder") ? QStringList{QStringLiteral("shot.mp4")} : QStringList());
        QCOMPARE(filesIn(staging),
            kept == QLatin1String("staging") ? QStringList{QStringLiteral("shot.mp4")} : QStringList());
        const QString finalPath
            = QDir(kept == QLatin1String("folder") ? saveFolder() : staging).filePath(QStringLiteral("shot.mp4"));
        if (clipboard == QLatin1String("file"))
            QCOMPARE(pasted(QStringLiteral("text/uri-list")).trimmed(), QUrl::fromLocalFile(finalPath).toEncoded());
        else if (clipboard == QLatin1String("link"))
            QCOMPARE(pasted(QStringLiteral("text/plain")), outcome.link->toString().toUtf8());
        else
            QCOMPARE(pasted(QStringLiteral("text/plain")), QByteArray("before"));
    }
};

QTEST_MAIN(tst_CaptureOutput)
#include "tst_CaptureOutput.moc"
