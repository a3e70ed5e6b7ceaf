#pragma once

#include "InstanceChannel.h"

#include <QDBusConnection>

#include <optional>

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

    // Runs `command` in the instance that owns the name, if one does and serves commands; `done`
    // gets none otherwise, and the caller runs it itself. The command may take as long as it
    // likes there (a selection waits for the user), but the instance is pinged meanwhile: one
    // that stops answering (frozen, or gone) ends the wait with an error.
    using Answered = std::function<void(Result<std::optional<CommandAnswer>>)>;
    static void runInPrimary(const QDBusConnection &bus, const ForwardedCommand &command, Answered done);

public Q_SLOTS:
    Q_SCRIPTABLE void Reopen();
    // For the desktop's own key bindings and for scripts: the same as the shortcuts and the
    // tray menu. They return at once; what follows happens on the screen.
    Q_SCRIPTABLE void TakeScreenshot();
    Q_SCRIPTABLE void ToggleRecording();
    Q_SCRIPTABLE void ShowSettings();
    // Answers later, with the command's status, its standard output and its error text.
    Q_SCRIPTABLE void Run(const QStringList &arguments, const QString &workingDirectory, const QDBusMessage &message);

private:
    Result<Role> forward(InstanceRequest request);

    QDBusConnection m_bus;
    bool m_ownsName = false;
};
