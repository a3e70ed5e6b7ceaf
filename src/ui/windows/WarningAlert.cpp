#include "WarningAlert.h"

#include "ChoiceAlert.h"

void WarningAlert::show(const QString &title, const QString &body)
{
    // The title is the message and the body its detail, as a notification would show them.
    ChoiceAlert::ask(title, body, {{QStringLiteral("OK"), QMessageBox::AcceptRole, {}}});
}
