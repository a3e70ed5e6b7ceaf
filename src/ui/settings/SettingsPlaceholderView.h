#pragma once

#include <QWidget>

// Stands where the settings window will be, and says so: until the settings are built the
// preferences are changed in their file, whose path this view shows.
class SettingsPlaceholderView : public QWidget
{
    Q_OBJECT

public:
    explicit SettingsPlaceholderView(const QString &preferencesFile, QWidget *parent = nullptr);
};
