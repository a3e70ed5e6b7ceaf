#include "CatboxTestUploadRow.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QGridLayout>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QUuid>

#include <utility>

CatboxTestUploadRow::CatboxTestUploadRow(
    SecretStore &secrets, UploaderFactory makeUploader, QString temporaryFolder, QWidget *parent)
    : QWidget(parent)
    , m_secrets(secrets)
    , m_makeUploader(std::move(makeUploader))
    , m_temporaryFolder(std::move(temporaryFolder))
{
    m_button = new QPushButton(tr("Test Upload"), this);
    m_button->setObjectName(QStringLiteral("testUpload"));

    auto *explanation = new QLabel(
        tr("Uploads a small 64×64 test image. Without an account it stays on Catbox as an anonymous file."), this);
    explanation->setWordWrap(true);

    m_result = new QLabel(this);
    m_result->setObjectName(QStringLiteral("testResult"));
    m_result->setWordWrap(true);
    m_result->setTextFormat(Qt::PlainText);
    m_result->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_result->hide();

    auto *layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_button, 0, 0, Qt::AlignTop);
    layout->addWidget(explanation, 0, 1);
    layout->addWidget(m_result, 1, 1);
    layout->setColumnStretch(1, 1);

    connect(m_button, &QPushButton::clicked, this, &CatboxTestUploadRow::start);
}

void CatboxTestUploadRow::start()
{
    Result<std::unique_ptr<Uploader>> made = m_makeUploader(readUserhash(m_secrets));
    if (!made) {
        finish(tr("Failed: ") + made.error().message);
        return;
    }
    const Result<QString> image = writeTestImage();
    if (!image) {
        finish(tr("Failed: ") + image.error().message);
        return;
    }
    m_uploader = std::move(made).value();
    m_button->setEnabled(false);
    m_result->hide();
    // The request outlives the uploader and this row; the picture is removed all the same.
    QPointer<CatboxTestUploadRow> guard(this);
    m_uploader->upload(*image, {}, [this, guard, path = *image](const Result<UploadResult> &result) {
        QFile::remove(path);
        if (guard)
            uploaded(result);
    });
}

Result<QString> CatboxTestUploadRow::writeTestImage() const
{
    QImage image(64, 64, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(0xFF, 0x95, 0x00));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(16, 16, 32, 32));
    painter.end();

    const QString name
        = QLatin1String("qorvel-test-") + QUuid::createUuid().toString(QUuid::WithoutBraces) + QLatin1String(".png");
    QFile file(QDir(m_temporaryFolder).filePath(name));
    // Exclusive: never into a file, or through a link, that someone else put there.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return Error{tr("Can't write the test image: %1").arg(file.errorString()), file.fileName()};
    if (!image.save(&file, "PNG")) {
        file.remove();
        return Error{tr("Can't write the test image: %1").arg(file.errorString()), file.fileName()};
    }
    return file.fileName();
}

void CatboxTestUploadRow::uploaded(const Result<UploadResult> &result)
{
    if (!result) {
        finish(tr("Failed: ") + result.error().message);
        return;
    }
    if (!result->deletable) {
        finish(tr("Works. The test file was uploaded anonymously: ") + result->url.toString());
        return;
    }
    // The account's file list should not fill up with test pictures.
    QPointer<CatboxTestUploadRow> guard(this);
    m_uploader->remove(result->remoteName, [this, guard](const Result<void> &removed) {
        if (!guard)
            return;
        if (removed)
            finish(tr("Works. The test file was uploaded to your account and deleted right away."));
        else
            finish(tr("Failed: ") + removed.error().message);
    });
}

void CatboxTestUploadRow::finish(const QString &text)
{
    m_result->setText(text);
    m_result->show();
    m_button->setEnabled(true);
}
