#pragma once

#include "RecordingOverlays.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>

class CountdownWindow;
class RecordingFrameWindow;

// The countdown and the frame as windows on the desktop.
class RecordingOverlayWindows : public QObject, public RecordingOverlays
{
    Q_OBJECT

public:
    explicit RecordingOverlayWindows(QObject *parent = nullptr);
    ~RecordingOverlayWindows() override;

    void runCountdown(
        const QRectF &region, std::function<bool()> stillWanted, std::function<void(bool ranOut)> done) override;
    void showFrame(const QRectF &region) override;
    void hideFrame() override;

private:
    void step();
    void endCountdown(bool ranOut);

    std::unique_ptr<CountdownWindow> m_countdown;
    std::function<bool()> m_stillWanted;
    std::function<void(bool)> m_done;
    QTimer m_steps;
    int m_stepsLeft = 0;
    std::unique_ptr<RecordingFrameWindow> m_frame;
};
