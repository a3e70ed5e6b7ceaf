#pragma once

#include "Notifier.h"

#include <QDBusConnection>
#include <QDir>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <functional>

class TemporaryFiles;
class Thumbnailer;
#include <optional>

// Notifications through org.freedesktop.Notifications. Posting never waits for the server: the
// call is asynchronous, and its answer decides what happens next. A click arrives later as
// ActionInvoked, which the server sends to the posting connection alone, so the notifier
// listens on the connection it posts from.
//
// A thumbnail is a PNG in the temporary folder, named in the "image-path" hint. It lives as
// long as its notification: removed when the server reports it closed, when posting fails, and
// at the latest with the notifier.
class FreedesktopNotifier : public QObject, public Notifier
{
    Q_OBJECT

public:
    struct Handlers
    {
        std::function<void(const QUrl &link)> openUrl;
        std::function<void(const QString &path)> reveal; // only for a file that still exists
        // A failure that no notification server could show; successes are dropped instead.
        std::function<void(const QString &title, const QString &body)> alert;
    };

    static constexpr const char *serviceName = "org.freedesktop.Notifications";
    static constexpr const char *objectPath = "/org/freedesktop/Notifications";

    // `temporaries`, when given, lists the thumbnails while they exist, so that they go with the
    // process however it ends.
    FreedesktopNotifier(QDBusConnection bus, Handlers handlers, Thumbnailer &thumbnails,
        TemporaryFiles *temporaries = nullptr, QString temporaryFolder = QDir::tempPath(), QObject *parent = nullptr);
    ~FreedesktopNotifier() override;

    void post(const NotificationRequest &request) override;

    // Nothing in flight and nothing shown that a click or a close could still concern.
    bool isSettled() const { return m_pending == 0 && m_shown.isEmpty(); }

Q_SIGNALS:
    // Every notification posted so far has been answered and, if it had an action or a
    // picture, closed: a process that only lived to serve them may end.
    void settled();

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &key);
    void onNotificationClosed(uint id, uint reason);

private:
    struct Shown
    {
        std::optional<NotificationAction> action;
        QString thumbnail; // empty for none
    };

    QString writeThumbnail(const NotificationRequest &request);
    void discardThumbnail(const QString &path);
    void emitIfSettled();

    QDBusConnection m_bus;
    Handlers m_handlers;
    Thumbnailer &m_thumbnailer;
    TemporaryFiles *m_temporaries;
    QString m_temporaryFolder;
    QHash<uint, Shown> m_shown;
    int m_pending = 0; // posts whose answer has not come yet
    QSet<QString> m_thumbnails; // every file this notifier wrote and has not removed yet
};
