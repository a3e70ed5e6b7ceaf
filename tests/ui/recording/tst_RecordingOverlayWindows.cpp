#include "RecordingOverlayWindows.h"
#include "SessionTools.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

// The overlays on a real X server, read back from the root window as a recording would see it.
namespace {

// Pixels of the frame's red in `area`.
int redPixels(const QImage &image, const QRect &area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            count += qRed(pixel) > 200 && qGreen(pixel) < 120 && qBlue(pixel) < 120 ? 1 : 0;
        }
    }
    return count;
}

} // namespace

class tst_RecordingOverlayWindows : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    RecordingOverlayWindows m_overlays;

    QImage screen() const { return screenRegion(QGuiApplication::primaryScreen()->geometry(), m_dir.path()); }

private Q_SLOTS:
    // Dashes all round the region and not one red pixel inside it; none on a whole display.
    void theFrameLiesOutsideTheRegion_data()
    {
        QTest::addColumn<QRect>("region");
        QTest::addColumn<bool>("shown");
        QTest::newRow("area") << QRect(200, 150, 300, 200) << true;
        QTest::newRow("display") << QGuiApplication::primaryScreen()->geometry() << false;
    }
    void theFrameLiesOutsideTheRegion()
    {
        QFETCH(QRect, region);
        QFETCH(bool, shown);
        m_overlays.showFrame(QRectF(region));
        QTest::qWait(300);
        const QImage shot = screen();
        m_overlays.hideFrame();
        QCOMPARE(redPixels(shot, region), 0);
        if (!shown)
            return;
        for (const QRect &band : {QRect(region.left(), region.top() - 3, region.width(), 3),
                 QRect(region.left(), region.bottom() + 1, region.width(), 3),
                 QRect(region.left() - 3, region.top(), 3, region.height()),
                 QRect(region.right() + 1, region.top(), 3, region.height())})
            QVERIFY2(redPixels(shot, band) > band.width() * band.height() / 5, "a side without its dashes");
        QTest::qWait(200);
        QCOMPARE(redPixels(screen(), region.adjusted(-4, -4, 4, 4)), 0); // hidden again
    }

    void theCountdown_data()
    {
        QTest::addColumn<bool>("cancelled");
        QTest::newRow("runs out") << false;
        QTest::newRow("cancelled") << true;
    }
    // Asked after every tenth of a second: thirty times when it runs out, and a cancel is seen at
    // the very next step.
    void theCountdown()
    {
        QFETCH(bool, cancelled);
        bool wanted = true;
        int asked = 0;
        std::optional<bool> ranOut;
        QElapsedTimer clock;
        clock.start();
        m_overlays.runCountdown(
            QRectF(100, 100, 400, 300),
            [&] {
                ++asked;
                return wanted;
            },
            [&ranOut](bool out) { ranOut = out; });
        int askedBeforeCancel = 0;
        if (cancelled) {
            QTRY_VERIFY(asked >= 12);
            wanted = false;
            askedBeforeCancel = asked;
        }
        QTRY_VERIFY_WITH_TIMEOUT(ranOut.has_value(), 5000);
        QCOMPARE(*ranOut, !cancelled);
        QCOMPARE(asked, cancelled ? askedBeforeCancel + 1 : 30);
        if (!cancelled)
            QVERIFY(clock.elapsed() >= 3000);
    }
};

QTEST_MAIN(tst_RecordingOverlayWindows)
#include "tst_RecordingOverlayWindows.moc"
