#include "SelectionOverlayView.h"

#include <QTest>
#include <QWheelEvent>

// The rules themselves are tested in tst_SelectionInteraction; this checks that the widget
// turns real Qt events into them: buttons, wheel deltas, keys, and what it reports back.
class tst_SelectionOverlayView : public QObject
{
    Q_OBJECT

private:
    std::optional<SelectionInteraction::Selection> m_selected;
    int m_cancelled = 0;

    std::unique_ptr<SelectionOverlayView> makeView(double scale)
    {
        QImage frozen(QSize(400, 300) * scale, QImage::Format_RGB32);
        frozen.fill(Qt::darkCyan);
        auto view = std::make_unique<SelectionOverlayView>(frozen, scale, true);
        view->resize(400, 300);
        view->onSelect = [this](const SelectionInteraction::Selection &selection) { m_selected = selection; };
        view->onCancel = [this] { ++m_cancelled; };
        view->show();
        return view;
    }

    static QList<SnapLevel> stack()
    {
        return {{SnapLevel::Element{}, QRectF(20, 20, 150, 100)}, {SnapLevel::Window{7}, QRectF(10, 10, 300, 200)},
            {SnapLevel::Display{}, QRectF(0, 0, 400, 300)}};
    }

private Q_SLOTS:
    void init()
    {
        m_selected.reset();
        m_cancelled = 0;
    }

    void dragSelectsAnAlignedArea()
    {
        auto view = makeView(2.0);
        QTest::mousePress(view.get(), Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseMove(view.get(), QPoint(60, 40));
        QTest::mouseMove(view.get(), QPoint(500, 40)); // past the right edge
        QTest::mouseRelease(view.get(), Qt::LeftButton, {}, QPoint(500, 40));
        QVERIFY(m_selected);
        QCOMPARE(std::get<QRectF>(*m_selected), QRectF(10, 10, 390, 30));
    }

    void wheelNotchThenClickSelectsTheLargerLevel()
    {
        auto view = makeView(1.0);
        view->setLevels(stack(), 0);
        QWheelEvent notch(QPointF(50, 50), view->mapToGlobal(QPointF(50, 50)), QPoint(), QPoint(0, 120), Qt::NoButton,
            Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view.get(), &notch);
        QCOMPARE(view->interaction().levelIndex(), 1);
        QTest::mouseClick(view.get(), Qt::LeftButton, {}, QPoint(50, 50));
        QVERIFY(m_selected);
        const auto hover = std::get<SelectionInteraction::Hover>(*m_selected);
        QCOMPARE(std::get<SnapLevel::Window>(hover.kind).id, 7u);
    }

    void escapeAndRightClickCancel()
    {
        auto view = makeView(1.0);
        QTest::keyClick(view.get(), Qt::Key_A);
        QCOMPARE(m_cancelled, 0);
        QTest::keyClick(view.get(), Qt::Key_Escape);
        QCOMPARE(m_cancelled, 1);
        QTest::mouseClick(view.get(), Qt::RightButton, {}, QPoint(30, 30));
        QCOMPARE(m_cancelled, 2);
        QVERIFY(!m_selected);
    }
};

QTEST_MAIN(tst_SelectionOverlayView)
#include "tst_SelectionOverlayView.moc"
