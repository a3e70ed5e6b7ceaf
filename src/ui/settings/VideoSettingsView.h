#pragma once

#include <QWidget>

class Preferences;

// The "Video" tab: what happens after a recording, what is recorded, and how it is compressed.
class VideoSettingsView : public QWidget
{
    Q_OBJECT

public:
    explicit VideoSettingsView(Preferences &preferences, QWidget *parent = nullptr);
};
