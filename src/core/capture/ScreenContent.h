#pragma once

#include <QList>
#include <QRect>
#include <QRectF>
#include <QString>
#include <QtGlobal>

// A snapshot of what is on screen, as the capture platform reports it. Frames are in the global
// point space: origin at the primary display's top-left, y down.
struct ScreenDisplay
{
    quint32 id = 0;
    QRectF frame; // points
    double scale = 1; // pixels per point
    QRect pixelFrame; // device pixels on the screen the platform grabs from
    QString name; // as the platform calls it, e.g. the RandR output name
};

struct ScreenWindow
{
    quint32 id = 0;
    QRectF frame; // points
    qint64 ownerPid = 0;
};

struct ScreenApplication
{
    qint64 pid = 0;
};

struct ScreenContent
{
    QList<ScreenDisplay> displays; // the primary display first
    QList<ScreenWindow> windows; // on screen only, front to back
    QList<ScreenApplication> applications;
};
