#pragma once

#include "Result.h"

#include <QObject>
#include <QString>

#include <optional>

// What a later launch asks of the running instance.
enum class InstanceRequest {
    reopen, // show the settings window, as opening the app again does
};

QString rawValue(InstanceRequest request);
std::optional<InstanceRequest> instanceRequestFromRaw(const QString &raw);

// Keeps Qorvel to one process per user session. The first process to claim the channel
// becomes the primary and hears every later launch's request; a later one hands its request
// over and exits.
class InstanceChannel : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        primary, // this process owns the channel now
        forwarded, // another process owns it and has received the request
    };

    using QObject::QObject;
    ~InstanceChannel() override = default;

    // A failure means the channel cannot be used at all (no bus, no socket folder); the
    // caller may then try another kind of channel.
    virtual Result<Role> claim(InstanceRequest requestIfSecondary) = 0;

    // A short name for logs and docs: "D-Bus" or "local socket".
    virtual QString name() const = 0;

Q_SIGNALS:
    void requestReceived(InstanceRequest request);
};
