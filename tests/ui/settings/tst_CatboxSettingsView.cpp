#include "CatboxSettingsView.h"
#include "CatboxUploader.h"
#include "SecretServiceStore.h"
#include "TestFiles.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString userhash = QStringLiteral("testhash0123456789");

// The pane hands links to the clipboard; an offscreen session has no desktop clipboard to read.
class RecordingClipboard : public Clipboard
{
public:
    QList<QUrl> links;
    void setLink(const QUrl &link) override { links << link; }
    void setImage(const Bitmap &, double) override { }
    void setFile(const QString &) override { }
};

} // namespace

// The pane against the session's keyring and the Catbox stand-in.
class tst_CatboxSettingsView : public QObject
{
    Q_OBJECT

    QNetworkAccessManager m_network;
    SecretServiceStore m_secrets;
    RecordingClipboard m_clipboard;
    QTemporaryDir m_temporary;
    const QString m_stub = qEnvironmentVariable("CATBOX_STUB_DIR");
    std::unique_ptr<UploadHistory> m_history;
    std::unique_ptr<UploadRemoval> m_removal;
    std::unique_ptr<CatboxSettingsView> m_view;

    Result<std::unique_ptr<Uploader>> makeUploader(std::optional<QString> account)
    {
        CatboxUploader::Options options;
        options.endpoint = QUrl(qEnvironmentVariable("QORVEL_CATBOX_ENDPOINT"));
        return std::unique_ptr<Uploader>(std::make_unique<CatboxUploader>(m_network, std::move(account), options));
    }

    void openView()
    {
        m_history = std::make_unique<UploadHistory>(m_secrets);
        m_removal
            = std::make_unique<UploadRemoval>(*m_history, [this]() { return makeUploader(readUserhash(m_secrets)); });
        m_view = std::make_unique<CatboxSettingsView>(CatboxSettingsView::Services{m_secrets, m_history.get(),
            m_removal.get(), [this](std::optional<QString> account) { return makeUploader(std::move(account)); },
            m_clipboard, m_temporary.path()});
        m_view->show();
    }

    template <typename T = QAbstractButton> T *child(const char *name) const
    {
        return m_view->findChild<T *>(QLatin1String(name));
    }
    QString label(const char *name) const { return child<QLabel>(name)->text(); }

    QByteArray storedUserhash()
    {
        const Result<std::optional<QByteArray>> read = m_secrets.read(QLatin1String(SecretAccounts::userhash));
        return read ? read->value_or("<none>") : "<error: " + read.error().message.toUtf8() + '>';
    }

    QStringList stubFiles() const { return QDir(m_stub + QLatin1String("/files")).entryList(QDir::Files); }

    // A file uploaded with the account, as a capture would have been.
    UploadResult uploadWithAccount()
    {
        std::optional<Result<UploadResult>> result;
        const QString path = writeTestFile(m_temporary.filePath(QStringLiteral("shot.png")), "png");
        makeUploader(userhash).value()->upload(path, {}, [&result](Result<UploadResult> done) { result = done; });
        if (!QTest::qWaitFor([&result] { return result.has_value(); }, 30'000) || !*result)
            qFatal("the stand-in did not take the file");
        QFile::remove(path);
        return result->value();
    }

    static QMessageBox *openQuestion()
    {
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (auto *box = qobject_cast<QMessageBox *>(window); box && box->isVisible())
                return box;
        }
        return nullptr;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY2(!m_stub.isEmpty(), "run under qorvel-session --dbus --keyring --catbox"); }

    void init()
    {
        QVERIFY(m_secrets.write(std::nullopt, QLatin1String(SecretAccounts::userhash)).ok());
        QVERIFY(m_secrets.write(std::nullopt, QLatin1String(SecretAccounts::uploadHistory)).ok());
        QFile::remove(QDir(m_stub).filePath(QStringLiteral("fault")));
        m_clipboard.links.clear();
    }

    void cleanup()
    {
        m_view.reset();
        m_removal.reset();
        m_history.reset();
    }

    void savesUserhash_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QString>("status");
        QTest::newRow("pasted with spaces and a line break")
            << QStringLiteral("  testhash0123456789\n") << userhash.toUtf8()
            << QStringLiteral("Saved. New uploads will belong to your account.");
        QTest::newRow("only spaces") << QStringLiteral("   ") << QByteArray("<none>")
                                     << QStringLiteral("Userhash removed: uploads will be anonymous.");
    }
    void savesUserhash()
    {
        QFETCH(QString, typed);
        QFETCH(QByteArray, stored);
        QFETCH(QString, status);
        QVERIFY(m_secrets.write(QByteArray("previous"), QLatin1String(SecretAccounts::userhash)).ok());
        openView();
        auto *field = child<QLineEdit>("userhashField");
        QCOMPARE(field->text(), QStringLiteral("previous"));

        field->setText(typed);
        child("saveUserhash")->click();
        QCOMPARE(storedUserhash(), stored);
        QCOMPARE(label("accountStatus"), status);
    }

    void testUpload_data()
    {
        QTest::addColumn<bool>("withAccount");
        QTest::newRow("anonymous") << false;
        QTest::newRow("with the account") << true;
    }
    // The test file never enters the history, and its picture never stays behind.
    void testUpload()
    {
        QFETCH(bool, withAccount);
        if (withAccount)
            QVERIFY(m_secrets.write(userhash.toUtf8(), QLatin1String(SecretAccounts::userhash)).ok());
        openView();
        const QStringList before = stubFiles();
        QAbstractButton *button = child("testUpload");
        button->click();
        QVERIFY(!button->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), 30'000);

        if (withAccount) {
            QCOMPARE(label("testResult"),
                QStringLiteral("Works. The test file was uploaded to your account and deleted right away."));
            QCOMPARE(stubFiles(), before);
        } else {
            const QString prefix = QStringLiteral("Works. The test file was uploaded anonymously: ");
            QVERIFY2(label("testResult").startsWith(prefix), qPrintable(label("testResult")));
            const QString name = QUrl(label("testResult").mid(prefix.size())).fileName();
            QVERIFY(stubFiles().contains(name));
            const QImage sent(QDir(m_stub).filePath(QLatin1String("files/") + name));
            QCOMPARE(sent.size(), QSize(64, 64));
            QCOMPARE(sent.pixelColor(0, 0), QColor(0xFF, 0x95, 0x00));
            QCOMPARE(sent.pixelColor(32, 32), QColor(Qt::white));
        }
        QVERIFY(m_history->records().isEmpty());
        QCOMPARE(QDir(m_temporary.path()).entryList(QDir::Files), QStringList());
    }

    void deleteFromHistory_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QString>("error"); // empty: the deletion succeeds
        QTest::newRow("deleted") << QByteArray() << QString();
        QTest::newRow("rate limited") << QByteArray(
            "429\n\n") << QStringLiteral("Catbox is temporarily limiting uploads. Try again in a moment.");
    }
    void deleteFromHistory()
    {
        QFETCH(QByteArray, fault);
        QFETCH(QString, error);
        QVERIFY(m_secrets.write(userhash.toUtf8(), QLatin1String(SecretAccounts::userhash)).ok());
        const UploadResult uploaded = uploadWithAccount();
        openView();
        m_history->add(UploadRecord::fromResult(uploaded, UploadKind::image, QDateTime::currentDateTimeUtc()));
        child("copyLink")->click();
        QCOMPARE(m_clipboard.links, QList<QUrl>{uploaded.url});

        if (!fault.isEmpty())
            writeTestFile(QDir(m_stub).filePath(QStringLiteral("fault")), fault);
        child("deleteUpload")->click();
        QMessageBox *question = openQuestion();
        QVERIFY(question);
        QCOMPARE(question->text(), QStringLiteral("Delete this file from Catbox?"));
        const QList<QAbstractButton *> answers = question->buttons();
        const auto confirm = std::find_if(answers.cbegin(), answers.cend(),
            [](const QAbstractButton *answer) { return answer->text() == QLatin1String("Delete"); });
        QVERIFY(confirm != answers.cend());
        (*confirm)->click();

        if (error.isEmpty()) {
            QTRY_VERIFY_WITH_TIMEOUT(m_history->records().isEmpty(), 30'000);
            QVERIFY(!child("deleteUpload"));
            QVERIFY(!stubFiles().contains(uploaded.remoteName));
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(label("historyError"), error, 30'000);
            QCOMPARE(m_history->records().size(), 1);
            QTRY_VERIFY(child("deleteUpload")->isEnabled());
            QVERIFY(stubFiles().contains(uploaded.remoteName));
        }
    }
};

QTEST_MAIN(tst_CatboxSettingsView)
#include "tst_CatboxSettingsView.moc"
