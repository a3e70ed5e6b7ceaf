#include "TrayHostWatch.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

} // namespace

TrayHostWatch::TrayHostWatch(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_watcher(new QDBusServiceWatcher(watcherService, m_bus, QDBusServiceWatcher::WatchForRegistration, this))
{
    // A watcher that arrives with its host (a panel) announces the host before anyone could
    // subscribe: it is asked. A host that comes to a watcher already there is heard.
    connect(m_watcher, &QDBusServiceWatcher::serviceRegistered, this, &TrayHostWatch::askWatcher);
    m_bus.connect(QString(), watcherPath, watcherService, QStringLiteral("StatusNotifierHostRegistered"), this,
        SLOT(hostRegistered()));
}

void TrayHostWatch::hostRegistered()
{
    Q_EMIT hostAppeared();
}

void TrayHostWatch::askWatcher()
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        watcherService, watcherPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << watcherService << QStringLiteral("IsStatusNotifierHostRegistered");
    auto *answer = new QDBusPendingCallWatcher(m_bus.asyncCall(get), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QList<QVariant> arguments = call->reply().arguments();
        if (!arguments.isEmpty() && arguments.first().value<QDBusVariant>().variant().toBool())
            Q_EMIT hostAppeared();
    });
}
