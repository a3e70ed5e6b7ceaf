#include "EmptySessionBus.h"
#include "FreedesktopNotifier.h"
#include "MediaThumbnailer.h"
#include "SessionTools.h"
#include "TestFiles.h"

#include <QDBusConnection>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// Runs against dunst on the harness's private bus. What Qorvel sent is read from the harness's
// bus monitor, and clicks go through dunst's own context menu, so ActionInvoked comes from the
// server as it would on a desktop.
namespace {

MediaThumbnailer thumbnailer;

struct Observed
{
    QList<QUrl> opened;
    QStringList revealed;
    QList<QStringList> alerts;

    FreedesktopNotifier::Handlers handlers()
    {
        return {
            [this](const QUrl &link) { opened.append(link); },
            [this](const QString &path) { revealed.append(path); },
            [this](const QString &title, const QString &body) {
                alerts.append({title, body});
            },
        };
    }
};

QByteArray dunstctl(const QString &command)
{
    QProcess process;
    process.start(QStringLiteral("dunstctl"), command.split(u' '));
    process.waitForFinished(10000);
    return process.readAllStandardOutput().trimmed();
}

int displayedCount()
{
    return dunstctl(QStringLiteral("count displayed")).toInt();
}

} // namespace

class tst_FreedesktopNotifier : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString thumbnailFolder() const { return m_dir.filePath(QStringLiteral("thumbnails")); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariable("QORVEL_SESSION_NOTIFICATIONS_LOG").isEmpty(),
            "run under qorvel-session --x11 --dbus --notifications");
        QVERIFY(QDir().mkpath(thumbnailFolder()));
        QVERIFY(QFile(m_dir.filePath(QStringLiteral("Saved.png"))).open(QIODevice::WriteOnly));
    }

    // Every case starts with an empty screen, so dunst's menu offers the one notification's actions.
    void init()
    {
        dunstctl(QStringLiteral("close-all"));
        QTRY_COMPARE(displayedCount(), 0);
    }

    void clickRunsTheAction_data()
    {
        QTest::addColumn<NotificationAction>("action");
        QTest::addColumn<QString>("key");

        const auto link = NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/x1y2z3.png")));
        const auto saved = NotificationAction::revealFile(m_dir.filePath(QStringLiteral("Saved.png")));
        QTest::newRow("link, button") << link << QStringLiteral("open");
        QTest::newRow("saved file, notification clicked") << saved << QStringLiteral("default");
    }
    void clickRunsTheAction()
    {
        QFETCH(NotificationAction, action);
        QFETCH(QString, key);

        Observed observed;
        FreedesktopNotifier notifier(
            QDBusConnection::sessionBus(), observed.handlers(), thumbnailer, nullptr, thumbnailFolder());
        const qsizetype before = notifyCalls().size();
        notifier.post({QStringLiteral("Done"), QStringLiteral("<b>shot</b> & co\nsecond line"), action,
            Bitmap::allocate({64, 48})});
        QTRY_VERIFY_WITH_TIMEOUT(notifyCalls().size() > before && displayedCount() == 1, 10000);
        const QJsonArray sent = notifyCalls().at(before);
        // Servers read the body as markup, so a "<" in a file name would hide the rest of it.
        QCOMPARE(sent.at(4).toString(), QStringLiteral("&lt;b&gt;shot&lt;/b&gt; &amp; co\nsecond line"));
        const QString thumbnail
            = sent.at(6).toObject()[QLatin1String("image-path")].toObject()[QLatin1String("data")].toString();
        QVERIFY(QFileInfo::exists(thumbnail));

        // Chosen in dunst's context menu, as a user would.
        writeTestFile(qEnvironmentVariable("QORVEL_SESSION_DIR") + QLatin1String("/dunst-pick"), key.toUtf8());
        dunstctl(QStringLiteral("context"));
        QTRY_VERIFY_WITH_TIMEOUT(!observed.opened.isEmpty() || !observed.revealed.isEmpty(), 10000);
        // The close follows the action, and the thumbnail must not outlive the notification.
        // Repeated: close-all passes over a notification that is still on its way to the screen.
        QVERIFY(QTest::qWaitFor(
            [&thumbnail] {
                dunstctl(QStringLiteral("close-all"));
                return !QFileInfo::exists(thumbnail);
            },
            15000));

        const bool open = action.kind == NotificationAction::Kind::openUrl;
        QCOMPARE(observed.opened, open ? QList<QUrl>{action.url} : QList<QUrl>{});
        QCOMPARE(observed.revealed, !open ? QStringList{action.url.toLocalFile()} : QStringList{});
        QVERIFY(observed.alerts.isEmpty());
    }

    // Without a notification server a failure still reaches the user, as an alert; a success is
    // dropped, and neither leaves its thumbnail behind.
    void withoutServer()
    {
        const EmptySessionBus empty(true);
        QVERIFY(empty.isReady());
        QDBusConnection bus = QDBusConnection::connectToBus(empty.address(), QStringLiteral("without server"));
        QVERIFY(bus.isConnected());
        QTemporaryDir folder;
        Observed observed;
        {
            FreedesktopNotifier notifier(bus, observed.handlers(), thumbnailer, nullptr, folder.path());
            notifier.post({QStringLiteral("Screenshot uploaded"), QStringLiteral("Link copied"),
                NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/abc123.png"))),
                Bitmap::allocate({40, 30})});
            notifier.post({QStringLiteral("Couldn't upload <shot>"),
                QStringLiteral("The request timed out.\nTry again."), std::nullopt, Bitmap::allocate({40, 30}), true});
            QTRY_VERIFY_WITH_TIMEOUT(notifier.isSettled(), 30000);
            QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList());
        }
        QDBusConnection::disconnectFromBus(bus.name());
        QCOMPARE(observed.alerts.size(), 1);
        QCOMPARE(observed.alerts.first(),
            (QStringList{
                QStringLiteral("Couldn't upload <shot>"), QStringLiteral("The request timed out.\nTry again.")}));
        QVERIFY(observed.opened.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_FreedesktopNotifier)
#include "tst_FreedesktopNotifier.moc"
