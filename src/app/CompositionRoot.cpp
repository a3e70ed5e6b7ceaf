#include "CompositionRoot.h"

#include "DBusInstanceChannel.h"
#include "LocalSocketInstanceChannel.h"

#include <QDBusConnection>
#include <QDir>
#include <QLoggingCategory>
#include <QStandardPaths>

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
