#include "WindowsCommand.h"

#include "ErrorOutput.h"
#include "TerminalText.h"
#include "WindowFilter.h"

#include <QCoreApplication>
#include <QHash>
#include <QTextStream>

int WindowsCommand::run(WindowListSource &source, QTextStream &output, QTextStream &errors)
{
    const Result<QList<WindowListEntry>> entries = source.windowList();
    if (!entries)
        return printError(errors, entries.error().message);
    QHash<quint32, QString> applications;
    for (const WindowListEntry &entry : *entries)
        applications.insert(entry.id, entry.applicationId.value_or(QString()));

    for (const SnapWindow &window : WindowFilter::filter(*entries, QCoreApplication::applicationPid())) {
        const QRectF &frame = window.frame;
        output << "0x" << QString::number(window.id, 16) << '\t' << frame.x() << ',' << frame.y() << ' '
               << frame.width() << 'x' << frame.height() << '\t' << window.ownerPid << '\t'
               << printableText(applications.value(window.id)) << '\n';
    }
    return 0;
}
