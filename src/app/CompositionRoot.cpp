#include "CompositionRoot.h"

#include "CatboxUploader.h"
#include "DBusInstanceChannel.h"
#include "FileRevealer.h"
#include "FreedesktopNotifier.h"
#include "LocalSocketInstanceChannel.h"
#include "SecretServiceStore.h"
#include "X11Connection.h"
#include "X11ScreenCapture.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QScreen>
#include <QStandardPaths>

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

} // namespace

CompositionRoot::CompositionRoot()
    : m_preferences(preferencesFile(), QStandardPaths::writableLocation(QStandardPaths::DesktopLocation))
    , m_stagingFolders(cacheFolder())
    , m_isTestHost(qEnvironmentVariableIsSet("XCTestConfigurationFilePath"))
{
}

CompositionRoot::~CompositionRoot() = default;

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
    return std::make_unique<FreedesktopNotifier>(bus,
        FreedesktopNotifier::Handlers{[](const QUrl &link) { QDesktopServices::openUrl(link); },
            [bus](const QString &path) { FileRevealer::reveal(bus, path); }, std::move(alert)});
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
    return std::unique_ptr<Uploader>(std::make_unique<CatboxUploader>(*m_network, std::move(userhash), options));
}

Result<InstanceChannel::Role> CompositionRoot::claimInstance(InstanceRequest requestIfSecondary)
{
    auto bus = std::make_unique<DBusInstanceChannel>(QDBusConnection::sessionBus());
    Result<InstanceChannel::Role> role = bus->claim(requestIfSecondary);
    if (role) {
        m_instanceChannel = std::move(bus);
        return role;
    }
    qCInfo(lcApp) << "no single-instance channel on D-Bus:" << role.error().message << role.error().detail;

    auto socket = std::make_unique<LocalSocketInstanceChannel>(instanceSocketPath());
    role = socket->claim(requestIfSecondary);
    if (role)
        m_instanceChannel = std::move(socket);
    return role;
}

Result<std::shared_ptr<ScreenCapturePlatform>> CompositionRoot::screenCapture(X11Grabber::Pattern pattern)
{
    if (m_screenCapture)
        return std::shared_ptr<ScreenCapturePlatform>(m_screenCapture);
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        return Error{QStringLiteral("Qorvel captures the screen on X11 only for now."),
            QLatin1String("platform ") + QGuiApplication::platformName()};
    }
    Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection)
        return connection.error();
    auto x11 = std::make_shared<X11ScreenCapture>(*connection, scaleOfMonitor, pattern);
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

QScreen *CompositionRoot::screenFor(const ScreenDisplay &display)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (QScreen *screen : screens) {
        if (screen->name() == display.name)
            return screen;
    }
    for (QScreen *screen : screens) {
        if (screen->geometry().topLeft() == display.pixelFrame.topLeft())
            return screen;
    }
    return nullptr;
}

void CompositionRoot::endEarlyScreenGrab()
{
    if (m_screenCapture)
        m_screenCapture->forgetPrefetchedRoot();
}
