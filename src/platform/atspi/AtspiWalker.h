#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QRect>

// Walks one application's accessible tree over the accessibility bus, one request at a time,
// on whatever thread it lives on. AT-SPI speaks device pixels.
class AtspiWalker : public QObject
{
    Q_OBJECT

public:
    // Long enough for a busy but healthy application, short enough that the pointer has not gone
    // far when a hung one is given up on.
    static constexpr int callTimeoutMs = 150;

    explicit AtspiWalker(const QDBusConnection &bus);

public Q_SLOTS:
    // Answers with `walked`: the frames under `pixel`, deepest first; `pixelsPerPoint` is passed
    // through for the caller.
    void walk(quint64 serial, qint64 pid, QPoint pixel, double pixelsPerPoint);

Q_SIGNALS:
    void walked(quint64 serial, double pixelsPerPoint, QList<QRect> pixelFrames);

private:
    QDBusConnection m_bus;
    // Unique bus names are never reused while the bus lives, so a name's process is fixed.
    QHash<QString, qint64> m_pids;
};
