#include "WindowPresenter.h"

#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

#include <cstdlib>

class tst_WindowPresenter : public QObject
{
    Q_OBJECT

private:
    int m_viewsBuilt = 0;

    QWidget *showSettings(WindowPresenter &presenter)
    {
        return presenter.show(QStringLiteral("settings"), QStringLiteral("Qorvel Settings"), [this] {
            ++m_viewsBuilt;
            auto view = new QLabel(QStringLiteral("view %1").arg(m_viewsBuilt));
            view->setMinimumSize(320, 200);
            return view;
        });
    }

private Q_SLOTS:
    void init() { m_viewsBuilt = 0; }

    // Built once per identifier, titled, fixed in size and centred; shown again, it is raised.
    void showAgainRaisesTheSameWindow()
    {
        WindowPresenter presenter;
        QWidget *window = showSettings(presenter);
        QVERIFY(QTest::qWaitForWindowExposed(window));
        QCOMPARE(showSettings(presenter), window);
        QCOMPARE(m_viewsBuilt, 1);
        QVERIFY(presenter.show(QStringLiteral("onboarding"), QStringLiteral("Welcome to Qorvel"), [] {
            return new QLabel(QStringLiteral("welcome"));
        }) != window);
        QCOMPARE(window->windowTitle(), QStringLiteral("Qorvel Settings"));
        QCOMPARE(window->minimumSize(), window->maximumSize());
        QVERIFY(!(window->windowFlags() & Qt::WindowMinMaxButtonsHint));

        // Placed before the window manager adds its frame, so the title bar may push it down.
        const auto offset
            = [window] { return window->frameGeometry().center() - window->screen()->availableGeometry().center(); };
        QTRY_VERIFY2(std::abs(offset().x()) <= 2 && std::abs(offset().y()) <= 16,
            qPrintable(QStringLiteral("off centre by %1,%2").arg(offset().x()).arg(offset().y())));
    }

    // Forgotten as it goes, however it is closed (they all end in QWidget::close()), and built
    // anew on the next show. Ctrl+Q asks to quit; a minimised window is brought back by a show
    // rather than left in the taskbar.
    void windowCommands()
    {
        WindowPresenter presenter;
        QSignalSpy quit(&presenter, &WindowPresenter::quitRequested);
        QPointer<QWidget> window = showSettings(presenter);
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_W, Qt::ControlModifier);
        QTRY_VERIFY(window.isNull());
        QCOMPARE(presenter.window(QStringLiteral("settings")), nullptr);

        window = showSettings(presenter);
        QCOMPARE(m_viewsBuilt, 2);
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quit.count(), 1);
        QTest::keyClick(window, Qt::Key_M, Qt::ControlModifier);
        QTRY_VERIFY(window->isMinimized());
        QCOMPARE(showSettings(presenter), window.data());
        QTRY_VERIFY(!window->isMinimized());
    }
};

QTEST_MAIN(tst_WindowPresenter)
#include "tst_WindowPresenter.moc"
