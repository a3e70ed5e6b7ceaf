#pragma once

#include "LoginItem.h"

#include <QString>

// Launch at login as an XDG autostart entry: a desktop entry in the user's autostart folder,
// which every freedesktop session starts at login. A desktop's own startup manager may have
// turned the entry off with Hidden or X-GNOME-Autostart-enabled; such an entry counts as off,
// and turning it on again writes it afresh.
class XdgAutostartEntry : public LoginItem
{
public:
    // `entryPath` is the desktop entry's full path; `command` the program line it runs, already
    // quoted for a desktop entry's Exec key.
    XdgAutostartEntry(QString entryPath, QString command);

    Status status() const override;
    Result<void> setEnabled(bool enabled) override;

    // A program path as one argument of an Exec key: quoted when it needs to be, with the
    // escapes the desktop entry format asks for.
    static QString execArgument(const QString &program);

private:
    QString m_entryPath;
    QString m_command;
};
