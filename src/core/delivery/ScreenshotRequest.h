#pragma once

#include "ImageFormat.h"

#include <QRectF>
#include <QString>

#include <optional>

// One screenshot as a caller asks for it. Everything left open is decided by the preferences
// and the screen at the moment of capture. A default request is a scripted capture of the
// display under the pointer; the command line may name each part.
struct ScreenshotRequest
{
    // Who hears about failures: the desktop's caller has no terminal, so a failed capture
    // becomes a notification; the command line prints it instead.
    enum class Origin { desktop, commandLine };

    Origin origin = Origin::commandLine;
    // The user picks the target in the selection overlay; otherwise the fields below do: a
    // window, else a display (or an area local to it, the primary when none is named), else
    // the display under the pointer.
    bool select = false;
    std::optional<quint32> displayId;
    std::optional<quint32> windowId;
    std::optional<QRectF> areaInPoints;

    std::optional<ImageFormat> format; // none: by the output file's suffix, else the preference
    std::optional<double> quality;
    // Empty: delivered as the preferences say, into the screenshot folder under the template's
    // name. "-": the encoded image is handed back to the caller and goes nowhere else.
    // Otherwise exactly this file, which must not exist; more only when asked.
    QString outputPath;
    // Overrides of the screenshot output actions in the preferences.
    std::optional<bool> copy;
    std::optional<bool> save;
    std::optional<bool> upload;

    // What the shortcut and the tray menu ask for: the user selects, the preferences decide
    // the rest, and failures are notifications.
    static ScreenshotRequest userSelection()
    {
        ScreenshotRequest request;
        request.origin = Origin::desktop;
        request.select = true;
        return request;
    }

    bool toCaller() const { return outputPath == QLatin1String("-"); }
    bool toNamedFile() const { return !outputPath.isEmpty() && !toCaller(); }
};
