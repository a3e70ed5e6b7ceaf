#include "ShortcutActions.h"

#include "HotKeyService.h"
#include "ShortcutStore.h"

#include <utility>

namespace KeyboardShortcuts {

ShortcutActions::ShortcutActions(ShortcutStore &store, HotKeyService &hotKeys, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_hotKeys(hotKeys)
{
    connect(&m_store, &ShortcutStore::shortcutChanged, this, [this](const QString &rawValue) {
        const auto binding = m_bindings.find(rawValue);
        if (binding != m_bindings.end())
            update(binding->second);
    });
}

ShortcutActions::~ShortcutActions()
{
    for (const auto &[rawValue, binding] : m_bindings) {
        if (binding.hotKeyId)
            m_hotKeys.unregisterHotKey(*binding.hotKeyId);
    }
}

void ShortcutActions::onKeyDown(const Name &name, std::function<void()> action, Activation activation)
{
    // Before the binding exists: the default written here announces a change of its own.
    m_store.registerName(name);
    Binding &binding = m_bindings[name.rawValue];
    binding.name = name;
    binding.action = std::move(action);
    binding.activation = activation;
    update(binding);
}

void ShortcutActions::setActivation(const Name &name, Activation activation)
{
    Binding &binding = m_bindings[name.rawValue];
    binding.name = name;
    if (binding.activation == activation)
        return;
    binding.activation = activation;
    update(binding);
}

bool ShortcutActions::isRegistered(const Name &name) const
{
    const auto binding = m_bindings.find(name.rawValue);
    return binding != m_bindings.end() && binding->second.hotKeyId.has_value();
}

void ShortcutActions::update(Binding &binding)
{
    if (binding.hotKeyId)
        m_hotKeys.unregisterHotKey(*std::exchange(binding.hotKeyId, std::nullopt));
    if (binding.activation == Activation::disabled || !binding.action)
        return;
    if (const std::optional<Shortcut> shortcut = m_store.shortcut(binding.name))
        binding.hotKeyId = m_hotKeys.registerHotKey(*shortcut, binding.action);
}

} // namespace KeyboardShortcuts
