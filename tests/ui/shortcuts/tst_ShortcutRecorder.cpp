#include "Preferences.h"
#include "ShortcutConflicts.h"
#include "ShortcutRecorder.h"
#include "ShortcutStore.h"
#include "X11Connection.h"
#include "X11HotKeyService.h"

#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;

// The recorder on a real display, checking chords with real grabs: another client holds one.
class tst_ShortcutRecorder : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<ShortcutStore> m_store;
    std::shared_ptr<X11Connection> m_other;
    std::unique_ptr<X11HotKeyService> m_hotKeys;
    std::unique_ptr<ShortcutConflicts> m_conflicts;

    static void press(QWidget &recorder, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(recorder.findChild<QPushButton *>(QStringLiteral("chord")), key, modifiers);
    }

    QString stored() const
    {
        return m_preferences->storedValue(ShortcutStore::key(QStringLiteral("captureScreenshot"))).toString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        Result<std::shared_ptr<X11Connection>> other = X11Connection::open();
        Result<std::shared_ptr<X11Connection>> own = X11Connection::open();
        QVERIFY(other.ok() && own.ok());
        m_other = *other;
        m_hotKeys = std::make_unique<X11HotKeyService>(*own);
        // Ctrl+Alt+K (key code 45 on Xvfb's keyboard) belongs to another program.
        xcb_connection_t *c = m_other->get();
        QVERIFY(!XcbReply<xcb_generic_error_t>(xcb_request_check(c,
            xcb_grab_key_checked(c, 1, m_other->root(), XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, 45, XCB_GRAB_MODE_ASYNC,
                XCB_GRAB_MODE_ASYNC))));
    }

    void init()
    {
        m_preferences = std::make_unique<Preferences>(m_dir.filePath(QStringLiteral("qorvel.conf")), m_dir.path());
        m_store = std::make_unique<ShortcutStore>(*m_preferences);
        m_store->registerName(Name::captureScreenshot());
        m_store->registerName(Name::recordVideo());
        m_conflicts = std::make_unique<ShortcutConflicts>(*m_store,
            QList<ShortcutConflicts::TitledName>{{Name::captureScreenshot(), QStringLiteral("Take screenshot")},
                {Name::recordVideo(), QStringLiteral("Record video / stop")}},
            QList<ShortcutConflicts::Claim>{
                {*Shortcut::fromQt(QKeyCombination(Qt::ControlModifier, Qt::Key_Q)), QStringLiteral("Quit")}},
            [this](const Shortcut &chord) { return m_hotKeys->isAvailable(chord); });
    }

    void cleanup() { QFile::remove(m_dir.filePath(QStringLiteral("qorvel.conf"))); }

    // Each refused chord is explained, stores nothing and leaves the recorder listening.
    void refusedChords_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("message");
        QTest::newRow("another program") << int(Qt::Key_K) << int(Qt::ControlModifier | Qt::AltModifier)
                                         << QStringLiteral("Ctrl+Alt+K is already used by another program.");
        QTest::newRow("the other shortcut")
            << int(Qt::Key_Percent) << int(Qt::ShiftModifier | Qt::AltModifier)
            << QStringLiteral("Alt+Shift+5 is already the shortcut for “Record video / stop”.");
        QTest::newRow("a window command") << int(Qt::Key_Q) << int(Qt::ControlModifier)
                                          << QStringLiteral("Ctrl+Q is used by Qorvel's windows for “Quit”.");
        QTest::newRow("typing") << int(Qt::Key_A) << int(Qt::ShiftModifier)
                                << QStringLiteral("Shift+A is needed for typing: add Ctrl, Alt or Super.");
    }

    void refusedChords()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, message);
        const QString before = stored();
        ShortcutRecorder recorder(*m_store, Name::captureScreenshot(),
            [this](const Shortcut &chord) { return m_conflicts->check(Name::captureScreenshot(), chord); });
        recorder.show();
        QVERIFY(QTest::qWaitForWindowExposed(&recorder));
        recorder.startRecording();
        press(recorder, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(recorder.message(), message);
        QVERIFY(recorder.isRecording());
        QCOMPARE(stored(), before);
    }

    // A free chord is stored and ends the recording; Escape gives up; Backspace turns it off.
    void recordingKeys()
    {
        ShortcutRecorder recorder(*m_store, Name::captureScreenshot(),
            [this](const Shortcut &chord) { return m_conflicts->check(Name::captureScreenshot(), chord); });
        recorder.show();
        QVERIFY(QTest::qWaitForWindowExposed(&recorder));
        auto *field = recorder.findChild<QPushButton *>(QStringLiteral("chord"));
        recorder.startRecording();
        press(recorder, Qt::Key_J, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(!recorder.isRecording());
        QCOMPARE(m_store->shortcut(Name::captureScreenshot()),
            Shortcut::fromQt(Qt::ControlModifier | Qt::AltModifier | Qt::Key_J));
        QCOMPARE(field->text(), QStringLiteral("Ctrl+Alt+J"));

        recorder.startRecording();
        press(recorder, Qt::Key_Escape);
        QVERIFY(!recorder.isRecording());
        QCOMPARE(field->text(), QStringLiteral("Ctrl+Alt+J"));

        press(recorder, Qt::Key_Backspace);
        QCOMPARE(stored(), QStringLiteral("false"));
        QCOMPARE(field->text(), QStringLiteral("Record Shortcut"));
    }
};

QTEST_MAIN(tst_ShortcutRecorder)
#include "tst_ShortcutRecorder.moc"
