#include "XdgAutostartEntry.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>

#include <utility>

XdgAutostartEntry::XdgAutostartEntry(QString entryPath, QString command)
    : m_entryPath(std::move(entryPath))
    , m_command(std::move(command))
{
}

LoginItem::Status XdgAutostartEntry::status() const
{
    if (!QFileInfo::exists(m_entryPath))
        return Status::disabled;
    // The keys are plain desktop-entry booleans, which an INI reader takes as text.
    QSettings entry(m_entryPath, QSettings::IniFormat);
    entry.beginGroup(QStringLiteral("Desktop Entry"));
    const bool hidden = entry.value(QStringLiteral("Hidden")).toString() == QLatin1String("true");
    const bool turnedOff
        = entry.value(QStringLiteral("X-GNOME-Autostart-enabled")).toString() == QLatin1String("false");
    return hidden || turnedOff ? Status::disabled : Status::enabled;
}

Result<void> XdgAutostartEntry::setEnabled(bool enabled)
{
    if (!enabled) {
        QFile entry(m_entryPath);
        if (entry.exists() && !entry.remove())
            return Error{entry.errorString(), m_entryPath};
        return {};
    }
    const QString folder = QFileInfo(m_entryPath).absolutePath();
    if (!QDir().mkpath(folder))
        return Error{QStringLiteral("The folder %1 can't be created.").arg(QDir::toNativeSeparators(folder)), folder};
    // Written whole or not at all: a half-written entry would start nothing, or worse.
    QSaveFile entry(m_entryPath);
    if (!entry.open(QIODevice::WriteOnly))
        return Error{entry.errorString(), m_entryPath};
    const QString text = QStringLiteral("[Desktop Entry]\n"
                                        "Type=Application\n"
                                        "Name=Qorvel\n"
                                        "Comment=Screenshots and screen recordings from the tray\n"
                                        "Exec=%1\n"
                                        "Icon=com.vostrink.qorvel\n"
                                        "Terminal=false\n"
                                        "X-GNOME-Autostart-enabled=true\n")
                             .arg(m_command);
    entry.write(text.toUtf8());
    if (!entry.commit())
        return Error{entry.errorString(), m_entryPath};
    return {};
}

QString XdgAutostartEntry::execArgument(const QString &program)
{
    // Inside quotes, these four are escaped with a backslash; the value as a whole is a
    // desktop-entry string, so every backslash is then doubled, and % is the field-code sign.
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString argument = program;
    argument.replace(QLatin1Char('%'), QLatin1String("%%"));
    bool needsQuotes = false;
    for (const QChar c : argument)
        needsQuotes = needsQuotes || reserved.contains(c);
    if (!needsQuotes)
        return argument;
    QString quoted;
    for (const QChar c : std::as_const(argument)) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    quoted.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}
