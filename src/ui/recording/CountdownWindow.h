#pragma once

#include <QWidget>

// The 3-2-1 before a recording: a rounded translucent square with a large digit, centred on the
// region to be recorded. It shows and takes no keys itself: Escape reaches the recording
// controller through the cancel shortcut, held while a recording is being prepared.
class CountdownWindow : public QWidget
{
    Q_OBJECT

public:
    // `region` in global points.
    explicit CountdownWindow(const QRectF &region);

    void showDigit(int digit);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_digit = 3;
};
