#include "DBusInstanceChannel.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QPointer>
#include <QTimer>

#include <limits>

#include <utility>

namespace {

constexpr int forwardTimeoutMs = 5000;
// How often a waiting command asks whether the instance still answers, and how long an answer
// may take: a live instance answers in a millisecond, so a frozen one is found within seconds.
constexpr int pingIntervalMs = 1000;
constexpr int pingTimeoutMs = 4000;

QString methodFor(InstanceRequest request)
{
    switch (request) {
    case InstanceRequest::reopen:
        return QStringLiteral("Reopen");
    case InstanceRequest::takeScreenshot:
        return QStringLiteral("TakeScreenshot");
    case InstanceRequest::toggleRecording:
        return QStringLiteral("ToggleRecording");
    case InstanceRequest::showSettings:
        return QStringLiteral("ShowSettings");
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

void DBusInstanceChannel::TakeScreenshot()
{
    Q_EMIT requestReceived(InstanceRequest::takeScreenshot);
}

void DBusInstanceChannel::ToggleRecording()
{
    Q_EMIT requestReceived(InstanceRequest::toggleRecording);
}

void DBusInstanceChannel::ShowSettings()
{
    Q_EMIT requestReceived(InstanceRequest::showSettings);
}

void DBusInstanceChannel::Run(
    const QStringList &arguments, const QString &workingDirectory, const QDBusMessage &message)
{
    message.setDelayedReply(true);
    if (!m_commandHandler) {
        m_bus.send(message.createReply(
            QVariantList{CommandAnswer::notServed, QByteArray(), QStringLiteral("This instance runs no commands.")}));
        return;
    }

    // A requester that leaves (the command was killed) takes its command with it: its
    // selection closes rather than waiting for a drag that would write a file nobody asked for.
    auto *requester
        = new QDBusServiceWatcher(message.service(), m_bus, QDBusServiceWatcher::WatchForUnregistration, this);
    QPointer<QDBusServiceWatcher> alive(requester);
    const Cancel cancel
        = m_commandHandler({arguments, workingDirectory}, [bus = m_bus, message, alive](const CommandAnswer &answer) {
              bus.send(message.createReply(QVariantList{answer.status, answer.output, answer.errors}));
              if (alive)
                  alive->deleteLater();
          });
    if (!alive)
        return;
    const auto requesterLeft = [alive, cancel]() {
        if (!alive)
            return;
        alive->deleteLater();
        if (cancel)
            cancel();
    };
    connect(requester, &QDBusServiceWatcher::serviceUnregistered, this, requesterLeft);
    // It may have left before the watch began.
    if (!m_bus.interface()->isServiceRegistered(message.service()))
        requesterLeft();
}

void DBusInstanceChannel::runInPrimary(const QDBusConnection &bus, const ForwardedCommand &command, Answered done)
{
    if (!bus.isConnected()) {
        done(std::optional<CommandAnswer>());
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(serviceName), QStringLiteral("Run"));
    call << command.arguments << command.workingDirectory;
    // No time limit of its own (the bus's "infinite"): the pings below bound the wait instead.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, std::numeric_limits<int>::max()));
    auto finish = std::make_shared<Answered>(std::move(done));
    const auto answerOnce = [finish, watcher](Result<std::optional<CommandAnswer>> answer) {
        if (Answered answered = std::exchange(*finish, {})) {
            watcher->deleteLater();
            answered(std::move(answer));
        }
    };
    const Error silent{QStringLiteral("Qorvel is already running but did not answer."), QString()};

    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, watcher, [answerOnce, silent](QDBusPendingCallWatcher *pending) {
            const QDBusMessage answer = pending->reply();
            if (answer.type() == QDBusMessage::ReplyMessage && answer.arguments().size() == 3) {
                const int status = answer.arguments().at(0).toInt();
                if (status == CommandAnswer::notServed)
                    answerOnce(std::optional<CommandAnswer>());
                else
                    answerOnce(std::optional<CommandAnswer>(CommandAnswer{
                        status, answer.arguments().at(1).toByteArray(), answer.arguments().at(2).toString()}));
                return;
            }
            // Nobody owns the name, or its owner does not know the call: the command runs here.
            const QDBusError::ErrorType error = pending->error().type();
            if (error == QDBusError::ServiceUnknown || error == QDBusError::UnknownMethod
                || error == QDBusError::UnknownObject || error == QDBusError::UnknownInterface)
                answerOnce(std::optional<CommandAnswer>());
            else
                answerOnce(silent);
        });

    // The libdbus of a live instance answers pings on its own thread, however busy the
    // instance is; a frozen or vanished one does not.
    auto *pings = new QTimer(watcher);
    pings->setInterval(pingIntervalMs);
    QObject::connect(pings, &QTimer::timeout, watcher, [bus, watcher, answerOnce, silent]() {
        const QDBusMessage ping = QDBusMessage::createMethodCall(QLatin1String(serviceName), QLatin1String(objectPath),
            QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
        auto *pong = new QDBusPendingCallWatcher(bus.asyncCall(ping, pingTimeoutMs), watcher);
        QObject::connect(
            pong, &QDBusPendingCallWatcher::finished, watcher, [answerOnce, silent](QDBusPendingCallWatcher *answer) {
                answer->deleteLater();
                if (answer->isError() && answer->error().type() != QDBusError::UnknownMethod)
                    answerOnce(silent);
            });
    });
    pings->start();
}
