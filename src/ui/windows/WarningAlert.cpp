#include "WarningAlert.h"

#include <QMessageBox>
#include <QTextDocument>

void WarningAlert::show(const QString &title, const QString &body)
{
    // The title is the message and the body its detail, as a notification would show them. The
    // window title stays the application's: the title text would only repeat.
    auto *box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Qorvel"), title, QMessageBox::Ok);
    box->setTextFormat(Qt::PlainText);
    // The informative text guesses its format; converted, a "<" in an error message stays text.
    box->setInformativeText(Qt::convertFromPlainText(body));
    // Shown, not exec()'d: a nested event loop would let captures and commands run inside it.
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->show();
    box->raise();
    box->activateWindow();
}
