#pragma once

#include <QList>
#include <Qt>

#include <optional>

namespace KeyboardShortcuts {

enum class KeyArea { main, keypad };

// The fixed table between stored key codes (the hardware-independent numbering of an ANSI
// keyboard: 0 is A, 21 is 4, 53 is Escape), Qt keys and X keysyms. Keysyms are plain numbers
// so that the core needs no X header.
class KeyCodeTable
{
public:
    // The keypad's keys come first for KeyArea::keypad, the main block's for KeyArea::main; a
    // key the wanted area lacks is looked up in the other one (Qt reports the keypad's Enter
    // with KeypadModifier, a keypad arrow without NumLock as an arrow).
    static std::optional<quint32> keyCode(Qt::Key key, KeyArea area);
    static std::optional<Qt::Key> qtKey(quint32 keyCode);
    static KeyArea area(quint32 keyCode);
    // Every keysym whose key carries this code; empty for an unknown code. Print and F13 share
    // a code, so that code has two.
    static QList<quint32> keysyms(quint32 keyCode);
};

} // namespace KeyboardShortcuts
