#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTest>

// What the end-to-end tests read back from the harness's services, and the user's hand they
// play on its X server.

// The clipboard's content of `type`, as another program pastes it; empty when there is none.
inline QByteArray pasted(const QString &type)
{
    QProcess xclip;
    xclip.start(QStringLiteral("xclip"),
        {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-t"), type, QStringLiteral("-o")});
    // Events go on meanwhile: the owner of the clipboard may be this very process.
    if (!QTest::qWaitFor([&xclip] { return xclip.state() == QProcess::NotRunning; }, 10'000))
        return QByteArray();
    return xclip.exitCode() == 0 ? xclip.readAllStandardOutput() : QByteArray();
}

// Every message the harness's bus monitor logged for the notification server, oldest first.
inline QList<QJsonObject> monitoredMessages()
{
    QFile log(qEnvironmentVariable("QORVEL_SESSION_NOTIFICATIONS_LOG"));
    QList<QJsonObject> messages;
    if (log.open(QIODevice::ReadOnly)) {
        while (!log.atEnd())
            messages << QJsonDocument::fromJson(log.readLine()).object();
    }
    return messages;
}

// Every Notify call the session bus carried (app name, id, icon, summary, body, actions, hints,
// timeout), oldest first.
inline QList<QJsonArray> notifyCalls()
{
    QList<QJsonArray> calls;
    for (const QJsonObject &message : monitoredMessages()) {
        if (message[QLatin1String("member")].toString() == QLatin1String("Notify"))
            calls << message[QLatin1String("payload")].toObject()[QLatin1String("data")].toArray();
    }
    return calls;
}

// The last Notify call; empty before the first.
inline QJsonArray lastNotify()
{
    const QList<QJsonArray> calls = notifyCalls();
    return calls.isEmpty() ? QJsonArray() : calls.last();
}

// Makes the Catbox stand-in answer every request with `fault` ("STATUS\nHEADERS\nBODY"), or
// answer normally again when it is empty.
inline void setCatboxFault(const QByteArray &fault)
{
    const QString path = QDir(qEnvironmentVariable("CATBOX_STUB_DIR")).filePath(QStringLiteral("fault"));
    if (fault.isEmpty()) {
        QFile::remove(path);
        return;
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(fault) != fault.size())
        qFatal("cannot set the stand-in's fault");
}

// Whether the Catbox stand-in holds the file `link` names: uploaded and not deleted since.
inline bool onCatbox(const QString &link)
{
    return QFile::exists(QDir(qEnvironmentVariable("CATBOX_STUB_DIR"))
                             .filePath(QLatin1String("files/") + link.section(QLatin1Char('/'), -1)));
}

// The folder of the session's home where Qorvel saves by default.
inline QDir desktopFolder()
{
    return QDir(QDir::home().filePath(QStringLiteral("Desktop")));
}

// The screen's pixels in `pixels`, read by another program (ImageMagick) as the reference.
inline QImage screenRegion(const QRect &pixels, const QString &folder)
{
    const QString file = QDir(folder).filePath(QStringLiteral("reference.png"));
    QFile::remove(file);
    const int status = QProcess::execute(QStringLiteral("/usr/bin/import"),
        {QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("-crop"),
            QStringLiteral("%1x%2+%3+%4").arg(pixels.width()).arg(pixels.height()).arg(pixels.x()).arg(pixels.y()),
            QStringLiteral("+repage"), file});
    return status == 0 ? QImage(file).convertToFormat(QImage::Format_RGB32) : QImage();
}

// The first pixel that differs, ignoring alpha, or an empty string when the pictures match.
inline QString firstDifference(const QImage &actual, const QImage &expected)
{
    if (actual.size() != expected.size())
        return QStringLiteral("sizes differ");
    const QImage a = actual.convertToFormat(QImage::Format_RGB32);
    const QImage b = expected.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if ((a.pixel(x, y) & 0xffffff) != (b.pixel(x, y) & 0xffffff))
                return QStringLiteral("pixel %1,%2: %3 instead of %4")
                    .arg(x)
                    .arg(y)
                    .arg(a.pixel(x, y), 0, 16)
                    .arg(b.pixel(x, y), 0, 16);
    return {};
}

// The values ffprobe reads of `entries` ("stream=width,height") in `file`, one space between
// them: what a player will see of a recording.
inline QString probed(const QString &file, const QString &entries, const QStringList &options = {})
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
        QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-of"),
            QStringLiteral("default=nw=1:nk=1"), QStringLiteral("-show_entries"), entries}
            + options + QStringList{file});
    ffprobe.waitForFinished(60'000);
    return QString::fromUtf8(ffprobe.readAllStandardOutput()).simplified();
}

// Runs xdotool with space-separated arguments: keys, pointer moves and clicks as a user makes them.
inline void xdotool(QAnyStringView arguments)
{
    QProcess::execute(QStringLiteral("xdotool"), arguments.toString().split(QLatin1Char(' ')));
}

// A drag from (300, 200) to (600, 350) on an overlay that has the pointer: the 300 × 150 pixels
// the tests then look for in what was captured.
inline void dragTheTestArea()
{
    for (const char *step :
        {"mousemove 300 200", "mousedown 1", "mousemove 400 250", "mousemove 600 350", "mouseup 1"}) {
        xdotool(step);
        QTest::qWait(100);
    }
}

// Whether the X server shows a window matching `criteria` (xdotool search terms, such as
// "--pid 1234" or "--class xterm"): how the tests tell that a program's window is up.
inline bool hasVisibleWindow(const QStringList &criteria)
{
    return QProcess::execute(QStringLiteral("xdotool"),
               QStringList{QStringLiteral("search"), QStringLiteral("--onlyvisible")} + criteria)
        == 0;
}

inline bool hasVisibleWindow(const QProcess &process)
{
    return hasVisibleWindow({QStringLiteral("--pid"), QString::number(process.processId())});
}

// Starts a terminal at 150,150 full of coloured text, so a misplaced or rescaled capture cannot
// match by accident, and waits until it shows.
inline bool startTextTerminal(QProcess &xterm)
{
    xterm.start(QStringLiteral("xterm"),
        {QStringLiteral("-geometry"), QStringLiteral("100x30+150+150"), QStringLiteral("-e"), QStringLiteral("sh"),
            QStringLiteral("-c"), QStringLiteral("ls -la --color=always /usr/bin | head -60; exec sleep 600")});
    return QTest::qWaitFor(
        [] {
            return hasVisibleWindow({QStringLiteral("--class"), QStringLiteral("xterm")});
        },
        10000);
}

// The selection overlay of a Qorvel started in the environment of logging(), which logs each
// first paint to standard error.
class OverlayPaints
{
public:
    explicit OverlayPaints(QProcess &qorvel)
        : m_qorvel(qorvel)
    {
    }

    static QProcessEnvironment logging(QProcessEnvironment environment = QProcessEnvironment::systemEnvironment())
    {
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qorvel.overlay.timing=true"));
        return environment;
    }

    // Waits for the overlay's next first paint: from then on it takes the pointer.
    bool next()
    {
        const bool painted = QTest::qWaitFor(
            [this] {
                m_errors += m_qorvel.readAllStandardError();
                return m_errors.count("first paint") > m_seen;
            },
            15'000);
        m_seen = int(m_errors.count("first paint"));
        QTest::qWait(100);
        return painted;
    }

    // For a new process on the same QProcess.
    void restart()
    {
        m_errors.clear();
        m_seen = 0;
    }

private:
    QProcess &m_qorvel;
    QByteArray m_errors;
    int m_seen = 0;
};
