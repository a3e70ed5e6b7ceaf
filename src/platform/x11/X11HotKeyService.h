#pragma once

#include "HotKeyService.h"

#include <QObject>

#include <xcb/xcb.h>

#include <map>
#include <memory>
#include <variant>
#include <vector>

class QSocketNotifier;
class X11Connection;

// Hot keys as passive key grabs on the root window. Needs a connection of its own: the grabs
// belong to it, and it reads every event that arrives on it.
class X11HotKeyService : public QObject, public KeyboardShortcuts::HotKeyService
{
    Q_OBJECT

public:
    explicit X11HotKeyService(std::shared_ptr<X11Connection> connection, QObject *parent = nullptr);
    ~X11HotKeyService() override;

protected:
    bool grab(quint32 id, const KeyboardShortcuts::Shortcut &shortcut) override;
    void release(quint32 id) override;
    bool tryGrab(const KeyboardShortcuts::Shortcut &shortcut) override;

private:
    struct KeyGrab
    {
        xcb_keycode_t keycode;
        uint16_t modifiers;
    };
    struct Registration
    {
        KeyboardShortcuts::Shortcut shortcut;
        uint16_t modifiers = 0; // without the lock variants
        std::vector<KeyGrab> grabs;
    };

    // The grabs taken, or the X error code that refused one (every grab is let go then).
    std::variant<std::vector<KeyGrab>, int> grabKeys(const KeyboardShortcuts::Shortcut &shortcut);
    void ungrab(const std::vector<KeyGrab> &grabs);
    std::vector<xcb_keycode_t> keycodesFor(const QList<quint32> &keysyms) const;
    uint16_t numLockMask() const;
    void regrabAll();
    void readEvents();
    void keyEvent(xcb_keycode_t keycode, uint16_t state, KeyboardShortcuts::KeyDirection direction);

    std::shared_ptr<X11Connection> m_connection;
    QSocketNotifier *m_notifier = nullptr;
    std::map<quint32, Registration> m_registrations;
    std::map<xcb_keycode_t, quint32> m_keysDown; // which registration a held key pressed
};
