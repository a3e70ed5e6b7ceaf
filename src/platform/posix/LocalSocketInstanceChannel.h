#pragma once

#include "InstanceChannel.h"

class QLocalServer;

// The single-instance channel for sessions without a D-Bus session bus: a socket in the
// user's runtime folder. One line per request ("reopen\n"), answered with "ok\n".
class LocalSocketInstanceChannel : public InstanceChannel
{
    Q_OBJECT

public:
    explicit LocalSocketInstanceChannel(QString socketPath, QObject *parent = nullptr);
    ~LocalSocketInstanceChannel() override;

    Result<Role> claim(InstanceRequest requestIfSecondary) override;
    QString name() const override;

private:
    Result<Role> forward(InstanceRequest request);
    void serveNextConnection();

    QString m_socketPath;
    QLocalServer *m_server = nullptr;
};
