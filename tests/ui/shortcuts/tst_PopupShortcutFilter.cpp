#include "PopupShortcutFilter.h"
#include "X11Connection.h"
#include "X11HotKeyService.h"

#include <QKeyEvent>
#include <QMenu>
#include <QProcess>
#include <QTest>

using namespace KeyboardShortcuts;

namespace {

// Counts the presses and releases of the 4 key that reach the menu itself.
class KeyCounter : public QObject
{
public:
    int events = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            events += key == Qt::Key_4 || key == Qt::Key_Dollar;
        }
        return false;
    }
};

// Whether someone (the open menu) holds the keyboard; otherwise the passive grab would take
// the chord and the filter would have nothing to do.
bool keyboardIsGrabbed(const X11Connection &x)
{
    const XcbReply<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(x.get(),
        xcb_grab_keyboard(x.get(), 0, x.root(), XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC), nullptr));
    if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS)
        xcb_ungrab_keyboard(x.get(), XCB_CURRENT_TIME);
    return reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
}

} // namespace

class tst_PopupShortcutFilter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // An open menu holds the keyboard, so X gives the chord to the menu instead of the grab.
    void openMenuPassesTheChordOn_data()
    {
        QTest::addColumn<bool>("filtered");
        QTest::addColumn<int>("downs");
        QTest::addColumn<int>("menuEvents");
        QTest::newRow("without the filter the menu gets it") << false << 0 << 2;
        QTest::newRow("the filter runs the shortcut") << true << 1 << 0;
    }

    void openMenuPassesTheChordOn()
    {
        QFETCH(bool, filtered);
        QFETCH(int, downs);
        QFETCH(int, menuEvents);
        Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
        QVERIFY(connection.ok());
        X11HotKeyService service(*connection);
        int keyDowns = 0;
        int keyUps = 0;
        QVERIFY(service.registerHotKey(
            Shortcut{21, CarbonModifier::shift | CarbonModifier::option}, [&] { ++keyDowns; }, [&] { ++keyUps; }));
        PopupShortcutFilter filter(service);
        if (filtered)
            qApp->installEventFilter(&filter);

        QMenu menu;
        menu.addAction(QStringLiteral("Item"));
        KeyCounter reachingMenu;
        menu.installEventFilter(&reachingMenu);
        menu.popup(QPoint(200, 200));
        QVERIFY(QTest::qWaitForWindowExposed(&menu));
        QTRY_VERIFY(keyboardIsGrabbed(**connection));
        QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("shift+alt+4")});
        // The release of 4 comes last, to the menu or to the shortcut.
        QTRY_COMPARE(keyUps + reachingMenu.events, downs + menuEvents);
        QCOMPARE(keyDowns, downs);
        QCOMPARE(keyUps, downs);
        QCOMPARE(reachingMenu.events, menuEvents);
    }
};

QTEST_MAIN(tst_PopupShortcutFilter)
#include "tst_PopupShortcutFilter.moc"
