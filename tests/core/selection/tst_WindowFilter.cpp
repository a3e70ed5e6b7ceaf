#include "WindowFilter.h"

#include <QTest>

Q_DECLARE_METATYPE(WindowListEntry)

class tst_WindowFilter : public QObject
{
    Q_OBJECT

private:
    static constexpr qint64 ownPid = 4242;

    static WindowListEntry ordinary(quint32 id = 7)
    {
        return {id, QRectF(10, 10, 300, 200), 0, 1.0, 100, QStringLiteral("xterm")};
    }

private Q_SLOTS:
    void keeps_data()
    {
        QTest::addColumn<WindowListEntry>("entry");
        QTest::addColumn<bool>("kept");
        WindowListEntry e = ordinary();
        QTest::newRow("ordinary window") << e << true;
        e = ordinary(), e.ownerPid = ownPid, e.layer = 0;
        QTest::newRow("our own window") << e << false;
        e = ordinary(), e.layer = -1;
        QTest::newRow("desktop layer -1") << e << false;
        e = ordinary(), e.layer = 19;
        QTest::newRow("layer 19") << e << true;
        e = ordinary(), e.layer = 20;
        QTest::newRow("panel layer 20") << e << false;
        e = ordinary(), e.alpha = 0.01;
        QTest::newRow("alpha 0.01") << e << false;
        e = ordinary(), e.alpha = 0.011;
        QTest::newRow("alpha 0.011") << e << true;
        e = ordinary(), e.frame = QRectF(0, 0, 20, 19.9);
        QTest::newRow("20 x 19.9") << e << false;
        e = ordinary(), e.frame = QRectF(0, 0, 20, 20);
        QTest::newRow("20 x 20") << e << true;
        e = ordinary(), e.applicationId = QStringLiteral("plasmashell");
        QTest::newRow("desktop shell") << e << false;
        e = ordinary(), e.applicationId.reset();
        QTest::newRow("no application id") << e << true;
    }

    // Between two ordinary windows, numbered against their order so that a sort would show:
    // what is kept stays in the window system's order, front to back.
    void keeps()
    {
        QFETCH(WindowListEntry, entry);
        QFETCH(bool, kept);
        const auto snap = [](const WindowListEntry &e) { return SnapWindow{e.id, e.frame, e.ownerPid}; };
        const WindowListEntry front = ordinary(9), back = ordinary(5);
        const QList<SnapWindow> expected
            = kept ? QList{snap(front), snap(entry), snap(back)} : QList{snap(front), snap(back)};
        QCOMPARE(WindowFilter::filter({front, entry, back}, ownPid), expected);
    }
};

QTEST_GUILESS_MAIN(tst_WindowFilter)
#include "tst_WindowFilter.moc"
