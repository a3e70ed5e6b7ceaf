#pragma once

#include <QWidget>

class Preferences;
class QFormLayout;
class QLabel;
class QSlider;

// The "Screenshot" tab: what happens after a capture, the file format, and the file name.
class ScreenshotSettingsView : public QWidget
{
    Q_OBJECT

public:
    explicit ScreenshotSettingsView(Preferences &preferences, QWidget *parent = nullptr);

private:
    void showQuality();

    Preferences &m_preferences;
    QFormLayout *m_format = nullptr;
    QSlider *m_quality = nullptr;
    QLabel *m_qualityValue = nullptr;
};
