#pragma once

#include "Bitmap.h"

#include <QString>
#include <QUrl>

// The desktop's clipboard. Each call replaces whatever it held with one item.
class Clipboard
{
public:
    virtual ~Clipboard() = default;

    // A link, as plain text.
    virtual void setLink(const QUrl &link) = 0;
    // The image as PNG at its full pixel size, whatever format the file was saved in.
    virtual void setImage(const Bitmap &image, double scale) = 0;
    // A file, so that pasting into a file manager or a chat inserts the file itself.
    virtual void setFile(const QString &path) = 0;
};
