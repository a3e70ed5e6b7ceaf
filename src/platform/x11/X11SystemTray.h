#pragma once

#include <QtGlobal>

#include <optional>

class X11Connection;

// The XEmbed system tray of the X screen, as far as its clients can see it.
class X11SystemTray
{
public:
    // The colour the tray draws its own text in, as 0xRRGGBB, when the tray announces it
    // (_NET_SYSTEM_TRAY_COLORS); none when there is no tray or it does not say.
    static std::optional<quint32> foreground(const X11Connection &connection);
};
