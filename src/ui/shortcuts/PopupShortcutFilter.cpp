#include "PopupShortcutFilter.h"

#include "HotKeyService.h"
#include "Shortcut.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include <utility>

namespace {

// A popup (the tray menu) or a window the window manager never sees (the selection overlay)
// gets keys only through a keyboard grab of our own, and while that grab holds, the window
// system delivers no hot key.
bool holdsKeyboard(const QWindow &window)
{
    return window.type() == Qt::Popup || window.flags().testFlag(Qt::X11BypassWindowManagerHint);
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
    if (!holdsKeyboard(*static_cast<const QWindow *>(watched)) || !m_hotKeys.dispatch(*shortcut, KeyDirection::down))
        return false;
    m_pressed = shortcut;
    return true;
}
