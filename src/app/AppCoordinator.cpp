#include "AppCoordinator.h"

#include "AboutView.h"
#include "AccessibilitySwitch.h"
#include "CatboxSettingsView.h"
#include "ChoiceAlert.h"
#include "Clipboard.h"
#include "CompositionRoot.h"
#include "FreedesktopNotifier.h"
#include "HotKeyService.h"
#include "InstanceCommands.h"
#include "LeftoverRecordings.h"
#include "LoginItem.h"
#include "Name.h"
#include "OffMainThread.h"
#include "OnboardingView.h"
#include "PopupShortcutFilter.h"
#include "RecordingController.h"
#include "RecordingOverlays.h"
#include "SettingsContext.h"
#include "SettingsView.h"
#include "ShortcutActions.h"
#include "ShortcutConflicts.h"
#include "ShortcutStore.h"
#include "ShutterSound.h"
#include "StatusIcon.h"
#include "StatusItemController.h"
#include "TrayHostWatch.h"
#include "UploadRemoval.h"
#include "Uploader.h"
#include "Version.h"
#include "WarningAlert.h"

#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QLoggingCategory>
#include <QProcess>
#include <QTimer>
#include <QUrl>

Q_DECLARE_LOGGING_CATEGORY(lcApp)

AppCoordinator::AppCoordinator(CompositionRoot &root, QObject *parent)
    : QObject(parent)
    , m_root(root)
    , m_clipboard(CompositionRoot::makeClipboard())
    // A failure that no notification server can show must still be seen.
    , m_notifier(root.makeNotifier(&WarningAlert::show))
    , m_shutter(CompositionRoot::makeShutterSound())
    , m_shortcutStore(std::make_unique<KeyboardShortcuts::ShortcutStore>(root.preferences()))
    , m_loginItem(CompositionRoot::makeLoginItem())
    , m_accessibility(CompositionRoot::makeAccessibilitySwitch())
{
    using KeyboardShortcuts::Name;
    using KeyboardShortcuts::Shortcut;
    const auto control = [](Qt::Key key) { return *Shortcut::fromQt(QKeyCombination(Qt::ControlModifier, key)); };
    m_shortcutConflicts = std::make_unique<KeyboardShortcuts::ShortcutConflicts>(*m_shortcutStore,
        QList<KeyboardShortcuts::ShortcutConflicts::TitledName>{
            {Name::captureScreenshot(), QStringLiteral("Take screenshot")},
            {Name::recordVideo(), QStringLiteral("Record video / stop")},
            {Name::cancelRecording(), QStringLiteral("Cancel")}},
        // The commands every window of Qorvel's has (WindowPresenter).
        QList<KeyboardShortcuts::ShortcutConflicts::Claim>{{control(Qt::Key_Q), QStringLiteral("Quit")},
            {control(Qt::Key_W), QStringLiteral("Close Window")}, {control(Qt::Key_M), QStringLiteral("Minimize")}},
        // Without hot keys (outside X11) nothing can be tried, and nothing would be registered.
        [this](const Shortcut &chord) { return !m_hotKeys || m_hotKeys->isAvailable(chord); });
    connect(&m_windows, &WindowPresenter::quitRequested, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
}

AppCoordinator::~AppCoordinator()
{
    // The windows show the services below: they go before them.
    for (const QLatin1String identifier : {QLatin1String("settings"), QLatin1String("onboarding")})
        delete m_windows.window(identifier);
    // A recording running now stays on the disk, and the next start delivers it.
    m_recorder.reset();
    // The services report to the notifier and the clipboard: they go first.
    m_commands.reset();
    // The actions let go of their hot keys before the service that holds them goes.
    m_popupShortcuts.reset();
    m_shortcuts.reset();
    m_hotKeys.reset();
    m_trayHostWatch.reset();
    m_statusItem.reset();
    m_removal.reset();
    m_capture.reset();
}

void AppCoordinator::start()
{
    installStatusItem();
    m_root.preferences().watchFile();
    if (const Result<CaptureServices *> services = captureServices(); services) {
        CaptureOutput &output = *(*services)->output;
        connect(&output, &CaptureOutput::uploadProgress, this,
            [this](double fraction) { m_statusItem->setUploadProgress(fraction); });
        connect(&output, &CaptureOutput::runningUploadsChanged, this, [this](int running) {
            if (running == 0)
                m_statusItem->setUploadProgress(std::nullopt);
        });
        connect((*services)->history.get(), &UploadHistory::changed, m_statusItem.get(),
            &StatusItemController::rebuildMenu);
    } else {
        qCWarning(lcApp) << "no captures in this session:" << services.error().message << services.error().detail;
    }
    registerShortcuts();
    recoverRecordings();
    announceMissingTray();
    if (!m_root.preferences().boolValue(PreferenceKey::hasCompletedOnboarding))
        showOnboarding();
}

void AppCoordinator::registerShortcuts()
{
    using namespace KeyboardShortcuts;
    // Every name is registered, so that its default is written on the first start even where
    // no key can be grabbed.
    for (const Name &name : {Name::captureScreenshot(), Name::recordVideo(), Name::cancelRecording()})
        m_shortcutStore->registerName(name);
    // The menu shows the chords as they are stored now.
    connect(
        m_shortcutStore.get(), &ShortcutStore::shortcutChanged, m_statusItem.get(), &StatusItemController::rebuildMenu);

    m_hotKeys = m_root.makeHotKeyService();
    if (!m_hotKeys)
        return;
    m_shortcuts = std::make_unique<ShortcutActions>(*m_shortcutStore, *m_hotKeys);
    m_shortcuts->onKeyDown(Name::captureScreenshot(), [this]() { takeScreenshot(); });
    m_shortcuts->onKeyDown(Name::recordVideo(), [this]() { toggleRecording(); });
    // Escape belongs to every other program until a recording is prepared or runs.
    m_shortcuts->onKeyDown(
        Name::cancelRecording(),
        [this]() {
            if (m_recorder)
                m_recorder->cancel();
        },
        ShortcutActions::Activation::disabled);
    // While the tray menu is open it holds the keyboard, and the window system delivers no hot
    // key: the menu's key events are matched instead.
    m_popupShortcuts = std::make_unique<PopupShortcutFilter>(*m_hotKeys);
    qApp->installEventFilter(m_popupShortcuts.get());
}

void AppCoordinator::installStatusItem()
{
    StatusItemController::Actions actions;
    actions.takeScreenshot = [this]() { takeScreenshot(); };
    actions.toggleRecording = [this]() { toggleRecording(); };
    actions.openSaveFolder = [this]() { openSaveFolder(); };
    actions.showSettings = [this]() { showSettings(); };
    actions.showAbout = [this]() { showAbout(); };
    actions.recentUploads = [this]() {
        const Result<CaptureServices *> services = captureServices();
        if (!services)
            return QList<UploadRecord>();
        (*services)->history->refresh();
        return (*services)->history->records();
    };
    actions.copyUpload = [this](const UploadRecord &record) { copyUpload(record); };
    actions.openUpload = [this](const UploadRecord &record) { openUpload(record); };
    actions.deleteUpload = [this](const UploadRecord &record) { deleteUpload(record); };
    actions.clearUploads = [this]() { clearUploads(); };
    actions.quit = []() { QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection); };
    const auto chordOf = [this](const QString &rawValue) {
        const std::optional<KeyboardShortcuts::Shortcut> shortcut
            = m_shortcutStore->shortcut(KeyboardShortcuts::Name{rawValue, std::nullopt});
        return shortcut ? QKeySequence(shortcut->toQt()) : QKeySequence();
    };
    m_statusItem = std::make_unique<StatusItemController>(
        std::move(actions), chordOf, [this](const QRect &item) { return m_root.trayForeground(item); });
    m_statusItem->install();
}

void AppCoordinator::announceMissingTray()
{
    if (StatusItemController::trayAvailable())
        return;
    qCInfo(lcApp) << "no system tray on this desktop: the item waits for one";
    QStringList ways;
    const auto chord = [this](const KeyboardShortcuts::Name &name) -> QString {
        if (!m_shortcuts || !m_shortcuts->isRegistered(name))
            return {};
        const std::optional<KeyboardShortcuts::Shortcut> shortcut = m_shortcutStore->shortcut(name);
        return shortcut ? QKeySequence(shortcut->toQt()).toString(QKeySequence::NativeText) : QString();
    };
    if (const QString screenshot = chord(KeyboardShortcuts::Name::captureScreenshot()); !screenshot.isEmpty())
        ways << QStringLiteral("Take a screenshot with %1.").arg(screenshot);
    if (const QString record = chord(KeyboardShortcuts::Name::recordVideo()); !record.isEmpty())
        ways << QStringLiteral("Record the screen with %1.").arg(record);
    ways << QStringLiteral("Open the settings with qorvel --settings.");
    watchForTrayHost();
    notify(QStringLiteral("Qorvel is running without a tray icon"),
        QStringLiteral("This desktop shows no tray icons.\n") + ways.join(QLatin1Char(' ')), false);
}

void AppCoordinator::watchForTrayHost()
{
    m_trayHostWatch = m_root.makeTrayHostWatch();
    if (m_trayHostWatch)
        connect(m_trayHostWatch.get(), &TrayHostWatch::hostAppeared, this, &AppCoordinator::restartForTrayHost);
}

void AppCoordinator::restartForTrayHost()
{
    // An embedding tray that came later has taken the item already.
    if (StatusItemController::trayAvailable())
        return;
    // Only a new process shows the item in a StatusNotifierItem host, and a restart must lose
    // nothing: no selection open, no upload or deletion under way, and no clipboard of ours
    // (an X11 clipboard lives in the process that filled it).
    const bool busy = (m_capture && (m_capture->screenshots->isSelecting() || m_capture->output->runningUploads() > 0))
        || (m_recorder && m_recorder->phase() != RecordingController::Phase::idle) || (m_removal && m_removal->isBusy())
        || QGuiApplication::clipboard()->ownsClipboard();
    if (busy) {
        constexpr std::chrono::seconds retry{10};
        QTimer::singleShot(retry, this, &AppCoordinator::restartForTrayHost);
        return;
    }
    qCInfo(lcApp) << "a tray appeared: starting again to show the item in it";
    relaunch();
}

void AppCoordinator::notify(const QString &title, const QString &body, bool failure)
{
    NotificationRequest request;
    request.title = title;
    request.body = body;
    request.failure = failure;
    m_notifier->post(request);
}

Result<CaptureServices *> AppCoordinator::captureServices()
{
    if (!m_capture) {
        Result<CaptureServices> made = m_root.makeCaptureServices({*m_clipboard, *m_notifier, *m_shutter});
        if (!made)
            return made.error();
        m_capture.emplace(std::move(made).value());
        m_removal
            = std::make_unique<UploadRemoval>(*m_capture->history, [this]() { return m_root.makeAccountUploader(); });
        m_commands = std::make_unique<InstanceCommands>(*m_capture->screenshots);
    }
    return &*m_capture;
}

InstanceChannel::Cancel AppCoordinator::serveCommand(
    const ForwardedCommand &command, const InstanceChannel::Reply &reply)
{
    const Result<CaptureServices *> services = captureServices();
    if (!services) {
        // The command reports the same failure when it runs on its own.
        reply({CommandAnswer::notServed, {}, services.error().message});
        return {};
    }
    return m_commands->run(command, reply);
}

CaptureServices *AppCoordinator::beginSelection()
{
    const Result<CaptureServices *> services = captureServices();
    if (!services) {
        WarningAlert::show(QStringLiteral("Screen capture is unavailable"), services.error().message);
        return nullptr;
    }
    // Chosen in the tray menu or pressed while it is open: the menu holds the pointer and the
    // keyboard, which the overlay needs.
    if (QWidget *popup = QApplication::activePopupWidget())
        popup->close();
    // A second press while the overlay is up closes it, and that is all it does.
    if ((*services)->screenshots->isSelecting()) {
        (*services)->screenshots->cancelSelection();
        return nullptr;
    }
    return *services;
}

void AppCoordinator::takeScreenshot()
{
    CaptureServices *services = beginSelection();
    if (!services)
        return;
    services->screenshots->take(ScreenshotRequest::userSelection(), [this](const ScreenshotOutcome &outcome) {
        // Failures of the capture itself are notified by the service; only the gate's answers
        // need a word from here.
        showCaptureAlert(outcome);
    });
}

void AppCoordinator::showCaptureAlert(const ScreenshotOutcome &outcome)
{
    switch (outcome.kind) {
    case ScreenshotOutcome::Kind::unavailable:
        WarningAlert::show(QStringLiteral("Screen capture is unavailable"), outcome.error.message);
        return;
    case ScreenshotOutcome::Kind::permissionMissing:
        ChoiceAlert::ask(QStringLiteral("Qorvel needs the Screen Recording permission"),
            QStringLiteral("Turn on Qorvel in System Settings → Privacy & Security → Screen & System Audio "
                           "Recording. If Qorvel is already on, restart it: macOS applies the permission only to "
                           "a newly launched app."),
            {{QStringLiteral("Open System Settings"), QMessageBox::AcceptRole,
                 [this]() {
                     if (m_capture)
                         m_capture->permission->markAccessRequested();
                     QDesktopServices::openUrl(QUrl(QStringLiteral(
                         "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture")));
                 }},
                {QStringLiteral("Restart Qorvel"), QMessageBox::ActionRole, [this]() { relaunch(); }},
                {QStringLiteral("Cancel"), QMessageBox::RejectRole, {}}});
        return;
    default:
        return;
    }
}

RecordingController &AppCoordinator::recorder()
{
    if (!m_recorder) {
        m_recordingOverlays = CompositionRoot::makeRecordingOverlays();
        m_recorder = std::make_unique<RecordingController>(RecordingController::Parts{m_root.recordingSessions(),
            *m_recordingOverlays, [this]() { return m_root.preferences().boolValue(PreferenceKey::videoCountdown); },
            [this](bool enabled) {
                using KeyboardShortcuts::ShortcutActions;
                if (m_shortcuts)
                    m_shortcuts->setActivation(KeyboardShortcuts::Name::cancelRecording(),
                        enabled ? ShortcutActions::Activation::enabled : ShortcutActions::Activation::disabled);
            }});
        m_recorder->onTick = [this](std::optional<double> elapsed) { m_statusItem->setRecording(elapsed); };
        m_recorder->onFinished = [this](const Result<QString> &file) { recordingFinished(file); };
    }
    return *m_recorder;
}

void AppCoordinator::toggleRecording()
{
    switch (recorder().phase()) {
    case RecordingController::Phase::recording:
        // Not inside the menu's or the hot key's own handler: stopping hides windows.
        QTimer::singleShot(0, m_recorder.get(), &RecordingController::stop);
        return;
    case RecordingController::Phase::starting:
    case RecordingController::Phase::finishing:
        return;
    case RecordingController::Phase::idle:
        break;
    }
    CaptureServices *services = beginSelection();
    if (!services)
        return;
    if (std::optional<ScreenshotOutcome> blocked = services->screenshots->blockedCapture()) {
        showCaptureAlert(*blocked);
        return;
    }
    services->selector->select(m_root.preferences().boolValue(PreferenceKey::showMagnifier),
        [this](const Result<std::optional<TargetSelector::Selection>> &chosen) { recordTarget(chosen); });
}

void AppCoordinator::recordTarget(const Result<std::optional<TargetSelector::Selection>> &chosen)
{
    if (!chosen) {
        notify(QStringLiteral("Couldn't record the video"), chosen.error().message, true);
        return;
    }
    // None: the user closed the overlay.
    if (*chosen)
        recorder().start((*chosen)->target);
}

void AppCoordinator::recordingFinished(const Result<QString> &file)
{
    if (!file) {
        notify(QStringLiteral("Couldn't record the video"), file.error().message, true);
        return;
    }
    if (const Result<CaptureServices *> services = captureServices(); services)
        (*services)->output->deliverRecording(*file);
}

void AppCoordinator::recoverRecordings()
{
    const Result<CaptureServices *> services = captureServices();
    if (!services) {
        m_root.sweepLeftovers();
        return;
    }
    // Rewriting a long recording takes a while: the tray is usable meanwhile.
    offMainThread(
        this,
        [folder = m_root.stagingFolders().recordings(), recover = CompositionRoot::recordingRecovery()] {
            return LeftoverRecordings::recover(folder, recover);
        },
        [this](const QStringList &recovered) {
            for (const QString &file : recovered)
                recordingFinished(file);
            // Only now: an old recording must be recovered before it is purged. A recovered
            // file was just written again, so the purge leaves it to its delivery.
            m_root.sweepLeftovers();
        });
}

void AppCoordinator::openSaveFolder()
{
    const QString folder = m_root.preferences().folder(PreferenceKey::screenshotSaveFolderPath);
    // A folder that cannot be made is still asked for: the file manager says what is wrong.
    QDir().mkpath(folder);
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

SettingsContext AppCoordinator::settingsContext()
{
    return SettingsContext{m_root.preferences(), *m_shortcutStore, *m_shortcutConflicts, *m_loginItem, *m_accessibility,
        QLatin1String(qorvelVersion)};
}

void AppCoordinator::showSettings()
{
    m_windows.show(QStringLiteral("settings"), tr("Qorvel Settings"), [this] {
        return new SettingsView(settingsContext(), [this](QWidget *parent) { return makeCatboxPane(parent); });
    });
}

QWidget *AppCoordinator::makeCatboxPane(QWidget *parent)
{
    const Result<CaptureServices *> services = captureServices();
    return new CatboxSettingsView(
        {m_root.secrets(), services ? (*services)->history.get() : nullptr, m_removal.get(),
            [this](std::optional<QString> userhash) { return m_root.makeUploader(std::move(userhash)); }, *m_clipboard,
            CompositionRoot::temporaryFolder()},
        parent);
}

void AppCoordinator::showOnboarding()
{
    m_windows.show(QStringLiteral("onboarding"), tr("Welcome to Qorvel"), [this] {
        const Result<CaptureServices *> services = captureServices();
        return new OnboardingView(settingsContext(), services ? (*services)->permission.get() : nullptr,
            {[this]() { relaunch(); },
                [this]() {
                    m_root.preferences().markOnboardingCompleted();
                    m_windows.close(QStringLiteral("onboarding"));
                }});
    });
}

void AppCoordinator::showAbout()
{
    m_windows.show(QStringLiteral("about"), tr("About Qorvel"), [] {
        StatusIcon::Look look;
        look.foreground = QColor(0x1d, 0x1d, 0x1f);
        return new AboutView(StatusIcon::make(look), QLatin1String(qorvelVersion));
    });
}

void AppCoordinator::copyUpload(const UploadRecord &record)
{
    m_clipboard->setLink(record.url);
}

void AppCoordinator::openUpload(const UploadRecord &record)
{
    QDesktopServices::openUrl(record.url);
}

void AppCoordinator::deleteUpload(const UploadRecord &record)
{
    ChoiceAlert::ask(QStringLiteral("Delete this file from Catbox?"),
        record.url.toString() + QLatin1String("\nThe link will stop working. This can't be undone."),
        {{QStringLiteral("Delete"), QMessageBox::DestructiveRole, [this, record]() { removeFromCatbox(record); }},
            {QStringLiteral("Cancel"), QMessageBox::RejectRole, {}}});
}

void AppCoordinator::removeFromCatbox(const UploadRecord &record)
{
    if (!m_removal)
        return;
    m_removal->remove(record, [this](const Result<void> &removed) {
        if (removed)
            notify(QStringLiteral("Deleted from Catbox"), QString(), false);
        else
            notify(QStringLiteral("Couldn't delete from Catbox"), removed.error().message, true);
    });
}

void AppCoordinator::clearUploads()
{
    if (const Result<CaptureServices *> services = captureServices(); services)
        (*services)->history->clear();
}

void AppCoordinator::relaunch()
{
    // The path travels as $0 so that no character in it can change the command.
    QProcess::startDetached(QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("sleep 0.5; exec \"$0\""), QCoreApplication::applicationFilePath()});
    QCoreApplication::quit();
}
