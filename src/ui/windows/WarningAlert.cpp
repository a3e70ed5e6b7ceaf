#include "WarningAlert.h"

#include <QMessageBox>
#include <QTextDocument>

void WarningAlert::show(const QString &title, const QString &body)
{
    // The title is the message and the body its detail, as a notification would show them. The
    // window title stays the application's: the title text would only repeat.
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Qorvel"), title, QMessageBox::Ok);
    box.setTextFormat(Qt::PlainText);
    // The informative text guesses its format; converted, a "<" in an error message stays text.
    box.setInformativeText(Qt::convertFromPlainText(body));
    box.exec();
}
