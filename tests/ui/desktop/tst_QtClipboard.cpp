#include "QtClipboard.h"
#include "SessionTools.h"

#include <QMap>
#include <QSet>
#include <QTest>

namespace {

using Put = std::function<void(Clipboard &)>;
using Pastes = QMap<QString, QByteArray>;

} // namespace

class tst_QtClipboard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Each item replaces the previous one whole and offers only its own types: no lossy image
    // formats, nothing that makes a link look like a file. A file's URL survives any name.
    void offersOneItem_data()
    {
        QTest::addColumn<Put>("put");
        QTest::addColumn<QSet<QString>>("types");
        QTest::addColumn<Pastes>("pastes");
        const QString path = QStringLiteral("/tmp/50% #1?/Straße 😀.png");
        const QByteArray url = "file:///tmp/50%25%20%231%3F/Stra%C3%9Fe%20%F0%9F%98%80.png";
        const Put file = [path](Clipboard &clipboard) { clipboard.setFile(path); };
        // The picture itself, its size and resolution, is pasted back in tst_CaptureOutput.
        const Put image = [](Clipboard &clipboard) { clipboard.setImage(Bitmap::allocate(QSize(97, 61)), 2.0); };
        const Put link
            = [](Clipboard &clipboard) { clipboard.setLink(QUrl(QStringLiteral("https://files.catbox.moe/a b.png"))); };
        const auto after = [](Put first, Put second) {
            return Put([=](Clipboard &clipboard) {
                first(clipboard);
                second(clipboard);
            });
        };

        QTest::newRow("image after a file")
            << after(file, image) << QSet<QString>{QStringLiteral("image/png")} << Pastes();
        QTest::newRow("file after an image")
            << after(image, file)
            << QSet<QString>{QStringLiteral("text/uri-list"), QStringLiteral("text/x-moz-url"),
                   QStringLiteral("x-special/gnome-copied-files"), QStringLiteral("text/plain")}
            << Pastes{{QStringLiteral("text/uri-list"), url + "\r\n"},
                   {QStringLiteral("x-special/gnome-copied-files"), "copy\n" + url},
                   {QStringLiteral("text/plain"), path.toUtf8()}};
        QTest::newRow("link after a file")
            << after(file, link) << QSet<QString>{QStringLiteral("text/plain")}
            << Pastes{{QStringLiteral("text/plain"), "https://files.catbox.moe/a%20b.png"}};
    }

    void offersOneItem()
    {
        QFETCH(Put, put);
        QFETCH(QSet<QString>, types);
        QFETCH(Pastes, pastes);

        QtClipboard clipboard;
        put(clipboard);
        QSet<QString> offered; // without X11's own targets (TARGETS, UTF8_STRING, ...)
        for (const QByteArray &target : pasted(QStringLiteral("TARGETS")).split('\n'))
            if (target.contains('/'))
                offered.insert(QString::fromLatin1(target));
        QCOMPARE(offered, types);
        for (auto paste = pastes.cbegin(); paste != pastes.cend(); ++paste)
            QCOMPARE(pasted(paste.key()), paste.value());
    }
};

QTEST_MAIN(tst_QtClipboard)
#include "tst_QtClipboard.moc"
