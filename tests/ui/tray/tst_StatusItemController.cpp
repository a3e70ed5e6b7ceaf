#include "StatusIcon.h"
#include "StatusItemController.h"
#include "TrayMenu.h"

#include <QApplication>
#include <QTest>

#include <cmath>

// The tray item as a StatusNotifierItem host shows it: the menu through dbusmenu, the tooltip
// through the item's properties.
class tst_StatusItemController : public QObject
{
    Q_OBJECT

private:
    QList<UploadRecord> m_records;
    QStringList m_calls;
    std::unique_ptr<StatusItemController> m_item;
    TrayMenu m_tray;

    static UploadRecord record(UploadKind kind, bool deletable, const QString &name)
    {
        return UploadRecord::fromResult({QUrl(QLatin1String("https://files.catbox.moe/") + name), name, deletable},
            kind, QDateTime::currentDateTimeUtc());
    }

private Q_SLOTS:
    void initTestCase()
    {
        StatusItemController::Actions actions;
        actions.takeScreenshot = [this] { m_calls << QStringLiteral("takeScreenshot"); };
        actions.toggleRecording = [this] { m_calls << QStringLiteral("toggleRecording"); };
        actions.recentUploads = [this] { return m_records; };
        actions.copyUpload
            = [this](const UploadRecord &shown) { m_calls << QLatin1String("copy ") + shown.remoteName; };
        actions.deleteUpload
            = [this](const UploadRecord &shown) { m_calls << QLatin1String("delete ") + shown.remoteName; };
        actions.clearUploads = [this] { m_calls << QStringLiteral("clear"); };
        actions.openSaveFolder = actions.showSettings = actions.showAbout = [] {};
        actions.quit = [] {};
        const auto shortcuts = [](const QString &name) {
            if (name == QLatin1String("captureScreenshot"))
                return QKeySequence(Qt::SHIFT | Qt::ALT | Qt::Key_4);
            if (name == QLatin1String("recordVideo"))
                return QKeySequence(Qt::SHIFT | Qt::ALT | Qt::Key_5);
            return QKeySequence();
        };
        m_item = std::make_unique<StatusItemController>(actions, shortcuts, StatusItemController::ForegroundProbe());
        QVERIFY(StatusItemController::trayAvailable());
        m_item->install();
        QVERIFY(m_tray.waitForItem());
    }

    void emptyHistory()
    {
        m_records.clear();
        QCOMPARE(m_tray.layout(),
            QStringList({QStringLiteral("Take Screenshot\tAlt+Shift+4"), QStringLiteral("Record Video\tAlt+Shift+5"),
                QStringLiteral("-"), QStringLiteral("Recent Uploads"), QStringLiteral("  No Uploads (disabled)"),
                QStringLiteral("Open Save Folder"), QStringLiteral("-"), QStringLiteral("Settings…\tControl+,"),
                QStringLiteral("About Qorvel"), QStringLiteral("-"), QStringLiteral("Quit Qorvel\tControl+Q")}));
        QVERIFY(m_tray.click({QStringLiteral("Take Screenshot")}));
        QTRY_COMPARE(m_calls, QStringList{QStringLiteral("takeScreenshot")});
        m_calls.clear();
    }

    void eachUploadIsASubmenu()
    {
        m_records = {record(UploadKind::image, true, QStringLiteral("a1.png")),
            record(UploadKind::video, false, QStringLiteral("b2.mp4"))};
        const QString time = QLocale().toString(m_records.first().date.toLocalTime().time(), QLocale::ShortFormat);
        const QStringList lines = m_tray.layout();
        const QString screenshot = QStringLiteral("Screenshot · Today at ") + time;
        const QString recording = QStringLiteral("Recording · Today at ") + time;
        QCOMPARE(lines.mid(3, 12),
            QStringList({QStringLiteral("Recent Uploads"), QLatin1String("  ") + screenshot,
                QStringLiteral("    Copy Link"), QStringLiteral("    Open in Browser"),
                QStringLiteral("    Delete from Catbox…"), QLatin1String("  ") + recording,
                QStringLiteral("    Copy Link"), QStringLiteral("    Open in Browser"),
                QStringLiteral("    Delete from Catbox… (uploaded anonymously) (disabled)"), QStringLiteral("  -"),
                QStringLiteral("  Click a file for its link, or delete it from Catbox (disabled)"),
                QStringLiteral("  Clear History")}));

        QVERIFY(m_tray.click({QStringLiteral("Recent Uploads"), recording, QStringLiteral("Copy Link")}));
        QTRY_COMPARE(m_calls, QStringList{QStringLiteral("copy b2.mp4")});
        m_calls.clear();
    }

    void toolTipFollowsTheState()
    {
        m_item->setUploadProgress(0.999);
        QTRY_COMPARE(m_tray.toolTip(), QStringLiteral("Uploading… 99%"));
        m_item->setRecording(60.9); // whole seconds, never rounded up
        QTRY_COMPARE(m_tray.toolTip(), QStringLiteral("Recording 1:00\nStop recording (Alt+Shift+5) · Esc cancels"));
        QTRY_COMPARE(m_tray.layout().at(1), QStringLiteral("Stop Recording\tAlt+Shift+5"));
        m_item->setRecording(std::nullopt);
        QTRY_COMPARE(m_tray.toolTip(), QStringLiteral("Uploading… 99%"));
        m_item->setUploadProgress(std::nullopt);
        QTRY_COMPARE(m_tray.toolTip(), QStringLiteral("Qorvel"));
    }

    // A tray shows the picture at its own size: each must be drawn on whole pixels, or the
    // pattern goes soft.
    void iconIsSharpAtEverySize_data()
    {
        QTest::addColumn<int>("side");
        QTest::addColumn<double>("scale");
        for (const int side : {16, 22, 24, 32})
            for (const double scale : {1.0, 2.0})
                QTest::addRow("%d at %gx", side, scale) << side << scale;
    }
    void iconIsSharpAtEverySize()
    {
        QFETCH(int, side);
        QFETCH(double, scale);
        StatusIcon::Look look;
        look.foreground = QColor(0x20, 0x40, 0x60);
        const QImage image = StatusIcon::make(look).pixmap(QSize(side, side), scale).toImage();
        QCOMPARE(image.size(), QSize(side, side) * scale);
        int filled = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                QVERIFY2(qAlpha(pixel) == 0 || pixel == look.foreground.rgba(),
                    qPrintable(QStringLiteral("%1,%2").arg(x).arg(y)));
                filled += qAlpha(pixel) == 255;
            }
        }
        // Nineteen cells of the pattern's thirty-five are filled.
        const double cell = image.width() / 7.0;
        QVERIFY(std::abs(filled - 19 * cell * cell) < 19 * 2 * cell);
    }
};

QTEST_MAIN(tst_StatusItemController)
#include "tst_StatusItemController.moc"
