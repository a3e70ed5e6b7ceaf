#pragma once

#include <QWidget>

class LoginItem;
class QCheckBox;
class QLabel;
struct SettingsContext;

// The "General" tab: shortcuts, selection, start at login and sound, updates and version.
class GeneralSettingsView : public QWidget
{
    Q_OBJECT

public:
    explicit GeneralSettingsView(const SettingsContext &context, QWidget *parent = nullptr);

private:
    void changeLaunchAtLogin(bool on);
    void showLaunchAtLogin();

    LoginItem &m_loginItem;
    QCheckBox *m_launchAtLogin = nullptr;
    QLabel *m_launchAtLoginError = nullptr;
};
