#pragma once

#include "SecretStore.h"

#include <QGroupBox>

class QLabel;
class QLineEdit;
class QPushButton;

// The optional Catbox account: the userhash that makes uploads the user's own, kept in the
// secret store and nowhere else.
class CatboxAccountForm : public QGroupBox
{
    Q_OBJECT

public:
    explicit CatboxAccountForm(SecretStore &secrets, QWidget *parent = nullptr);

    // False when the store could not be read when the form was made: then nothing can be saved,
    // and what was uploaded with an account cannot be deleted either.
    bool secretsAvailable() const { return m_secretsAvailable; }

private:
    void save();
    void showStatus(const QString &text);

    SecretStore &m_secrets;
    QLineEdit *m_field = nullptr;
    QPushButton *m_save = nullptr;
    QLabel *m_status = nullptr;
    bool m_secretsAvailable = true;
};
