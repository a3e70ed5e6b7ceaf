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
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(OutputActions)

// Deliveries through real parts: files in real folders, the X clipboard read back by xclip,
// the Catbox stand-in, the keyring for the history, and dunst showing the notification.
class tst_CaptureOutput : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
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

    // Delivers the test image, as captured at scale 2, and waits for the outcome.
    DeliveryOutcome deliver(OutputActions actions)
    {
        CaptureOutput::Screenshot shot;
        shot.image = testImage();
        shot.scale = 2.0;
        shot.actions = actions;
        if (actions.save || actions.upload)
            shot.data = QByteArray("\x89PNG\r\n\x1a\n", 8) + QByteArray(2000, 'q'); // the bytes, not decoded
        return awaitOutcome(
            [&](CaptureOutput::Completion done) { m_output->deliverScreenshot(shot, std::move(done)); });
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

    // Where a screenshot's pieces end up, next to a file of the user's that was there first and
    // stays; what the notification says of it is the outcome table's business
    // (tst_DeliveryOutcome), so here it must only match the outcome.
    void screenshotOutcomes_data()
    {
        QTest::addColumn<OutputActions>("actions");
        QTest::addColumn<QString>("fault"); // the "upload" fails, or the save "folder" cannot exist
        QTest::addColumn<bool>("linkCopied"); // or else the image
        QTest::addColumn<bool>("inFolder");
        QTest::newRow("everything on, uploaded") << OutputActions{true, true, true} << "" << true << true;
        QTest::newRow("copy and upload, upload fails") << OutputActions{true, false, true} << "upload" << false << true;
        QTest::newRow("upload only") << OutputActions{false, false, true} << "" << true << false;
        QTest::newRow("copy only") << OutputActions{true, false, false} << "" << false << false;
        // The image is not lost: it is on the clipboard all the same.
        QTest::newRow("copy and save, folder cannot exist")
            << OutputActions{true, true, false} << "folder" << false << false;
    }
    void screenshotOutcomes()
    {
        QFETCH(OutputActions, actions);
        QFETCH(QString, fault);
        QFETCH(bool, linkCopied);
        QFETCH(bool, inFolder);
        QVERIFY(QDir().mkpath(saveFolder()));
        const QString usersOwn = writeTestFile(QDir(saveFolder()).filePath(QStringLiteral("shot.png")), "mine");
        if (fault == QLatin1String("upload"))
            setCatboxFault("500\n\n");
        if (fault == QLatin1String("folder"))
            m_preferences->setValue(PreferenceKey::screenshotSaveFolderPath, QString(usersOwn + QStringLiteral("/in")));
        const qsizetype recordsBefore = m_history->records().size();
        const DeliveryOutcome outcome = deliver(actions);

        // The file: in the folder when asked for or as the fallback, under the next free name;
        // never left in staging.
        const QString name = inFolder ? QStringLiteral("shot (2).png") : QString();
        QCOMPARE(QFileInfo(outcome.savedPath).fileName(), name);
        QCOMPARE(filesIn(saveFolder()),
            (inFolder ? QStringList{name, QStringLiteral("shot.png")} : QStringList{QStringLiteral("shot.png")}));
        QCOMPARE(filesIn(QDir(stagingRoot()).filePath(QStringLiteral("Uploads"))), QStringList());
        QCOMPARE(bool(outcome.saveError), fault == QLatin1String("folder"));

        QCOMPARE(outcome.uploaded(), linkCopied);
        QCOMPARE(m_history->records().size(), recordsBefore + (linkCopied ? 1 : 0));
        QCOMPARE(outcome.copied, !linkCopied);
        if (linkCopied) {
            QCOMPARE(pasted(QStringLiteral("text/plain")), outcome.link->toString().toUtf8());
            QVERIFY(pasted(QStringLiteral("image/png")).isEmpty());
        } else {
            const QImage image = QImage::fromData(pasted(QStringLiteral("image/png")));
            QCOMPARE(image.size(), QSize(64, 48));
            QCOMPARE(image.pixel(10, 20), QRgb(0xff000000u | 40u << 16 | 100u << 8 | 0x40u));
            QCOMPARE(image.dotsPerMeterX(), qRound(144 / 0.0254));
        }
        // The one notification dunst got says what the outcome says, with the picture.
        const NotificationRequest request = outcome.notification();
        QVERIFY(QTest::qWaitFor([&] { return lastNotify().at(3).toString() == request.title; }, 10'000));
        QCOMPARE(lastNotify().at(4).toString(), request.body);
        QVERIFY(lastNotify().at(6).toObject().contains(QLatin1String("image-path")));
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
        const QStringList shot{QStringLiteral("shot.mp4")};
        QCOMPARE(filesIn(saveFolder()), kept == QLatin1String("folder") ? shot : QStringList());
        QCOMPARE(filesIn(staging), kept == QLatin1String("staging") ? shot : QStringList());
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
