#pragma once

#include <QList>
#include <QMessageBox>
#include <QString>

#include <functional>

// A question with a few answers, asked without blocking: the call returns at once, the tray,
// the shortcuts and running uploads go on meanwhile, and the chosen answer's action runs when
// the user clicks it. Closing the window runs the answer whose role is RejectRole, if any.
class ChoiceAlert
{
public:
    struct Answer
    {
        QString text;
        QMessageBox::ButtonRole role = QMessageBox::AcceptRole;
        std::function<void()> action; // may be empty
    };

    static void ask(const QString &message, const QString &detail, const QList<Answer> &answers);
};
