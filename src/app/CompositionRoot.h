#pragma once

#include "CaptureServices.h"
#include "FrameSource.h"
#include "InstanceChannel.h"
#include "LeftoverRecordings.h"
#include "Preferences.h"
#include "RecordingController.h"
#include "ScreenCapturePlatform.h"
#include "SecretStore.h"
#include "StagingFolders.h"
#include "TemporaryFiles.h"
#include "Uploader.h"
#include "VideoFileWriter.h"
#include "X11Grabber.h"

#include <QColor>

#include <functional>
#include <future>
#include <memory>

namespace KeyboardShortcuts {
class HotKeyService;
}

class AccessibilitySwitch;
class Clipboard;
class LoginItem;
class FreedesktopNotifier;
class Notifier;
class QNetworkAccessManager;
class TrayHostWatch;
class ShutterSound;
class UnixSignalWatcher;
class X11Connection;
class X11ScreenCapture;

// The one place that reads the environment and picks backends. Everything below it is handed
// the interfaces it needs; nothing below it looks at environment variables, global paths or
// the session bus.
class CompositionRoot
{
public:
    CompositionRoot();
    ~CompositionRoot();

    Preferences &preferences() { return m_preferences; }
    const StagingFolders &stagingFolders() const { return m_stagingFolders; }

    // Set when a test harness hosts the process: it launches without coordinator or tray.
    bool isTestHost() const { return m_isTestHost; }
    // The user asked for screenshots in the command's own process, not the running instance's.
    static bool runsStandalone();

    // Claims the single-instance channel: the session bus when there is one, a socket in the
    // runtime folder otherwise. A bus whose owner of the name does not answer is reported, not
    // bypassed through the socket: that would start a second tray. On success the channel
    // stays owned here.
    Result<InstanceChannel::Role> claimInstance(InstanceRequest requestIfSecondary);
    InstanceChannel *instanceChannel() const { return m_instanceChannel.get(); }

    // Runs `command` in the running instance, if there is one on the session bus that serves
    // it; `done` gets none otherwise, and the caller runs the command itself. A selection may
    // take as long as the user likes, but an instance that stops answering is given up on.
    static void runInPrimary(
        const ForwardedCommand &command, std::function<void(Result<std::optional<CommandAnswer>>)> done);

    // Screen capture for this session's window system. Needs the Qt GUI application, whose
    // screens give each display's scale. The command line grabs once; the tray grabs again and
    // again, which pays for keeping shared memory around.
    Result<std::shared_ptr<ScreenCapturePlatform>> screenCapture(X11Grabber::Pattern pattern);

    // For a screenshot of a whole display, the screen can be read before Qt has started (only
    // its scale needs Qt): this starts that read when the session is X11, and screenCapture()
    // serves the first display grabs from it.
    void startEarlyScreenGrab();

    // Everything a capture goes through, around the given desktop services. Needs the Qt
    // application (widgets for the overlay) and screenCapture().
    struct Desk
    {
        Clipboard &clipboard;
        Notifier &notifier;
        ShutterSound &shutter;
    };
    Result<CaptureServices> makeCaptureServices(Desk desk);

    // The process's one secret store: the Secret Service of the session bus.
    SecretStore &secrets();
    // A Catbox uploader for one operation, with `userhash` or anonymous. It fails when the
    // environment points uploads at an endpoint that is not allowed. Needs a Qt application.
    Result<std::unique_ptr<Uploader>> makeUploader(std::optional<QString> userhash);
    // The same with the userhash stored now, or anonymous without one.
    Result<std::unique_ptr<Uploader>> makeAccountUploader();
    // A notifier on the session bus whose clicks open links in the browser and show files in
    // the file manager. `alert` shows the failures no notification server could.
    std::unique_ptr<FreedesktopNotifier> makeNotifier(std::function<void(const QString &, const QString &)> alert = {});

    // The process's temporary files: removed when the root goes, at exit() (Qt's X connection
    // ends the process that way when the server dies), and by endOnSignals().
    TemporaryFiles &temporaries() { return m_temporaries; }
    // For a process that has no clean way out of what it is doing (a command, the keeper):
    // SIGINT, SIGTERM and SIGHUP remove its temporary files and end it with 128 + the signal's
    // number. Needs the Qt application.
    void endOnSignals();
    // Removes what crashed or killed processes left: staging entries, request bodies and
    // thumbnails older than a day.
    void sweepLeftovers();
    // Word of a StatusNotifierItem host arriving on the session bus; none without a bus.
    std::unique_ptr<TrayHostWatch> makeTrayHostWatch();
    // The window system's global hot keys; none where Qorvel cannot grab keys (outside X11).
    std::unique_ptr<KeyboardShortcuts::HotKeyService> makeHotKeyService();
    // The colour to draw the tray item in, for an item at `item` on the screen (empty when the
    // tray does not say where); invalid when nothing tells.
    QColor trayForeground(const QRect &item);
    // Where a recording's frames come from, and what writes them into a file.
    static FrameSourceFactory frameSources();
    static VideoFileWriterFactory videoWriters();
    // A recording of a target prepared in the Recordings staging folder, with the settings as
    // they are when it starts. Needs screenCapture().
    RecordingController::MakeSession recordingSessions();
    // The countdown and the frame, as windows on this desktop.
    static std::unique_ptr<RecordingOverlays> makeRecordingOverlays();
    static LeftoverRecordings::Recover recordingRecovery();
    static std::unique_ptr<Clipboard> makeClipboard();
    // For small files of a moment (the settings' test image).
    static QString temporaryFolder();
    // Launch at login, as this desktop keeps it.
    static std::unique_ptr<LoginItem> makeLoginItem();
    // The desktop's accessibility switch, which element snapping needs on.
    static std::unique_ptr<AccessibilitySwitch> makeAccessibilitySwitch();
    // Icons of the desktop's theme, with a fallback theme for desktops whose own has few.
    static void useIconThemes();
    static std::unique_ptr<ShutterSound> makeShutterSound();

private:
    TemporaryFiles m_temporaries;
    std::unique_ptr<UnixSignalWatcher> m_signals;
    Preferences m_preferences;
    StagingFolders m_stagingFolders;
    std::unique_ptr<InstanceChannel> m_instanceChannel;
    bool m_isTestHost = false;
    std::shared_ptr<X11Connection> m_x11;
    std::shared_ptr<X11ScreenCapture> m_screenCapture;
    std::shared_future<Result<Bitmap>> m_earlyScreenGrab;
    std::unique_ptr<SecretStore> m_secrets;
    std::unique_ptr<QNetworkAccessManager> m_network;

    // The window system's connection, opened on first use; none outside X11.
    std::shared_ptr<X11Connection> x11();
};
