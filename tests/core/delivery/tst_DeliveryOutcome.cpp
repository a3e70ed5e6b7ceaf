#include "DeliveryOutcome.h"
#include "ThumbnailSize.h"

#include <QTest>

namespace {

const QString folder = QStringLiteral("/home/u/Pictures/");
const QString saved = folder + QStringLiteral("Qorvel 2026-11-21 at 09.05.07.png");
const QUrl uploadLink(QStringLiteral("https://files.catbox.moe/abc123.png"));

DeliveryOutcome outcome(UploadKind kind, bool saveOn, bool uploadRan, bool uploaded, bool copied, bool hasFile)
{
    DeliveryOutcome result;
    result.kind = kind;
    result.saveWasOn = saveOn;
    result.uploadRan = uploadRan;
    if (uploaded)
        result.link = uploadLink;
    else if (uploadRan)
        result.uploadError = QStringLiteral("Catbox rejected the file (HTTP 500).");
    result.copied = copied;
    if (hasFile)
        result.savedPath = saved;
    return result;
}

} // namespace

Q_DECLARE_METATYPE(DeliveryOutcome)

class tst_DeliveryOutcome : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every row of the outcome table, for both kinds where the texts differ.
    void notification_data()
    {
        QTest::addColumn<DeliveryOutcome>("outcome");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("action"); // "", "open" or "reveal"
        QTest::addColumn<bool>("failure");
        const auto row = [](const char *name, const DeliveryOutcome &outcome, const char *title, const QString &body,
                             const char *action, bool failure) {
            QTest::newRow(name) << outcome << QString::fromUtf8(title) << body << QString::fromLatin1(action)
                                << failure;
        };
        const auto image = UploadKind::image;
        const auto video = UploadKind::video;
        const QString savedLine = QStringLiteral("Saved: Qorvel 2026-11-21 at 09.05.07.png");
        const QString rejected = QStringLiteral("Catbox rejected the file (HTTP 500).\n");
        const QString link = uploadLink.toString();
        row("ready", outcome(image, false, false, false, false, false), "Screenshot ready", {}, "", false);
        row("recording copied", outcome(video, false, false, false, true, false), "Recording copied to clipboard", {},
            "", false);
        row("saved", outcome(image, true, false, false, false, true), "Screenshot saved", savedLine, "reveal", false);
        row("recording saved and copied", outcome(video, true, false, false, true, true), "Recording saved and copied",
            savedLine, "reveal", false);
        row("uploaded", outcome(image, false, true, true, false, false), "Screenshot uploaded, link copied", link,
            "open", false);
        row("uploaded and saved", outcome(video, true, true, true, false, true), "Recording uploaded, link copied",
            link + u'\n' + savedLine, "open", false);
        row("upload failed, copied, fallback", outcome(image, false, true, false, true, true), "Upload failed",
            rejected + QStringLiteral("The image was copied to the clipboard.\nSaved as a fallback: ") + saved,
            "reveal", true);
        row("upload failed, saved", outcome(video, true, true, false, false, true), "Upload failed",
            rejected + savedLine, "reveal", true);
        row("upload failed, nothing kept", outcome(video, false, true, false, true, false), "Upload failed",
            rejected + QStringLiteral("The file was copied to the clipboard."), "", true);
        DeliveryOutcome saveFailed = outcome(image, true, false, false, true, false);
        saveFailed.saveError = Error{QStringLiteral("Permission denied"), QString()};
        row("save failed", saveFailed, "Couldn't save the file", QStringLiteral("Permission denied"), "", true);
        // With an upload, a failed save is told within the upload's notification instead.
        DeliveryOutcome saveFailedUploaded = outcome(image, true, true, true, false, false);
        saveFailedUploaded.saveError = saveFailed.saveError;
        row("save failed, uploaded", saveFailedUploaded, "Screenshot uploaded, link copied", link, "open", false);
    }
    void notification()
    {
        QFETCH(DeliveryOutcome, outcome);
        QFETCH(QString, title);
        QFETCH(QString, body);
        QFETCH(QString, action);
        QFETCH(bool, failure);
        const NotificationRequest request = outcome.notification();
        QCOMPARE(request.title, title);
        QCOMPARE(request.body, body);
        QCOMPARE(request.failure, failure);
        if (action.isEmpty()) {
            QVERIFY(!request.action);
        } else if (action == QLatin1String("open")) {
            QCOMPARE(request.action, NotificationAction::openUrl(uploadLink));
        } else {
            QCOMPARE(request.action, NotificationAction::revealFile(saved));
        }
    }

    void thumbnailSizes_data()
    {
        QTest::addColumn<QSize>("image");
        QTest::addColumn<QSize>("thumbnail");
        QTest::newRow("wide") << QSize(4000, 1000) << QSize(512, 128);
        QTest::newRow("small stays") << QSize(300, 200) << QSize(300, 200);
        QTest::newRow("rounds to nearest") << QSize(1025, 1000) << QSize(512, 500);
        QTest::newRow("a sliver keeps a pixel") << QSize(10000, 3) << QSize(512, 1);
    }
    void thumbnailSizes()
    {
        QFETCH(QSize, image);
        QFETCH(QSize, thumbnail);
        QCOMPARE(thumbnailSize(image), thumbnail);
    }
};

QTEST_GUILESS_MAIN(tst_DeliveryOutcome)
#include "tst_DeliveryOutcome.moc"
