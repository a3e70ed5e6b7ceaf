#include "PopupShortcutFilter.h"

#include "HotKeyService.h"
#include "Shortcut.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include <algorithm>
#include <utility>

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
    using KeyboardShortcuts::KeyDirection;
    using KeyboardShortcuts::Shortcut;
    // Every key event reaches a window first, which passes it on to its widgets: taking it at
    // the window sees each key once, and eating it there keeps it from the menu.
    if ((event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) || !watched->isWindowType())
        return false;
    const auto *key = static_cast<const QKeyEvent *>(event);
    const std::optional<Shortcut> shortcut = Shortcut::fromQt(key->keyCombination());
    if (!shortcut)
        return false;
    const bool ofPressedKey = m_pressed && m_pressed->carbonKeyCode == shortcut->carbonKeyCode;
    if (key->isAutoRepeat())
        return ofPressedKey;
    if (event->type() == QEvent::KeyRelease) {
        // The chord's modifiers may be let go before its key, and the popup may have closed in
        // the meantime: the key's own release ends the press, whatever is still held.
        if (!ofPressedKey)
            return false;
        m_hotKeys.dispatch(*std::exchange(m_pressed, std::nullopt), KeyDirection::up);
        return true;
    }
    if (!popupIsOpen() || !m_hotKeys.dispatch(*shortcut, KeyDirection::down))
        return false;
    m_pressed = shortcut;
    return true;
}
