#include "KeyCodeTable.h"

#include <algorithm>
#include <array>

namespace KeyboardShortcuts {

namespace {

struct Row
{
    quint32 keyCode;
    Qt::Key qtKey;
    quint32 keysym; // 0: a second Qt name for the key, which keeps the first row's keysym
    KeyArea area;
};

constexpr KeyArea main = KeyArea::main;
constexpr KeyArea pad = KeyArea::keypad;

// The first row of a code names its key; later rows of the same code add names. Shift turns
// the main block's symbols into others (Qt reports Shift+4 as Key_Dollar), and the stored
// codes are positions on an ANSI keyboard, so the US symbols of those positions name them too.
// Print is first for 105: PC keyboards have it where extended Apple keyboards have F13.
constexpr std::array rows = {
    Row{0, Qt::Key_A, 0x61, main},
    Row{1, Qt::Key_S, 0x73, main},
    Row{2, Qt::Key_D, 0x64, main},
    Row{3, Qt::Key_F, 0x66, main},
    Row{4, Qt::Key_H, 0x68, main},
    Row{5, Qt::Key_G, 0x67, main},
    Row{6, Qt::Key_Z, 0x7a, main},
    Row{7, Qt::Key_X, 0x78, main},
    Row{8, Qt::Key_C, 0x63, main},
    Row{9, Qt::Key_V, 0x76, main},
    Row{11, Qt::Key_B, 0x62, main},
    Row{12, Qt::Key_Q, 0x71, main},
    Row{13, Qt::Key_W, 0x77, main},
    Row{14, Qt::Key_E, 0x65, main},
    Row{15, Qt::Key_R, 0x72, main},
    Row{16, Qt::Key_Y, 0x79, main},
    Row{17, Qt::Key_T, 0x74, main},
    Row{18, Qt::Key_1, 0x31, main},
    Row{19, Qt::Key_2, 0x32, main},
    Row{20, Qt::Key_3, 0x33, main},
    Row{21, Qt::Key_4, 0x34, main},
    Row{22, Qt::Key_6, 0x36, main},
    Row{23, Qt::Key_5, 0x35, main},
    Row{24, Qt::Key_Equal, 0x3d, main},
    Row{25, Qt::Key_9, 0x39, main},
    Row{26, Qt::Key_7, 0x37, main},
    Row{27, Qt::Key_Minus, 0x2d, main},
    Row{28, Qt::Key_8, 0x38, main},
    Row{29, Qt::Key_0, 0x30, main},
    Row{30, Qt::Key_BracketRight, 0x5d, main},
    Row{31, Qt::Key_O, 0x6f, main},
    Row{32, Qt::Key_U, 0x75, main},
    Row{33, Qt::Key_BracketLeft, 0x5b, main},
    Row{34, Qt::Key_I, 0x69, main},
    Row{35, Qt::Key_P, 0x70, main},
    Row{36, Qt::Key_Return, 0xff0d, main},
    Row{37, Qt::Key_L, 0x6c, main},
    Row{38, Qt::Key_J, 0x6a, main},
    Row{39, Qt::Key_Apostrophe, 0x27, main},
    Row{40, Qt::Key_K, 0x6b, main},
    Row{41, Qt::Key_Semicolon, 0x3b, main},
    Row{42, Qt::Key_Backslash, 0x5c, main},
    Row{43, Qt::Key_Comma, 0x2c, main},
    Row{44, Qt::Key_Slash, 0x2f, main},
    Row{45, Qt::Key_N, 0x6e, main},
    Row{46, Qt::Key_M, 0x6d, main},
    Row{47, Qt::Key_Period, 0x2e, main},
    Row{48, Qt::Key_Tab, 0xff09, main},
    Row{49, Qt::Key_Space, 0x20, main},
    Row{50, Qt::Key_QuoteLeft, 0x60, main},
    Row{51, Qt::Key_Backspace, 0xff08, main},
    Row{53, Qt::Key_Escape, 0xff1b, main},
    Row{64, Qt::Key_F17, 0xffce, main},
    Row{65, Qt::Key_Period, 0xffae, pad},
    Row{67, Qt::Key_Asterisk, 0xffaa, pad},
    Row{69, Qt::Key_Plus, 0xffab, pad},
    Row{75, Qt::Key_Slash, 0xffaf, pad},
    Row{76, Qt::Key_Enter, 0xff8d, pad},
    Row{78, Qt::Key_Minus, 0xffad, pad},
    Row{79, Qt::Key_F18, 0xffcf, main},
    Row{80, Qt::Key_F19, 0xffd0, main},
    Row{81, Qt::Key_Equal, 0xffbd, pad},
    Row{82, Qt::Key_0, 0xffb0, pad},
    Row{83, Qt::Key_1, 0xffb1, pad},
    Row{84, Qt::Key_2, 0xffb2, pad},
    Row{85, Qt::Key_3, 0xffb3, pad},
    Row{86, Qt::Key_4, 0xffb4, pad},
    Row{87, Qt::Key_5, 0xffb5, pad},
    Row{88, Qt::Key_6, 0xffb6, pad},
    Row{89, Qt::Key_7, 0xffb7, pad},
    Row{90, Qt::Key_F20, 0xffd1, main},
    Row{91, Qt::Key_8, 0xffb8, pad},
    Row{92, Qt::Key_9, 0xffb9, pad},
    Row{96, Qt::Key_F5, 0xffc2, main},
    Row{97, Qt::Key_F6, 0xffc3, main},
    Row{98, Qt::Key_F7, 0xffc4, main},
    Row{99, Qt::Key_F3, 0xffc0, main},
    Row{100, Qt::Key_F8, 0xffc5, main},
    Row{101, Qt::Key_F9, 0xffc6, main},
    Row{103, Qt::Key_F11, 0xffc8, main},
    Row{105, Qt::Key_Print, 0xff61, main},
    Row{105, Qt::Key_F13, 0xffca, main},
    Row{106, Qt::Key_F16, 0xffcd, main},
    Row{107, Qt::Key_F14, 0xffcb, main},
    Row{109, Qt::Key_F10, 0xffc7, main},
    Row{111, Qt::Key_F12, 0xffc9, main},
    Row{113, Qt::Key_F15, 0xffcc, main},
    // The Help key sits where PC keyboards have Insert, and sends this code for it.
    Row{114, Qt::Key_Insert, 0xff63, main},
    Row{114, Qt::Key_Help, 0xff6a, main},
    Row{115, Qt::Key_Home, 0xff50, main},
    Row{116, Qt::Key_PageUp, 0xff55, main},
    Row{117, Qt::Key_Delete, 0xffff, main},
    Row{118, Qt::Key_F4, 0xffc1, main},
    Row{119, Qt::Key_End, 0xff57, main},
    Row{120, Qt::Key_F2, 0xffbf, main},
    Row{121, Qt::Key_PageDown, 0xff56, main},
    Row{122, Qt::Key_F1, 0xffbe, main},
    Row{123, Qt::Key_Left, 0xff51, main},
    Row{124, Qt::Key_Right, 0xff53, main},
    Row{125, Qt::Key_Down, 0xff54, main},
    Row{126, Qt::Key_Up, 0xff52, main},
    // Names Qt gives these keys with Shift held.
    Row{18, Qt::Key_Exclam, 0, main},
    Row{19, Qt::Key_At, 0, main},
    Row{20, Qt::Key_NumberSign, 0, main},
    Row{21, Qt::Key_Dollar, 0, main},
    Row{23, Qt::Key_Percent, 0, main},
    Row{22, Qt::Key_AsciiCircum, 0, main},
    Row{26, Qt::Key_Ampersand, 0, main},
    Row{28, Qt::Key_Asterisk, 0, main},
    Row{25, Qt::Key_ParenLeft, 0, main},
    Row{29, Qt::Key_ParenRight, 0, main},
    Row{27, Qt::Key_Underscore, 0, main},
    Row{24, Qt::Key_Plus, 0, main},
    Row{33, Qt::Key_BraceLeft, 0, main},
    Row{30, Qt::Key_BraceRight, 0, main},
    Row{42, Qt::Key_Bar, 0, main},
    Row{41, Qt::Key_Colon, 0, main},
    Row{39, Qt::Key_QuoteDbl, 0, main},
    Row{43, Qt::Key_Less, 0, main},
    Row{47, Qt::Key_Greater, 0, main},
    Row{44, Qt::Key_Question, 0, main},
    Row{50, Qt::Key_AsciiTilde, 0, main},
    Row{48, Qt::Key_Backtab, 0, main},
};

const Row *firstRow(quint32 keyCode)
{
    const auto row = std::find_if(rows.begin(), rows.end(), [keyCode](const Row &r) { return r.keyCode == keyCode; });
    return row == rows.end() ? nullptr : &*row;
}

std::optional<quint32> keyCodeIn(Qt::Key key, KeyArea area)
{
    for (const Row &row : rows) {
        if (row.qtKey == key && row.area == area)
            return row.keyCode;
    }
    return std::nullopt;
}

} // namespace

std::optional<quint32> KeyCodeTable::keyCode(Qt::Key key, KeyArea area)
{
    if (const std::optional<quint32> code = keyCodeIn(key, area))
        return code;
    return keyCodeIn(key, area == KeyArea::main ? KeyArea::keypad : KeyArea::main);
}

std::optional<Qt::Key> KeyCodeTable::qtKey(quint32 keyCode)
{
    const Row *row = firstRow(keyCode);
    return row ? std::optional(row->qtKey) : std::nullopt;
}

KeyArea KeyCodeTable::area(quint32 keyCode)
{
    const Row *row = firstRow(keyCode);
    return row ? row->area : KeyArea::main;
}

QList<quint32> KeyCodeTable::keysyms(quint32 keyCode)
{
    QList<quint32> keysyms;
    for (const Row &row : rows) {
        if (row.keyCode == keyCode && row.keysym != 0)
            keysyms << row.keysym;
    }
    return keysyms;
}

} // namespace KeyboardShortcuts
