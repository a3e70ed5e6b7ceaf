#include "MagnifierGeometry.h"
#include "SelectionInteraction.h"

#include <QTest>

namespace {

const QRectF bounds(0, 0, 1280, 800);

SnapLevel window(quint32 id, const QRectF &frame)
{
    return {SnapLevel::Window{id}, frame};
}

QList<SnapLevel> stackOver(quint32 windowId)
{
    return {{SnapLevel::Element{}, QRectF(110, 110, 200, 100)}, window(windowId, QRectF(100, 100, 600, 400)),
        {SnapLevel::Display{}, bounds}};
}

} // namespace

class tst_SelectionInteraction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Less than four points between press and release is a click on the offered level; a drag
    // that frames no whole pixel selects nothing, and the hover comes back under the pointer.
    void aPressIsAClickADragOrNothing_data()
    {
        QTest::addColumn<QPointF>("end"); // pressed at the origin
        QTest::addColumn<QString>("selects");
        // 3-4-5 triangles from the origin keep the distance exact in floating point.
        QTest::newRow("3.9 points is a click") << QPointF(0.6 * 3.9, 0.8 * 3.9) << QStringLiteral("click");
        QTest::newRow("4.0 points is a drag") << QPointF(0.6 * 4.0, 0.8 * 4.0) << QStringLiteral("drag");
        QTest::newRow("a drag of no pixels") << QPointF(0, 40) << QString();
    }

    void aPressIsAClickADragOrNothing()
    {
        QFETCH(QPointF, end);
        QFETCH(QString, selects);
        SelectionInteraction interaction(bounds, 1.0);
        interaction.setLevels(stackOver(1), 0);
        QVERIFY(!interaction.press(QPointF(0, 0)));
        interaction.drag(end);
        const SelectionInteraction::Release release = interaction.release(end);
        if (selects.isEmpty()) {
            QVERIFY(!release.selection && !interaction.dragRect());
            QCOMPARE(release.hoverAgainAt, std::optional(end));
            return;
        }
        QVERIFY(release.selection);
        QCOMPARE(std::holds_alternative<QRectF>(*release.selection), selects == QLatin1String("drag"));
        if (selects == QLatin1String("click"))
            QCOMPARE(std::get<SelectionInteraction::Hover>(*release.selection).rect, QRectF(110, 110, 200, 100));
    }

    void dragsAlignToPixelsAndStayInTheView()
    {
        SelectionInteraction interaction(bounds, 2.0);
        interaction.setLevels(stackOver(1), 1);
        QVERIFY(!interaction.press(QPointF(10.2, 10.2)));
        QVERIFY(interaction.drag(QPointF(20.1, 15.6)));
        QVERIFY(interaction.levels().isEmpty());
        QCOMPARE(*interaction.dragRect(), QRectF(10.0, 10.0, 10.5, 6.0));
        QCOMPARE(interaction.sizeLabelText(), QStringLiteral("21 \u00d7 12"));
        QCOMPARE(interaction.highlight().border, SelectionInteraction::Highlight::Border::drag);
        // The stack is frozen while dragging.
        QVERIFY(!interaction.setLevels(stackOver(1), 0));
        QVERIFY(!interaction.scroll(1, false, false));

        interaction.drag(QPointF(5000, -300));
        QCOMPARE(*interaction.dragRect(), QRectF(10.0, 0.0, 1270.0, 10.5));
        const SelectionInteraction::Release release = interaction.release(QPointF(5000, -300));
        QCOMPARE(std::get<QRectF>(*release.selection), QRectF(10.0, 0.0, 1270.0, 10.5));
    }

    void wheelSteps_data()
    {
        QTest::addColumn<QList<double>>("deltas");
        QTest::addColumn<bool>("precise");
        QTest::addColumn<bool>("momentum");
        QTest::addColumn<qsizetype>("index");
        QTest::newRow("one notch down at the smallest") << QList<double>{-1.0} << false << false << qsizetype(0);
        QTest::newRow("touchpad under 16") << QList<double>{10.0, 5.9} << true << false << qsizetype(0);
        QTest::newRow("touchpad adds up to 16") << QList<double>{10.0, 6.0} << true << false << qsizetype(1);
        QTest::newRow("momentum never steps") << QList<double>{40.0} << true << true << qsizetype(0);
    }

    void wheelSteps()
    {
        QFETCH(QList<double>, deltas);
        QFETCH(bool, precise);
        QFETCH(bool, momentum);
        QFETCH(qsizetype, index);
        SelectionInteraction interaction(bounds, 1.0);
        interaction.setLevels(stackOver(1), 0);
        for (const double delta : deltas)
            interaction.scroll(delta, precise, momentum);
        QCOMPARE(interaction.levelIndex(), index);
    }

    void scrollOffsetBelongsToOneWindow()
    {
        SelectionInteraction interaction(bounds, 1.0);
        interaction.setLevels(stackOver(1), 0);
        interaction.scroll(1, false, false);
        interaction.scroll(1, false, false);
        QCOMPARE(interaction.levelIndex(), 2);
        QCOMPARE(interaction.levelOffset(), 2);
        QVERIFY(!interaction.scroll(1, false, false)); // already at the display
        QCOMPARE(interaction.levelOffset(), 2);

        interaction.setLevels(stackOver(1), 0); // moving within window 1
        QCOMPARE(interaction.levelIndex(), 2);
        interaction.setLevels(stackOver(2), 0); // into window 2
        QCOMPARE(interaction.levelOffset(), 0);
        QCOMPARE(interaction.levelIndex(), 0);
    }

    void labelFlipsAtTheEdges_data()
    {
        QTest::addColumn<QPointF>("pointer");
        QTest::addColumn<QPointF>("expected");
        QTest::newRow("right of and below the pointer") << QPointF(100, 100) << QPointF(116, 116);
        QTest::newRow("left near the right edge") << QPointF(1250, 100) << QPointF(1154, 116);
        QTest::newRow("above near the bottom edge") << QPointF(100, 790) << QPointF(116, 754);
    }

    void labelFlipsAtTheEdges()
    {
        QFETCH(QPointF, pointer);
        QFETCH(QPointF, expected);
        QCOMPARE(SelectionInteraction::labelPosition(pointer, QSizeF(80, 20), bounds), expected);
    }

    void magnifierLooksAtThePixelUnderThePointer()
    {
        QCOMPARE(MagnifierGeometry::readout(QPointF(100.7, 50.2)), QStringLiteral("100  \u00d7  50"));
        QCOMPARE(MagnifierGeometry::sourcePixels(QPointF(100, 50), 2.0), QRect(193, 93, 15, 15));
        QCOMPARE(MagnifierGeometry::sourcePixels(QPointF(0.2, 0.2), 1.0), QRect(-7, -7, 15, 15));
        // Above and right of the pointer; left near the right edge, below near the top.
        QCOMPARE(MagnifierGeometry::position(QPointF(400, 400), bounds), QPointF(420, 240));
        QCOMPARE(MagnifierGeometry::position(QPointF(1200, 100), bounds), QPointF(1060, 120));
    }
};

QTEST_GUILESS_MAIN(tst_SelectionInteraction)
#include "tst_SelectionInteraction.moc"
