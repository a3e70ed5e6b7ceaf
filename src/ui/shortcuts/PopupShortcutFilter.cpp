#include "PopupShortcutFilter.h"

#include "HotKeyService.h"
#include "Shortcut.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include <algorithm>

namespace {

bool popupIsOpen()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    return std::any_of(windows.cbegin(), windows.cend(),
        [](const QWindow *window) { return window->isVisible() && window->type() == Qt::Popup; });
}

} // namespace

PopupShortcutFilter::PopupShortcutFilter(KeyboardShortcuts::HotKeyService &hotKeys, QObject *parent)
    : QObject(parent)
    , m_hotKeys(hotKeys)
{
}

bool PopupShortcutFilter::eventFilter(QObject *watched, QEvent *event)
{
    // Every key event reaches a window first, which passes it on to its widgets: taking it at
    // the window sees each key once, and eating it there keeps it from the menu.
    if ((event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) || !watched->isWindowType())
        return false;
    const auto *key = static_cast<const QKeyEvent *>(event);
    if (key->isAutoRepeat() || !popupIsOpen())
        return false;
    const std::optional<KeyboardShortcuts::Shortcut> shortcut
        = KeyboardShortcuts::Shortcut::fromQt(key->keyCombination());
    if (!shortcut)
        return false;
    return m_hotKeys.dispatch(*shortcut,
        event->type() == QEvent::KeyPress ? KeyboardShortcuts::KeyDirection::down
                                          : KeyboardShortcuts::KeyDirection::up);
}
