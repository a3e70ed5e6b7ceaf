#pragma once

#include <QString>
#include <QUrl>

// A finished upload: the public link, the file's name on the host (the link's last path
// component) and whether it can be deleted again (only uploads made with a userhash can).
struct UploadResult
{
    QUrl url;
    QString remoteName;
    bool deletable = false;
};
