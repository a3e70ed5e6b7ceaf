#include "FolderPicker.h"

#include "Preferences.h"
#include "SymbolIcon.h"

#include <QDir>
#include <QFileDialog>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include <utility>

FolderPicker::FolderPicker(Preferences &preferences, QString key, QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_key(std::move(key))
    , m_icon(new QLabel(this))
    , m_name(new QLabel(this))
    , m_desktop(new QPushButton(QStringLiteral("Desktop"), this))
{
    m_name->setObjectName(QStringLiteral("folderName"));
    auto *change = new QPushButton(QStringLiteral("Change…"), this);
    change->setObjectName(QStringLiteral("changeFolder"));
    m_desktop->setObjectName(QStringLiteral("desktopFolder"));
    m_desktop->setToolTip(QStringLiteral("Save to the Desktop again"));
    connect(change, &QPushButton::clicked, this, &FolderPicker::openChooser);
    connect(m_desktop, &QPushButton::clicked, this, [this]() { m_preferences.remove(m_key); });
    connect(&m_preferences, &Preferences::changed, this, [this](const QString &changed) {
        if (changed == m_key)
            showFolder();
    });

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_icon);
    layout->addWidget(m_name, 1);
    layout->addWidget(change);
    layout->addWidget(m_desktop);
    showFolder();
}

void FolderPicker::choose(const QString &folder)
{
    m_preferences.setValue(m_key, QDir::cleanPath(folder));
}

void FolderPicker::showFolder()
{
    const QString folder = m_preferences.folder(m_key);
    setSmallIcon(*m_icon, QFileIconProvider().icon(QFileIconProvider::Folder));
    const QString name = QFileInfo(folder).fileName();
    m_name->setText(name.isEmpty() ? QDir::toNativeSeparators(folder) : name);
    m_name->setToolTip(QDir::toNativeSeparators(folder));
    m_desktop->setVisible(!m_preferences.stringValue(m_key).value_or(QString()).isEmpty());
}

void FolderPicker::openChooser()
{
    // Not modal for the application: the tray and the shortcuts go on while it is open.
    auto *chooser = new QFileDialog(window(), QStringLiteral("Choose a Folder"), m_preferences.folder(m_key));
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setFileMode(QFileDialog::Directory);
    chooser->setOption(QFileDialog::ShowDirsOnly);
    chooser->setLabelText(QFileDialog::Accept, QStringLiteral("Choose"));
    connect(chooser, &QFileDialog::fileSelected, this, &FolderPicker::choose);
    chooser->open();
}
