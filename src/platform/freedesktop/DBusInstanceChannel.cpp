#include "DBusInstanceChannel.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <utility>

namespace {

constexpr int forwardTimeoutMs = 5000;
// The instance does not run this command; the caller runs it itself.
constexpr int notServed = 125;

QString methodFor(InstanceRequest request)
{
    switch (request) {
    case InstanceRequest::reopen:
        return QStringLiteral("Reopen");
    }
    return {};
}

} // namespace

DBusInstanceChannel::DBusInstanceChannel(QDBusConnection bus, QObject *parent)
    : InstanceChannel(parent)
    , m_bus(std::move(bus))
{
}

DBusInstanceChannel::~DBusInstanceChannel()
{
    if (m_ownsName) {
        m_bus.unregisterObject(QLatin1String(objectPath));
        m_bus.unregisterService(QLatin1String(serviceName));
    }
}

QString DBusInstanceChannel::name() const
{
    return QStringLiteral("D-Bus");
}

Result<InstanceChannel::Role> DBusInstanceChannel::claim(InstanceRequest requestIfSecondary)
{
    if (!m_bus.isConnected())
        return Error{QStringLiteral("There is no D-Bus session bus."), m_bus.lastError().message()};

    // Export first: the moment the name is ours, a second launch may already be calling us.
    if (!m_bus.registerObject(QLatin1String(objectPath), this, QDBusConnection::ExportScriptableSlots))
        return Error{QStringLiteral("Couldn't export Qorvel's D-Bus object."), m_bus.lastError().message()};

    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply
        = m_bus.interface()->registerService(QLatin1String(serviceName), QDBusConnectionInterface::DontQueueService,
            QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        m_ownsName = true;
        return Role::primary;
    }

    m_bus.unregisterObject(QLatin1String(objectPath));
    if (!reply.isValid())
        return Error{QStringLiteral("Couldn't claim Qorvel's D-Bus name."), reply.error().message()};
    return forward(requestIfSecondary);
}

Result<InstanceChannel::Role> DBusInstanceChannel::forward(InstanceRequest request)
{
    const QDBusMessage call = QDBusMessage::createMethodCall(
        QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(serviceName), methodFor(request));
    const QDBusMessage answer = m_bus.call(call, QDBus::Block, forwardTimeoutMs);
    if (answer.type() == QDBusMessage::ErrorMessage)
        return Error{QStringLiteral("Qorvel is already running but did not answer."), answer.errorMessage()};
    return Role::forwarded;
}

void DBusInstanceChannel::Reopen()
{
    Q_EMIT requestReceived(InstanceRequest::reopen);
}

int DBusInstanceChannel::Run(
    const QStringList &arguments, const QString &workingDirectory, QByteArray &output, QString &errors)
{
    if (!m_commandHandler) {
        errors = QStringLiteral("This instance runs no commands.");
        return notServed;
    }
    const CommandAnswer answer = m_commandHandler({arguments, workingDirectory});
    output = answer.output;
    errors = answer.errors;
    return answer.status;
}

std::optional<CommandAnswer> DBusInstanceChannel::runInPrimary(
    QDBusConnection bus, const ForwardedCommand &command, int timeoutMs)
{
    // Asking the bus first costs a round trip; calling a name nobody owns costs the same and
    // says so.
    if (!bus.isConnected())
        return std::nullopt;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(serviceName), QStringLiteral("Run"));
    call << command.arguments << command.workingDirectory;
    const QDBusMessage answer = bus.call(call, QDBus::Block, timeoutMs);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().size() != 3)
        return std::nullopt;
    const int status = answer.arguments().at(0).toInt();
    if (status == notServed)
        return std::nullopt;
    return CommandAnswer{status, answer.arguments().at(1).toByteArray(), answer.arguments().at(2).toString()};
}
