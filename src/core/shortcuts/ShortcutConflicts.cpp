#include "ShortcutConflicts.h"

#include "ShortcutStore.h"

#include <utility>

namespace KeyboardShortcuts {

namespace {

bool sameChord(const Shortcut &a, const Shortcut &b)
{
    return a.carbonKeyCode == b.carbonKeyCode
        && Shortcut::normalizedModifiers(a.carbonModifiers) == Shortcut::normalizedModifiers(b.carbonModifiers);
}

// Function keys (Print among them) type nothing, so they may stand alone.
bool typesNothing(const Shortcut &chord)
{
    const Qt::Key key = chord.toQt().key();
    return key >= Qt::Key_F1 && key <= Qt::Key_F35;
}

} // namespace

ShortcutConflicts::ShortcutConflicts(const ShortcutStore &store, QList<TitledName> names, QList<Claim> menuChords,
    std::function<bool(const Shortcut &)> isAvailable)
    : m_store(store)
    , m_names(std::move(names))
    , m_menuChords(std::move(menuChords))
    , m_isAvailable(std::move(isAvailable))
{
}

std::optional<ShortcutConflict> ShortcutConflicts::check(const Name &name, const Shortcut &chord) const
{
    constexpr quint32 nonTyping = CarbonModifier::control | CarbonModifier::option | CarbonModifier::command;
    if (!(chord.carbonModifiers & nonTyping) && !typesNothing(chord))
        return ShortcutConflict{ShortcutConflict::Kind::typing, {}};
    for (const TitledName &other : m_names) {
        if (other.name.rawValue == name.rawValue)
            continue;
        const std::optional<Shortcut> taken = m_store.shortcut(other.name);
        if (taken && sameChord(*taken, chord))
            return ShortcutConflict{ShortcutConflict::Kind::otherShortcut, other.title};
    }
    for (const Claim &claim : m_menuChords) {
        if (sameChord(claim.chord, chord))
            return ShortcutConflict{ShortcutConflict::Kind::menu, claim.usedFor};
    }
    if (m_isAvailable && !m_isAvailable(chord))
        return ShortcutConflict{ShortcutConflict::Kind::otherProgram, {}};
    return std::nullopt;
}

} // namespace KeyboardShortcuts
