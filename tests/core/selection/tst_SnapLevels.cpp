#include "HoverResolution.h"
#include "SnapLevels.h"

#include <QTest>

namespace {

const QRectF windowFrame(100, 100, 800, 600);
const QRectF displayRect(0, 0, 1920, 1080);

QList<QRectF> framesOf(const QList<SnapLevel> &levels)
{
    QList<QRectF> frames;
    for (const SnapLevel &level : levels)
        frames << level.frame;
    return frames;
}

SnapLevel element(const QRectF &frame)
{
    return {SnapLevel::Element{}, frame};
}

} // namespace

Q_DECLARE_METATYPE(SnapLevel)

class tst_SnapLevels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void elementLevels_data()
    {
        QTest::addColumn<QList<QRectF>>("frames");
        QTest::addColumn<QList<QRectF>>("expected");
        QTest::newRow("clipped to the window")
            << QList<QRectF>{QRectF(50, 150, 300, 100)} << QList<QRectF>{QRectF(100, 150, 250, 100)};
        QTest::newRow("39.9 wide after clipping") << QList<QRectF>{QRectF(60, 150, 79.9, 100)} << QList<QRectF>{};
        QTest::newRow("40 x 24 kept") << QList<QRectF>{QRectF(200, 200, 40, 24)}
                                      << QList<QRectF>{QRectF(200, 200, 40, 24)};
        QTest::newRow("within 2.0 of the window") << QList<QRectF>{QRectF(102, 98, 796, 604)} << QList<QRectF>{};
        QTest::newRow("2.01 off the window")
            << QList<QRectF>{QRectF(102.01, 100, 797.99, 600)} << QList<QRectF>{QRectF(102.01, 100, 797.99, 600)};
        QTest::newRow("near-duplicates give one level, the first") << QList<QRectF>{
            QRectF(200, 200, 100, 50), QRectF(201, 199, 100, 50)} << QList<QRectF>{QRectF(200, 200, 100, 50)};
        QTest::newRow("smallest first, equal areas in finder order")
            << QList<QRectF>{QRectF(100, 100, 400, 400), QRectF(300, 300, 100, 50), QRectF(600, 300, 50, 100)}
            << QList<QRectF>{QRectF(300, 300, 100, 50), QRectF(600, 300, 50, 100), QRectF(100, 100, 400, 400)};
        QTest::newRow("unnormalised frames count")
            << QList<QRectF>{QRectF(300, 300, -100, -50)} << QList<QRectF>{QRectF(200, 250, 100, 50)};
    }

    void elementLevels()
    {
        QFETCH(QList<QRectF>, frames);
        QFETCH(QList<QRectF>, expected);
        QCOMPARE(framesOf(SnapLevels::elementLevels(frames, windowFrame)), expected);
    }

    void preferredIndex_data()
    {
        QTest::addColumn<QList<SnapLevel>>("elements");
        QTest::addColumn<bool>("withWindow");
        QTest::addColumn<qsizetype>("expected");
        const SnapLevel small = element(QRectF(200, 200, 60, 30));
        const SnapLevel useful = element(QRectF(200, 200, 300, 200));
        QTest::newRow("the smallest useful element") << QList<SnapLevel>{small, useful} << true << qsizetype(1);
        QTest::newRow("too small: the window") << QList<SnapLevel>{small} << true << qsizetype(1);
        QTest::newRow("120 x 80 is useful") << QList<SnapLevel>{element(QRectF(0, 0, 120, 80))} << true << qsizetype(0);
        QTest::newRow("no window: the display") << QList<SnapLevel>{} << false << qsizetype(0);
    }

    void preferredIndex()
    {
        QFETCH(QList<SnapLevel>, elements);
        QFETCH(bool, withWindow);
        QFETCH(qsizetype, expected);
        const std::optional<SnapWindow> window
            = withWindow ? std::optional<SnapWindow>(SnapWindow{9, windowFrame, 1}) : std::nullopt;
        const QList<SnapLevel> levels = SnapLevels::makeLevels(elements, window, displayRect);
        QVERIFY(std::holds_alternative<SnapLevel::Display>(levels.last().kind));
        QCOMPARE(SnapLevels::preferredIndex(levels), expected);
    }

    void frontmostWindowWinsAndEdgesAreHalfOpen()
    {
        const QList<SnapWindow> windows = {{1, QRectF(0, 0, 500, 500), 10}, {2, QRectF(100, 100, 50, 50), 20}};
        QCOMPARE(SnapLevels::windowAt(windows, QPointF(120, 120))->id, 1u);
        QCOMPARE(SnapLevels::windowAt(windows, QPointF(0, 0))->id, 1u);
        QVERIFY(!SnapLevels::windowAt(windows, QPointF(500, 10)));
    }

    // The stack comes from the cache of the window under the pointer. The finder's answer for a
    // window the pointer has since left is dropped; a fresh one replaces the cache.
    void hoverUsesTheCacheOfTheWindowUnderThePointer()
    {
        const SnapWindow first{1, windowFrame, 10};
        const SnapWindow second{2, QRectF(1000, 100, 400, 400), 20};
        const QList<SnapWindow> windows{first, second};
        ElementCache cache{
            1, QList<SnapLevel>{element(QRectF(150, 150, 200, 100)), element(QRectF(500, 500, 200, 100))}};

        const HoverResult inFirst = HoverResolution::resolve(QPointF(160, 160), displayRect, windows, cache, true);
        QCOMPARE(framesOf(inFirst.levels), (QList<QRectF>{QRectF(150, 150, 200, 100), windowFrame, displayRect}));
        QCOMPARE(inFirst.preferredIndex, 0);
        QCOMPARE(inFirst.elementRequest->id, 1u);
        const HoverResult inSecond = HoverResolution::resolve(QPointF(1100, 200), displayRect, windows, cache, false);
        QCOMPARE(inSecond.levels.size(), 2);
        QVERIFY(!inSecond.elementRequest);

        const QList<QRectF> frames{QRectF(160, 150, 180, 100)};
        QVERIFY(!HoverResolution::acceptElementReply(first, frames, QPointF(1100, 200), displayRect, windows, cache));
        QCOMPARE(cache.levels->size(), 2);
        const std::optional<HoverResult> fresh
            = HoverResolution::acceptElementReply(first, frames, QPointF(160, 160), displayRect, windows, cache);
        QVERIFY(fresh);
        QCOMPARE(fresh->levels.size(), 3);
        QCOMPARE(cache.windowId, 1u);
        QCOMPARE(framesOf(*cache.levels), frames);
    }
};

QTEST_GUILESS_MAIN(tst_SnapLevels)
#include "tst_SnapLevels.moc"
