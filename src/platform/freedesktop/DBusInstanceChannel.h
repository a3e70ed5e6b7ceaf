#pragma once

#include "InstanceChannel.h"

#include <QDBusConnection>

// The single-instance channel on the session bus: the primary owns the well-known name and
// exports its commands, so later launches, desktop key bindings and scripts all reach it the
// same way (`gdbus call --session --dest com.vostrink.qorvel ...`).
class DBusInstanceChannel : public InstanceChannel
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.vostrink.qorvel")

public:
    static constexpr const char *serviceName = "com.vostrink.qorvel";
    static constexpr const char *objectPath = "/com/vostrink/qorvel";

    explicit DBusInstanceChannel(QDBusConnection bus, QObject *parent = nullptr);
    ~DBusInstanceChannel() override;

    Result<Role> claim(InstanceRequest requestIfSecondary) override;
    QString name() const override;

public Q_SLOTS:
    Q_SCRIPTABLE void Reopen();

private:
    Result<Role> forward(InstanceRequest request);

    QDBusConnection m_bus;
    bool m_ownsName = false;
};
