#include "DBusAccessibilitySwitch.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <utility>

namespace {

QDBusMessage propertyCall(const QString &method, const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), method);
    call.setArguments(arguments);
    return call;
}

} // namespace

DBusAccessibilitySwitch::DBusAccessibilitySwitch(QDBusConnection sessionBus, QObject *parent)
    : AccessibilitySwitch(parent)
    , m_bus(std::move(sessionBus))
{
}

void DBusAccessibilitySwitch::query()
{
    const QDBusMessage call
        = propertyCall(QStringLiteral("Get"), {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")});
    // A short timeout: the answer is asked for again a second later anyway.
    constexpr int timeoutMs = 900;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *done) {
        done->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *done;
        Q_EMIT answered(!reply.isError() && reply.value().variant().toBool());
    });
}

void DBusAccessibilitySwitch::turnOn()
{
    m_bus.asyncCall(propertyCall(QStringLiteral("Set"),
        {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"), QVariant::fromValue(QDBusVariant(true))}));
}
