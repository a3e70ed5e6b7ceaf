#include "AtspiElementFinder.h"

#include "AtspiWalker.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QLoggingCategory>
#include <QUuid>

#include <QtMath>

namespace {

Q_LOGGING_CATEGORY(lcAtspi, "qorvel.selection.atspi")

constexpr int callTimeoutMs = AtspiWalker::callTimeoutMs;

} // namespace

std::unique_ptr<AtspiElementFinder> AtspiElementFinder::create(const QDBusConnection &sessionBus, ScaleAt scaleAt)
{
    if (!sessionBus.isConnected())
        return nullptr;

    const QString busService = QStringLiteral("org.a11y.Bus");
    const QString busPath = QStringLiteral("/org/a11y/bus");
    QDBusMessage isEnabled = QDBusMessage::createMethodCall(
        busService, busPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    isEnabled.setArguments({QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")});
    const QDBusMessage enabledReply = sessionBus.call(isEnabled, QDBus::Block, callTimeoutMs);
    if (enabledReply.type() != QDBusMessage::ReplyMessage || enabledReply.arguments().isEmpty()) {
        qCInfo(lcAtspi) << "no accessibility bus:" << enabledReply.errorMessage();
        return nullptr;
    }
    if (!enabledReply.arguments().first().value<QDBusVariant>().variant().toBool()) {
        qCInfo(lcAtspi) << "accessibility is turned off";
        return nullptr;
    }

    const QDBusMessage addressReply
        = sessionBus.call(QDBusMessage::createMethodCall(busService, busPath, busService, QStringLiteral("GetAddress")),
            QDBus::Block, callTimeoutMs);
    const QString address
        = addressReply.arguments().isEmpty() ? QString() : addressReply.arguments().first().toString();
    if (addressReply.type() != QDBusMessage::ReplyMessage || address.isEmpty()) {
        qCInfo(lcAtspi) << "no accessibility bus address:" << addressReply.errorMessage();
        return nullptr;
    }

    // A name of its own per finder: connections are shared process-wide by name, and one finder
    // must not disconnect another's.
    const QString name = QStringLiteral("qorvel-atspi-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    QDBusConnection accessibilityBus = QDBusConnection::connectToBus(address, name);
    if (!accessibilityBus.isConnected()) {
        qCInfo(lcAtspi) << "cannot reach the accessibility bus at" << address << accessibilityBus.lastError().message();
        QDBusConnection::disconnectFromBus(name);
        return nullptr;
    }
    return std::unique_ptr<AtspiElementFinder>(new AtspiElementFinder(accessibilityBus, std::move(scaleAt)));
}

AtspiElementFinder::AtspiElementFinder(const QDBusConnection &accessibilityBus, ScaleAt scaleAt)
    : m_bus(accessibilityBus)
    , m_scaleAt(std::move(scaleAt))
{
    m_thread.setObjectName(QStringLiteral("qorvel-atspi"));
    auto *walker = new AtspiWalker(m_bus);
    walker->moveToThread(&m_thread);
    // Queued across the threads: the answer is handled on the finder's thread.
    connect(walker, &AtspiWalker::walked, this, &AtspiElementFinder::walkFinished);
    m_walker = walker;
    connect(&m_thread, &QThread::finished, m_walker, &QObject::deleteLater);
    m_thread.start();
}

AtspiElementFinder::~AtspiElementFinder()
{
    // A walk in progress ends at its first unanswered call, so this waits 150 ms at worst for a
    // hung application; its answer is dropped with this object.
    m_thread.quit();
    m_thread.wait();
    QDBusConnection::disconnectFromBus(m_bus.name());
}

void AtspiElementFinder::find(const Request &request)
{
    if (m_walking) {
        m_waiting = request;
        return;
    }
    start(request);
}

void AtspiElementFinder::start(const Request &request)
{
    m_walking = true;
    const double pixelsPerPoint = m_scaleAt ? m_scaleAt(request.point) : 1.0;
    const QPoint pixel(qFloor(request.point.x() * pixelsPerPoint), qFloor(request.point.y() * pixelsPerPoint));
    // By name: Qt 6.4 cannot pass arguments through a member-function pointer here.
    QMetaObject::invokeMethod(m_walker, "walk", Qt::QueuedConnection, Q_ARG(quint64, request.serial),
        Q_ARG(qint64, request.pid), Q_ARG(QPoint, pixel), Q_ARG(double, pixelsPerPoint));
}

void AtspiElementFinder::walkFinished(quint64 serial, double pixelsPerPoint, const QList<QRect> &pixelFrames)
{
    QList<QRectF> frames;
    frames.reserve(pixelFrames.size());
    for (const QRect &pixels : pixelFrames)
        frames << QRectF(pixels.x() / pixelsPerPoint, pixels.y() / pixelsPerPoint, pixels.width() / pixelsPerPoint,
            pixels.height() / pixelsPerPoint);

    // Settle the state before emitting: a receiver may ask again from its slot.
    m_walking = false;
    if (m_waiting) {
        const Request next = *m_waiting;
        m_waiting.reset();
        start(next);
    }
    Q_EMIT found(serial, frames);
}
