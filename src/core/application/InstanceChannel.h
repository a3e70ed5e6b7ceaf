#pragma once

#include "Result.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

#include <optional>

// What a later launch asks of the running instance.
enum class InstanceRequest {
    reopen, // show the settings window, as opening the app again does
};

QString rawValue(InstanceRequest request);
std::optional<InstanceRequest> instanceRequestFromRaw(const QString &raw);

// A command-line invocation handed to the running instance, which is warm: Qt started, the
// screen's shared memory kept, the clipboard and notifications its own.
struct ForwardedCommand
{
    QStringList arguments; // as the command line got them, program name first
    QString workingDirectory; // relative paths in the arguments are relative to this
};

// What the command printed and the status it ended with.
struct CommandAnswer
{
    int status = 0;
    QByteArray output;
    QString errors;
};

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

    // How the primary answers commands forwarded to it; without one it refuses them.
    using CommandHandler = std::function<CommandAnswer(const ForwardedCommand &)>;
    void setCommandHandler(CommandHandler handler) { m_commandHandler = std::move(handler); }

protected:
    CommandHandler m_commandHandler;

public:
Q_SIGNALS:
    void requestReceived(InstanceRequest request);
};
