#pragma once

#include "SelectionInteraction.h"

#include <QImage>
#include <QRegion>
#include <QTimer>
#include <QVariantAnimation>
#include <QWidget>

#include <functional>
#include <optional>

// One display's part of the selection overlay: the frozen screen, dimmed but for the target
// under the pointer, with its border, the size of a drag, the magnifier and a usage hint. The
// rules live in SelectionInteraction; this widget draws and forwards events.
class SelectionOverlayView : public QWidget
{
    Q_OBJECT

public:
    // `frozen` is the display as grabbed when the overlay opened, at `scale` pixels per point.
    SelectionOverlayView(const QImage &frozen, double scale, bool showsMagnifier, QWidget *parent = nullptr);

    std::function<void(const SelectionInteraction::Selection &)> onSelect;
    std::function<void()> onCancel;
    std::function<void(const QPointF &)> onHoverMove;

    void setLevels(const QList<SnapLevel> &levels, qsizetype preferredIndex);
    void showHint(const QString &text);
    // Takes the keyboard as soon as the window system allows it.
    void grabKeyboardWhenMapped();

    const SelectionInteraction &interaction() const { return m_interaction; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    QRegion decorations() const;
    void refresh();
    void drawBorder(QPainter &painter, const QRectF &rect, const QColor &color, double width) const;
    void drawPill(QPainter &painter, const QString &text, const QFont &font, const QPointF &topLeft) const;
    void drawMagnifier(QPainter &painter, const QPointF &pointer) const;
    static QSizeF pillSize(const QString &text, const QFont &font);

    QImage m_frozen;
    double m_scale;
    bool m_showsMagnifier;
    SelectionInteraction m_interaction;
    std::optional<QPointF> m_pointer;
    QString m_hint;
    double m_hintOpacity = 0;
    QTimer m_hintTimer;
    QVariantAnimation m_hintFade;
    bool m_painted = false;
    QRegion m_decorated; // what decorations() covered at the last refresh
    QTimer m_keyboardGrabRetry;
};
