#include "ChoiceAlert.h"

#include <QAbstractButton>
#include <QHash>
#include <QPushButton>
#include <QTextDocument>

void ChoiceAlert::ask(const QString &message, const QString &detail, const QList<Answer> &answers)
{
    auto *box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Qorvel"), message, QMessageBox::NoButton);
    box->setTextFormat(Qt::PlainText);
    // The detail guesses its format; converted, a "<" in a link or a message stays text.
    box->setInformativeText(Qt::convertFromPlainText(detail));
    box->setAttribute(Qt::WA_DeleteOnClose);

    auto actions = std::make_shared<QHash<QAbstractButton *, std::function<void()>>>();
    for (qsizetype index = 0; index < answers.size(); ++index) {
        const Answer &answer = answers.at(index);
        QPushButton *button = box->addButton(answer.text, answer.role);
        actions->insert(button, answer.action);
        if (index == 0)
            box->setDefaultButton(button);
    }
    // Shown, not exec()'d: a nested event loop would let captures and commands run inside it.
    QObject::connect(box, &QMessageBox::buttonClicked, box, [actions](QAbstractButton *button) {
        if (const std::function<void()> action = actions->value(button))
            action();
    });
    box->show();
    box->raise();
    box->activateWindow();
}
