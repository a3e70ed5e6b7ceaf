#pragma once

#include "Shortcut.h"

#include <QObject>

#include <optional>

namespace KeyboardShortcuts {
class HotKeyService;
}

// While one of the application's own popups (the tray menu) or its selection overlay holds the
// keyboard, the window system delivers no hot key: the keys come to the application instead.
// Installed on the application, this hands them to the hot-key service and eats the ones that
// matched, so that a second press of the shortcut closes the overlay.
class PopupShortcutFilter : public QObject
{
    Q_OBJECT

public:
    explicit PopupShortcutFilter(KeyboardShortcuts::HotKeyService &hotKeys, QObject *parent = nullptr);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    KeyboardShortcuts::HotKeyService &m_hotKeys;
    std::optional<KeyboardShortcuts::Shortcut> m_pressed; // the chord whose key is down
};
