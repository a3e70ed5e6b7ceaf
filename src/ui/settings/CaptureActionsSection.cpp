#include "CaptureActionsSection.h"

#include "FolderPicker.h"
#include "PreferenceControls.h"
#include "Preferences.h"
#include "SymbolIcon.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <utility>

namespace {

// The system's orange, which reads as a warning on light and dark backgrounds alike.
const QColor warningOrange(0xff, 0x95, 0x00);

} // namespace

CaptureActionsSection::CaptureActionsSection(
    Preferences &preferences, Keys keys, const QString &copyLabel, QWidget *parent)
    : QGroupBox(QStringLiteral("After capture"), parent)
    , m_preferences(preferences)
    , m_keys(std::move(keys))
{
    using PreferenceControls::checkBox;
    QCheckBox *copy = checkBox(preferences, m_keys.copy, copyLabel, this);
    QCheckBox *save = checkBox(preferences, m_keys.save, QStringLiteral("Save to folder"), this);
    QCheckBox *upload = checkBox(preferences, m_keys.upload, QStringLiteral("Upload to Catbox and copy link"), this);
    copy->setObjectName(QStringLiteral("copy"));
    save->setObjectName(QStringLiteral("save"));
    upload->setObjectName(QStringLiteral("upload"));

    m_folder = new FolderPicker(preferences, m_keys.folder, this);
    m_linkNote = PreferenceControls::note(
        QStringLiteral("When the upload succeeds, the link is copied. The file is copied only if the upload fails."),
        this);
    m_fallbackNote = PreferenceControls::note(
        QStringLiteral("If the upload fails, the file is saved to the save folder as a fallback."), this);

    m_warning = new QWidget(this);
    m_warning->setObjectName(QStringLiteral("nothingKeptWarning"));
    auto *warningIcon = new QLabel(m_warning);
    setSmallIcon(*warningIcon, symbolIcon(QStringLiteral("dialog-warning"), QStyle::SP_MessageBoxWarning));
    auto *warningText = new QLabel(QStringLiteral("No action is on: captures won't be kept anywhere."), m_warning);
    warningText->setWordWrap(true);
    QPalette orange = warningText->palette();
    orange.setColor(QPalette::WindowText, warningOrange);
    warningText->setPalette(orange);
    auto *warningRow = new QHBoxLayout(m_warning);
    warningRow->setContentsMargins(0, 0, 0, 0);
    warningRow->addWidget(warningIcon);
    warningRow->addWidget(warningText, 1);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(copy);
    layout->addWidget(save);
    // The folder belongs to the switch above it.
    auto *folderRow = new QHBoxLayout;
    folderRow->setContentsMargins(style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, this) + 8, 0, 0, 0);
    folderRow->addWidget(m_folder);
    layout->addLayout(folderRow);
    layout->addWidget(upload);
    layout->addWidget(m_linkNote);
    layout->addWidget(m_fallbackNote);
    layout->addWidget(m_warning);

    for (QCheckBox *box : {copy, save, upload})
        connect(box, &QCheckBox::toggled, this, &CaptureActionsSection::showNotes);
    connect(&m_preferences, &Preferences::changed, this, &CaptureActionsSection::showNotes);
    showNotes();
}

void CaptureActionsSection::showNotes()
{
    const bool copy = m_preferences.boolValue(m_keys.copy);
    const bool save = m_preferences.boolValue(m_keys.save);
    const bool upload = m_preferences.boolValue(m_keys.upload);
    m_linkNote->setVisible(upload && copy);
    m_fallbackNote->setVisible(upload && !save);
    m_warning->setVisible(!copy && !save && !upload);
}
