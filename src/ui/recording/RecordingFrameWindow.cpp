#include "RecordingFrameWindow.h"

#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>

namespace {

constexpr qreal margin = 3; // the outline's band outside the region
constexpr qreal lineWidth = 2;
const QList<qreal> dashes{3, 2}; // in line widths: 6 points drawn, 4 points gap

QRectF clippedOutline(const QRectF &region, const QList<QRectF> &screens)
{
    const QRectF grown = region.adjusted(-margin, -margin, margin, margin);
    for (const QRectF &screen : screens) {
        if (screen.intersects(region))
            return grown.intersected(screen);
    }
    return grown;
}

QPainterPath dashedOutline(const QRectF &outline)
{
    QPainterPath path;
    path.addRect(outline.adjusted(1, 1, -1, -1));
    QPainterPathStroker stroker;
    stroker.setWidth(lineWidth);
    stroker.setDashPattern(dashes);
    return stroker.createStroke(path);
}

// One strip: the part of the dashed outline that falls inside it.
class Strip : public QWidget
{
public:
    Strip(const QRectF &geometry, const QPainterPath &dashesInGlobal)
        : QWidget(nullptr,
            Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint
                | Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput)
        , m_dashes(dashesInGlobal.translated(-geometry.topLeft()))
    {
        setAttribute(Qt::WA_ShowWithoutActivating);
        setGeometry(geometry.toAlignedRect());
        // Shaped to the dashes, so that the gaps show what is behind without a compositor.
        setMask(QRegion(m_dashes.toFillPolygon().toPolygon()));
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillPath(m_dashes, QColor(255, 59, 48));
    }

private:
    QPainterPath m_dashes;
};

} // namespace

QList<QRectF> RecordingFrameWindow::stripsAround(const QRectF &exactRegion, const QList<QRectF> &screens)
{
    // On whole pixels, so that no strip reaches a pixel into what is recorded.
    const QRectF region(exactRegion.toAlignedRect());
    const QRectF outline = clippedOutline(region, screens);
    const QList<QRectF> bands{
        QRectF(outline.left(), outline.top(), outline.width(), region.top() - outline.top()),
        QRectF(outline.left(), region.bottom(), outline.width(), outline.bottom() - region.bottom()),
        QRectF(outline.left(), region.top(), region.left() - outline.left(), region.height()),
        QRectF(region.right(), region.top(), outline.right() - region.right(), region.height()),
    };
    QList<QRectF> strips;
    for (const QRectF &band : bands) {
        if (band.width() > 0 && band.height() > 0)
            strips << band;
    }
    return strips;
}

RecordingFrameWindow::RecordingFrameWindow(const QRectF &region, const QList<QRectF> &screens)
{
    const QPainterPath dashed = dashedOutline(clippedOutline(QRectF(region.toAlignedRect()), screens));
    for (const QRectF &strip : stripsAround(region, screens))
        m_strips.push_back(std::make_unique<Strip>(strip, dashed));
}

RecordingFrameWindow::~RecordingFrameWindow() = default;

void RecordingFrameWindow::show()
{
    for (const auto &strip : m_strips)
        strip->show();
}

void RecordingFrameWindow::hide()
{
    for (const auto &strip : m_strips)
        strip->hide();
}
