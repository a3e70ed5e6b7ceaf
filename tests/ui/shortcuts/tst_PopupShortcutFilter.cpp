#include "PopupShortcutFilter.h"
#include "X11Connection.h"
#include "X11HotKeyService.h"

#include <QMenu>
#include <QProcess>
#include <QTest>

using namespace KeyboardShortcuts;

namespace {

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
        QTest::newRow("without the filter") << false << 0;
        QTest::newRow("with the filter") << true << 1;
    }

    void openMenuPassesTheChordOn()
    {
        QFETCH(bool, filtered);
        QFETCH(int, downs);
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
        menu.popup(QPoint(200, 200));
        QVERIFY(QTest::qWaitForWindowExposed(&menu));
        QTRY_VERIFY(keyboardIsGrabbed(**connection));
        // Escape is no shortcut: it reaches the menu, after the chord, and closes it.
        QProcess::execute(QStringLiteral("xdotool"),
            {QStringLiteral("key"), QStringLiteral("shift+alt+4"), QStringLiteral("Escape")});
        QTRY_VERIFY(!menu.isVisible());
        QCOMPARE(keyDowns, downs);
        QCOMPARE(keyUps, downs);
    }
};

QTEST_MAIN(tst_PopupShortcutFilter)
#include "tst_PopupShortcutFilter.moc"
