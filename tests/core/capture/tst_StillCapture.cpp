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
    double lastScale = 0;

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

    Result<Bitmap> grabWindow(const ScreenWindow &window, double scale, PixelSize size, WindowShadow) override
    {
        lastGrab = QStringLiteral("window %1").arg(window.id);
        lastSize = size;
        lastScale = scale;
        return Bitmap::allocate(QSize(int(size.width), int(size.height)));
    }

    std::optional<QPointF> pointerPosition() override { return std::nullopt; }
};

} // namespace

Q_DECLARE_METATYPE(CaptureTarget)
Q_DECLARE_METATYPE(CaptureError)
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
        m_platform.content.windows = {
            {41, QRectF(1800, 100, 400, 300), 1234},
            {42, QRectF(100, 100, 300.25, 200), 1234},
        };
        m_platform.lastGrab.clear();
    }

    void resolves_data()
    {
        QTest::addColumn<CaptureTarget>("target");
        QTest::addColumn<QString>("grab");
        QTest::addColumn<PixelSize>("size");
        QTest::addColumn<double>("scale");

        QTest::newRow("display at its scale")
            << CaptureTarget::display(9) << QStringLiteral("display 9 0,0 1280x800") << PixelSize{2560, 1600} << 2.0;
        QTest::newRow("area is display-local")
            << CaptureTarget::area(9, QRectF(100, 100, 200, 150)) << QStringLiteral("display 9 100,100 200x150")
            << PixelSize{400, 300} << 2.0;
        QTest::newRow("a sliver rounds up to a pixel")
            << CaptureTarget::area(9, QRectF(0, 0, 0.4, 10)) << QStringLiteral("display 9 0,0 0.4x10")
            << PixelSize{1, 20} << 2.0;
        // Cut at the display's edge before anything is counted or allocated, however large.
        QTest::newRow("an area beyond the display")
            << CaptureTarget::area(9, QRectF(1200, 700, 1e300, 1e300)) << QStringLiteral("display 9 1200,700 80x100")
            << PixelSize{160, 200} << 2.0;
        QTest::newRow("window takes the scale of most of it")
            << CaptureTarget::window(41) << QStringLiteral("window 41") << PixelSize{800, 600} << 2.0;
        QTest::newRow("half pixels round away from zero")
            << CaptureTarget::window(42) << QStringLiteral("window 42") << PixelSize{300, 200} << 1.0;
    }

    void resolves()
    {
        QFETCH(CaptureTarget, target);
        QFETCH(QString, grab);
        QFETCH(PixelSize, size);
        QFETCH(double, scale);

        StillCapture capture(m_platform);
        const Result<CapturedStill> still = capture.capture(target, WindowShadow::excluded);
        QVERIFY2(still.ok(), qPrintable(still.ok() ? QString() : still.error().message));
        QCOMPARE(m_platform.lastGrab, grab);
        QCOMPARE(m_platform.lastSize, size);
        QCOMPARE(still->scale, scale);
        QCOMPARE(still->image.size(), QSize(int(size.width), int(size.height)));
    }

    void fails_data()
    {
        QTest::addColumn<CaptureTarget>("target");
        QTest::addColumn<CaptureError>("error");
        QTest::newRow("display gone") << CaptureTarget::display(8) << CaptureError::displayNotFound;
        QTest::newRow("window closed") << CaptureTarget::window(43) << CaptureError::windowNotFound;
        QTest::newRow("empty area") << CaptureTarget::area(7, QRectF(5, 5, 0, 30)) << CaptureError::emptySelection;
        QTest::newRow("an area off the display")
            << CaptureTarget::area(7, QRectF(5000, 0, 100, 100)) << CaptureError::emptySelection;
    }

    void fails()
    {
        QFETCH(CaptureTarget, target);
        QFETCH(CaptureError, error);
        StillCapture capture(m_platform);
        const Result<CapturedStill> still = capture.capture(target, WindowShadow::excluded);
        QVERIFY(!still.ok());
        QCOMPARE(still.error().message, description(error));
        QVERIFY2(m_platform.lastGrab.isEmpty(), "nothing is grabbed for a failed lookup");
    }

    void pixelSizeRounding_data()
    {
        QTest::addColumn<double>("points");
        QTest::addColumn<double>("scale");
        QTest::addColumn<qint64>("pixels");
        QTest::newRow("10.25 at 2") << 10.25 << 2.0 << qint64(21);
        QTest::newRow("333 at 1.5") << 333.0 << 1.5 << qint64(500);
        // Counts no screen has saturate instead of stopping the process.
        QTest::newRow("beyond any screen") << 1e300 << 2.0 << qint64(std::numeric_limits<int>::max());
    }

    void pixelSizeRounding()
    {
        QFETCH(double, points);
        QFETCH(double, scale);
        QFETCH(qint64, pixels);
        QCOMPARE(pixelSize(QSizeF(points, points), scale), (PixelSize{pixels, pixels}));
    }

    // The overlay's frozen grabs are cut to what was frozen, however large the area asked for.
    void frozenAreasAreCutToTheGrab_data()
    {
        QTest::addColumn<QRectF>("area");
        QTest::addColumn<QSize>("cut"); // none: the selected area is empty
        QTest::newRow("inside") << QRectF(10, 10, 20, 30) << QSize(40, 60);
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
