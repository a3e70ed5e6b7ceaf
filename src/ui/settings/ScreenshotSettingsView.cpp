#include "ScreenshotSettingsView.h"

#include "CaptureActionsSection.h"
#include "FileNameTemplateSection.h"
#include "PreferenceControls.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include <cmath>

namespace {

// The stored quality is a fraction; the slider moves in whole percent.
constexpr int percentSteps = 100;

} // namespace

ScreenshotSettingsView::ScreenshotSettingsView(Preferences &preferences, QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
{
    using namespace PreferenceKey;
    auto *actions = new CaptureActionsSection(preferences,
        {screenshotCopyToClipboard, screenshotSaveToFolder, screenshotUpload, screenshotSaveFolderPath},
        QStringLiteral("Copy image to clipboard"), this);

    auto *fileFormat = new QGroupBox(QStringLiteral("File format"), this);
    m_format = new QFormLayout(fileFormat);
    QComboBox *format = PreferenceControls::comboBox(preferences, screenshotFormat,
        {{QStringLiteral("PNG"), QLatin1String("png")}, {QStringLiteral("JPEG"), QLatin1String("jpeg")}}, fileFormat);
    format->setObjectName(QStringLiteral("format"));
    m_format->addRow(QStringLiteral("&Format:"), format);

    m_quality = new QSlider(Qt::Horizontal, fileFormat);
    m_quality->setObjectName(QStringLiteral("jpegQuality"));
    m_quality->setRange(1, percentSteps);
    m_quality->setPageStep(10);
    m_qualityValue = new QLabel(fileFormat);
    m_qualityValue->setObjectName(QStringLiteral("jpegQualityValue"));
    m_qualityValue->setMinimumWidth(m_qualityValue->fontMetrics().horizontalAdvance(QStringLiteral("100 %")));
    m_qualityValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *qualityRow = new QHBoxLayout;
    qualityRow->addWidget(m_quality, 1);
    qualityRow->addWidget(m_qualityValue);
    m_format->addRow(QStringLiteral("JPEG &quality:"), qualityRow);
    connect(m_quality, &QSlider::valueChanged, this,
        [this](int percent) { m_preferences.setValue(screenshotJPEGQuality, double(percent) / percentSteps); });

    QCheckBox *shadow = PreferenceControls::checkBox(preferences, includeWindowShadow,
        QStringLiteral("Include the window s&hadow when capturing a window"), fileFormat);
    shadow->setObjectName(QStringLiteral("includeWindowShadow"));
    m_format->addRow(shadow);
    m_format->addRow(PreferenceControls::note(
        QStringLiteral("Images are always copied to the clipboard as PNG at full resolution."), fileFormat));

    connect(&m_preferences, &Preferences::changed, this, [this](const QString &key) {
        if (key == screenshotFormat || key == screenshotJPEGQuality)
            showQuality();
    });
    showQuality();

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(actions);
    layout->addWidget(fileFormat);
    layout->addWidget(new FileNameTemplateSection(preferences, this));
    layout->addStretch();
}

void ScreenshotSettingsView::showQuality()
{
    const int percent
        = int(std::lround(m_preferences.doubleValue(PreferenceKey::screenshotJPEGQuality) * percentSteps));
    {
        const QSignalBlocker quiet(m_quality);
        m_quality->setValue(percent);
    }
    m_qualityValue->setText(QStringLiteral("%1%").arg(m_quality->value()));
    const bool jpeg = m_preferences.stringValue(PreferenceKey::screenshotFormat) == QLatin1String("jpeg");
    m_format->setRowVisible(1, jpeg);
}
