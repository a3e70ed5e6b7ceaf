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

    // Registered values answer reads but are never written out, and nothing leaves the computer
    // until the user turns uploads on.
    void freshProfileReadsRegisteredDefaults()
    {
        const std::unique_ptr<Preferences> preferences = registered();
        QVERIFY(preferences->boolValue(PreferenceKey::screenshotCopyToClipboard));
        QVERIFY(!preferences->boolValue(PreferenceKey::screenshotUpload));
        QVERIFY(!preferences->boolValue(PreferenceKey::videoUpload));
        // Recordings are kept as files; no other test sees these two defaults.
        QVERIFY(!preferences->boolValue(PreferenceKey::videoCopyToClipboard));
        QVERIFY(preferences->boolValue(PreferenceKey::videoSaveToFolder));
        QCOMPARE(preferences->doubleValue(PreferenceKey::screenshotJPEGQuality), 0.9);
        QVERIFY(!QFileInfo::exists(m_file));
    }

    // What a hand-edited file may hold: enumerations match exactly or fall back, an empty folder
    // is the Desktop and a tilde is not expanded, and unreadable booleans are off, not on.
    void readsHandEditedText_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("stored"); // null: the key is absent
        QTest::addColumn<QString>("expected"); // "<desktop>": the Desktop folder
        const auto row = [](const char *name, QLatin1String key, const QByteArray &stored, const char *expected) {
            QTest::newRow(name) << QString(key) << stored << QString::fromUtf8(expected);
        };
        using namespace PreferenceKey;
        row("format absent", screenshotFormat, QByteArray(), "png");
        row("format exact", screenshotFormat, "jpeg", "jpeg");
        row("format in another case", screenshotFormat, "JPEG", "png");
        row("format unknown", screenshotFormat, "gif", "png");
        row("folder absent", screenshotSaveFolderPath, QByteArray(), "<desktop>");
        row("folder empty", screenshotSaveFolderPath, "\"\"", "<desktop>");
        row("folder path", screenshotSaveFolderPath, "/srv/shots", "/srv/shots");
        row("folder with a tilde", screenshotSaveFolderPath, "~/Pictures", "~/Pictures");
        for (const char *on : {"true", "YES"})
            row(on, playShutterSound, on, "true");
        for (const char *off : {"false", "sometimes"})
            row(off, playShutterSound, off, "false");
    }

    void readsHandEditedText()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, stored);
        QFETCH(QString, expected);
        if (!stored.isNull())
            writeFileExternally(key.toUtf8() + '=' + stored + '\n');
        const std::unique_ptr<Preferences> preferences = registered();
        QString read;
        if (key == PreferenceKey::screenshotFormat)
            read = preferences->enumValue(key, formatCases, Format::png) == Format::png ? QStringLiteral("png")
                                                                                        : QStringLiteral("jpeg");
        else if (key == PreferenceKey::screenshotSaveFolderPath)
            read = preferences->folder(key);
        else
            read = preferences->boolValue(key) ? QStringLiteral("true") : QStringLiteral("false");
        QCOMPARE(read, expected == QLatin1String("<desktop>") ? m_desktop : expected);
    }

    // Read again after another process's write, and an empty template stays empty.
    void templateKeepsAnEmptyValue()
    {
        const std::unique_ptr<Preferences> preferences = registered();
        QCOMPARE(preferences->fileNameTemplate(), QStringLiteral("Qorvel {yyyy}-{MM}-{dd} at {HH}.{mm}.{ss}"));
        writeFileExternally("fileNameTemplate=\n");
        QCOMPARE(preferences->fileNameTemplate(), QString());
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
