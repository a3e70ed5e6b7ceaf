#include "StatusIcon.h"

#include <QIconEngine>
#include <QPainter>
#include <QPixmap>

#include <algorithm>
#include <cmath>

const char *const StatusIcon::pattern[StatusIcon::rows] = {
    "..###..",
    ".##.###",
    "#####..",
    ".####..",
    "..##...",
};

namespace {

constexpr double cellInPoints = 3.5;
constexpr double widthInPoints = StatusIcon::columns * cellInPoints;
constexpr double heightInPoints = StatusIcon::rows * cellInPoints;
// The system's red, for the record symbol.
const QColor recordRed(0xff, 0x3b, 0x30);

// Every cell edge lands on a whole device pixel, so no cell is smeared across two.
void drawPattern(QPainter &painter, const QRectF &area, const QColor &colour)
{
    const double scale = std::min(area.width() / widthInPoints, area.height() / heightInPoints);
    const double left = std::round(area.x() + (area.width() - widthInPoints * scale) / 2);
    const double top = std::round(area.y() + (area.height() - heightInPoints * scale) / 2);
    const auto edge = [scale](int index) { return std::round(scale * index * cellInPoints); };
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (int row = 0; row < StatusIcon::rows; ++row) {
        for (int column = 0; column < StatusIcon::columns; ++column) {
            if (StatusIcon::pattern[row][column] != '#')
                continue;
            painter.fillRect(QRectF(QPointF(left + edge(column), top + edge(row)),
                                 QPointF(left + edge(column + 1), top + edge(row + 1))),
                colour);
        }
    }
    painter.restore();
}

void drawLook(QPainter &painter, const QRectF &area, const StatusIcon::Look &look)
{
    const QColor foreground = look.foreground.isValid() ? look.foreground : QColor(0xde, 0xde, 0xde);
    const double side = std::min(area.width(), area.height());
    const QRectF square(area.center() - QPointF(side / 2, side / 2), QSizeF(side, side));
    switch (look.kind) {
    case StatusIcon::Kind::idle:
        drawPattern(painter, area, foreground);
        return;
    case StatusIcon::Kind::uploading: {
        const double ringWidth = std::max(1.5, side / 10);
        const QRectF ring = square.adjusted(ringWidth / 2, ringWidth / 2, -ringWidth / 2, -ringWidth / 2);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor track = foreground;
        track.setAlphaF(0.35F);
        painter.setPen(QPen(track, ringWidth));
        painter.drawEllipse(ring);
        painter.setPen(QPen(foreground, ringWidth, Qt::SolidLine, Qt::FlatCap));
        // Clockwise from twelve o'clock, in sixteenths of a degree.
        painter.drawArc(ring, 90 * 16, -int(std::clamp(look.progress, 0.0, 1.0) * 360 * 16));
        const double inset = ringWidth * 2.2;
        drawPattern(painter, square.adjusted(inset, inset, -inset, -inset), foreground);
        return;
    }
    case StatusIcon::Kind::recording: {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::white);
        const double outer = side * 0.45;
        painter.drawEllipse(square.center(), outer, outer);
        painter.setBrush(recordRed);
        painter.drawEllipse(square.center(), outer * 0.66, outer * 0.66);
        return;
    }
    }
}

class StatusIconEngine : public QIconEngine
{
public:
    explicit StatusIconEngine(StatusIcon::Look look)
        : m_look(look)
    {
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode, QIcon::State) override
    {
        drawLook(*painter, rect, m_look);
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }

    // `size` is in device pixels already: the picture is drawn at its final size, and nothing
    // scales it afterwards.
    QPixmap scaledPixmap(const QSize &size, QIcon::Mode, QIcon::State, qreal scale) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        {
            QPainter painter(&pixmap);
            drawLook(painter, QRectF(QPointF(), QSizeF(pixmap.size())), m_look);
        }
        pixmap.setDevicePixelRatio(scale);
        return pixmap;
    }

    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override { return size; }

    // The sizes trays commonly ask for; any other is drawn on request just as sharply.
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}, {64, 64}};
    }

    QString key() const override { return QStringLiteral("qorvel-status"); }
    QIconEngine *clone() const override { return new StatusIconEngine(m_look); }

private:
    StatusIcon::Look m_look;
};

} // namespace

QIcon StatusIcon::make(const Look &look)
{
    return QIcon(new StatusIconEngine(look));
}
