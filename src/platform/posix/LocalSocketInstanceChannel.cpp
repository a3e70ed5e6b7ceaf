#include "LocalSocketInstanceChannel.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>

#include <utility>

namespace {

constexpr int connectTimeoutMs = 500;
constexpr int answerTimeoutMs = 5000;
constexpr int lockTimeoutMs = 5000;

} // namespace

LocalSocketInstanceChannel::LocalSocketInstanceChannel(QString socketPath, QObject *parent)
    : InstanceChannel(parent)
    , m_socketPath(std::move(socketPath))
{
}

LocalSocketInstanceChannel::~LocalSocketInstanceChannel()
{
    if (m_server)
        m_server->close(); // removes the socket file, so the next launch needn't guess it stale
}

QString LocalSocketInstanceChannel::name() const
{
    return QStringLiteral("local socket");
}

Result<InstanceChannel::Role> LocalSocketInstanceChannel::claim(InstanceRequest requestIfSecondary)
{
    // Two launches at once could both find no server, and the second's clean-up of a "stale"
    // socket would delete the first one's live socket. The lock makes connect-or-listen atomic.
    QLockFile lock(m_socketPath + QLatin1String(".lock"));
    if (!lock.tryLock(lockTimeoutMs))
        return Error{QStringLiteral("Couldn't lock Qorvel's instance socket."), m_socketPath};

    QLocalSocket probe;
    probe.connectToServer(m_socketPath);
    if (probe.waitForConnected(connectTimeoutMs)) {
        probe.disconnectFromServer();
        return forward(requestIfSecondary);
    }

    // Nobody answers: whatever socket file is there was left by a process that died.
    QLocalServer::removeServer(m_socketPath);
    auto server = new QLocalServer(this);
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(m_socketPath)) {
        const QString reason = server->errorString();
        delete server;
        return Error{QStringLiteral("Couldn't open Qorvel's instance socket."), reason};
    }
    m_server = server;
    connect(m_server, &QLocalServer::newConnection, this, &LocalSocketInstanceChannel::serveNextConnection);
    return Role::primary;
}

Result<InstanceChannel::Role> LocalSocketInstanceChannel::forward(InstanceRequest request)
{
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(connectTimeoutMs))
        return Error{QStringLiteral("Qorvel is already running but did not answer."), socket.errorString()};
    socket.write(rawValue(request).toUtf8() + '\n');
    socket.waitForBytesWritten(answerTimeoutMs);
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(answerTimeoutMs))
            return Error{QStringLiteral("Qorvel is already running but did not answer."), socket.errorString()};
    }
    if (socket.readLine().trimmed() != "ok")
        return Error{QStringLiteral("Qorvel is already running but refused the request."), m_socketPath};
    return Role::forwarded;
}

void LocalSocketInstanceChannel::serveNextConnection()
{
    while (QLocalSocket *client = m_server->nextPendingConnection()) {
        connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        connect(client, &QLocalSocket::readyRead, this, [this, client] {
            while (client->canReadLine()) {
                const QString line = QString::fromUtf8(client->readLine().trimmed());
                const std::optional<InstanceRequest> request = instanceRequestFromRaw(line);
                client->write(request ? "ok\n" : "unknown\n");
                client->flush();
                if (request)
                    Q_EMIT requestReceived(*request);
            }
        });
    }
}
