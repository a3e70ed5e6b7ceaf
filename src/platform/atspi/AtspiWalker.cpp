#include "AtspiWalker.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(lcAtspi, "qorvel.selection.atspi")

// Deep GTK and browser trees can go on for hundreds of levels; beyond this the frames are too
// small to snap to anyway, and each element costs up to three calls.
constexpr int maxElementsPerWalk = 40;

const QString registryService = QStringLiteral("org.a11y.atspi.Registry");
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
const QString nullPath = QStringLiteral("/org/a11y/atspi/null");
const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString componentInterface = QStringLiteral("org.a11y.atspi.Component");
constexpr quint32 screenCoordinates = 0; // ATSPI_COORD_TYPE_SCREEN

// AtspiRole values that mark the top of an application's own elements: the walk up stops there,
// since the window is already a snap level of its own.
constexpr quint32 roleDialog = 16;
constexpr quint32 roleFrame = 23;
constexpr quint32 roleWindow = 69;
constexpr quint32 roleApplication = 75;

struct ObjectRef
{
    QString service;
    QString path;

    bool isNull() const { return service.isEmpty() || path.isEmpty() || path == nullPath; }
    friend bool operator==(const ObjectRef &, const ObjectRef &) = default;
};

ObjectRef readObjectRef(const QDBusArgument &argument)
{
    ObjectRef ref;
    QDBusObjectPath path;
    argument.beginStructure();
    argument >> ref.service >> path;
    argument.endStructure();
    ref.path = path.path();
    return ref;
}

// One walk. Every failure ends it with the frames found so far.
class Walker
{
public:
    Walker(const QDBusConnection &bus, QHash<QString, qint64> &pids)
        : m_bus(bus)
        , m_pids(pids)
    {
    }

    QList<QRect> frames(qint64 pid, const QPoint &pixel)
    {
        m_budget = maxElementsPerWalk;
        QList<QRect> frames;
        const std::optional<ObjectRef> application = applicationOf(pid);
        if (!application)
            return frames;
        const std::optional<ObjectRef> window = windowAt(*application, pixel);
        if (!window)
            return frames;

        ObjectRef element = *window;
        while (spend()) {
            const std::optional<ObjectRef> child = childAt(element, pixel);
            if (!child || child->isNull() || *child == element)
                break;
            element = *child;
        }

        while (!element.isNull() && spend()) {
            const std::optional<quint32> role = roleOf(element);
            if (!role || isTopLevel(*role))
                break;
            const std::optional<QRect> extents = extentsOf(element);
            if (!extents)
                break;
            // Hidden and unrealised widgets report empty or negative sizes.
            if (!extents->isEmpty())
                frames << *extents;
            const std::optional<ObjectRef> parent = parentOf(element);
            if (!parent)
                break;
            element = *parent;
        }
        return frames;
    }

private:
    static bool isTopLevel(quint32 role)
    {
        return role == roleFrame || role == roleWindow || role == roleDialog || role == roleApplication;
    }

    bool spend() { return m_budget-- > 0; }

    std::optional<QVariantList> call(const QString &service, const QString &path, const QString &interface,
        const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = m_bus.call(message, QDBus::Block, AtspiWalker::callTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            qCDebug(lcAtspi) << method << "on" << service << path << "failed:" << reply.errorName()
                             << reply.errorMessage();
            return std::nullopt;
        }
        return reply.arguments();
    }

    std::optional<QList<ObjectRef>> childrenOf(const ObjectRef &object)
    {
        const std::optional<QVariantList> reply
            = call(object.service, object.path, accessibleInterface, QStringLiteral("GetChildren"));
        if (!reply || !reply->first().canConvert<QDBusArgument>())
            return std::nullopt;
        const QDBusArgument argument = reply->first().value<QDBusArgument>();
        QList<ObjectRef> children;
        argument.beginArray();
        while (!argument.atEnd())
            children << readObjectRef(argument);
        argument.endArray();
        return children;
    }

    std::optional<qint64> pidOf(const QString &service)
    {
        if (const auto known = m_pids.constFind(service); known != m_pids.constEnd())
            return *known;
        const std::optional<QVariantList> reply
            = call(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"), {service});
        if (!reply)
            return std::nullopt;
        const qint64 pid = reply->first().toLongLong();
        m_pids.insert(service, pid);
        return pid;
    }

    std::optional<ObjectRef> applicationOf(qint64 pid)
    {
        const std::optional<QList<ObjectRef>> applications = childrenOf({registryService, rootPath});
        if (!applications)
            return std::nullopt;
        for (const ObjectRef &application : *applications) {
            if (!application.isNull() && pidOf(application.service) == pid)
                return application;
        }
        return std::nullopt;
    }

    std::optional<ObjectRef> windowAt(const ObjectRef &application, const QPoint &pixel)
    {
        const std::optional<QList<ObjectRef>> windows = childrenOf(application);
        if (!windows)
            return std::nullopt;
        for (const ObjectRef &window : *windows) {
            if (!spend())
                return std::nullopt;
            const std::optional<QRect> extents = extentsOf(window);
            if (extents && extents->contains(pixel))
                return window;
        }
        return std::nullopt;
    }

    std::optional<ObjectRef> childAt(const ObjectRef &object, const QPoint &pixel)
    {
        const std::optional<QVariantList> reply = call(object.service, object.path, componentInterface,
            QStringLiteral("GetAccessibleAtPoint"), {pixel.x(), pixel.y(), screenCoordinates});
        if (!reply || !reply->first().canConvert<QDBusArgument>())
            return std::nullopt;
        return readObjectRef(reply->first().value<QDBusArgument>());
    }

    std::optional<QRect> extentsOf(const ObjectRef &object)
    {
        const std::optional<QVariantList> reply
            = call(object.service, object.path, componentInterface, QStringLiteral("GetExtents"), {screenCoordinates});
        if (!reply || !reply->first().canConvert<QDBusArgument>())
            return std::nullopt;
        const QDBusArgument argument = reply->first().value<QDBusArgument>();
        qint32 x = 0, y = 0, width = 0, height = 0;
        argument.beginStructure();
        argument >> x >> y >> width >> height;
        argument.endStructure();
        return QRect(x, y, width, height);
    }

    std::optional<quint32> roleOf(const ObjectRef &object)
    {
        const std::optional<QVariantList> reply
            = call(object.service, object.path, accessibleInterface, QStringLiteral("GetRole"));
        if (!reply)
            return std::nullopt;
        return reply->first().toUInt();
    }

    std::optional<ObjectRef> parentOf(const ObjectRef &object)
    {
        const std::optional<QVariantList> reply
            = call(object.service, object.path, QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("Get"), {accessibleInterface, QStringLiteral("Parent")});
        if (!reply)
            return std::nullopt;
        const QVariant parent = reply->first().value<QDBusVariant>().variant();
        if (!parent.canConvert<QDBusArgument>())
            return std::nullopt;
        return readObjectRef(parent.value<QDBusArgument>());
    }

    const QDBusConnection &m_bus;
    QHash<QString, qint64> &m_pids;
    int m_budget = 0;
};

} // namespace

AtspiWalker::AtspiWalker(const QDBusConnection &bus)
    : m_bus(bus)
{
}

void AtspiWalker::walk(quint64 serial, qint64 pid, QPoint pixel, double pixelsPerPoint)
{
    Q_EMIT walked(serial, pixelsPerPoint, Walker(m_bus, m_pids).frames(pid, pixel));
}
