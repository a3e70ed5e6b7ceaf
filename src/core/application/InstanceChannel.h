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
    takeScreenshot, // open the selection, as the screenshot shortcut does
    toggleRecording, // start or stop a recording, as the recording shortcut does
    showSettings,
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
    // The status of a command the instance does not run: the caller runs it itself.
    static constexpr int notServed = 125;

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

    // How the primary serves commands forwarded to it; without a handler it refuses them. The
    // handler calls `reply` exactly once, now or later, and returns how to stop the command
    // when its requester goes away before the answer (the command was killed).
    using Reply = std::function<void(const CommandAnswer &answer)>;
    using Cancel = std::function<void()>;
    using CommandHandler = std::function<Cancel(const ForwardedCommand &command, Reply reply)>;
    void setCommandHandler(CommandHandler handler) { m_commandHandler = std::move(handler); }

protected:
    CommandHandler m_commandHandler;

public:
Q_SIGNALS:
    void requestReceived(InstanceRequest request);
};
