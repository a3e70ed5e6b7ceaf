#include "QtClipboard.h"

#include "ImageEncoder.h"

#include <QClipboard>
#include <QGuiApplication>

void QtClipboard::setLink(const QUrl &link)
{
    auto content = std::make_unique<QMimeData>();
    content->setText(QString::fromLatin1(link.toEncoded()));
    replaceContent(std::move(content));
}

void QtClipboard::setImage(const Bitmap &image, double scale)
{
    auto content = std::make_unique<QMimeData>();
    // A failed encoding leaves the clipboard empty: pasting whatever was there before, as if it
    // were this capture, would be worse than pasting nothing.
    const Result<QByteArray> png = ImageEncoder::encode(image, ImageFormat::png, scale, 1.0);
    if (png)
        content->setData(QStringLiteral("image/png"), *png);
    replaceContent(std::move(content));
}

void QtClipboard::setFile(const QString &path)
{
    const QUrl url = QUrl::fromLocalFile(path);
    auto content = std::make_unique<QMimeData>();
    content->setUrls({url});
    // GTK file managers (GNOME's and others) paste files from this type, which also says copy or cut.
    content->setData(QStringLiteral("x-special/gnome-copied-files"), "copy\n" + url.toEncoded());
    content->setText(path);
    replaceContent(std::move(content));
}

void QtClipboard::replaceContent(std::unique_ptr<QMimeData> content)
{
    QGuiApplication::clipboard()->setMimeData(content.release(), QClipboard::Clipboard);
}
