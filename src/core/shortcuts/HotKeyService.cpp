#include "HotKeyService.h"

#include <utility>

namespace KeyboardShortcuts {

HotKeyService::~HotKeyService() = default;

std::optional<quint32> HotKeyService::registerHotKey(const Shortcut &shortcut, Action onKeyDown, Action onKeyUp)
{
    const quint32 id = ++m_lastId;
    if (!grab(id, shortcut))
        return std::nullopt;
    m_entries.emplace(id, Entry{shortcut, std::move(onKeyDown), std::move(onKeyUp), true});
    return id;
}

void HotKeyService::unregisterHotKey(quint32 id)
{
    const auto entry = m_entries.find(id);
    if (entry == m_entries.end())
        return;
    if (entry->second.grabbed)
        release(id);
    m_entries.erase(entry);
}

void HotKeyService::pause()
{
    for (auto &[id, entry] : m_entries) {
        if (entry.grabbed)
            release(id);
        entry.grabbed = false;
    }
}

void HotKeyService::resume()
{
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        Entry &entry = it->second;
        if (!entry.grabbed && !grab(it->first, entry.shortcut)) {
            it = m_entries.erase(it);
            continue;
        }
        entry.grabbed = true;
        ++it;
    }
}

bool HotKeyService::isAvailable(const Shortcut &shortcut)
{
    // A trial of a chord this process holds would succeed, and its release would end the grab.
    for (const auto &[id, entry] : m_entries) {
        if (entry.grabbed && entry.shortcut == shortcut)
            return true;
    }
    return tryGrab(shortcut);
}

bool HotKeyService::dispatch(const Shortcut &shortcut, KeyDirection direction)
{
    const quint32 modifiers = Shortcut::normalizedModifiers(shortcut.carbonModifiers);
    for (const auto &[id, entry] : m_entries) {
        if (entry.shortcut.carbonKeyCode == shortcut.carbonKeyCode
            && Shortcut::normalizedModifiers(entry.shortcut.carbonModifiers) == modifiers) {
            run(entry, direction);
            return true;
        }
    }
    return false;
}

void HotKeyService::trigger(quint32 id, KeyDirection direction)
{
    const auto entry = m_entries.find(id);
    if (entry != m_entries.end())
        run(entry->second, direction);
}

void HotKeyService::run(const Entry &entry, KeyDirection direction)
{
    // A copy: the action may unregister its own entry, which destroys the stored function.
    const Action action = direction == KeyDirection::down ? entry.onKeyDown : entry.onKeyUp;
    if (action)
        action();
}

} // namespace KeyboardShortcuts
