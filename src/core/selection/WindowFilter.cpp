#include "WindowFilter.h"

const QSet<QString> &WindowFilter::excludedApplicationIds()
{
    static const QSet<QString> ids = {
        QStringLiteral("plasmashell"),
        QStringLiteral("gnome-shell"),
        QStringLiteral("xfce4-panel"),
        QStringLiteral("xfdesktop"),
        QStringLiteral("tint2"),
        QStringLiteral("polybar"),
        QStringLiteral("lxpanel"),
        QStringLiteral("conky"),
    };
    return ids;
}

QList<SnapWindow> WindowFilter::filter(
    const QList<WindowListEntry> &entries, qint64 excludedPid, double minimumSideInPoints)
{
    QList<SnapWindow> kept;
    for (const WindowListEntry &entry : entries) {
        if (entry.ownerPid == excludedPid)
            continue;
        // One unsigned comparison drops negative layers (the desktop) as well as 20 and above
        // (panels, menus, notifications).
        if (quint64(entry.layer) > 19)
            continue;
        if (!(entry.alpha > 0.01))
            continue;
        if (entry.frame.width() < minimumSideInPoints || entry.frame.height() < minimumSideInPoints)
            continue;
        if (entry.applicationId && excludedApplicationIds().contains(*entry.applicationId))
            continue;
        kept << SnapWindow{entry.id, entry.frame, entry.ownerPid};
    }
    return kept;
}

Result<QList<SnapWindow>> WindowFilter::fetch(WindowListSource &source, qint64 ownPid)
{
    const Result<QList<WindowListEntry>> entries = source.windowList();
    if (!entries)
        return entries.error();
    return filter(*entries, ownPid);
}
