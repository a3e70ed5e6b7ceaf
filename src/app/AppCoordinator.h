#pragma once

#include "CaptureServices.h"
#include "InstanceChannel.h"
#include "Result.h"
#include "TargetSelector.h"
#include "UploadRecord.h"
#include "WindowPresenter.h"

#include <QObject>

#include <list>
#include <memory>
#include <optional>

namespace KeyboardShortcuts {
class HotKeyService;
class ShortcutActions;
class ShortcutConflicts;
class ShortcutStore;
} // namespace KeyboardShortcuts

class AccessibilitySwitch;
class LoginItem;
class QWidget;
struct SettingsContext;

class Clipboard;
class RecordingController;
class RecordingOverlays;
class PopupShortcutFilter;
class CompositionRoot;
class InstanceCommands;
class Notifier;
class ShutterSound;
class StatusItemController;
class TrayHostWatch;
class Uploader;
class UploadRemoval;

// Owns every long-lived service of the running tray application and runs its user flows. The
// tray, the shortcuts, D-Bus and the command line all reach captures through it.
class AppCoordinator : public QObject
{
    Q_OBJECT

public:
    explicit AppCoordinator(CompositionRoot &root, QObject *parent = nullptr);
    ~AppCoordinator() override;

    void start();

    // The flows behind the tray menu, the shortcuts and the D-Bus commands.
    void takeScreenshot();
    void toggleRecording();
    void openSaveFolder();
    void showSettings();
    // The welcome, shown at start until the user has finished it once.
    void showOnboarding();
    void showAbout();
    void copyUpload(const UploadRecord &record);
    void openUpload(const UploadRecord &record);
    // Asks first; the record stays in the history unless Catbox confirms the deletion.
    void deleteUpload(const UploadRecord &record);
    void clearUploads();
    // Starts a fresh copy of this executable half a second from now and quits at once, so the
    // new process finds the single-instance channel free.
    void relaunch();

    // The capture services, made on first use (they open the window system's connection);
    // why there are none, when the screen cannot be captured in this session.
    Result<CaptureServices *> captureServices();
    // Made on first use, with the capture services.
    RecordingController &recorder();

    // A command-line invocation the running instance serves, or refuses so that the command
    // runs it itself.
    InstanceChannel::Cancel serveCommand(const ForwardedCommand &command, const InstanceChannel::Reply &reply);

    WindowPresenter &windows() { return m_windows; }

private:
    void installStatusItem();
    void registerShortcuts();
    void announceMissingTray();
    void watchForTrayHost();
    void restartForTrayHost();
    // The start of both flows: the capture services, with the tray menu closed; none when the
    // flow ends here (no capture in this session, or a second press closed the overlay).
    CaptureServices *beginSelection();
    void showCaptureAlert(const ScreenshotOutcome &outcome);
    void recordTarget(const Result<std::optional<TargetSelector::Selection>> &chosen);
    void recordingFinished(const Result<QString> &file);
    // Delivers the recordings that a Qorvel which died left behind, then purges what is old.
    void recoverRecordings();
    void removeFromCatbox(const UploadRecord &record);
    SettingsContext settingsContext();
    QWidget *makeCatboxPane(QWidget *parent);
    void notify(const QString &title, const QString &body, bool failure);

    CompositionRoot &m_root;
    WindowPresenter m_windows;
    std::unique_ptr<Clipboard> m_clipboard;
    std::unique_ptr<Notifier> m_notifier;
    std::unique_ptr<ShutterSound> m_shutter;
    std::optional<CaptureServices> m_capture;
    std::unique_ptr<InstanceCommands> m_commands;
    std::unique_ptr<KeyboardShortcuts::ShortcutStore> m_shortcutStore;
    std::unique_ptr<KeyboardShortcuts::ShortcutConflicts> m_shortcutConflicts;
    std::unique_ptr<LoginItem> m_loginItem;
    std::unique_ptr<AccessibilitySwitch> m_accessibility;
    std::unique_ptr<KeyboardShortcuts::HotKeyService> m_hotKeys;
    std::unique_ptr<KeyboardShortcuts::ShortcutActions> m_shortcuts;
    std::unique_ptr<PopupShortcutFilter> m_popupShortcuts;
    std::unique_ptr<StatusItemController> m_statusItem;
    std::unique_ptr<TrayHostWatch> m_trayHostWatch;
    std::unique_ptr<RecordingOverlays> m_recordingOverlays;
    std::unique_ptr<RecordingController> m_recorder;
    // Made with the capture services, whose history it changes.
    std::unique_ptr<UploadRemoval> m_removal;
};
