#include "MultipartBody.h"
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

class tst_MultipartBody : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString bodyFolder() const { return m_dir.filePath(QStringLiteral("tmp")); }

private Q_SLOTS:
    void init()
    {
        QDir(bodyFolder()).removeRecursively();
        QVERIFY(QDir().mkpath(bodyFolder()));
    }

    // Chunk edges are where a streaming copy drops or repeats bytes.
    void filePart_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("sentName");
        QTest::addColumn<QString>("type");
        const auto row = [](const char *name, const char *file, qint64 size, const char *sentName, const char *type) {
            QTest::newRow(name) << QString::fromUtf8(file) << size << QString::fromUtf8(sentName)
                                << QString::fromLatin1(type);
        };
        row("empty png", "shot.png", 0, "shot.png", "image/png");
        row("one chunk exactly", "clip.mp4", MultipartBody::chunkSize, "clip.mp4", "video/mp4");
        row("a chunk and a byte", "a.jpg", MultipartBody::chunkSize + 1, "a.jpg", "image/jpeg");
        row("quotes dropped, the rest kept", "my \"best\" shot; 100%.png", 10, "my best shot; 100%.png", "image/png");
        row("unknown extension", "notes.qorvelunknown", 3, "notes.qorvelunknown", "application/octet-stream");
    }
    void filePart()
    {
        QFETCH(QString, name);
        QFETCH(qint64, size);
        QFETCH(QString, sentName);
        QFETCH(QString, type);
        QByteArray content(size, Qt::Uninitialized);
        QRandomGenerator generator(42);
        for (char &byte : content)
            byte = char(generator.bounded(256));
        const QString source = writeTestFile(m_dir.filePath(name), content);

        const MultipartBody body(QStringLiteral("Qorvel-X"));
        const Result<QString> written = body.write({{QStringLiteral("reqtype"), QStringLiteral("fileupload")}},
            FilePart{QStringLiteral("fileToUpload"), source, {}}, bodyFolder());
        QFile file(written.ok() ? *written : QString());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(),
            "--Qorvel-X\r\nContent-Disposition: form-data; name=\"reqtype\"\r\n\r\nfileupload\r\n"
            "--Qorvel-X\r\nContent-Disposition: form-data; name=\"fileToUpload\"; filename=\""
                + sentName.toUtf8() + "\"\r\nContent-Type: " + type.toUtf8() + "\r\n\r\n" + content
                + "\r\n--Qorvel-X--\r\n");
        // The body holds the userhash: only the user may read it, and the start-up purge finds it
        // by its name.
        QVERIFY(QFileInfo(*written).fileName().startsWith(QLatin1String("qorvel-upload-")));
        struct stat info = {};
        QCOMPARE(::stat(QFile::encodeName(*written).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, 0600u);
    }

    // A source that cannot be sent is refused in the system's words, before a body is written
    // or half-way through it, and no body is left behind. A FIFO would block the read, and is no
    // regular file; a file larger than admitted may have grown since its size was checked.
    void unusableSourcesLeaveNothing_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("message");
        QTest::newRow("gone") << m_dir.filePath(QStringLiteral("gone.png")) << QStringLiteral("No such file");
        QTest::newRow("a folder") << m_dir.path() << QStringLiteral("Is a directory");
        QTest::newRow("a FIFO") << m_dir.filePath(QStringLiteral("fifo")) << QStringLiteral("Not a regular file");
        QTest::newRow("larger than admitted") << writeTestFile(m_dir.filePath(QStringLiteral("big.bin")),
            QByteArray(3 << 20, 'b')) << QStringLiteral("too large");
    }
    void unusableSourcesLeaveNothing()
    {
        QFETCH(QString, source);
        QFETCH(QString, message);
        if (source.endsWith(QLatin1String("fifo")))
            QVERIFY(QFile::exists(source) || ::mkfifo(QFile::encodeName(source).constData(), 0600) == 0);
        const MultipartBody body(MultipartBody::newBoundary());
        const Result<QString> written = body.write({{QStringLiteral("reqtype"), QStringLiteral("fileupload")}},
            FilePart{QStringLiteral("fileToUpload"), source,
                [](qint64 copied) -> Result<void> {
                    if (copied > (2 << 20))
                        return Error{QStringLiteral("too large"), {}};
                    return {};
                }},
            bodyFolder());
        QVERIFY(!written.ok());
        QVERIFY2(written.error().message.contains(message, Qt::CaseInsensitive), qPrintable(written.error().message));
        QCOMPARE(QDir(bodyFolder()).entryList(QDir::Files), QStringList());
    }
};

QTEST_GUILESS_MAIN(tst_MultipartBody)
#include "tst_MultipartBody.moc"
