#pragma once

#include <QString>
#include <QWidget>

class Preferences;
class QLabel;
class QPushButton;

// Where captures are saved: the folder's icon and name, "Change…" to choose another, and
// "Desktop" to go back to the default, shown only while another folder is stored.
class FolderPicker : public QWidget
{
    Q_OBJECT

public:
    FolderPicker(Preferences &preferences, QString key, QWidget *parent = nullptr);

    void choose(const QString &folder);

private:
    void showFolder();
    void openChooser();

    Preferences &m_preferences;
    QString m_key;
    QLabel *m_icon = nullptr;
    QLabel *m_name = nullptr;
    QPushButton *m_desktop = nullptr;
};
