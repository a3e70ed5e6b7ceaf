#pragma once

#include "CaptureServices.h"
#include "InstanceChannel.h"
#include "Result.h"
#include "WindowPresenter.h"

#include <QObject>

#include <memory>
#include <optional>

class Clipboard;
class CompositionRoot;
class InstanceCommands;
class Notifier;
class ShutterSound;

// Owns every long-lived service of the running tray application and runs its user flows. The
// tray, the shortcuts, D-Bus and the command line all reach captures through it.
class AppCoordinator : public QObject
{
    Q_OBJECT

public:
    explicit AppCoordinator(CompositionRoot &root, QObject *parent = nullptr);
    ~AppCoordinator() override;

    void start();

    void showSettings();
    // Starts a fresh copy of this executable half a second from now and quits at once, so the
    // new process finds the single-instance channel free.
    void relaunch();

    // The capture services, made on first use (they open the window system's connection);
    // why there are none, when the screen cannot be captured in this session.
    Result<CaptureServices *> captureServices();

    // A command-line invocation the running instance serves, or refuses so that the command
    // runs it itself.
    InstanceChannel::Cancel serveCommand(const ForwardedCommand &command, const InstanceChannel::Reply &reply);

    WindowPresenter &windows() { return m_windows; }

private:
    CompositionRoot &m_root;
    WindowPresenter m_windows;
    std::unique_ptr<Clipboard> m_clipboard;
    std::unique_ptr<Notifier> m_notifier;
    std::unique_ptr<ShutterSound> m_shutter;
    std::optional<CaptureServices> m_capture;
    std::unique_ptr<InstanceCommands> m_commands;
};
