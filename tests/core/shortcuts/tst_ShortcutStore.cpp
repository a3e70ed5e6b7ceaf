#include "Name.h"
#include "Preferences.h"
#include "ShortcutStore.h"

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
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\n" + (stored.isEmpty() ? QByteArray() : key + stored) + '\n');
        file.close();
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.registerName(Name::captureScreenshot());
        QCOMPARE(store.shortcut(Name::captureScreenshot()), expected);
        const QByteArray line = key
            + (stored.isEmpty() ? QByteArray("\"{\\\"carbonKeyCode\\\":21,\\\"carbonModifiers\\\":2560}\"") : stored);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(file.readAll().split('\n').contains(line), line.constData());
    }

    void clearing_data()
    {
        QTest::addColumn<Name>("name");
        QTest::addColumn<bool>("hasShortcut");
        QTest::addColumn<QVariant>("storedAfterwards");
        QTest::addColumn<int>("signals");
        QTest::newRow("a default is turned off")
            << Name::recordVideo() << true << QVariant(QStringLiteral("false")) << 1;
        QTest::newRow("no default: the entry goes")
            << Name{QStringLiteral("uploadLast"), std::nullopt} << true << QVariant() << 1;
        QTest::newRow("nothing to clear") << Name::recordVideo() << false << QVariant(QStringLiteral("false")) << 0;
    }

    void clearing()
    {
        QFETCH(Name, name);
        QFETCH(bool, hasShortcut);
        QFETCH(QVariant, storedAfterwards);
        QFETCH(int, signals);
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.setShortcut(name, Shortcut{0, CarbonModifier::command});
        if (!hasShortcut)
            store.setShortcut(name, std::nullopt);
        QSignalSpy changed(&store, &ShortcutStore::shortcutChanged);
        store.setShortcut(name, std::nullopt);
        QCOMPARE(start()->storedValue(ShortcutStore::key(name.rawValue)), storedAfterwards);
        QCOMPARE(changed.size(), signals);
        if (signals)
            QCOMPARE(changed.first().first().toString(), name.rawValue);
    }

    void anotherProcessEditsAShortcut()
    {
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.registerName(Name::captureScreenshot());
        preferences->watchFile();
        QSignalSpy changed(&store, &ShortcutStore::shortcutChanged);
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("[General]\nKeyboardShortcuts_captureScreenshot=false\nplayShutterSound=false\n");
        file.close();
        QTRY_COMPARE(changed.size(), 1);
        QCOMPARE(changed.first().first().toString(), Name::captureScreenshot().rawValue);
        QCOMPARE(store.shortcut(Name::captureScreenshot()), std::nullopt);
    }

    void fromCocoaKeepsFiveModifiers_data()
    {
        QTest::addColumn<quint64>("cocoaFlags");
        QTest::addColumn<quint32>("carbonModifiers");
        QTest::newRow("shift+option, caps lock and numeric pad") << quint64(0xA0000 | 0x10000 | 0x200000) << 2560u;
        QTest::newRow("all five") << quint64(0x9E0000) << 0x21B00u;
    }

    void fromCocoaKeepsFiveModifiers()
    {
        QFETCH(quint64, cocoaFlags);
        QFETCH(quint32, carbonModifiers);
        QCOMPARE(Shortcut::fromCocoa(21, cocoaFlags), (Shortcut{21, carbonModifiers}));
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
