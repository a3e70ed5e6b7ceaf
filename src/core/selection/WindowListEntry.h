#pragma once

#include <QRectF>
#include <QString>
#include <QtGlobal>

#include <optional>

// One window as the window system lists it, before anything is filtered out.
struct WindowListEntry
{
    quint32 id = 0;
    QRectF frame; // global points, top-left origin
    qint64 layer = 0; // 0 for ordinary windows; see docs/platform.md for the X11 mapping
    double alpha = 1;
    qint64 ownerPid = 0; // 0 when unknown
    std::optional<QString> applicationId; // on X11 the WM_CLASS instance name

    friend bool operator==(const WindowListEntry &, const WindowListEntry &) = default;
};

// A window the user could mean by clicking: front to back, as the overlay hit-tests them.
struct SnapWindow
{
    quint32 id = 0;
    QRectF frame;
    qint64 ownerPid = 0;

    friend bool operator==(const SnapWindow &, const SnapWindow &) = default;
};
