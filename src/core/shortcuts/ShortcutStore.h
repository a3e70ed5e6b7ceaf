#pragma once

#include "Name.h"
#include "Shortcut.h"

#include <QObject>
#include <QString>
#include <QVariant>

#include <optional>

class Preferences;

namespace KeyboardShortcuts {

// The shortcuts in the preferences file: "KeyboardShortcuts_" + name holds the shortcut's JSON
// text, or false when the user turned a default off. Reads go to the file every time, like
// every other preference.
class ShortcutStore : public QObject
{
    Q_OBJECT

public:
    explicit ShortcutStore(Preferences &preferences, QObject *parent = nullptr);

    static QString key(const QString &rawValue);

    // Writes the default when the file holds nothing under the name's key. Anything there,
    // false included, is the user's choice and stays.
    void registerName(const Name &name);

    // None when absent, turned off, or not readable as a shortcut.
    std::optional<Shortcut> shortcut(const Name &name) const;

    // None turns the shortcut off: false for a name with a default (so the next start does not
    // put the default back), no entry for one without.
    void setShortcut(const Name &name, std::optional<Shortcut> shortcut);

Q_SIGNALS:
    // After every write of this object, and when another process changed the entry.
    void shortcutChanged(const QString &rawValue);

private:
    void storeValue(const Name &name, const std::optional<QVariant> &value);

    Preferences &m_preferences;
    bool m_writing = false;
};

} // namespace KeyboardShortcuts
