#include "EmptySessionBus.h"
#include "FreedesktopNotifier.h"
#include "MediaThumbnailer.h"
#include "SessionTools.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

// Runs against dunst on the harness's private bus. What Qorvel sent is read from the harness's
// bus monitor, and clicks go through dunst's own context menu, so ActionInvoked comes from the
// server as it would on a desktop.
namespace {

MediaThumbnailer thumbnailer;

constexpr char probeVariable[] = "QORVEL_NOTIFIER_PROBE";

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

QJsonValue field(const QJsonObject &message, const char *key)
{
    return message.value(QLatin1String(key));
}

QJsonArray payload(const QJsonObject &message)
{
    return field(message, "payload").toObject().value(QLatin1String("data")).toArray();
}

// One Notify call this process made, as the bus monitor saw it, with the id dunst answered.
struct NotifyCall
{
    QJsonArray arguments; // app_name, replaces_id, app_icon, summary, body, actions, hints, expire_timeout
    uint id = 0;

    QString thumbnail() const
    {
        return arguments.at(6)
            .toObject()
            .value(QLatin1String("image-path"))
            .toObject()
            .value(QLatin1String("data"))
            .toString();
    }
};

QList<NotifyCall> notifyCalls()
{
    const QString self = QDBusConnection::sessionBus().baseService();
    QList<NotifyCall> calls;
    QHash<qint64, qsizetype> byCookie;
    for (const QJsonObject &message : monitoredMessages()) {
        if (field(message, "sender").toString() == self && field(message, "member") == QLatin1String("Notify")) {
            byCookie.insert(field(message, "cookie").toInteger(), calls.size());
            calls.append({payload(message)});
        } else if (field(message, "type") == QLatin1String("method_return")
            && field(message, "destination").toString() == self) {
            const auto call = byCookie.constFind(field(message, "reply_cookie").toInteger());
            if (call != byCookie.cend())
                calls[*call].id = uint(payload(message).at(0).toInteger());
        }
    }
    return calls;
}

bool actionInvokedSignalled(uint id)
{
    const QList<QJsonObject> messages = monitoredMessages();
    return std::any_of(messages.cbegin(), messages.cend(), [id](const QJsonObject &message) {
        return field(message, "member") == QLatin1String("ActionInvoked") && payload(message).at(0).toInteger() == id;
    });
}

QByteArray dunstctl(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("dunstctl"), arguments);
    process.waitForFinished(10000);
    return process.readAllStandardOutput().trimmed();
}

int displayedCount()
{
    return dunstctl({QStringLiteral("count"), QStringLiteral("displayed")}).toInt();
}

// Closes what dunst shows until the thumbnail is gone, which tells that the notifier has seen
// the close. Repeated: close-all passes over a notification that is still on its way to the screen.
bool closeUntilRemoved(const QString &thumbnail)
{
    return QTest::qWaitFor(
        [&thumbnail] {
            dunstctl({QStringLiteral("close-all")});
            return !QFileInfo::exists(thumbnail);
        },
        15000);
}

// Posts and waits until dunst has answered with an id and shows the notification.
std::optional<NotifyCall> postAndWait(FreedesktopNotifier &notifier, const NotificationRequest &request)
{
    const qsizetype before = notifyCalls().size();
    notifier.post(request);
    std::optional<NotifyCall> posted;
    (void)QTest::qWaitFor(
        [&] {
            const QList<NotifyCall> calls = notifyCalls();
            if (calls.size() > before && calls.at(before).id != 0)
                posted = calls.at(before);
            return posted.has_value();
        },
        10000);
    if (posted && !QTest::qWaitFor([] { return displayedCount() >= 1; }, 10000))
        return std::nullopt;
    return posted;
}

// Chooses `key` of notification `id` in dunst's context menu, as a user would.
bool invokeThroughDunst(uint id, const QString &key)
{
    QFile pick(qEnvironmentVariable("QORVEL_SESSION_DIR") + QLatin1String("/dunst-pick"));
    if (!pick.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    pick.write(QStringLiteral("%1,%2\n").arg(id).arg(key).toUtf8());
    pick.close();
    dunstctl({QStringLiteral("context")});
    return QTest::qWaitFor([id] { return actionInvokedSignalled(id); }, 10000);
}

// Runs in a child process whose session bus has no notification server. Posts a success, then a failure, both with a
// thumbnail, and prints what reached the handlers and how many thumbnail files are left in the folder named by the
// probe variable.
int runProbe(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString folder = qEnvironmentVariable(probeVariable);
    Observed observed;
    {
        FreedesktopNotifier notifier(QDBusConnection::sessionBus(), observed.handlers(), thumbnailer, nullptr, folder);
        notifier.post({QStringLiteral("Screenshot uploaded"), QStringLiteral("Link copied"),
            NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/abc123.png"))),
            Bitmap::allocate({40, 30}), false});
        notifier.post({QStringLiteral("Couldn't upload <shot>"), QStringLiteral("The request timed out.\nTry again."),
            std::nullopt, Bitmap::allocate({40, 30}), true});
        (void)QTest::qWaitFor([&observed] { return !observed.alerts.isEmpty(); }, 30000);
    }
    for (const QStringList &alert : std::as_const(observed.alerts))
        std::printf(
            "alert\t%s\n", QJsonDocument(QJsonArray::fromStringList(alert)).toJson(QJsonDocument::Compact).data());
    for (const QUrl &link : std::as_const(observed.opened))
        std::printf("open\t%s\n", qPrintable(link.toString()));
    std::printf("files\t%lld\n", static_cast<long long>(QDir(folder).entryList(QDir::Files).size()));
    return 0;
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

    // Every case starts with an empty screen, so dunst's menu and counts see one notification.
    void init()
    {
        dunstctl({QStringLiteral("close-all")});
        QTRY_COMPARE(displayedCount(), 0);
    }

    // Servers read the body as markup, so a "<" in a file name would hide the rest of it.
    void escapesTheBody()
    {
        Observed observed;
        FreedesktopNotifier notifier(
            QDBusConnection::sessionBus(), observed.handlers(), thumbnailer, nullptr, thumbnailFolder());
        const std::optional<NotifyCall> posted = postAndWait(
            notifier, {QStringLiteral("Screenshot saved"), QStringLiteral("<b>shot</b> & co\nsecond line"), {}, {}});
        QVERIFY(posted);
        QCOMPARE(posted->arguments.at(4).toString(), QStringLiteral("&lt;b&gt;shot&lt;/b&gt; &amp; co\nsecond line"));
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
        const std::optional<NotifyCall> posted
            = postAndWait(notifier, {QStringLiteral("Done"), QString(), action, Bitmap::allocate({64, 48})});
        QVERIFY(posted);
        QVERIFY(QFileInfo::exists(posted->thumbnail()));

        QVERIFY(invokeThroughDunst(posted->id, key));
        // The close follows the action, and the thumbnail must not outlive the notification.
        QVERIFY(closeUntilRemoved(posted->thumbnail()));

        const bool open = action.kind == NotificationAction::Kind::openUrl;
        QCOMPARE(observed.opened, open ? QList<QUrl>{action.url} : QList<QUrl>{});
        QCOMPARE(observed.revealed, !open ? QStringList{action.url.toLocalFile()} : QStringList{});
        QVERIFY(observed.alerts.isEmpty());
    }

    // Without a notification server a failure still reaches the user, as an alert.
    void withoutServer()
    {
        const EmptySessionBus bus(true);
        QVERIFY(bus.isReady());
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const std::optional<QByteArray> output = bus.runProbe(probeVariable, dir.path(), 60000);
        QVERIFY(output);

        const QList<QByteArray> lines = output->trimmed().split('\n');
        // The failure alone, with its texts as given; the success is dropped; no file is left.
        QCOMPARE(lines,
            (QList<QByteArray>{
                "alert\t[\"Couldn't upload <shot>\",\"The request timed out.\\nTry again.\"]", "files\t0"}));
    }
};

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet(probeVariable))
        return runProbe(argc, argv);
    QCoreApplication app(argc, argv);
    tst_FreedesktopNotifier test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_FreedesktopNotifier.moc"
