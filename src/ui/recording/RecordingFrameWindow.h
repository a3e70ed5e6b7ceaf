#pragma once

#include <QList>
#include <QRectF>
#include <QWidget>

#include <memory>
#include <vector>

class QScreen;

// The dashed red outline around a recording. X11 cannot leave our own windows out of a grab,
// so the outline is made of strips that lie wholly outside the recorded region, each shaped to
// its dashes and transparent to the pointer; a full-display recording has no room for any.
class RecordingFrameWindow
{
public:
    // `region` and `screens` in global points; the outline stays on the first screen the region
    // touches.
    RecordingFrameWindow(const QRectF &region, const QList<QRectF> &screens);
    ~RecordingFrameWindow();

    void show();
    void hide();

    // Where strips go, for a region and the screen the outline is clipped to.
    static QList<QRectF> stripsAround(const QRectF &region, const QList<QRectF> &screens);

private:
    std::vector<std::unique_ptr<QWidget>> m_strips;
};
