#include "CatboxAccountForm.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

CatboxAccountForm::CatboxAccountForm(SecretStore &secrets, QWidget *parent)
    : QGroupBox(tr("Catbox account (optional)"), parent)
    , m_secrets(secrets)
{
    auto *explanation = new QLabel(tr("Without an account, uploads are anonymous and can't be deleted later. With a "
                                      "free account the files are yours, and “Delete from Catbox” works from the "
                                      "Recent Uploads menu."),
        this);
    explanation->setWordWrap(true);

    auto *where = new QLabel(tr("Find your userhash after signing in at %1")
                                 .arg(QLatin1String("<a href=\"https://catbox.moe/user/manage.php\">"
                                                    "catbox.moe/user/manage.php</a>")),
        this);
    where->setTextFormat(Qt::RichText);
    where->setOpenExternalLinks(true);
    where->setTextInteractionFlags(Qt::TextBrowserInteraction);
    where->setWordWrap(true);

    m_field = new QLineEdit(this);
    m_field->setObjectName(QStringLiteral("userhashField"));
    m_field->setPlaceholderText(tr("Userhash (optional)"));
    m_field->setAccessibleName(tr("Userhash"));
    // A secret: not shown to whoever looks over the shoulder, nor offered to the input method.
    m_field->setEchoMode(QLineEdit::Password);
    m_field->setClearButtonEnabled(true);

    m_save = new QPushButton(tr("Save"), this);
    m_save->setObjectName(QStringLiteral("saveUserhash"));

    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("accountStatus"));
    m_status->setWordWrap(true);
    m_status->setTextFormat(Qt::PlainText);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_status->hide();

    auto *entry = new QHBoxLayout;
    entry->addWidget(m_field, 1);
    entry->addWidget(m_save);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addWidget(where);
    layout->addLayout(entry);
    layout->addWidget(m_status);

    connect(m_save, &QPushButton::clicked, this, &CatboxAccountForm::save);
    connect(m_field, &QLineEdit::returnPressed, this, &CatboxAccountForm::save);

    const Result<std::optional<QByteArray>> stored = m_secrets.read(QLatin1String(SecretAccounts::userhash));
    if (!stored) {
        m_secretsAvailable = false;
        m_field->setEnabled(false);
        m_save->setEnabled(false);
        showStatus(tr("The Secret Service is not available, so the userhash can't be saved, and the upload history "
                      "lasts only until Qorvel quits.")
            + u'\n' + stored.error().message);
        return;
    }
    m_field->setText(QString::fromUtf8(stored->value_or(QByteArray())));
}

void CatboxAccountForm::save()
{
    // A userhash is usually pasted, often with the line break or spaces around it.
    const QString userhash = m_field->text().trimmed();
    m_field->setText(userhash);
    const QString account = QLatin1String(SecretAccounts::userhash);
    const Result<void> written
        = m_secrets.write(userhash.isEmpty() ? std::nullopt : std::optional(userhash.toUtf8()), account);
    if (!written) {
        showStatus(tr("Couldn't save: ") + written.error().message);
        return;
    }
    // What the store holds now, not what was asked of it, is what the next upload will use.
    const Result<std::optional<QByteArray>> stored = m_secrets.read(account);
    if (!stored)
        showStatus(tr("Saved, but it couldn't be read back: ") + stored.error().message);
    else if (stored->has_value())
        showStatus(tr("Saved. New uploads will belong to your account."));
    else
        showStatus(tr("Userhash removed: uploads will be anonymous."));
}

void CatboxAccountForm::showStatus(const QString &text)
{
    m_status->setText(text);
    m_status->setVisible(!text.isEmpty());
}
