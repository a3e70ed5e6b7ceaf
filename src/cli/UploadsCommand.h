#pragma once

#include "Uploader.h"

#include <QTextStream>

class UploadHistory;

// `qorvel uploads`: the upload history as a list, and deleting from it.
class UploadsCommand
{
public:
    static int list(const UploadHistory &history, QTextStream &output);
    // `record` is an id or a 1-based place in the list. The file goes from Catbox first; the
    // record goes only once Catbox has confirmed it.
    static int remove(
        const QString &record, UploadHistory &history, Uploader &uploader, QTextStream &output, QTextStream &errors);
    static int clear(UploadHistory &history, QTextStream &output);
};
