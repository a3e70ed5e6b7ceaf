#include "Name.h"
#include "Preferences.h"
#include "ShortcutActions.h"
#include "ShortcutStore.h"
#include "X11Connection.h"
#include "X11HotKeyService.h"

#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

#include <unistd.h>

using namespace KeyboardShortcuts;

namespace {

constexpr quint32 shiftOption = CarbonModifier::shift | CarbonModifier::option;
constexpr uint16_t shiftAlt = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_1;
const Shortcut shiftAlt4{21, shiftOption};
const Shortcut shiftAlt5{23, shiftOption};

void xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitCode(), 0);
}

void press(const QString &keys)
{
    xdotool({QStringLiteral("key"), keys});
}

// What `call` printed on standard output.
QByteArray standardOutput(const std::function<void()> &call)
{
    QTemporaryFile file;
    if (!file.open())
        return "cannot capture";
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(file.handle(), STDOUT_FILENO);
    call();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    file.seek(0);
    return file.readAll();
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

    xcb_keycode_t keycode(xcb_keysym_t keysym) const
    {
        xcb_connection_t *c = m_other->get();
        const xcb_setup_t *setup = xcb_get_setup(c);
        const int count = setup->max_keycode - setup->min_keycode + 1;
        const XcbReply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
            c, xcb_get_keyboard_mapping(c, setup->min_keycode, uint8_t(count)), nullptr));
        const xcb_keysym_t *symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
        for (int index = 0; index < count; ++index) {
            if (symbols[index * mapping->keysyms_per_keycode] == keysym)
                return xcb_keycode_t(setup->min_keycode + index);
        }
        return 0;
    }

    // Whether the other program could take the chord now; it lets go at once if so.
    bool otherCanGrab(xcb_keysym_t keysym, uint16_t modifiers)
    {
        xcb_connection_t *c = m_other->get();
        const xcb_keycode_t key = keycode(keysym);
        const XcbReply<xcb_generic_error_t> error(xcb_request_check(
            c, xcb_grab_key_checked(c, 1, m_other->root(), modifiers, key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
        if (error)
            return false;
        xcb_ungrab_key(c, key, m_other->root(), modifiers);
        xcb_flush(c);
        return true;
    }

    std::optional<quint32> registerCounting(const Shortcut &shortcut)
    {
        return m_service->registerHotKey(
            shortcut, [this] { ++m_downs; }, [this] { ++m_ups; });
    }

    // Key events arrive in order: once the fence chord fired, every key pressed before it has
    // been handled.
    void fence()
    {
        const int expected = m_fences + 1;
        press(QStringLiteral("shift+alt+6"));
        QTRY_COMPARE(m_fences, expected);
    }

private Q_SLOTS:
    void initTestCase()
    {
        Result<std::shared_ptr<X11Connection>> other = X11Connection::open();
        QVERIFY(other.ok());
        m_other = *other;
        Result<std::shared_ptr<X11Connection>> own = X11Connection::open();
        QVERIFY(own.ok());
        m_service = std::make_unique<X11HotKeyService>(*own);
        QVERIFY(m_service->registerHotKey(Shortcut{22, shiftOption}, [this] { ++m_fences; }));
    }

    void init() { m_downs = m_ups = 0; }

    void pressAndRelease_data()
    {
        QTest::addColumn<QString>("lock");
        QTest::newRow("no lock") << QString();
        QTest::newRow("NumLock on") << QStringLiteral("Num_Lock");
        QTest::newRow("CapsLock on") << QStringLiteral("Caps_Lock");
    }

    void pressAndRelease()
    {
        QFETCH(QString, lock);
        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id);
        const auto unlock = qScopeGuard([&] {
            if (!lock.isEmpty())
                press(lock);
            m_service->unregisterHotKey(*id);
        });
        if (!lock.isEmpty())
            press(lock);
        press(QStringLiteral("shift+alt+4"));
        fence();
        QCOMPARE(m_downs, 1);
        QCOMPARE(m_ups, 1); // the releases of Shift and Alt end nothing
    }

    void holdingFiresOnce()
    {
        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id);
        xdotool({QStringLiteral("keydown"), QStringLiteral("shift+alt+4")});
        QTest::qWait(1000); // past the server's auto-repeat delay (660 ms): the key repeats
        xdotool({QStringLiteral("keyup"), QStringLiteral("4")});
        xdotool({QStringLiteral("keyup"), QStringLiteral("shift+alt")});
        fence();
        m_service->unregisterHotKey(*id);
        QCOMPARE(m_downs, 1);
        QCOMPARE(m_ups, 1);
    }

    void refusedChord_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<bool>("otherHoldsIt");
        QTest::addColumn<QByteArray>("printed");
        QTest::newRow("held by another program")
            << shiftAlt5 << true << QByteArray("Error registering hotkey Alt+Shift+5: 10\n");
        QTest::newRow("function has no X modifier") << Shortcut{23, shiftOption | CarbonModifier::function} << false
                                                    << QByteArray("Error registering hotkey Alt+Shift+5: 2\n");
    }

    void refusedChord()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(bool, otherHoldsIt);
        QFETCH(QByteArray, printed);
        // Only the plain variant: the lock variants are free for us to take and must be let go.
        if (otherHoldsIt)
            QVERIFY(otherCanGrab('5', shiftAlt));
        xcb_connection_t *c = m_other->get();
        if (otherHoldsIt)
            xcb_grab_key(c, 1, m_other->root(), shiftAlt, keycode('5'), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_flush(c);
        std::optional<quint32> id;
        QCOMPARE(standardOutput([&] { id = registerCounting(shortcut); }), printed);
        QVERIFY(!id);
        QVERIFY(otherCanGrab('5', shiftAlt | XCB_MOD_MASK_2));
        QVERIFY(otherCanGrab('5', shiftAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(!m_service->dispatch(shiftAlt5, KeyDirection::down));
        xcb_ungrab_key(c, keycode('5'), m_other->root(), shiftAlt);
        xcb_flush(c);
    }

    void unregisterLetsGo()
    {
        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id);
        QVERIFY(!otherCanGrab('4', shiftAlt));
        m_service->unregisterHotKey(*id);
        QVERIFY(otherCanGrab('4', shiftAlt));
        QVERIFY(otherCanGrab('4', shiftAlt | XCB_MOD_MASK_2 | XCB_MOD_MASK_LOCK));
        QVERIFY(!m_service->dispatch(shiftAlt4, KeyDirection::down));
    }

    void pauseKeepsTheTable()
    {
        const std::optional<quint32> id = registerCounting(shiftAlt4);
        QVERIFY(id);
        m_service->pause();
        QVERIFY(otherCanGrab('4', shiftAlt));
        press(QStringLiteral("shift+alt+4"));
        m_service->resume();
        QVERIFY(!otherCanGrab('4', shiftAlt));
        fence();
        QCOMPARE(m_downs, 0);
        press(QStringLiteral("shift+alt+4"));
        fence();
        QCOMPARE(m_downs, 1);
        m_service->unregisterHotKey(*id);
    }

    // The names as the application wires them: Escape is held only while enabled, and a chord
    // changed in the settings moves the grab.
    void actionsHoldWhatIsEnabled()
    {
        constexpr xcb_keysym_t escape = 0xff1b;
        QTemporaryDir dir;
        Preferences preferences(dir.filePath(QStringLiteral("qorvel.conf")), dir.path());
        ShortcutStore store(preferences);
        int screenshots = 0;
        int cancels = 0;
        {
            ShortcutActions actions(store, *m_service);
            actions.onKeyDown(Name::captureScreenshot(), [&] { ++screenshots; });
            actions.onKeyDown(
                Name::cancelRecording(), [&] { ++cancels; }, ShortcutActions::Activation::disabled);
            QVERIFY(!otherCanGrab('4', shiftAlt));
            QVERIFY(otherCanGrab(escape, 0));
            actions.setActivation(Name::cancelRecording(), ShortcutActions::Activation::enabled);
            press(QStringLiteral("Escape"));
            fence();
            QCOMPARE(cancels, 1);
            actions.setActivation(Name::cancelRecording(), ShortcutActions::Activation::disabled);
            QVERIFY(otherCanGrab(escape, 0));

            store.setShortcut(Name::captureScreenshot(), Shortcut{20, shiftOption});
            QVERIFY(otherCanGrab('4', shiftAlt));
            press(QStringLiteral("shift+alt+3"));
            fence();
            QCOMPARE(screenshots, 1);
        }
        QVERIFY(otherCanGrab('3', shiftAlt));
    }
};

QTEST_GUILESS_MAIN(tst_X11HotKeyService)
#include "tst_X11HotKeyService.moc"
