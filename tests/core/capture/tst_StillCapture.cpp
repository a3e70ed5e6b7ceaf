#include "CaptureError.h"
#include "FrozenScreenCapture.h"
#include "StillCapture.h"

#include <QTest>

namespace {

// The target lookup, size check and error mapping run against made-up screen content: the
// real X11 adapter cannot be told to lose a display between listing and grabbing.
class MadeUpPlatform : public ScreenCapturePlatform
{
public:
    ScreenContent content;
    QString lastGrab;
    PixelSize lastSize;

    Result<ScreenContent> shareableContent() override { return content; }

    Result<Bitmap> grabDisplayArea(const ScreenDisplay &display, const QRectF &area, PixelSize size) override
    {
        lastGrab = QStringLiteral("display %1 %2,%3 %4x%5")
                       .arg(display.id)
                       .arg(area.x())
                       .arg(area.y())
                       .arg(area.width())
                       .arg(area.height());
        lastSize = size;
        return Bitmap::allocate(QSize(int(size.width), int(size.height)));
    }

    Result<Bitmap> grabWindow(const ScreenWindow &window, double, PixelSize size, WindowShadow) override
    {
        lastGrab = QStringLiteral("window %1").arg(window.id);
        lastSize = size;
        return Bitmap::allocate(QSize(int(size.width), int(size.height)));
    }

    std::optional<QPointF> pointerPosition() override { return std::nullopt; }
};

} // namespace

Q_DECLARE_METATYPE(CaptureTarget)
Q_DECLARE_METATYPE(PixelSize)

class tst_StillCapture : public QObject
{
    Q_OBJECT

private:
    MadeUpPlatform m_platform;

private Q_SLOTS:
    void init()
    {
        // Two displays side by side, the right one at scale 2; a window straddling both.
        m_platform.content.displays = {
            {7, QRectF(0, 0, 1920, 1080), 1, QRect(0, 0, 1920, 1080), QStringLiteral("left")},
            {9, QRectF(1920, 0, 1280, 800), 2, QRect(1920, 0, 2560, 1600), QStringLiteral("right")},
        };
        m_platform.content.windows = {{41, QRectF(1800, 100, 400, 300), 1234}};
        m_platform.lastGrab.clear();
    }

    // What is grabbed for each target, at which size and scale. Halves of a pixel round away
    // from zero, and an area is cut at its display's edge before anything is counted or
    // allocated, however large; an area that leaves nothing is refused before any grab.
    void capture_data()
    {
        QTest::addColumn<CaptureTarget>("target");
        QTest::addColumn<QString>("grab"); // empty: refused
        QTest::addColumn<PixelSize>("size");
        QTest::addColumn<double>("scale");
        QTest::newRow("display at its scale")
            << CaptureTarget::display(9) << QStringLiteral("display 9 0,0 1280x800") << PixelSize{2560, 1600} << 2.0;
        QTest::newRow("half pixels round away from zero")
            << CaptureTarget::area(9, QRectF(0, 0, 10.25, 0.4)) << QStringLiteral("display 9 0,0 10.25x0.4")
            << PixelSize{21, 1} << 2.0;
        QTest::newRow("an area beyond the display")
            << CaptureTarget::area(9, QRectF(1200, 700, 1e300, 1e300)) << QStringLiteral("display 9 1200,700 80x100")
            << PixelSize{160, 200} << 2.0;
        QTest::newRow("an area off the display")
            << CaptureTarget::area(7, QRectF(5000, 0, 100, 100)) << QString() << PixelSize{} << 0.0;
        QTest::newRow("window takes the scale of most of it")
            << CaptureTarget::window(41) << QStringLiteral("window 41") << PixelSize{800, 600} << 2.0;
    }

    void capture()
    {
        QFETCH(CaptureTarget, target);
        QFETCH(QString, grab);
        QFETCH(PixelSize, size);
        QFETCH(double, scale);
        const Result<CapturedStill> still = StillCapture(m_platform).capture(target, WindowShadow::excluded);
        QCOMPARE(m_platform.lastGrab, grab);
        if (grab.isEmpty()) {
            QVERIFY(!still.ok());
            QCOMPARE(still.error().message, description(CaptureError::emptySelection));
            return;
        }
        QVERIFY2(still.ok(), qPrintable(still.ok() ? QString() : still.error().message));
        QCOMPARE(m_platform.lastSize, size);
        QCOMPARE(still->scale, scale);
        QCOMPARE(still->image.size(), QSize(int(size.width), int(size.height)));
    }

    // The overlay's frozen grabs are cut to what was frozen, however large the area asked for.
    void frozenAreasAreCutToTheGrab_data()
    {
        QTest::addColumn<QRectF>("area");
        QTest::addColumn<QSize>("cut"); // none: the selected area is empty
        QTest::newRow("beyond the edge") << QRectF(1200, 700, 1e300, 1e300) << QSize(160, 200);
        QTest::newRow("off the display") << QRectF(-1e300, 0, 100, 100) << QSize();
    }
    void frozenAreasAreCutToTheGrab()
    {
        QFETCH(QRectF, area);
        QFETCH(QSize, cut);
        const ScreenDisplay display = m_platform.content.displays.at(1);
        FrozenScreenCapture frozen(m_platform.content, {{display.id, Bitmap::allocate(QSize(2560, 1600))}}, m_platform);
        const Result<Bitmap> image = frozen.grabDisplayArea(display, area, pixelSize(area.size(), display.scale));
        QCOMPARE(image ? image->size() : QSize(), cut);
        QVERIFY(image || image.error().message == description(CaptureError::emptySelection));
    }
};

QTEST_GUILESS_MAIN(tst_StillCapture)
#include "tst_StillCapture.moc"
