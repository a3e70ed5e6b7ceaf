#pragma once

#include <QHash>
#include <QLatin1String>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>

#include <array>
#include <optional>
#include <utility>

// The keys of the preferences file. Their spellings are shared with the command line, the
// settings window and any user who edits the file by hand, so they never change.
namespace PreferenceKey {
inline constexpr QLatin1String hasCompletedOnboarding{"hasCompletedOnboarding"};
inline constexpr QLatin1String playShutterSound{"playShutterSound"};
inline constexpr QLatin1String screenshotCopyToClipboard{"screenshotCopyToClipboard"};
inline constexpr QLatin1String screenshotSaveToFolder{"screenshotSaveToFolder"};
inline constexpr QLatin1String screenshotFormat{"screenshotFormat"};
inline constexpr QLatin1String screenshotJPEGQuality{"screenshotJPEGQuality"};
inline constexpr QLatin1String fileNameTemplate{"fileNameTemplate"};
inline constexpr QLatin1String includeWindowShadow{"includeWindowShadow"};
inline constexpr QLatin1String videoQuality{"videoQuality"};
inline constexpr QLatin1String videoCodec{"videoCodec"};
inline constexpr QLatin1String videoMaxResolution{"videoMaxResolution"};
inline constexpr QLatin1String videoShowsCursor{"videoShowsCursor"};
inline constexpr QLatin1String videoCountdown{"videoCountdown"};
inline constexpr QLatin1String videoCopyToClipboard{"videoCopyToClipboard"};
inline constexpr QLatin1String videoSaveToFolder{"videoSaveToFolder"};
inline constexpr QLatin1String screenshotUpload{"screenshotUpload"};
inline constexpr QLatin1String videoUpload{"videoUpload"};
inline constexpr QLatin1String showMagnifier{"showMagnifier"};

// Deliberately never registered: their absence means "the Desktop".
inline constexpr QLatin1String screenshotSaveFolderPath{"screenshotSaveFolderPath"};
inline constexpr QLatin1String videoSaveFolderPath{"videoSaveFolderPath"};
} // namespace PreferenceKey

class QFileSystemWatcher;

// The user's settings in one INI file, behind a registration layer that answers absent keys
// with their registered defaults. Nothing is cached: every read opens the file afresh, because
// the command line or a text editor may have changed it since the last capture.
class Preferences : public QObject
{
    Q_OBJECT

public:
    // The defaults are registered here, so no reader can come before them.
    Preferences(QString filePath, QString desktopFolder, QObject *parent = nullptr);
    ~Preferences() override;

    // The registered defaults, in the order they are registered.
    static QList<std::pair<QLatin1String, QVariant>> registrationTable();

    bool boolValue(const QString &key) const;
    double doubleValue(const QString &key) const;
    // None when the key is absent and has no registered default; an empty string stays empty.
    std::optional<QString> stringValue(const QString &key) const;

    // The case whose raw value equals the stored string exactly; the fallback otherwise.
    template <typename Enum, std::size_t N>
    Enum enumValue(const QString &key, const std::array<std::pair<Enum, QLatin1String>, N> &cases, Enum fallback) const
    {
        const std::optional<QString> raw = stringValue(key);
        if (!raw)
            return fallback;
        for (const auto &[value, rawValue] : cases) {
            if (*raw == rawValue)
                return value;
        }
        return fallback;
    }

    QString fileNameTemplate() const;
    // The folder at the stored path (not expanded, not checked), or the Desktop when the key
    // is absent or empty. Never created here: whoever writes into it creates it.
    QString folder(const QString &key) const;

    // What the file itself holds under `key`, registered defaults aside: invalid when the file
    // holds nothing there. An INI file keeps text, so a stored `false` reads back as "false".
    QVariant storedValue(const QString &key) const;
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);
    void markOnboardingCompleted();

    QString filePath() const { return m_filePath; }

    // From now on, changes that another process (the command line, a text editor) makes to
    // the file are announced too, not only this object's own writes. Needs the event loop.
    void watchFile();

Q_SIGNALS:
    // `key` now reads differently. Reads stay fresh anyway; this is for whoever must act on a
    // change at once (shortcuts to register again, a settings window to refresh).
    void changed(const QString &key);

private:
    QVariant value(const QString &key) const;
    QHash<QString, QVariant> storedValues() const;
    void compareWithFile();

    QString m_filePath;
    QString m_desktopFolder;
    QHash<QString, QVariant> m_registered;
    QFileSystemWatcher *m_watcher = nullptr;
    QHash<QString, QVariant> m_lastSeen; // the file as last compared, while watching
};
