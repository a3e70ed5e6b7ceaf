#include "Name.h"
#include "Preferences.h"
#include "ShortcutStore.h"
#include "TestFiles.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace KeyboardShortcuts;

class tst_ShortcutStore : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_file;
    int m_run = 0;

    std::unique_ptr<Preferences> start() const { return std::make_unique<Preferences>(m_file, m_dir.path()); }

private Q_SLOTS:
    void init() { m_file = m_dir.filePath(QStringLiteral("qorvel-%1.conf").arg(++m_run)); }

    // The file as an earlier start (or an editor) left it on disk, and as this start leaves it.
    void nextStartReadsWhatTheLastLeft_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<std::optional<Shortcut>>("expected");
        QTest::newRow("first start writes the default") << QByteArray() << std::optional(Shortcut{21, 2560});
        QTest::newRow("turned off stays off") << QByteArray("false") << std::optional<Shortcut>();
        QTest::newRow("user's chord stays") << QByteArray("\"{\\\"carbonKeyCode\\\":20,\\\"carbonModifiers\\\":2560}\"")
                                            << std::optional(Shortcut{20, 2560});
        QTest::newRow("a field missing") << QByteArray("\"{\\\"carbonKeyCode\\\":21}\"") << std::optional<Shortcut>();
    }

    void nextStartReadsWhatTheLastLeft()
    {
        QFETCH(QByteArray, stored);
        QFETCH(std::optional<Shortcut>, expected);
        const QByteArray key = "KeyboardShortcuts_captureScreenshot=";
        writeTestFile(m_file, "[General]\n" + (stored.isEmpty() ? QByteArray() : key + stored) + '\n');
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.registerName(Name::captureScreenshot());
        QCOMPARE(store.shortcut(Name::captureScreenshot()), expected);
        const QByteArray line = key
            + (stored.isEmpty() ? QByteArray("\"{\\\"carbonKeyCode\\\":21,\\\"carbonModifiers\\\":2560}\"") : stored);
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(file.readAll().split('\n').contains(line), line.constData());
    }

    // Turned off, a default shortcut stays off at the next start; a name without a default
    // just loses its entry.
    void clearing_data()
    {
        QTest::addColumn<Name>("name");
        QTest::addColumn<QVariant>("storedAfterwards");
        QTest::newRow("a default is turned off") << Name::recordVideo() << QVariant(QStringLiteral("false"));
        QTest::newRow("no default: the entry goes") << Name{QStringLiteral("uploadLast"), std::nullopt} << QVariant();
    }

    void clearing()
    {
        QFETCH(Name, name);
        QFETCH(QVariant, storedAfterwards);
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.setShortcut(name, Shortcut{0, CarbonModifier::command});
        QSignalSpy changed(&store, &ShortcutStore::shortcutChanged);
        store.setShortcut(name, std::nullopt);
        QCOMPARE(start()->storedValue(ShortcutStore::key(name.rawValue)), storedAfterwards);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.first().first().toString(), name.rawValue);
    }

    void anotherProcessEditsAShortcut()
    {
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.registerName(Name::captureScreenshot());
        preferences->watchFile();
        QSignalSpy changed(&store, &ShortcutStore::shortcutChanged);
        writeTestFile(m_file, "[General]\nKeyboardShortcuts_captureScreenshot=false\nplayShutterSound=false\n");
        QTRY_COMPARE(changed.size(), 1);
        QCOMPARE(changed.first().first().toString(), Name::captureScreenshot().rawValue);
        QCOMPARE(store.shortcut(Name::captureScreenshot()), std::nullopt);
    }

    void qtKeys_data()
    {
        QTest::addColumn<QKeyCombination>("pressed");
        QTest::addColumn<std::optional<Shortcut>>("shortcut");
        const Qt::KeyboardModifiers shiftAlt = Qt::ShiftModifier | Qt::AltModifier;
        const Qt::KeyboardModifiers superCtrl = Qt::MetaModifier | Qt::ControlModifier;
        QTest::newRow("Shift+4 arrives as $")
            << QKeyCombination(shiftAlt, Qt::Key_Dollar) << std::optional(Shortcut{21, 2560});
        QTest::newRow("Super and Ctrl") << QKeyCombination(superCtrl, Qt::Key_A) << std::optional(Shortcut{0, 0x1100});
        QTest::newRow("keypad 5 is not 5")
            << QKeyCombination(Qt::KeypadModifier, Qt::Key_5) << std::optional(Shortcut{87, 0});
        QTest::newRow("Print takes F13's code") << QKeyCombination(Qt::Key_Print) << std::optional(Shortcut{105, 0});
        QTest::newRow("a modifier alone")
            << QKeyCombination(Qt::ShiftModifier, Qt::Key_Shift) << std::optional<Shortcut>();
    }

    void qtKeys()
    {
        QFETCH(QKeyCombination, pressed);
        QFETCH(std::optional<Shortcut>, shortcut);
        QCOMPARE(Shortcut::fromQt(pressed), shortcut);
        // What the settings show is the same chord again.
        if (shortcut)
            QCOMPARE(Shortcut::fromQt(shortcut->toQt()), shortcut);
    }
};

QTEST_GUILESS_MAIN(tst_ShortcutStore)
#include "tst_ShortcutStore.moc"
