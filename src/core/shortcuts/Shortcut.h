#pragma once

#include <QKeyCombination>
#include <QString>

#include <optional>

namespace KeyboardShortcuts {

// Modifier bits as stored: the numbering the stored shortcuts have always used, so a
// preferences file moves between machines unchanged.
namespace CarbonModifier {
inline constexpr quint32 command = 0x100;
inline constexpr quint32 shift = 0x200;
inline constexpr quint32 option = 0x800;
inline constexpr quint32 control = 0x1000;
inline constexpr quint32 function = 0x20000;
} // namespace CarbonModifier

// Modifier flags as key events of the other encoding carry them, beside bits (caps lock,
// numeric pad, device-dependent flags) that a shortcut never keeps.
namespace CocoaFlag {
inline constexpr quint64 command = 0x100000;
inline constexpr quint64 shift = 0x20000;
inline constexpr quint64 option = 0x80000;
inline constexpr quint64 control = 0x40000;
inline constexpr quint64 function = 0x800000;
} // namespace CocoaFlag

// A key chord: a key of the fixed key-code table (KeyCodeTable) and its modifiers.
struct Shortcut
{
    quint32 carbonKeyCode = 0;
    quint32 carbonModifiers = 0;

    // Only command, shift, option, control and function survive.
    static Shortcut fromCocoa(quint32 keyCode, quint64 cocoaFlags);
    static quint64 cocoaFlags(quint32 carbonModifiers);
    static quint32 carbonModifiersFromCocoa(quint64 cocoaFlags);
    // The modifiers through both encodings and back: what two chords are compared by.
    static quint32 normalizedModifiers(quint32 carbonModifiers);

    // None for a key the table does not know (a modifier key alone, a media key).
    static std::optional<Shortcut> fromQt(QKeyCombination combination);
    // Qt::Key_unknown for a code the table does not know; function has no Qt modifier.
    QKeyCombination toQt() const;

    // {"carbonKeyCode":21,"carbonModifiers":2560}
    QString toJson() const;
    // None for anything but an object with both integer fields.
    static std::optional<Shortcut> fromJson(const QString &json);

    friend bool operator==(const Shortcut &, const Shortcut &) = default;
};

} // namespace KeyboardShortcuts
