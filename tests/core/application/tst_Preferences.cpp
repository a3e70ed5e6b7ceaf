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

    // What a hand-edited file may hold, read after another process wrote it: enumerations match
    // exactly or fall back, an empty folder is the Desktop and a tilde is not expanded, an empty
    // template stays empty, and unreadable booleans are off, not on. An absent key answers with
    // its registered default, which is never written out: nothing leaves the computer until the
    // user turns uploads on, and a recording is kept as a file.
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
        row("template empty", fileNameTemplate, "", "");
        for (const char *on : {"true", "YES"})
            row(on, playShutterSound, on, "true");
        for (const char *off : {"false", "sometimes"})
            row(off, playShutterSound, off, "false");
        row("screenshot upload absent", screenshotUpload, QByteArray(), "false");
        row("video upload absent", videoUpload, QByteArray(), "false");
        row("video copy absent", videoCopyToClipboard, QByteArray(), "false");
        row("video save absent", videoSaveToFolder, QByteArray(), "true");
    }

    void readsHandEditedText()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, stored);
        QFETCH(QString, expected);
        const std::unique_ptr<Preferences> preferences = registered();
        preferences->storedValue(key); // read once before the write, so that a stale copy would show
        if (!stored.isNull())
            writeFileExternally(key.toUtf8() + '=' + stored + '\n');
        QString read;
        if (key == PreferenceKey::screenshotFormat)
            read = preferences->enumValue(key, formatCases, Format::png) == Format::png ? QStringLiteral("png")
                                                                                        : QStringLiteral("jpeg");
        else if (key == PreferenceKey::screenshotSaveFolderPath)
            read = preferences->folder(key);
        else if (key == PreferenceKey::fileNameTemplate)
            read = preferences->fileNameTemplate();
        else
            read = preferences->boolValue(key) ? QStringLiteral("true") : QStringLiteral("false");
        QCOMPARE(read, expected == QLatin1String("<desktop>") ? m_desktop : expected);
        QCOMPARE(QFileInfo::exists(m_file), !stored.isNull());
    }

    // Our own writes are announced at once, and only when the value really changes; another
    // process's edits once the file is watched, key by key. Here the file is replaced by renaming
    // a new one over it, as QSettings and most editors do, which ends a watch on the file itself;
    // an edit in place is tst_ShortcutStore's.
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
