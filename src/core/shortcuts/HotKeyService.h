#pragma once

#include "Shortcut.h"

#include <QtGlobal>

#include <functional>
#include <map>
#include <optional>

namespace KeyboardShortcuts {

enum class KeyDirection { down, up };

// System-wide hot keys: the table of registrations, with a platform adapter holding the
// window system's grab for each. An entry is registered (grabbed), paused (in the table, not
// grabbed) or gone.
class HotKeyService
{
public:
    using Action = std::function<void()>;

    virtual ~HotKeyService();

    HotKeyService(const HotKeyService &) = delete;
    HotKeyService &operator=(const HotKeyService &) = delete;

    // An id unique among live registrations (ids are never reused), or none when the window
    // system refused the chord; the adapter says why on standard output.
    std::optional<quint32> registerHotKey(const Shortcut &shortcut, Action onKeyDown, Action onKeyUp = {});
    void unregisterHotKey(quint32 id);

    // Lets go of every grab but keeps the table, so that a shortcut recorder sees the chords.
    void pause();
    // Grabs every paused entry again; an entry refused now is removed, as at registration.
    void resume();

    // Whether the window system would give Qorvel this chord now. A chord one of Qorvel's own
    // entries holds is available; any other is taken for a moment and let go.
    bool isAvailable(const Shortcut &shortcut);

    // A key the application saw itself (its own menu held the keyboard, so no hot key fired):
    // runs the first entry with this key and the same modifiers. False when none matched.
    bool dispatch(const Shortcut &shortcut, KeyDirection direction);

protected:
    HotKeyService() = default;

    // Takes the system-wide grab; false when refused (and the adapter printed why).
    virtual bool grab(quint32 id, const Shortcut &shortcut) = 0;
    virtual void release(quint32 id) = 0;
    // Takes the grab and lets go at once, reporting nothing: only a trial.
    virtual bool tryGrab(const Shortcut &shortcut) = 0;

    // For the adapter's key events.
    void trigger(quint32 id, KeyDirection direction);

private:
    struct Entry
    {
        Shortcut shortcut;
        Action onKeyDown;
        Action onKeyUp;
        bool grabbed = false;
    };

    void run(const Entry &entry, KeyDirection direction);

    std::map<quint32, Entry> m_entries;
    quint32 m_lastId = 0;
};

} // namespace KeyboardShortcuts
