#include "WindowFilter.h"

#include <QTest>

Q_DECLARE_METATYPE(WindowListEntry)

class tst_WindowFilter : public QObject
{
    Q_OBJECT

private:
    static constexpr qint64 ownPid = 4242;

    static WindowListEntry ordinary() { return {7, QRectF(10, 10, 300, 200), 0, 1.0, 100, QStringLiteral("xterm")}; }

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
        e = ordinary(), e.applicationId = QStringLiteral("Plasmashell");
        QTest::newRow("matching is case-sensitive") << e << true;
        e = ordinary(), e.applicationId.reset();
        QTest::newRow("no application id") << e << true;
    }

    void keeps()
    {
        QFETCH(WindowListEntry, entry);
        QFETCH(bool, kept);
        const QList<SnapWindow> result = WindowFilter::filter({entry}, ownPid);
        QCOMPARE(result.size(), kept ? 1 : 0);
        if (kept)
            QCOMPARE(result.first(), (SnapWindow{entry.id, entry.frame, entry.ownerPid}));
    }

    void keepsTheWindowSystemsOrder()
    {
        QList<WindowListEntry> entries;
        for (quint32 id : {5u, 3u, 9u, 1u}) {
            WindowListEntry entry = ordinary();
            entry.id = id;
            entries << entry;
        }
        entries[2].layer = 25;
        QList<quint32> ids;
        for (const SnapWindow &window : WindowFilter::filter(entries, ownPid))
            ids << window.id;
        QCOMPARE(ids, (QList<quint32>{5, 3, 1}));
    }
};

QTEST_GUILESS_MAIN(tst_WindowFilter)
#include "tst_WindowFilter.moc"
