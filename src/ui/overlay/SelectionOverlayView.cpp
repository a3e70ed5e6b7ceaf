#include "SelectionOverlayView.h"

#include "MagnifierGeometry.h"

#include <QDateTime>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QLoggingCategory>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <QWindow>

#include <cmath>
#include <utility>

// Off unless asked for (QT_LOGGING_RULES="qorvel.overlay.timing=true"): bench/overlay-bench reads it.
Q_LOGGING_CATEGORY(lcOverlayTiming, "qorvel.overlay.timing", QtWarningMsg)

namespace {

constexpr std::chrono::milliseconds hintVisible{3000};
constexpr std::chrono::milliseconds hintFadeDuration{250};
constexpr double hintDistanceFromBottom = 80.0;

QFont monospacedDigits(double pointSize)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(pointSize);
    font.setWeight(QFont::Medium);
    return font;
}

QColor accent()
{
    return QColor(0x35, 0x84, 0xe4);
}

} // namespace

SelectionOverlayView::SelectionOverlayView(const QImage &frozen, double scale, bool showsMagnifier, QWidget *parent)
    : QWidget(parent)
    , m_frozen(frozen)
    , m_scale(scale)
    , m_showsMagnifier(showsMagnifier)
    , m_interaction(QRectF(QPointF(0, 0), QSizeF(frozen.size()) / scale), scale)
{
    m_frozen.setDevicePixelRatio(scale);
    setMouseTracking(true);
    setCursor(Qt::CrossCursor);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);

    m_hintTimer.setSingleShot(true);
    m_hintTimer.setInterval(hintVisible);
    connect(&m_hintTimer, &QTimer::timeout, this, [this] { m_hintFade.start(); });
    m_hintFade.setStartValue(1.0);
    m_hintFade.setEndValue(0.0);
    m_hintFade.setDuration(int(hintFadeDuration.count()));
    connect(&m_hintFade, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_hintOpacity = value.toDouble();
        refresh();
    });
}

void SelectionOverlayView::grabKeyboardWhenMapped()
{
    // X refuses a keyboard grab for a window it has not mapped yet, and the map request has only
    // just been sent; until the grab takes, Escape would go to the window that had the focus.
    constexpr std::chrono::milliseconds retryInterval{10};
    m_keyboardGrabRetry.setInterval(retryInterval);
    disconnect(&m_keyboardGrabRetry, nullptr, this, nullptr);
    connect(&m_keyboardGrabRetry, &QTimer::timeout, this, [this] {
        if (windowHandle() && windowHandle()->setKeyboardGrabEnabled(true))
            m_keyboardGrabRetry.stop();
    });
    if (!(windowHandle() && windowHandle()->setKeyboardGrabEnabled(true)))
        m_keyboardGrabRetry.start();
}

void SelectionOverlayView::setLevels(const QList<SnapLevel> &levels, qsizetype preferredIndex)
{
    if (m_interaction.setLevels(levels, preferredIndex))
        refresh();
}

void SelectionOverlayView::showHint(const QString &text)
{
    m_hint = text;
    m_hintOpacity = 1;
    m_hintTimer.start();
    refresh();
}

QRegion SelectionOverlayView::decorations() const
{
    // Everything drawn over the frozen image apart from the even dim: the hole (with its border
    // and halo), the size pill, the magnifier and the hint. A change repaints these, before and
    // after, instead of all of a 4K screen on every pointer move.
    QRegion region;
    const SelectionInteraction::Highlight highlight = m_interaction.highlight();
    if (!highlight.hole.isEmpty())
        region += highlight.hole.toAlignedRect().adjusted(-3, -3, 3, 3);
    if (m_interaction.dragRect() && m_pointer) {
        const QString text = m_interaction.sizeLabelText();
        const QSizeF size = pillSize(text, monospacedDigits(12));
        region += QRectF(SelectionInteraction::labelPosition(*m_pointer, size, QRectF(rect())), size)
                      .toAlignedRect()
                      .adjusted(-1, -1, 1, 1);
    }
    if (m_showsMagnifier && m_pointer && QRectF(rect()).contains(*m_pointer)) {
        region += QRectF(MagnifierGeometry::position(*m_pointer, QRectF(rect())), MagnifierGeometry::size)
                      .toAlignedRect()
                      .adjusted(-2, -2, 2, 2);
    }
    if (!m_hint.isEmpty() && m_hintOpacity > 0) {
        const QSizeF size = pillSize(m_hint, monospacedDigits(12));
        region += QRectF(
            QPointF(width() / 2.0 - size.width() / 2, height() - hintDistanceFromBottom - size.height() / 2), size)
                      .toAlignedRect()
                      .adjusted(-1, -1, 1, 1);
    }
    return region;
}

void SelectionOverlayView::refresh()
{
    const QRegion now = decorations();
    update(m_decorated.united(now));
    m_decorated = now;
}

void SelectionOverlayView::paintEvent(QPaintEvent *)
{
    if (!std::exchange(m_painted, true))
        qCInfo(lcOverlayTiming, "first paint at %lld ms", QDateTime::currentMSecsSinceEpoch());
    QPainter painter(this);
    painter.drawImage(QPointF(0, 0), m_frozen);

    const SelectionInteraction::Highlight highlight = m_interaction.highlight();
    QPainterPath dim;
    dim.setFillRule(Qt::OddEvenFill);
    dim.addRect(rect());
    if (!highlight.hole.isEmpty())
        dim.addRect(highlight.hole);
    painter.fillPath(dim, QColor(0, 0, 0, int(0.3 * 255)));

    using Border = SelectionInteraction::Highlight::Border;
    if (highlight.filled)
        painter.fillRect(highlight.hole, QColor(255, 255, 255, int(0.08 * 255)));
    switch (highlight.border) {
    case Border::none:
        break;
    case Border::drag:
        drawBorder(painter, highlight.hole, Qt::white, 1.0);
        break;
    case Border::element:
        drawBorder(painter, highlight.hole, accent(), 2.0);
        break;
    case Border::windowOrDisplay:
        drawBorder(painter, highlight.hole, accent(), 3.0);
        break;
    }

    if (m_interaction.dragRect() && m_pointer) {
        const QString text = m_interaction.sizeLabelText();
        const QFont font = monospacedDigits(12);
        drawPill(
            painter, text, font, SelectionInteraction::labelPosition(*m_pointer, pillSize(text, font), QRectF(rect())));
    }
    if (m_showsMagnifier && m_pointer && QRectF(rect()).contains(*m_pointer))
        drawMagnifier(painter, *m_pointer);

    if (!m_hint.isEmpty() && m_hintOpacity > 0) {
        const QFont font = monospacedDigits(12);
        const QSizeF size = pillSize(m_hint, font);
        painter.setOpacity(m_hintOpacity);
        drawPill(painter, m_hint, font,
            QPointF(width() / 2.0 - size.width() / 2, height() - hintDistanceFromBottom - size.height() / 2));
        painter.setOpacity(1);
    }
}

void SelectionOverlayView::drawBorder(QPainter &painter, const QRectF &rect, const QColor &color, double width) const
{
    // The stroke lies inside the rectangle; a dark halo one point wider shows on both sides of it.
    const QRectF inset = rect.adjusted(width / 2, width / 2, -width / 2, -width / 2);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0, 0, 0, int(0.35 * 255)), width + 2.0, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(inset);
    painter.setPen(QPen(color, width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(inset);
}

QSizeF SelectionOverlayView::pillSize(const QString &text, const QFont &font)
{
    const QSizeF measured = QFontMetricsF(font).size(Qt::TextSingleLine, text);
    return QSizeF(std::ceil(measured.width()) + 12.0, std::ceil(measured.height()) + 6.0);
}

void SelectionOverlayView::drawPill(
    QPainter &painter, const QString &text, const QFont &font, const QPointF &topLeft) const
{
    const QRectF pill(topLeft, pillSize(text, font));
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, int(0.75 * 255)));
    painter.drawRoundedRect(pill, 5, 5);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(pill, Qt::AlignCenter, text);
}

void SelectionOverlayView::drawMagnifier(QPainter &painter, const QPointF &pointer) const
{
    const QRectF box(MagnifierGeometry::position(pointer, QRectF(rect())), MagnifierGeometry::size);
    const double imageSide = MagnifierGeometry::cells * MagnifierGeometry::cellSize;
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(QColor(255, 255, 255, int(0.6 * 255)), 1.0));
    painter.setBrush(QColor(0, 0, 0, int(0.8 * 255)));
    painter.drawRoundedRect(box, 8, 8);
    painter.setRenderHint(QPainter::Antialiasing, false);

    // Hard pixel edges: no smoothing when the 15 × 15 pixels are drawn eight times larger.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter.save();
    QPainterPath clip;
    clip.addRoundedRect(box, 8, 8);
    painter.setClipPath(clip);
    const QRect source = MagnifierGeometry::sourcePixels(pointer, m_scale);
    const QRect inside = source.intersected(QRect(QPoint(0, 0), m_frozen.size()));
    if (!inside.isEmpty()) {
        const QPointF cellOffset = QPointF(inside.topLeft() - source.topLeft()) * MagnifierGeometry::cellSize;
        painter.drawImage(
            QRectF(box.topLeft() + cellOffset, QSizeF(inside.size()) * MagnifierGeometry::cellSize), m_frozen, inside);
    }
    painter.restore();

    // The cell under the pointer: the grid has an odd number of cells, so this is its middle.
    const int middleCell = MagnifierGeometry::cells / 2;
    const double middle = middleCell * MagnifierGeometry::cellSize;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(accent(), 1.5));
    painter.drawRect(QRectF(
        box.topLeft() + QPointF(middle, middle), QSizeF(MagnifierGeometry::cellSize, MagnifierGeometry::cellSize)));

    painter.setFont(monospacedDigits(11));
    painter.setPen(Qt::white);
    painter.drawText(QRectF(box.left(), box.top() + imageSide + 2, box.width(), 16), Qt::AlignCenter,
        MagnifierGeometry::readout(pointer));
}

void SelectionOverlayView::mouseMoveEvent(QMouseEvent *event)
{
    m_pointer = event->position();
    if (m_interaction.isPressed())
        m_interaction.drag(*m_pointer);
    else if (onHoverMove)
        onHoverMove(*m_pointer);
    refresh();
}

void SelectionOverlayView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::RightButton) {
        if (onCancel)
            onCancel();
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    m_pointer = event->position();
    if (m_interaction.press(*m_pointer) && onHoverMove)
        onHoverMove(*m_pointer);
}

void SelectionOverlayView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const SelectionInteraction::Release release = m_interaction.release(event->position());
    if (release.selection) {
        if (onSelect)
            onSelect(*release.selection);
        return;
    }
    refresh();
    if (release.hoverAgainAt && onHoverMove)
        onHoverMove(*release.hoverAgainAt);
}

void SelectionOverlayView::wheelEvent(QWheelEvent *event)
{
    // A notched wheel reports 120 per notch; a touchpad reports pixels.
    const bool precise = !event->pixelDelta().isNull();
    const double delta = precise ? event->pixelDelta().y() : event->angleDelta().y() / 120.0;
    if (m_interaction.scroll(delta, precise, event->phase() == Qt::ScrollMomentum))
        refresh();
}

void SelectionOverlayView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        if (onCancel)
            onCancel();
        return;
    }
    QWidget::keyPressEvent(event);
}

void SelectionOverlayView::leaveEvent(QEvent *)
{
    if (m_interaction.isPressed())
        return;
    m_interaction.pointerLeft();
    m_pointer.reset();
    refresh();
}
