#include "StatusItemText.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <limits>

QString StatusItemText::elapsed(double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0 || seconds >= double(std::numeric_limits<int>::max()))
        return {};
    const int whole = int(seconds);
    return QStringLiteral(" %1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

int StatusItemText::uploadPercent(double fraction)
{
    if (!std::isfinite(fraction))
        return 0;
    return int(std::clamp(fraction, 0.0, 1.0) * 100);
}

QString StatusItemText::idleToolTip()
{
    return QStringLiteral("Qorvel");
}

QString StatusItemText::uploadingToolTip(double fraction)
{
    return QStringLiteral("Uploading… %1%").arg(uploadPercent(fraction));
}

QString StatusItemText::recordingToolTip(double elapsedSeconds, const QString &stopChord)
{
    const QString stop
        = stopChord.isEmpty() ? QStringLiteral("Stop recording") : QStringLiteral("Stop recording (%1)").arg(stopChord);
    return QLatin1String("Recording") + elapsed(elapsedSeconds) + QLatin1Char('\n') + stop
        + QStringLiteral(" · Esc cancels");
}

QString StatusItemText::uploadTitle(const UploadRecord &record, const QDateTime &now)
{
    const QString kind = record.kind == UploadKind::video ? QStringLiteral("Recording") : QStringLiteral("Screenshot");
    const QDateTime local = record.date.toLocalTime();
    const QLocale locale;
    const QString time = locale.toString(local.time(), QLocale::ShortFormat);
    const qint64 daysAgo = local.date().daysTo(now.toLocalTime().date());
    QString when;
    if (daysAgo == 0)
        when = QLatin1String("Today at ") + time;
    else if (daysAgo == 1)
        when = QLatin1String("Yesterday at ") + time;
    else
        when = locale.toString(local.date(), QLocale::ShortFormat) + QLatin1String(", ") + time;
    return kind + QStringLiteral(" · ") + when;
}
