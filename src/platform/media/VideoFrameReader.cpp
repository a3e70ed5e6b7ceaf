#include "VideoFrameReader.h"

#include <QDir>
#include <QFileInfo>
#include <QLibrary>

#include <mutex>

namespace {

using FirstFrame = Result<Bitmap> (*)(const QString &, QSize);

struct Module
{
    FirstFrame firstFrame = nullptr;
    QString problem;
};

// Next to the executable when built, in its library folder when installed.
const Module &module()
{
    static Module loaded;
    static std::once_flag once;
    std::call_once(once, [] {
        const QDir executable = QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absoluteDir();
        for (const QString &candidate : {executable.filePath(QStringLiteral("libqorvel-media.so")),
                 executable.filePath(QStringLiteral("../lib/qorvel/libqorvel-media.so"))}) {
            if (!QFileInfo::exists(candidate))
                continue;
            QLibrary library(candidate);
            // Never unloaded: FFmpeg keeps state for the life of the process.
            library.setLoadHints(QLibrary::PreventUnloadHint);
            if (auto function = reinterpret_cast<FirstFrame>(library.resolve("qorvelMediaFirstFrame"))) {
                loaded.firstFrame = function;
                return;
            }
            loaded.problem = library.errorString();
            return;
        }
        loaded.problem = QStringLiteral("libqorvel-media.so is not installed beside the executable");
    });
    return loaded;
}

} // namespace

Result<Bitmap> VideoFrameReader::firstFrame(const QString &path, QSize maxSize)
{
    const Module &media = module();
    if (!media.firstFrame)
        return Error{QStringLiteral("Couldn't read the recording's first frame."), media.problem};
    return media.firstFrame(path, maxSize);
}
