#pragma once

#include <QDBusConnection>
#include <QObject>

class QDBusServiceWatcher;

// Tells when a StatusNotifierItem host comes to the session bus (a panel started late, an
// extension turned on), for a tray item that found no tray at start: Qt decides once per
// process whether its item speaks StatusNotifierItem, so only a new process shows the item
// in that host.
class TrayHostWatch : public QObject
{
    Q_OBJECT

public:
    explicit TrayHostWatch(QDBusConnection bus, QObject *parent = nullptr);

Q_SIGNALS:
    void hostAppeared();

private Q_SLOTS:
    void hostRegistered();

private:
    void askWatcher();

    QDBusConnection m_bus;
    QDBusServiceWatcher *m_watcher;
};
