#pragma once

#include "Name.h"

#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <optional>

namespace KeyboardShortcuts {

class HotKeyService;
class ShortcutStore;

// The program's actions on its named shortcuts: holds a hot key for each enabled name that has
// an action and a stored shortcut, and takes it anew when the stored shortcut changes. Lives
// shorter than the service it registers with.
class ShortcutActions : public QObject
{
    Q_OBJECT

public:
    enum class Activation { enabled, disabled };

    ShortcutActions(ShortcutStore &store, HotKeyService &hotKeys, QObject *parent = nullptr);
    ~ShortcutActions() override;

    // Registers the name (its default is written on first start) and sets its action. A name
    // that must not hold its chord yet (Escape before a recording runs) starts disabled, so it
    // never grabs the key, not even for a moment.
    void onKeyDown(const Name &name, std::function<void()> action, Activation activation = Activation::enabled);
    // A disabled name holds no grab at all.
    void setActivation(const Name &name, Activation activation);

    // Whether the name holds its hot key now (a refused chord does not).
    bool isRegistered(const Name &name) const;

private:
    struct Binding
    {
        Name name;
        std::function<void()> action;
        Activation activation = Activation::enabled;
        std::optional<quint32> hotKeyId;
    };

    void update(Binding &binding);

    ShortcutStore &m_store;
    HotKeyService &m_hotKeys;
    std::map<QString, Binding> m_bindings;
};

} // namespace KeyboardShortcuts
