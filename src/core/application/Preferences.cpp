#include "Preferences.h"

#include "FileNameTemplate.h"

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

Preferences::Preferences(QString filePath, QString desktopFolder)
    : m_filePath(std::move(filePath))
    , m_desktopFolder(std::move(desktopFolder))
{
}

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

void Preferences::registerDefaults()
{
    for (const auto &[key, value] : registrationTable())
        m_registered.insert(key, value);
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
    QSettings settings(m_filePath, QSettings::IniFormat);
    settings.setValue(key, value);
    settings.sync();
}

void Preferences::markOnboardingCompleted()
{
    setValue(PreferenceKey::hasCompletedOnboarding, true);
}
