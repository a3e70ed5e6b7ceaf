#include "ShortcutStore.h"

#include "Preferences.h"

namespace KeyboardShortcuts {

namespace {

const QLatin1String keyPrefix("KeyboardShortcuts_");

} // namespace

ShortcutStore::ShortcutStore(Preferences &preferences, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
{
    connect(&m_preferences, &Preferences::changed, this, [this](const QString &key) {
        // Our own writes announce themselves once, below, even when the text stays the same.
        if (!m_writing && key.startsWith(keyPrefix))
            Q_EMIT shortcutChanged(key.mid(keyPrefix.size()));
    });
}

QString ShortcutStore::key(const QString &rawValue)
{
    return keyPrefix + rawValue;
}

void ShortcutStore::registerName(const Name &name)
{
    if (name.defaultShortcut && !m_preferences.storedValue(key(name.rawValue)).isValid())
        storeValue(name, name.defaultShortcut->toJson());
}

std::optional<Shortcut> ShortcutStore::shortcut(const Name &name) const
{
    const QVariant stored = m_preferences.storedValue(key(name.rawValue));
    // A stored false reads back from the INI file as the text "false", which is no JSON object.
    if (stored.typeId() != QMetaType::QString)
        return std::nullopt;
    return Shortcut::fromJson(stored.toString());
}

void ShortcutStore::setShortcut(const Name &name, std::optional<Shortcut> shortcut)
{
    if (shortcut)
        storeValue(name, shortcut->toJson());
    else if (!this->shortcut(name))
        return;
    else if (name.defaultShortcut)
        storeValue(name, QVariant(false));
    else
        storeValue(name, std::nullopt);
}

void ShortcutStore::storeValue(const Name &name, const std::optional<QVariant> &value)
{
    m_writing = true;
    if (value)
        m_preferences.setValue(key(name.rawValue), *value);
    else
        m_preferences.remove(key(name.rawValue));
    m_writing = false;
    Q_EMIT shortcutChanged(name.rawValue);
}

} // namespace KeyboardShortcuts
