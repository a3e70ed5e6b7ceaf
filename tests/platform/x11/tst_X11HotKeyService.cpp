#include "Name.h"
#include "Preferences.h"
#include "ShortcutActions.h"
#include "ShortcutStore.h"
#include "X11Connection.h"
#include "X11HotKeyService.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;

namespace {

constexpr quint32 shiftOption = CarbonModifier::shift | CarbonModifier::option;
constexpr uint16_t shiftAlt = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_1;
const Shortcut shiftAlt4{21, shiftOption};
enum class Then { letGo, keepIt };
// Key codes of Xvfb's built-in keyboard (evdev numbering, US layout).
namespace Key {
constexpr xcb_keycode_t three = 12, four = 13, five = 14;
}

void xdotool(const QString &arguments)
{
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), arguments.split(QLatin1Char(' '))), 0);
}

} // namespace

class tst_X11HotKeyService : public QObject
{
    Q_OBJECT

private:
    std::shared_ptr<X11Connection> m_other; // another program on the same display
    std::unique_ptr<X11HotKeyService> m_service;
    int m_downs = 0;
    int m_ups = 0;
    int m_fences = 0;

    // Whether the other program can take the chord.
    bool otherCanGrab(xcb_keycode_t key, uint16_t modifiers, Then then = Then::letGo)
    {
        xcb_connection_t *c = m_other->get();
        const XcbReply<xcb_generic_error_t> error(xcb_request_check(
            c, xcb_grab_key_checked(c, 1, m_other->root(), modifiers, key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
        if (!error && then == Then::letGo)
            xcb_ungrab_key(c, key, m_other->root(), modifiers);
        xcb_flush(c);
        return !error;
    }

    std::optional<quint32> registerCounting(const Shortcut &shortcut)
    {
        return m_service->registerHotKey(
            shortcut, [this] { ++m_downs; }, [this] { ++m_ups; });
    }

    // Key events arrive in order: once the fence chord fired, every key before it was handled.
    void fence()
    {
        const int expected = m_fences + 1;
        xdotool(QStringLiteral("key shift+alt+6"));
        QTRY_COMPARE(m_fences, expected);
    }

private Q_SLOTS:
    void initTestCase()
    {
        Result<std::shared_ptr<X11Connection>> other = X11Connection::open();
        Result<std::shared_ptr<X11Connection>> own = X11Connection::open();
        QVERIFY(other.ok() && own.ok());
        m_other = *other;
        m_service = std::make_unique<X11HotKeyService>(*own);
        QVERIFY(m_service->registerHotKey(Shortcut{22, shiftOption}, [this] { ++m_fences; }));
    }

    void init() { m_downs = m_ups = 0; }

    void pressAndRelease_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::newRow("tap") << QStringLiteral("key shift+alt+4");
        QTest::newRow("NumLock on") << QStringLiteral("key Num_Lock key shift+alt+4 key Num_Lock");
        QTest::newRow("CapsLock on") << QStringLiteral("key Caps_Lock key shift+alt+4 key Caps_Lock");
        // Past the server's auto-repeat delay (660 ms) the key repeats; Shift and Alt go first.
        QTest::newRow("held, modifiers let go first")
            << QStringLiteral("keydown shift+alt+4 sleep 1 keyup shift+alt keyup 4");
    }

    void pressAndRelease()
    {
        QFETCH(QString, keys);
        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id);
        xdotool(keys);
        fence();
        m_service->unregisterHotKey(*id);
        QCOMPARE(m_downs, 1);
        QCOMPARE(m_ups, 1);
    }

    void refusedChord_data()
    {
        QTest::addColumn<quint32>("modifiers");
        QTest::addColumn<bool>("otherHoldsIt");
        QTest::newRow("held by another program") << shiftOption << true;
        QTest::newRow("function has no X modifier") << (shiftOption | CarbonModifier::function) << false;
    }

    void refusedChord()
    {
        QFETCH(quint32, modifiers);
        QFETCH(bool, otherHoldsIt);
        // The plain variant only: the lock variants were free to take, and must be let go.
        if (otherHoldsIt)
            QVERIFY(otherCanGrab(Key::five, shiftAlt, Then::keepIt));
        QVERIFY(!registerCounting(Shortcut{23, modifiers}));
        QVERIFY(otherCanGrab(Key::five, shiftAlt | XCB_MOD_MASK_2));
        QVERIFY(otherCanGrab(Key::five, shiftAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(!m_service->dispatch(Shortcut{23, modifiers}, KeyDirection::down));
        xcb_ungrab_key(m_other->get(), Key::five, m_other->root(), shiftAlt);
    }

    void lettingGo_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::newRow("unregistered") << false;
        QTest::newRow("paused, then resumed") << true;
    }

    void lettingGo()
    {
        QFETCH(bool, paused);
        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id && !otherCanGrab(Key::four, shiftAlt));
        paused ? m_service->pause() : m_service->unregisterHotKey(*id);
        QVERIFY(otherCanGrab(Key::four, shiftAlt));
        QVERIFY(otherCanGrab(Key::four, shiftAlt | XCB_MOD_MASK_2 | XCB_MOD_MASK_LOCK));
        // A paused entry stays in the table.
        QCOMPARE(m_service->dispatch(shiftAlt4, KeyDirection::down), paused);
        m_service->resume();
        QCOMPARE(otherCanGrab(Key::four, shiftAlt), !paused);
        m_service->unregisterHotKey(*id);
    }

    // The shortcut recorder's check: a trial takes nothing for good, and never lets go of a
    // chord Qorvel holds.
    void trialLeavesEveryGrabAsItWas()
    {
        QVERIFY(otherCanGrab(Key::five, shiftAlt, Then::keepIt));
        QVERIFY(!m_service->isAvailable(Shortcut{23, shiftOption}));
        xcb_ungrab_key(m_other->get(), Key::five, m_other->root(), shiftAlt);
        xcb_flush(m_other->get());
        QVERIFY(m_service->isAvailable(Shortcut{23, shiftOption}));
        QVERIFY(otherCanGrab(Key::five, shiftAlt));

        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id && m_service->isAvailable(shiftAlt4));
        QVERIFY(!otherCanGrab(Key::four, shiftAlt));
        m_service->unregisterHotKey(*id);
    }

    // As the application wires it: a chord changed in the settings moves the grab, and the grab
    // goes with the actions. Escape, held only while a recording can be cancelled, is
    // tst_TrayRecording's.
    void aChangedChordMovesTheGrab()
    {
        QTemporaryDir dir;
        Preferences preferences(dir.filePath(QStringLiteral("qorvel.conf")), dir.path());
        ShortcutStore store(preferences);
        int screenshots = 0;
        {
            ShortcutActions actions(store, *m_service);
            actions.onKeyDown(Name::captureScreenshot(), [&] { ++screenshots; });
            QVERIFY(!otherCanGrab(Key::four, shiftAlt));
            store.setShortcut(Name::captureScreenshot(), Shortcut{20, shiftOption});
            QVERIFY(otherCanGrab(Key::four, shiftAlt));
            xdotool(QStringLiteral("key shift+alt+3"));
            fence();
            QCOMPARE(screenshots, 1);
        }
        QVERIFY(otherCanGrab(Key::three, shiftAlt));
    }
};

QTEST_GUILESS_MAIN(tst_X11HotKeyService)
#include "tst_X11HotKeyService.moc"
