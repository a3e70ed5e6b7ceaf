#include "CountdownWindow.h"

#include <QFont>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int side = 140;
constexpr qreal cornerRadius = 28;

} // namespace

CountdownWindow::CountdownWindow(const QRectF &region)
    : QWidget(nullptr,
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint
            | Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    const QPointF centre = region.center();
    setGeometry(qRound(centre.x()) - side / 2, qRound(centre.y()) - side / 2, side, side);
    // Without a compositing manager nothing is translucent: the corners are cut off instead.
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(0, 0, side, side), cornerRadius, cornerRadius);
    setMask(QRegion(rounded.toFillPolygon().toPolygon()));
}

void CountdownWindow::showDigit(int digit)
{
    m_digit = digit;
    update();
}

void CountdownWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(30, 30, 30, 210));
    painter.drawRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    QFont digitFont = font();
    digitFont.setPointSize(72);
    digitFont.setWeight(QFont::DemiBold);
    digitFont.setStyleHint(QFont::Monospace);
    painter.setFont(digitFont);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 25, side, 90), Qt::AlignCenter, QString::number(m_digit));
}
