#include "SelectionOverlayView.h"

#include <QTest>
#include <QWheelEvent>

// The rules themselves are tested in tst_SelectionInteraction, and a drag end to end in
// tst_Selection; this checks that the widget turns the wheel, clicks and keys into them.
class tst_SelectionOverlayView : public QObject
{
    Q_OBJECT

private:
    std::optional<SelectionInteraction::Selection> m_selected;
    int m_cancelled = 0;

    std::unique_ptr<SelectionOverlayView> makeView()
    {
        QImage frozen(QSize(400, 300), QImage::Format_RGB32);
        frozen.fill(Qt::darkCyan);
        auto view = std::make_unique<SelectionOverlayView>(frozen, 1.0, true);
        view->resize(400, 300);
        view->onSelect = [this](const SelectionInteraction::Selection &selection) { m_selected = selection; };
        view->onCancel = [this] { ++m_cancelled; };
        view->show();
        return view;
    }

private Q_SLOTS:
    void init()
    {
        m_selected.reset();
        m_cancelled = 0;
    }

    void wheelNotchThenClickSelectsTheLargerLevel()
    {
        auto view = makeView();
        view->setLevels(
            {{SnapLevel::Element{}, QRectF(20, 20, 150, 100)}, {SnapLevel::Window{7}, QRectF(10, 10, 300, 200)},
                {SnapLevel::Display{}, QRectF(0, 0, 400, 300)}},
            0);
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
        auto view = makeView();
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
