#include "VideoSettingsView.h"

#include "CaptureActionsSection.h"
#include "PreferenceControls.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QVBoxLayout>

VideoSettingsView::VideoSettingsView(Preferences &preferences, QWidget *parent)
    : QWidget(parent)
{
    using namespace PreferenceKey;
    using PreferenceControls::checkBox;
    using PreferenceControls::comboBox;
    auto *actions = new CaptureActionsSection(preferences,
        {videoCopyToClipboard, videoSaveToFolder, videoUpload, videoSaveFolderPath},
        QStringLiteral("Copy video file to clipboard"), this);

    auto *recording = new QGroupBox(QStringLiteral("Recording"), this);
    auto *recordingLayout = new QVBoxLayout(recording);
    QCheckBox *cursor = checkBox(preferences, videoShowsCursor, QStringLiteral("Sho&w cursor"), recording);
    cursor->setObjectName(QStringLiteral("videoShowsCursor"));
    QCheckBox *countdown
        = checkBox(preferences, videoCountdown, QStringLiteral("3-2-1 countdown &before recording"), recording);
    countdown->setObjectName(QStringLiteral("videoCountdown"));
    recordingLayout->addWidget(cursor);
    recordingLayout->addWidget(countdown);

    auto *compression = new QGroupBox(QStringLiteral("Compression"), this);
    auto *form = new QFormLayout(compression);
    QComboBox *quality = comboBox(preferences, videoQuality,
        {{QStringLiteral("Small"), QLatin1String("low")}, {QStringLiteral("Medium"), QLatin1String("medium")},
            {QStringLiteral("High"), QLatin1String("high")}},
        compression);
    quality->setObjectName(QStringLiteral("videoQuality"));
    QComboBox *codec = comboBox(preferences, videoCodec,
        {{QStringLiteral("H.264 (best compatibility)"), QLatin1String("h264")},
            {QStringLiteral("HEVC (smaller files)"), QLatin1String("hevc")}},
        compression);
    codec->setObjectName(QStringLiteral("videoCodec"));
    QComboBox *resolution = comboBox(preferences, videoMaxResolution,
        {{QStringLiteral("No limit"), QLatin1String("unlimited")}, {QStringLiteral("1440p"), QLatin1String("p1440")},
            {QStringLiteral("1080p"), QLatin1String("p1080")}, {QStringLiteral("720p"), QLatin1String("p720")}},
        compression);
    resolution->setObjectName(QStringLiteral("videoMaxResolution"));
    form->addRow(QStringLiteral("&Quality:"), quality);
    form->addRow(QStringLiteral("C&odec:"), codec);
    form->addRow(QStringLiteral("Maximum &resolution:"), resolution);
    form->addRow(
        PreferenceControls::note(QStringLiteral("MP4, 30 fps, no audio. A 10–20 second UI clip is usually 1–5 MB. "
                                                "HEVC makes smaller files; H.264 plays everywhere."),
            compression));

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(actions);
    layout->addWidget(recording);
    layout->addWidget(compression);
    layout->addStretch();
}
