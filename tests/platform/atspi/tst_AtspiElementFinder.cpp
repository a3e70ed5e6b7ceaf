#include "AtspiElementFinder.h"
#include "EmptySessionBus.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

namespace {

// Where the GTK window puts its client area, in root pixels; openbox adds its frame around it.
constexpr int windowX = 200;
constexpr int windowY = 150;

QRectF rectOf(const QJsonValue &value)
{
    const QJsonArray a = value.toArray();
    return QRectF(a.at(0).toInt(), a.at(1).toInt(), a.at(2).toInt(), a.at(3).toInt());
}

QRectF scaled(const QRectF &rect, double factor)
{
    return QRectF(rect.topLeft() * factor, rect.size() * factor);
}

bool setAccessibilityEnabled(bool enabled)
{
    return QProcess::execute(QStringLiteral("gdbus"),
               QStringLiteral("call --session --dest org.a11y.Bus --object-path /org/a11y/bus --method "
                              "org.freedesktop.DBus.Properties.Set org.a11y.Status IsEnabled <%1>")
                   .arg(QLatin1String(enabled ? "true" : "false"))
                   .split(u' '))
        == 0;
}

} // namespace

class tst_AtspiElementFinder : public QObject
{
    Q_OBJECT

    QProcess m_gtk;
    qint64 m_pid = 0;
    QRectF m_window, m_toolbar, m_button, m_row; // root pixels

    // What the finder answers for `point` in the application `pid` (the GTK window's when none);
    // none when it does not answer, or answers another request.
    std::optional<QList<QRectF>> framesAt(
        AtspiElementFinder &finder, const QPointF &point, std::optional<qint64> pid = std::nullopt)
    {
        QSignalSpy spy(&finder, &ElementFinder::found);
        finder.find({7, pid.value_or(m_pid), point});
        if (!spy.wait(5000) || spy.first().at(0).toULongLong() != 7)
            return std::nullopt;
        return spy.first().at(1).value<QList<QRectF>>();
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_gtk.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_gtk.start(QStringLiteral("/usr/bin/python3"),
            {qEnvironmentVariable("QORVEL_GTK_ELEMENTS_WINDOW"), QString::number(windowX), QString::number(windowY)});
        QVERIFY(m_gtk.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(m_gtk.canReadLine(), 20000);
        const QByteArray line = m_gtk.readLine().trimmed();
        QVERIFY2(line.startsWith("READY "), line.constData());
        m_pid = line.split(' ').at(1).toLongLong();
        const QJsonObject frames = QJsonDocument::fromJson(line.mid(line.indexOf('{'))).object();
        m_window = rectOf(frames.value(QStringLiteral("window")));
        m_toolbar = rectOf(frames.value(QStringLiteral("toolbar")));
        m_button = rectOf(frames.value(QStringLiteral("button")));
        m_row = rectOf(frames.value(QStringLiteral("row")));
        QVERIFY(!m_row.isEmpty() && !m_button.isEmpty());

        // The application registers with the accessibility bus on its own time after mapping.
        auto finder = AtspiElementFinder::create(QDBusConnection::sessionBus(), {});
        QVERIFY(finder);
        QTRY_VERIFY_WITH_TIMEOUT(!framesAt(*finder, m_button.center()).value_or(QList<QRectF>{}).isEmpty(), 10000);
    }

    void cleanupTestCase()
    {
        m_gtk.kill();
        m_gtk.waitForFinished();
    }

    // The application's elements under the point, innermost first, in points.
    void framesUnderThePoint_data()
    {
        QTest::addColumn<double>("pixelsPerPoint");
        QTest::newRow("1 pixel per point") << 1.0;
        QTest::newRow("2 pixels per point") << 2.0;
    }

    void framesUnderThePoint()
    {
        QFETCH(double, pixelsPerPoint);
        auto finder = AtspiElementFinder::create(
            QDBusConnection::sessionBus(), [pixelsPerPoint](QPointF) { return pixelsPerPoint; });
        QVERIFY(finder);
        const double pointsPerPixel = 1 / pixelsPerPoint;
        const QRectF window = scaled(m_window, pointsPerPixel);

        const QPointF onRow = scaled(m_row, pointsPerPixel).center();
        const QList<QRectF> rowFrames = framesAt(*finder, onRow).value_or(QList<QRectF>{});
        QVERIFY(!rowFrames.isEmpty());
        QVERIFY(rowFrames.first().contains(onRow));
        for (qsizetype i = 0; i < rowFrames.size(); ++i) {
            QVERIFY2(window.contains(rowFrames.at(i)), qPrintable(QStringLiteral("frame %1").arg(i)));
            if (i > 0)
                QVERIFY(rowFrames.at(i).contains(rowFrames.at(i - 1)));
        }
        QVERIFY(rowFrames.contains(scaled(m_row, pointsPerPixel)));

        const QList<QRectF> buttonFrames
            = framesAt(*finder, scaled(m_button, pointsPerPixel).center()).value_or(QList<QRectF>{});
        QCOMPARE(buttonFrames.value(0), scaled(m_button, pointsPerPixel));
        const qsizetype toolbar = buttonFrames.indexOf(scaled(m_toolbar, pointsPerPixel));
        QVERIFY2(toolbar > 0, qPrintable(QStringLiteral("toolbar at %1").arg(toolbar)));

        // Nothing beside the application's window, nor for another process at the same point.
        const QList<QRectF> noAnswer{QRectF()};
        QCOMPARE(framesAt(*finder, QPointF(windowX - 50, windowY + 100) * pointsPerPixel).value_or(noAnswer),
            QList<QRectF>());
        QCOMPARE(framesAt(*finder, onRow, 1).value_or(noAnswer), QList<QRectF>());
    }

    void noFinderWithoutAccessibility_data()
    {
        QTest::addColumn<QString>("setting");
        // The other bus first: right after accessibility is turned on again, even the session
        // bus yields no finder, which would hide a finder that asked it instead of the bus given.
        QTest::newRow("no accessibility service on the session bus") << QStringLiteral("other bus");
        QTest::newRow("turned off") << QStringLiteral("off");
    }

    void noFinderWithoutAccessibility()
    {
        QFETCH(QString, setting);
        const bool off = setting == QLatin1String("off");
        // A bus that activates nothing, so nothing answers for org.a11y.Bus.
        const EmptySessionBus empty(!off);
        QVERIFY(empty.isReady());
        QDBusConnection bus = off ? QDBusConnection::sessionBus()
                                  : QDBusConnection::connectToBus(empty.address(), QStringLiteral("other"));
        QVERIFY(bus.isConnected());
        if (off)
            QVERIFY(setAccessibilityEnabled(false));
        const bool created = AtspiElementFinder::create(bus, {}) != nullptr;
        if (off)
            QVERIFY(setAccessibilityEnabled(true));
        else
            QDBusConnection::disconnectFromBus(bus.name());
        QVERIFY(!created);
    }
};

QTEST_GUILESS_MAIN(tst_AtspiElementFinder)
#include "tst_AtspiElementFinder.moc"
