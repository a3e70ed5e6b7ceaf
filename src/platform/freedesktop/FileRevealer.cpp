#include "FileRevealer.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QFileInfo>
#include <QStringList>
#include <QUrl>

namespace {

// File managers start on demand (D-Bus activation), which can take seconds on a cold disk.
constexpr int showItemsTimeoutMs = 10000;

} // namespace

void FileRevealer::reveal(const QDBusConnection &bus, const QString &path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return;
    const QUrl fileUrl = QUrl::fromLocalFile(file.absoluteFilePath());
    const QUrl folderUrl = QUrl::fromLocalFile(file.absolutePath());

    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"), QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("ShowItems"));
    call << QStringList{fileUrl.toString(QUrl::FullyEncoded)} << QString();
    // Parentless: the reveal outlives whatever asked for it, and the watcher deletes itself.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, showItemsTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [folderUrl](QDBusPendingCallWatcher *finished) {
        finished->deleteLater();
        if (QDBusPendingReply<>(*finished).isError())
            QDesktopServices::openUrl(folderUrl);
    });
}
