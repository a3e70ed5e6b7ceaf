#pragma once

#include <QRect>

#include <optional>

class X11Connection;

// The XEmbed system tray of the X screen, as far as its clients can see it.
class X11SystemTray
{
public:
    // The colour to draw on the tray in, as 0xRRGGBB: the one the tray announces for its text
    // (_NET_SYSTEM_TRAY_COLORS), else dark or light against the panel seen at the corners of
    // `item` (the tray item's place on the screen, in pixels; empty when unknown). None when
    // there is no tray or nothing tells.
    static std::optional<quint32> foreground(const X11Connection &connection, const QRect &item);

private:
    static std::optional<quint32> panelBehind(const X11Connection &connection, const QRect &item);
    static std::optional<quint32> contrastingWith(std::optional<quint32> background);
};
