#pragma once

#include "UploadRecord.h"

#include <QDateTime>
#include <QString>

// The words and numbers the status item shows, apart from any widget, so that the rounding
// rules can be checked without a tray.
class StatusItemText
{
public:
    // " m:ss" for a running recording: whole minutes, not wrapped into hours, and the seconds
    // truncated. Empty for a time that is not finite or too large to show.
    static QString elapsed(double seconds);
    // The whole percentage of an upload, truncated: 0.999 is 99, so 100 means done.
    static int uploadPercent(double fraction);

    static QString idleToolTip();
    static QString uploadingToolTip(double fraction);
    // `stopChord` is the stop shortcut as the user sees it, such as "Shift+Alt+5"; empty when
    // the shortcut is off.
    static QString recordingToolTip(double elapsedSeconds, const QString &stopChord);

    // "Screenshot · Today at 2:05 PM": the kind, then the local date relative to `now`.
    static QString uploadTitle(const UploadRecord &record, const QDateTime &now);
};
