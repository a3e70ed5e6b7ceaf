#include "FileNameTemplate.h"

#include <QDir>
#include <QFileInfo>

#include <array>

namespace {

QString padded(int value, int width)
{
    return QString::asprintf("%0*d", width, value);
}

// A dangling symbolic link is not a free name: an exclusive create would fail on it.
bool pathIsTaken(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

} // namespace

QString FileNameTemplate::defaultTemplate()
{
    return QStringLiteral("Qorvel {yyyy}-{MM}-{dd} at {HH}.{mm}.{ss}");
}

const QStringList &FileNameTemplate::tokens()
{
    static const QStringList list = {
        QStringLiteral("{yyyy}"),
        QStringLiteral("{yy}"),
        QStringLiteral("{MM}"),
        QStringLiteral("{dd}"),
        QStringLiteral("{HH}"),
        QStringLiteral("{mm}"),
        QStringLiteral("{ss}"),
    };
    return list;
}

QString FileNameTemplate::expand(const QString &nameTemplate, const QDateTime &instant)
{
    // An instant the calendar cannot place renders every field as zeros.
    const QDateTime local = instant.isValid() ? instant.toLocalTime() : QDateTime();
    const QDate date = local.date();
    const QTime time = local.time();
    const int year = date.isValid() ? date.year() : 0;

    const std::array<QString, 7> replacements = {
        padded(year, 4),
        padded(year % 100, 2),
        padded(date.isValid() ? date.month() : 0, 2),
        padded(date.isValid() ? date.day() : 0, 2),
        padded(time.isValid() ? time.hour() : 0, 2),
        padded(time.isValid() ? time.minute() : 0, 2),
        padded(time.isValid() ? time.second() : 0, 2),
    };

    QString name = nameTemplate;
    for (std::size_t i = 0; i < replacements.size(); ++i)
        name.replace(tokens().at(static_cast<qsizetype>(i)), replacements[i]);

    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    name.replace(QLatin1Char(':'), QLatin1Char('.'));
    name = name.trimmed();
    // A NUL would end the name early in the system's calls, and a newline or an escape
    // sequence would reach terminals and file managers raw.
    for (QChar &c : name) {
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char('-');
    }
    // A leading dot would hide the file from the user.
    qsizetype dots = 0;
    while (dots < name.size() && name.at(dots) == QLatin1Char('.'))
        ++dots;
    name.remove(0, dots);

    return name.isEmpty() ? QStringLiteral("Qorvel") : name;
}

QString FileNameTemplate::uniqueFilePath(const QString &folder, const QString &baseName, const QString &extension)
{
    const QDir dir(folder);
    const QString suffix = extension.isEmpty() ? QString() : QLatin1Char('.') + extension;
    QString candidate = dir.filePath(baseName + suffix);
    for (qint64 n = 2; pathIsTaken(candidate); ++n)
        candidate = dir.filePath(baseName + QLatin1String(" (") + QString::number(n) + QLatin1Char(')') + suffix);
    return candidate;
}
