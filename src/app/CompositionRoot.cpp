#include "CompositionRoot.h"

#include "AtspiElementFinder.h"
#include "CanberraShutterSound.h"
#include "CatboxUploader.h"
#include "DBusAccessibilitySwitch.h"
#include "DBusInstanceChannel.h"
#include "FileRevealer.h"
#include "FreedesktopNotifier.h"
#include "ImageEncoder.h"
#include "LocalSocketInstanceChannel.h"
#include "MediaThumbnailer.h"
#include "MediaVideoWriterFactory.h"
#include "OverlayTargetSelector.h"
#include "QtClipboard.h"
#include "RecordingFiles.h"
#include "RecordingOverlayWindows.h"
#include "SecretServiceStore.h"
#include "TrayHostWatch.h"
#include "UnixSignalWatcher.h"
#include "X11Connection.h"
#include "X11FrameSource.h"
#include "X11HotKeyService.h"
#include "X11ScreenCapture.h"
#include "X11ScreenCaptureAccess.h"
#include "X11SystemTray.h"
#include "XdgAutostartEntry.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QIcon>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QScreen>
#include <QStandardPaths>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <utility>

Q_LOGGING_CATEGORY(lcApp, "qorvel.app")

namespace {

const QString applicationId = QStringLiteral("com.vostrink.qorvel");

QString preferencesFile()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))
        .filePath(QStringLiteral("qorvel/qorvel.conf"));
}

QString cacheFolder()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)).filePath(applicationId);
}

// The toolkit decides each screen's scale (QT_SCALE_FACTOR, QT_SCREEN_SCALE_FACTORS, Xft.dpi);
// capture asks it rather than guessing, so the overlay and the file agree.
double scaleOfMonitor(const QString &name, const QRect &pixelFrame)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (const QScreen *screen : screens) {
        if (screen->name() == name)
            return screen->devicePixelRatio();
    }
    for (const QScreen *screen : screens) {
        if (screen->geometry().topLeft() == pixelFrame.topLeft())
            return screen->devicePixelRatio();
    }
    return qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
}

QString instanceSocketPath()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation))
        .filePath(applicationId + QLatin1String(".socket"));
}

// exit() unwinds no stack: the root's temporary files are reached through this instead.
TemporaryFiles *temporariesAtExit = nullptr;

void removeTemporariesAtExit()
{
    if (temporariesAtExit)
        temporariesAtExit->removeAll();
}

} // namespace

CompositionRoot::CompositionRoot()
    : m_preferences(preferencesFile(), QStandardPaths::writableLocation(QStandardPaths::DesktopLocation))
    , m_stagingFolders(cacheFolder())
    , m_isTestHost(qEnvironmentVariableIsSet("XCTestConfigurationFilePath"))
{
    temporariesAtExit = &m_temporaries;
    static const bool hooked = std::atexit(removeTemporariesAtExit) == 0;
    Q_UNUSED(hooked);
}

CompositionRoot::~CompositionRoot()
{
    if (temporariesAtExit == &m_temporaries)
        temporariesAtExit = nullptr;
}

void CompositionRoot::endOnSignals()
{
    if (m_signals)
        return;
    m_signals = std::make_unique<UnixSignalWatcher>(std::initializer_list<int>{SIGINT, SIGTERM, SIGHUP});
    QObject::connect(m_signals.get(), &UnixSignalWatcher::signalled, m_signals.get(), [this](int signalNumber) {
        m_temporaries.removeAll();
        std::fflush(nullptr);
        _exit(128 + signalNumber);
    });
}

void CompositionRoot::sweepLeftovers()
{
    const QDateTime now = QDateTime::currentDateTime();
    m_stagingFolders.purge(now);
    const QDateTime dayAgo = now.addSecs(-StagingFolders::maxAge.count());
    TemporaryFiles::sweep(
        QDir::tempPath(), {QStringLiteral("qorvel-upload-*"), QStringLiteral("qorvel-thumb-*")}, dayAgo);
}

bool CompositionRoot::runsStandalone()
{
    return qEnvironmentVariableIsSet("QORVEL_STANDALONE");
}

SecretStore &CompositionRoot::secrets()
{
    if (!m_secrets)
        m_secrets = std::make_unique<SecretServiceStore>();
    return *m_secrets;
}

Result<std::unique_ptr<Uploader>> CompositionRoot::makeAccountUploader()
{
    return makeUploader(readUserhash(secrets()));
}

std::unique_ptr<FreedesktopNotifier> CompositionRoot::makeNotifier(
    std::function<void(const QString &, const QString &)> alert)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    // Stateless, so one serves every notifier of the process.
    static MediaThumbnailer thumbnails;
    return std::make_unique<FreedesktopNotifier>(bus,
        FreedesktopNotifier::Handlers{[](const QUrl &link) { QDesktopServices::openUrl(link); },
            [bus](const QString &path) { FileRevealer::reveal(bus, path); }, std::move(alert)},
        thumbnails, &m_temporaries);
}

Result<std::unique_ptr<Uploader>> CompositionRoot::makeUploader(std::optional<QString> userhash)
{
    // The override exists for the test harness's stand-in server; it is read here only and
    // never written anywhere.
    const Result<QUrl> endpoint = CatboxProtocol::endpoint(qEnvironmentVariable("QORVEL_CATBOX_ENDPOINT"));
    if (!endpoint)
        return endpoint.error();
    if (!m_network)
        m_network = std::make_unique<QNetworkAccessManager>();
    CatboxUploader::Options options;
    options.endpoint = *endpoint;
    options.temporaries = &m_temporaries;
    // A body can be 200 MB, and the temporary folder is often memory: bodies go to the private
    // staging folder on disk, where the start-up purge also finds any a crash left behind.
    if (const Result<void> staging = StagingFolders::makePrivate(m_stagingFolders.uploads()); staging)
        options.bodyDirectory = m_stagingFolders.uploads();
    else
        qCWarning(lcApp) << "request bodies go to the temporary folder:" << staging.error().message;
    return std::unique_ptr<Uploader>(std::make_unique<CatboxUploader>(*m_network, std::move(userhash), options));
}

Result<InstanceChannel::Role> CompositionRoot::claimInstance(InstanceRequest requestIfSecondary)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        auto channel = std::make_unique<DBusInstanceChannel>(bus);
        Result<InstanceChannel::Role> role = channel->claim(requestIfSecondary);
        if (role)
            m_instanceChannel = std::move(channel);
        return role;
    }
    qCInfo(lcApp) << "no session bus: the single-instance channel is a local socket";
    auto socket = std::make_unique<LocalSocketInstanceChannel>(instanceSocketPath());
    Result<InstanceChannel::Role> role = socket->claim(requestIfSecondary);
    if (role)
        m_instanceChannel = std::move(socket);
    return role;
}

void CompositionRoot::runInPrimary(
    const ForwardedCommand &command, std::function<void(Result<std::optional<CommandAnswer>>)> done)
{
    DBusInstanceChannel::runInPrimary(QDBusConnection::sessionBus(), command, std::move(done));
}

Result<std::shared_ptr<ScreenCapturePlatform>> CompositionRoot::screenCapture(X11Grabber::Pattern pattern)
{
    if (m_screenCapture)
        return std::shared_ptr<ScreenCapturePlatform>(m_screenCapture);
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        return Error{QStringLiteral("Qorvel captures the screen on X11 only for now."),
            QLatin1String("platform ") + QGuiApplication::platformName()};
    }
    if (!m_x11) {
        Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
        if (!connection)
            return connection.error();
        m_x11 = *connection;
    }
    auto x11 = std::make_shared<X11ScreenCapture>(m_x11, scaleOfMonitor, pattern);
    if (m_earlyScreenGrab.valid())
        x11->usePrefetchedRoot(std::exchange(m_earlyScreenGrab, {}));
    m_screenCapture = x11;
    return std::shared_ptr<ScreenCapturePlatform>(x11);
}

void CompositionRoot::startEarlyScreenGrab()
{
    // Qt will choose xcb: an X display, and neither Wayland nor another platform asked for.
    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    const bool x11 = qEnvironmentVariableIsSet("DISPLAY")
        && (platform == QLatin1String("xcb") || (platform.isEmpty() && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY")));
    if (x11)
        m_earlyScreenGrab = X11ScreenCapture::startRootGrab();
}

Result<CaptureServices> CompositionRoot::makeCaptureServices(Desk desk)
{
    const Result<std::shared_ptr<ScreenCapturePlatform>> screen = screenCapture(X11Grabber::Pattern::repeated);
    if (!screen)
        return screen.error();
    ScreenCapturePlatform &live = **screen;

    CaptureServices services;
    services.history = std::make_unique<UploadHistory>(secrets());
    services.output = std::make_unique<CaptureOutput>(CaptureOutput::Services{m_preferences, m_stagingFolders,
        *services.history, desk.notifier, desk.clipboard, [this]() { return makeAccountUploader(); }, m_temporaries});
    services.access = std::make_unique<X11ScreenCaptureAccess>(m_x11);
    services.permission = std::make_unique<ScreenRecordingPermission>(*services.access);
    // Element snapping only while accessibility is on; otherwise clicks choose windows.
    services.selector = std::make_unique<OverlayTargetSelector>(live, []() -> std::unique_ptr<ElementFinder> {
        return AtspiElementFinder::create(QDBusConnection::sessionBus(), [](QPointF point) {
            const QScreen *shown = QGuiApplication::screenAt(point.toPoint());
            return shown ? shown->devicePixelRatio() : 1.0;
        });
    });
    services.screenshots
        = std::make_unique<ScreenshotService>(ScreenshotService::Parts{m_preferences, live, *services.permission,
            *services.selector, desk.shutter, desk.notifier, *services.output, &ImageEncoder::encode});
    return services;
}

std::shared_ptr<X11Connection> CompositionRoot::x11()
{
    if (!m_x11 && QGuiApplication::platformName() == QLatin1String("xcb")) {
        if (Result<std::shared_ptr<X11Connection>> connection = X11Connection::open(); connection)
            m_x11 = *connection;
    }
    return m_x11;
}

std::unique_ptr<TrayHostWatch> CompositionRoot::makeTrayHostWatch()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() ? std::make_unique<TrayHostWatch>(bus) : nullptr;
}

std::unique_ptr<KeyboardShortcuts::HotKeyService> CompositionRoot::makeHotKeyService()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    // A connection of its own: the grabs belong to it, and it reads every event on it.
    Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) {
        qCWarning(lcApp) << "no global shortcuts:" << connection.error().message << connection.error().detail;
        return nullptr;
    }
    return std::make_unique<X11HotKeyService>(*connection);
}

QColor CompositionRoot::trayForeground(const QRect &item)
{
    const std::shared_ptr<X11Connection> connection = x11();
    if (!connection)
        return {};
    const double scale = qGuiApp->devicePixelRatio();
    const QRect pixels(item.topLeft() * scale, item.size() * scale);
    const std::optional<quint32> rgb = X11SystemTray::foreground(*connection, pixels);
    return rgb ? QColor(QRgb(*rgb)) : QColor();
}

std::unique_ptr<Clipboard> CompositionRoot::makeClipboard()
{
    return std::make_unique<QtClipboard>();
}

FrameSourceFactory CompositionRoot::frameSources()
{
    return [](const FrameSourceRequest &request) { return X11FrameSource::open(request); };
}

VideoFileWriterFactory CompositionRoot::videoWriters()
{
    return [](const QString &path, const VideoEncodingPlan &plan) { return MediaVideoWriterFactory::open(path, plan); };
}

RecordingController::MakeSession CompositionRoot::recordingSessions()
{
    return [this](const CaptureTarget &target) -> Result<std::unique_ptr<RecordingSession>> {
        const Result<std::shared_ptr<ScreenCapturePlatform>> screen = screenCapture(X11Grabber::Pattern::repeated);
        if (!screen)
            return screen.error();
        const Result<QString> path = RecordingFiles(m_stagingFolders.recordings()).makeRecordingURL();
        if (!path)
            return path.error();
        return RecordingSession::create(
            target, *path, readRecordingSettings(m_preferences), **screen, frameSources(), videoWriters());
    };
}

std::unique_ptr<RecordingOverlays> CompositionRoot::makeRecordingOverlays()
{
    return std::make_unique<RecordingOverlayWindows>();
}

LeftoverRecordings::Recover CompositionRoot::recordingRecovery()
{
    return [](const QString &path) { return MediaVideoWriterFactory::recover(path); };
}

std::unique_ptr<ShutterSound> CompositionRoot::makeShutterSound()
{
    return std::make_unique<CanberraShutterSound>();
}

QString CompositionRoot::temporaryFolder()
{
    return QDir::tempPath();
}

std::unique_ptr<LoginItem> CompositionRoot::makeLoginItem()
{
    const QString entry = QDir(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))
                              .filePath(QStringLiteral("autostart/") + applicationId + QStringLiteral(".desktop"));
    return std::make_unique<XdgAutostartEntry>(
        entry, XdgAutostartEntry::execArgument(QCoreApplication::applicationFilePath()));
}

std::unique_ptr<AccessibilitySwitch> CompositionRoot::makeAccessibilitySwitch()
{
    return std::make_unique<DBusAccessibilitySwitch>(QDBusConnection::sessionBus());
}

void CompositionRoot::useIconThemes()
{
    // Outside a full desktop Qt's theme is hicolor, which holds application icons only.
    if (QIcon::fallbackThemeName().isEmpty() || QIcon::fallbackThemeName() == QLatin1String("hicolor"))
        QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
}
