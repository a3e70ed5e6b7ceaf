#pragma once

#include "Name.h"
#include "Shortcut.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace KeyboardShortcuts {

class ShortcutStore;

// Why a chord cannot become one of Qorvel's shortcuts.
struct ShortcutConflict
{
    enum class Kind {
        typing, // the key alone, or with Shift, types or moves the cursor
        otherShortcut, // another of Qorvel's shortcuts has it; `usedFor` is its title
        menu, // a command of Qorvel's own windows has it; `usedFor` is the command
        otherProgram, // another program holds it
    };
    Kind kind = Kind::typing;
    QString usedFor;

    friend bool operator==(const ShortcutConflict &, const ShortcutConflict &) = default;
};

// The rules a newly recorded chord must pass before it is stored: a global shortcut that
// stole a letter, a command of Qorvel's windows or another program's key would break
// something else the moment it is registered.
class ShortcutConflicts
{
public:
    struct Claim
    {
        Shortcut chord;
        QString usedFor;
    };
    struct TitledName
    {
        Name name;
        QString title;
    };

    ShortcutConflicts(const ShortcutStore &store, QList<TitledName> names, QList<Claim> menuChords,
        std::function<bool(const Shortcut &)> isAvailable);

    // None when `chord` may become `name`'s shortcut.
    std::optional<ShortcutConflict> check(const Name &name, const Shortcut &chord) const;

private:
    const ShortcutStore &m_store;
    QList<TitledName> m_names;
    QList<Claim> m_menuChords;
    std::function<bool(const Shortcut &)> m_isAvailable;
};

} // namespace KeyboardShortcuts
