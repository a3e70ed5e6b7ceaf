#include "FreedesktopNotifier.h"

#include "TemporaryFiles.h"
#include "Thumbnailer.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QFileInfo>
#include <QUuid>
#include <QVariantMap>

#include <memory>
#include <utility>

namespace {

constexpr char interfaceName[] = "org.freedesktop.Notifications";
constexpr char applicationId[] = "com.vostrink.qorvel";
// A server that has not answered by then is as good as absent: a failure still has to reach the
// user, so it becomes an alert.
constexpr int notifyTimeoutMs = 10000;

// Servers that advertise body-markup parse the body as a subset of HTML, where a stray "<" or
// "&" hides text or drops the whole body. Line breaks stay as they are: markup-reading servers
// break lines there too.
QString escapeMarkup(const QString &text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar c : text) {
        if (c == u'&')
            escaped += QLatin1String("&amp;");
        else if (c == u'<')
            escaped += QLatin1String("&lt;");
        else if (c == u'>')
            escaped += QLatin1String("&gt;");
        else
            escaped += c;
    }
    return escaped;
}

} // namespace

FreedesktopNotifier::FreedesktopNotifier(QDBusConnection bus, Handlers handlers, Thumbnailer &thumbnails,
    TemporaryFiles *temporaries, QString temporaryFolder, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_handlers(std::move(handlers))
    , m_thumbnailer(thumbnails)
    , m_temporaries(temporaries)
    , m_temporaryFolder(std::move(temporaryFolder))
{
    // The server sends both signals to the posting connection alone, never as a broadcast.
    m_bus.connect(QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(interfaceName),
        QStringLiteral("ActionInvoked"), this, SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(interfaceName),
        QStringLiteral("NotificationClosed"), this, SLOT(onNotificationClosed(uint, uint)));
}

FreedesktopNotifier::~FreedesktopNotifier()
{
    m_bus.disconnect(QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(interfaceName),
        QStringLiteral("ActionInvoked"), this, SLOT(onActionInvoked(uint, QString)));
    m_bus.disconnect(QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(interfaceName),
        QStringLiteral("NotificationClosed"), this, SLOT(onNotificationClosed(uint, uint)));
    // Still on screen or not, nothing may show these files once Qorvel has gone.
    for (const QString &path : std::as_const(m_thumbnails)) {
        QFile::remove(path);
        if (m_temporaries)
            m_temporaries->forget(path);
    }
}

void FreedesktopNotifier::post(const NotificationRequest &request)
{
    QStringList actions;
    if (request.action) {
        const bool open = request.action->kind == NotificationAction::Kind::openUrl;
        const QString label = open ? QStringLiteral("Open Link") : QStringLiteral("Show in Folder");
        // "default" is the click on the notification itself; the named action is the visible
        // button, for servers that draw no default.
        actions << QStringLiteral("default") << label << (open ? QStringLiteral("open") : QStringLiteral("reveal"))
                << label;
    }

    QVariantMap hints;
    hints.insert(QStringLiteral("desktop-entry"), QLatin1String(applicationId));
    // Normal for both: many servers keep a critical notification until it is dismissed, and a
    // failure is already told apart by its sound.
    hints.insert(QStringLiteral("urgency"), QVariant::fromValue(uchar(1)));
    if (request.failure)
        hints.insert(QStringLiteral("sound-name"), QStringLiteral("dialog-warning"));
    else
        hints.insert(QStringLiteral("suppress-sound"), true);
    const QString thumbnail = writeThumbnail(request);
    if (!thumbnail.isEmpty())
        hints.insert(QStringLiteral("image-path"), thumbnail);

    QDBusMessage call = QDBusMessage::createMethodCall(
        QLatin1String(serviceName), QLatin1String(objectPath), QLatin1String(interfaceName), QStringLiteral("Notify"));
    call << QStringLiteral("Qorvel") << uint(0) << QLatin1String(applicationId) << request.title
         << escapeMarkup(request.body) << actions << hints << int(-1);

    const auto answered = [this, action = request.action, thumbnail, failure = request.failure, title = request.title,
                              body = request.body](std::optional<uint> id) {
        --m_pending;
        if (!id) {
            // No bus, no server on it, none that could be started, or one that did not answer.
            discardThumbnail(thumbnail);
            if (failure && m_handlers.alert)
                m_handlers.alert(title, body);
            emitIfSettled();
            return;
        }
        if (action || !thumbnail.isEmpty())
            m_shown.insert(*id, Shown{action, thumbnail});
        emitIfSettled();
    };
    ++m_pending;
    // Without a bus Qt hands back a call that never finishes; the answer is known already, but
    // it must still come later: the alert is modal and post() returns at once.
    if (!m_bus.isConnected()) {
        QMetaObject::invokeMethod(
            this, [answered] { answered(std::nullopt); }, Qt::QueuedConnection);
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, notifyTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [answered](QDBusPendingCallWatcher *finished) {
        finished->deleteLater();
        const QDBusPendingReply<uint> reply = *finished;
        answered(reply.isError() ? std::nullopt : std::optional<uint>(reply.value()));
    });
}

QString FreedesktopNotifier::writeThumbnail(const NotificationRequest &request)
{
    // A picture that cannot be made is left out; the notification still goes.
    Result<QByteArray> made = Error{};
    if (const Bitmap *bitmap = std::get_if<Bitmap>(&request.thumbnail))
        made = m_thumbnailer.imageThumbnail(*bitmap);
    else if (const QString *recording = std::get_if<QString>(&request.thumbnail))
        made = m_thumbnailer.videoThumbnail(*recording);
    if (!made || made->isEmpty())
        return {};
    const QByteArray &png = *made;

    // Exclusive and private: the folder is shared with every user and program on the machine.
    QString path = QDir(m_temporaryFolder)
                       .absoluteFilePath(QLatin1String("qorvel-thumb-")
                           + QUuid::createUuid().toString(QUuid::WithoutBraces) + QLatin1String(".png"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return {};
    if (file.write(png) != png.size() || !file.flush()) {
        file.close();
        file.remove();
        return {};
    }
    m_thumbnails.insert(path);
    if (m_temporaries)
        m_temporaries->add(path);
    return path;
}

void FreedesktopNotifier::discardThumbnail(const QString &path)
{
    if (path.isEmpty())
        return;
    QFile::remove(path);
    m_thumbnails.remove(path);
    if (m_temporaries)
        m_temporaries->forget(path);
}

void FreedesktopNotifier::onActionInvoked(uint id, const QString &key)
{
    if (key != QLatin1String("default") && key != QLatin1String("open") && key != QLatin1String("reveal"))
        return;
    const auto shown = m_shown.constFind(id);
    if (shown == m_shown.cend() || !shown->action)
        return;
    // Copied: a handler may run a nested event loop, in which the entry can be closed and gone.
    const NotificationAction action = *shown->action;
    if (action.kind == NotificationAction::Kind::openUrl) {
        if (m_handlers.openUrl)
            m_handlers.openUrl(action.url);
        return;
    }
    const QString path = action.url.toLocalFile();
    if (QFileInfo::exists(path) && m_handlers.reveal)
        m_handlers.reveal(path);
}

void FreedesktopNotifier::onNotificationClosed(uint id, uint /*reason*/)
{
    const auto shown = m_shown.find(id);
    if (shown == m_shown.end())
        return;
    const QString thumbnail = shown->thumbnail;
    m_shown.erase(shown);
    discardThumbnail(thumbnail);
    emitIfSettled();
}

void FreedesktopNotifier::emitIfSettled()
{
    if (isSettled())
        Q_EMIT settled();
}
