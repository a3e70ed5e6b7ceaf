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
               {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                   QStringLiteral("org.a11y.Bus"), QStringLiteral("--object-path"), QStringLiteral("/org/a11y/bus"),
                   QStringLiteral("--method"), QStringLiteral("org.freedesktop.DBus.Properties.Set"),
                   QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"),
                   enabled ? QStringLiteral("<true>") : QStringLiteral("<false>")})
        == 0;
}

} // namespace

class tst_AtspiElementFinder : public QObject
{
    Q_OBJECT

    QProcess m_gtk;
    qint64 m_pid = 0;
    QRectF m_window, m_toolbar, m_button, m_row; // root pixels

    std::optional<QList<QRectF>> framesAt(AtspiElementFinder &finder, const QPointF &point, quint64 serial = 1)
    {
        QSignalSpy spy(&finder, &ElementFinder::found);
        finder.find({serial, m_pid, point});
        if (!spy.wait(5000))
            return std::nullopt;
        if (spy.first().at(0).toULongLong() != serial)
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
        const QList<QByteArray> parts = line.split(' ');
        m_pid = parts.at(1).toLongLong();
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
    }

    void nothingOutsideTheApplication_data()
    {
        QTest::addColumn<QPointF>("point");
        QTest::addColumn<qint64>("pid");
        QTest::newRow("left of the window") << QPointF(windowX - 50, windowY + 100) << qint64(-1);
        QTest::newRow("another process") << QPointF() << qint64(1);
    }

    void nothingOutsideTheApplication()
    {
        QFETCH(QPointF, point);
        QFETCH(qint64, pid);
        auto finder = AtspiElementFinder::create(QDBusConnection::sessionBus(), {});
        QVERIFY(finder);
        QSignalSpy spy(finder.get(), &ElementFinder::found);
        finder->find({7, pid < 0 ? m_pid : pid, point.isNull() ? m_row.center() : point});
        QTRY_COMPARE(spy.size(), 1);
        QCOMPARE(spy.first().at(0).toULongLong(), 7u);
        QCOMPARE(spy.first().at(1).value<QList<QRectF>>(), QList<QRectF>{});
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
