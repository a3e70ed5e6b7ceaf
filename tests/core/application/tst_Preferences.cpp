#include "Preferences.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

namespace {

enum class Format { png, jpeg };
constexpr std::array<std::pair<Format, QLatin1String>, 2> formatCases = {{
    {Format::png, QLatin1String("png")},
    {Format::jpeg, QLatin1String("jpeg")},
}};

} // namespace

class tst_Preferences : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_file;
    QString m_desktop;

    std::unique_ptr<Preferences> registered() const { return std::make_unique<Preferences>(m_file, m_desktop); }

    // Another process (the command line, an editor) rewrites the file behind our back. Real
    // writers are seconds apart; QSettings only notices a rewrite by its size or modification
    // time, so each write here gets a later time, as it would outside a test.
    void writeFileExternally(const QByteArray &iniText)
    {
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("[General]\n" + iniText);
        QVERIFY(file.flush());
        m_writeTime = m_writeTime.addSecs(1);
        QVERIFY(file.setFileTime(m_writeTime, QFileDevice::FileModificationTime));
    }

    QDateTime m_writeTime = QDateTime::currentDateTime();

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        m_file = m_dir.filePath(QStringLiteral("qorvel/qorvel.conf"));
        m_desktop = m_dir.filePath(QStringLiteral("Desktop"));
        QFile::remove(m_file);
        QVERIFY(QDir().mkpath(QFileInfo(m_file).path()));
    }

    void freshProfileReadsRegisteredDefaults_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("expected");
        using namespace PreferenceKey;
        QTest::newRow("screenshot copied") << QString(screenshotCopyToClipboard) << QVariant(true);
        QTest::newRow("screenshot saved") << QString(screenshotSaveToFolder) << QVariant(true);
        QTest::newRow("recording not copied") << QString(videoCopyToClipboard) << QVariant(false);
        QTest::newRow("recording saved") << QString(videoSaveToFolder) << QVariant(true);
        // Nothing leaves the computer until the user turns uploads on.
        QTest::newRow("screenshot not uploaded") << QString(screenshotUpload) << QVariant(false);
        QTest::newRow("recording not uploaded") << QString(videoUpload) << QVariant(false);
        QTest::newRow("shutter sound") << QString(playShutterSound) << QVariant(true);
        QTest::newRow("jpeg quality") << QString(screenshotJPEGQuality) << QVariant(0.9);
    }

    void freshProfileReadsRegisteredDefaults()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, expected);
        const std::unique_ptr<Preferences> preferences = registered();
        switch (expected.typeId()) {
        case QMetaType::Bool:
            QCOMPARE(preferences->boolValue(key), expected.toBool());
            break;
        case QMetaType::Double:
            QCOMPARE(preferences->doubleValue(key), expected.toDouble());
            break;
        default:
            QCOMPARE(preferences->stringValue(key), expected.toString());
        }
        // Registered values answer reads but are never written out.
        QVERIFY(!QFileInfo::exists(m_file));
    }

    void enumerationFallsBack_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<Format>("expected");
        QTest::newRow("absent reads the registered png") << QByteArray() << Format::png;
        QTest::newRow("exact jpeg") << QByteArray("jpeg") << Format::jpeg;
        QTest::newRow("letter case differs") << QByteArray("JPEG") << Format::png;
        QTest::newRow("unknown format") << QByteArray("gif") << Format::png;
        QTest::newRow("empty") << QByteArray("\"\"") << Format::png;
    }

    void enumerationFallsBack()
    {
        QFETCH(QByteArray, stored);
        QFETCH(Format, expected);
        if (!stored.isNull())
            writeFileExternally("screenshotFormat=" + stored + '\n');
        QCOMPARE(registered()->enumValue(PreferenceKey::screenshotFormat, formatCases, Format::png), expected);
    }

    void folderFallsBackToDesktop_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QString>("expected");
        QTest::newRow("absent") << QByteArray() << QStringLiteral("<desktop>");
        QTest::newRow("empty") << QByteArray("\"\"") << QStringLiteral("<desktop>");
        QTest::newRow("a path") << QByteArray("/srv/shots") << QStringLiteral("/srv/shots");
        QTest::newRow("tilde is not expanded") << QByteArray("~/Pictures") << QStringLiteral("~/Pictures");
    }

    void folderFallsBackToDesktop()
    {
        QFETCH(QByteArray, stored);
        QFETCH(QString, expected);
        if (!stored.isNull())
            writeFileExternally("screenshotSaveFolderPath=" + stored + '\n');
        if (expected == QLatin1String("<desktop>"))
            expected = m_desktop;
        QCOMPARE(registered()->folder(PreferenceKey::screenshotSaveFolderPath), expected);
    }

    void templateKeepsAnEmptyValue()
    {
        const std::unique_ptr<Preferences> preferences = registered();
        QCOMPARE(preferences->fileNameTemplate(), QStringLiteral("Qorvel {yyyy}-{MM}-{dd} at {HH}.{mm}.{ss}"));
        writeFileExternally("fileNameTemplate=\n");
        QCOMPARE(preferences->fileNameTemplate(), QString());
    }

    void booleansFromHandEditedText_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<bool>("expected");
        QTest::newRow("true") << QByteArray("true") << true;
        QTest::newRow("false") << QByteArray("false") << false;
        QTest::newRow("1") << QByteArray("1") << true;
        QTest::newRow("0") << QByteArray("0") << false;
        QTest::newRow("YES") << QByteArray("YES") << true;
        QTest::newRow("garbage is off, not on") << QByteArray("sometimes") << false;
    }

    void booleansFromHandEditedText()
    {
        QFETCH(QByteArray, stored);
        QFETCH(bool, expected);
        writeFileExternally("playShutterSound=" + stored + '\n');
        QCOMPARE(registered()->boolValue(PreferenceKey::playShutterSound), expected);
    }

    void seesAnotherWriterAtTheNextRead()
    {
        const std::unique_ptr<Preferences> preferences = registered();
        QVERIFY(preferences->boolValue(PreferenceKey::playShutterSound));
        writeFileExternally("playShutterSound=false\n");
        QVERIFY(!preferences->boolValue(PreferenceKey::playShutterSound));
        writeFileExternally("playShutterSound=true\nshowMagnifier=false\n");
        QVERIFY(preferences->boolValue(PreferenceKey::playShutterSound));
        QVERIFY(!preferences->boolValue(PreferenceKey::showMagnifier));
    }

    // Our own writes are announced at once, and only when the value really changes; another
    // process's edits once the file is watched, key by key, however the editor saves.
    void announcesChanges()
    {
        const std::unique_ptr<Preferences> preferences = registered();
        QSignalSpy changed(preferences.get(), &Preferences::changed);
        preferences->setValue(PreferenceKey::showMagnifier, true);
        QCOMPARE(changed.count(), 0);
        preferences->setValue(PreferenceKey::showMagnifier, false);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.takeFirst().first().toString(), QString(PreferenceKey::showMagnifier));

        preferences->watchFile();
        writeFileExternally("showMagnifier=false\nscreenshotFormat=jpeg\n");
        QVERIFY(changed.wait());
        QTRY_COMPARE(changed.count(), 1);
        QCOMPARE(changed.first().first().toString(), QString(PreferenceKey::screenshotFormat));
        // Written again by renaming a new file over it, as QSettings and most editors do.
        changed.clear();
        const QString replacement = m_file + QLatin1String(".new");
        QFile::copy(m_file, replacement);
        {
            QFile file(replacement);
            QVERIFY(file.open(QIODevice::Append));
            file.write("playShutterSound=false\n");
        }
        QVERIFY(::rename(QFile::encodeName(replacement).constData(), QFile::encodeName(m_file).constData()) == 0);
        QTRY_COMPARE(changed.count(), 1);
        QCOMPARE(changed.first().first().toString(), QString(PreferenceKey::playShutterSound));
    }
};

QTEST_GUILESS_MAIN(tst_Preferences)
#include "tst_Preferences.moc"
