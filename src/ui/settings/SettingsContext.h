#pragma once

#include "ShortcutConflicts.h"

#include <QString>

class AccessibilitySwitch;
class LoginItem;
class Preferences;

namespace KeyboardShortcuts {
class ShortcutStore;
}

// What the settings and the onboarding read and change, handed in by the application.
struct SettingsContext
{
    Preferences &preferences;
    KeyboardShortcuts::ShortcutStore &shortcuts;
    const KeyboardShortcuts::ShortcutConflicts &conflicts;
    LoginItem &loginItem;
    AccessibilitySwitch &accessibility;
    QString version;
};
