#include "Preferences.h"

#include "FileNameTemplate.h"

#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSettings>

#include <utility>

namespace {

// An INI file stores every value as text, so booleans arrive as "true"/"false" or as numbers.
// Anything else reads as false, like an unset switch, rather than as Qt's "non-empty is true".
bool toBool(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString().trimmed();
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0
        || text.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0)
        return true;
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    return isNumber && number != 0.0;
}

} // namespace

Preferences::Preferences(QString filePath, QString desktopFolder, QObject *parent)
    : QObject(parent)
    , m_filePath(std::move(filePath))
    , m_desktopFolder(std::move(desktopFolder))
{
    for (const auto &[key, value] : registrationTable())
        m_registered.insert(key, value);
}

Preferences::~Preferences() = default;

QList<std::pair<QLatin1String, QVariant>> Preferences::registrationTable()
{
    using namespace PreferenceKey;
    return {
        {hasCompletedOnboarding, false},
        {playShutterSound, true},
        {screenshotCopyToClipboard, true},
        {screenshotSaveToFolder, true},
        {screenshotFormat, QStringLiteral("png")},
        {screenshotJPEGQuality, 0.9},
        {PreferenceKey::fileNameTemplate, FileNameTemplate::defaultTemplate()},
        {includeWindowShadow, false},
        {videoQuality, QStringLiteral("medium")},
        {videoCodec, QStringLiteral("h264")},
        {videoMaxResolution, QStringLiteral("unlimited")},
        {videoShowsCursor, true},
        {videoCountdown, false},
        {videoCopyToClipboard, false},
        {videoSaveToFolder, true},
        {screenshotUpload, false},
        {videoUpload, false},
        {showMagnifier, true},
    };
}

QVariant Preferences::value(const QString &key) const
{
    // A fresh QSettings re-reads the file when its size or modification time changed since
    // the last look. A rewrite that keeps both (same length, same timestamp tick of the file
    // system) goes unseen until the next change; writers seconds apart are always seen.
    const QSettings settings(m_filePath, QSettings::IniFormat);
    const QVariant stored = settings.value(key);
    return stored.isValid() ? stored : m_registered.value(key);
}

bool Preferences::boolValue(const QString &key) const
{
    return toBool(value(key));
}

double Preferences::doubleValue(const QString &key) const
{
    return value(key).toDouble();
}

std::optional<QString> Preferences::stringValue(const QString &key) const
{
    const QVariant stored = value(key);
    if (!stored.isValid())
        return std::nullopt;
    return stored.toString();
}

QString Preferences::fileNameTemplate() const
{
    return stringValue(PreferenceKey::fileNameTemplate).value_or(FileNameTemplate::defaultTemplate());
}

QString Preferences::folder(const QString &key) const
{
    const std::optional<QString> path = stringValue(key);
    if (path && !path->isEmpty())
        return *path;
    return m_desktopFolder;
}

void Preferences::setValue(const QString &key, const QVariant &value)
{
    const QVariant before = this->value(key);
    {
        QSettings settings(m_filePath, QSettings::IniFormat);
        settings.setValue(key, value);
        settings.sync();
    }
    if (m_watcher)
        m_lastSeen = storedValues();
    if (this->value(key) != before)
        Q_EMIT changed(key);
}

QVariant Preferences::storedValue(const QString &key) const
{
    const QSettings settings(m_filePath, QSettings::IniFormat);
    return settings.value(key);
}

void Preferences::remove(const QString &key)
{
    if (!storedValue(key).isValid())
        return;
    const QVariant before = value(key);
    {
        QSettings settings(m_filePath, QSettings::IniFormat);
        settings.remove(key);
        settings.sync();
    }
    if (m_watcher)
        m_lastSeen = storedValues();
    if (value(key) != before)
        Q_EMIT changed(key);
}

void Preferences::watchFile()
{
    if (m_watcher)
        return;
    m_watcher = new QFileSystemWatcher(this);
    // QSettings replaces the file by renaming a new one over it, which ends a watch on the file
    // itself: the folder's change notices bring it back.
    const QString folder = QFileInfo(m_filePath).absolutePath();
    m_watcher->addPath(folder);
    m_watcher->addPath(m_filePath);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &Preferences::compareWithFile);
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, &Preferences::compareWithFile);
    m_lastSeen = storedValues();
}

QHash<QString, QVariant> Preferences::storedValues() const
{
    const QSettings settings(m_filePath, QSettings::IniFormat);
    QHash<QString, QVariant> values;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        values.insert(key, settings.value(key));
    return values;
}

void Preferences::compareWithFile()
{
    if (!m_watcher->files().contains(m_filePath) && QFileInfo::exists(m_filePath))
        m_watcher->addPath(m_filePath);
    const QHash<QString, QVariant> now = storedValues();
    QStringList differing;
    for (auto it = now.cbegin(); it != now.cend(); ++it) {
        if (m_lastSeen.value(it.key()) != it.value())
            differing << it.key();
    }
    for (auto it = m_lastSeen.cbegin(); it != m_lastSeen.cend(); ++it) {
        if (!now.contains(it.key()))
            differing << it.key();
    }
    m_lastSeen = now;
    for (const QString &key : std::as_const(differing))
        Q_EMIT changed(key);
}

void Preferences::markOnboardingCompleted()
{
    setValue(PreferenceKey::hasCompletedOnboarding, true);
}
