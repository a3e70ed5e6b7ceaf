#pragma once

#include "Clipboard.h"

#include <QMimeData>

#include <memory>

// The desktop's clipboard through Qt. On X11 the content stays in this process, which must run
// its event loop for others to paste; ClipboardKeeper hands it to a background process instead.
class QtClipboard : public Clipboard
{
public:
    // text/plain, fully encoded, so that a pasted link stays one link.
    void setLink(const QUrl &link) override;
    // image/png alone. Qt's image type would offer lossy formats encoded on request.
    void setImage(const Bitmap &image, double scale) override;
    // text/uri-list and x-special/gnome-copied-files for file managers, and the path as text.
    void setFile(const QString &path) override;

protected:
    // Replaces the application's clipboard with `content`.
    virtual void replaceContent(std::unique_ptr<QMimeData> content);
};
