#pragma once

#include "ScreenCapturePlatform.h"

#include <QHash>

// Screen capture from grabs taken earlier: the displays as they were when the selection overlay
// opened, so nothing the overlay draws can reach the file. Display and area targets are cut
// from those grabs without a copy; a window's own contents come from the live platform.
class FrozenScreenCapture : public ScreenCapturePlatform
{
public:
    FrozenScreenCapture(ScreenContent content, QHash<quint32, Bitmap> displayImages, ScreenCapturePlatform &live);

    Result<ScreenContent> shareableContent() override { return m_content; }
    Result<Bitmap> grabDisplayArea(const ScreenDisplay &display, const QRectF &areaInPoints, PixelSize size) override;
    Result<Bitmap> grabWindow(const ScreenWindow &window, double scale, PixelSize size, WindowShadow shadow) override;
    std::optional<QPointF> pointerPosition() override { return m_live.pointerPosition(); }
    WindowListSource *windowListSource() override { return m_live.windowListSource(); }

private:
    ScreenContent m_content;
    QHash<quint32, Bitmap> m_displayImages;
    ScreenCapturePlatform &m_live;
};
