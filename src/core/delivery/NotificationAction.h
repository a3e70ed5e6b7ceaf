#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// What clicking a notification does: open an uploaded file's link, or show a saved file in
// the file manager (nothing when the file has gone since).
struct NotificationAction
{
    enum class Kind { openUrl, revealFile };

    Kind kind = Kind::openUrl;
    QUrl url; // the link, or the saved file's file: URL

    static NotificationAction openUrl(const QUrl &link) { return {Kind::openUrl, link}; }
    static NotificationAction revealFile(const QString &path) { return {Kind::revealFile, QUrl::fromLocalFile(path)}; }

    friend bool operator==(const NotificationAction &, const NotificationAction &) = default;
};
