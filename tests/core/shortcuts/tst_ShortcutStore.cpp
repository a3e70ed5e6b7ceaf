#include "Name.h"
#include "Preferences.h"
#include "ShortcutStore.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace KeyboardShortcuts;

namespace {

const Name noDefault{QStringLiteral("uploadLast"), std::nullopt};

} // namespace

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

    // The file as an earlier start (or an editor) left it on disk, read back as text.
    void nextStartReadsWhatTheLastLeft_data()
    {
        QTest::addColumn<QByteArray>("lineBefore");
        QTest::addColumn<std::optional<Shortcut>>("expected");
        QTest::addColumn<QByteArray>("lineAfter");
        const QByteArray user
            = "KeyboardShortcuts_captureScreenshot=\"{\\\"carbonKeyCode\\\":20,\\\"carbonModifiers\\\":2560}\"";
        const QByteArray partial = "KeyboardShortcuts_captureScreenshot=\"{\\\"carbonKeyCode\\\":21}\"";
        QTest::newRow("first start writes the default")
            << QByteArray() << Name::captureScreenshot().defaultShortcut
            << QByteArray(
                   "KeyboardShortcuts_captureScreenshot=\"{\\\"carbonKeyCode\\\":21,\\\"carbonModifiers\\\":2560}\"");
        QTest::newRow("turned off stays off")
            << QByteArray("KeyboardShortcuts_captureScreenshot=false") << std::optional<Shortcut>()
            << QByteArray("KeyboardShortcuts_captureScreenshot=false");
        QTest::newRow("user's chord stays") << user << std::optional(Shortcut{20, 2560}) << user;
        QTest::newRow("a field missing reads as none") << partial << std::optional<Shortcut>() << partial;
    }

    void nextStartReadsWhatTheLastLeft()
    {
        QFETCH(QByteArray, lineBefore);
        QFETCH(std::optional<Shortcut>, expected);
        QFETCH(QByteArray, lineAfter);
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\n" + lineBefore + '\n');
        file.close();
        const std::unique_ptr<Preferences> preferences = start();
        ShortcutStore store(*preferences);
        store.registerName(Name::captureScreenshot());
        QCOMPARE(store.shortcut(Name::captureScreenshot()), expected);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(file.readAll().split('\n').contains(lineAfter), lineAfter.constData());
    }

    void clearing_data()
    {
        QTest::addColumn<Name>("name");
        QTest::addColumn<bool>("hasShortcut");
        QTest::addColumn<QVariant>("storedAfterwards");
        QTest::addColumn<int>("signals");
        QTest::newRow("a default is turned off")
            << Name::recordVideo() << true << QVariant(QStringLiteral("false")) << 1;
        QTest::newRow("no default: the entry goes") << noDefault << true << QVariant() << 1;
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
        QTest::newRow("shift+option") << quint64(0xA0000) << 2560u;
        QTest::newRow("with caps lock and numeric pad") << quint64(0xA0000 | 0x10000 | 0x200000) << 2560u;
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
        QTest::addColumn<QKeyCombination>("shown");
        const Qt::KeyboardModifiers shiftAlt = Qt::ShiftModifier | Qt::AltModifier;
        QTest::newRow("Shift+4 arrives as $")
            << QKeyCombination(shiftAlt, Qt::Key_Dollar) << std::optional(Shortcut{21, 2560})
            << QKeyCombination(shiftAlt, Qt::Key_4);
        QTest::newRow("Super and Ctrl") << QKeyCombination(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_A)
                                        << std::optional(Shortcut{0, 0x1100})
                                        << QKeyCombination(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_A);
        QTest::newRow("keypad 5 is not 5")
            << QKeyCombination(Qt::KeypadModifier, Qt::Key_5) << std::optional(Shortcut{87, 0})
            << QKeyCombination(Qt::KeypadModifier, Qt::Key_5);
        QTest::newRow("Print takes F13's code")
            << QKeyCombination(Qt::Key_F13) << std::optional(Shortcut{105, 0}) << QKeyCombination(Qt::Key_Print);
        QTest::newRow("a modifier alone")
            << QKeyCombination(Qt::ShiftModifier, Qt::Key_Shift) << std::optional<Shortcut>() << QKeyCombination();
    }

    void qtKeys()
    {
        QFETCH(QKeyCombination, pressed);
        QFETCH(std::optional<Shortcut>, shortcut);
        QFETCH(QKeyCombination, shown);
        QCOMPARE(Shortcut::fromQt(pressed), shortcut);
        if (shortcut)
            QCOMPARE(shortcut->toQt(), shown);
    }
};

QTEST_GUILESS_MAIN(tst_ShortcutStore)
#include "tst_ShortcutStore.moc"
