#include "FileNameTemplateSection.h"

#include "FileNameTemplate.h"
#include "PreferenceControls.h"
#include "Preferences.h"

#include <QDateTime>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>

FileNameTemplateSection::FileNameTemplateSection(Preferences &preferences, QWidget *parent)
    : QGroupBox(QStringLiteral("File name"), parent)
    , m_preferences(preferences)
    , m_template(new QLineEdit(this))
    , m_preview(new QLabel(this))
{
    m_template->setObjectName(QStringLiteral("template"));
    m_preview->setObjectName(QStringLiteral("preview"));
    m_preview->setForegroundRole(QPalette::PlaceholderText);
    m_preview->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *restore = new QPushButton(QStringLiteral("Restore Default"), this);
    restore->setObjectName(QStringLiteral("restoreTemplate"));

    auto *layout = new QFormLayout(this);
    layout->addRow(QStringLiteral("&Template:"), m_template);
    layout->addRow(QStringLiteral("Preview:"), m_preview);
    layout->addRow(
        PreferenceControls::note(QStringLiteral("Tokens: ") + FileNameTemplate::tokens().join(QLatin1Char(' '))
                + QStringLiteral(". The template also applies to recordings."),
            this));
    auto *restoreRow = new QHBoxLayout;
    restoreRow->addWidget(restore);
    restoreRow->addStretch();
    layout->addRow(QString(), restoreRow);

    connect(m_template, &QLineEdit::textEdited, this, [this](const QString &text) {
        m_preferences.setValue(PreferenceKey::fileNameTemplate, text);
        showPreview();
    });
    connect(restore, &QPushButton::clicked, this,
        [this]() { m_preferences.setValue(PreferenceKey::fileNameTemplate, FileNameTemplate::defaultTemplate()); });
    connect(&m_preferences, &Preferences::changed, this, [this](const QString &key) {
        if (key == PreferenceKey::fileNameTemplate)
            showTemplate();
    });
    connect(&m_tick, &QTimer::timeout, this, &FileNameTemplateSection::showPreview);
    m_tick.setInterval(1000);
    showTemplate();
}

void FileNameTemplateSection::showTemplate()
{
    const QString stored = m_preferences.fileNameTemplate();
    // Not while the user types: the cursor would jump to the end.
    if (m_template->text() != stored) {
        const QSignalBlocker quiet(m_template);
        m_template->setText(stored);
    }
    showPreview();
}

void FileNameTemplateSection::showPreview()
{
    const QString name
        = FileNameTemplate::expand(m_template->text(), QDateTime::currentDateTime()) + QLatin1String(".png");
    m_preview->setToolTip(name);
    const int width = m_template->width() > 0 ? m_template->width() : m_template->sizeHint().width();
    m_preview->setText(m_preview->fontMetrics().elidedText(name, Qt::ElideMiddle, width));
}

void FileNameTemplateSection::showEvent(QShowEvent *event)
{
    QGroupBox::showEvent(event);
    showPreview();
    m_tick.start();
}

void FileNameTemplateSection::hideEvent(QHideEvent *event)
{
    QGroupBox::hideEvent(event);
    m_tick.stop();
}

void FileNameTemplateSection::resizeEvent(QResizeEvent *event)
{
    QGroupBox::resizeEvent(event);
    showPreview();
}
