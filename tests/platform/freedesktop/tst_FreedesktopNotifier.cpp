#include "EmptySessionBus.h"
#include "FreedesktopNotifier.h"
#include "MediaThumbnailer.h"
#include "SessionTools.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

// Runs against dunst on the harness's private bus. What Qorvel sent is read from the harness's
// bus monitor, and clicks go through dunst's own context menu, so ActionInvoked comes from the
// server as it would on a desktop.
namespace {

MediaThumbnailer thumbnailer;

constexpr char probeVariable[] = "QORVEL_NOTIFIER_PROBE";

using Picture = decltype(NotificationRequest::thumbnail);

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

// Left half red, right half blue: the thumbnail shows whether it kept sides and channels.
Bitmap twoColourBitmap(QSize size, Bitmap::Alpha alpha = Bitmap::Alpha::ignored)
{
    Bitmap bitmap = Bitmap::allocate(size, alpha);
    for (int y = 0; y < size.height(); ++y) {
        auto *row = reinterpret_cast<quint32 *>(bitmap.bits() + y * bitmap.bytesPerLine());
        for (int x = 0; x < size.width(); ++x)
            row[x] = x < size.width() / 2 ? 0xffff0000u : 0xff0000ffu;
    }
    return bitmap;
}

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

    QJsonObject hints() const { return arguments.at(6).toObject(); }
    QString thumbnail() const
    {
        return hints().value(QLatin1String("image-path")).toObject().value(QLatin1String("data")).toString();
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

// Runs in a child process whose session bus has no notification server, or is not there at
// all. Posts a success, then a failure, both with a thumbnail, and prints what reached the
// handlers and how many thumbnail files are left in the folder named by the probe variable.
int runProbe(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString folder = qEnvironmentVariable(probeVariable);
    Observed observed;
    {
        FreedesktopNotifier notifier(QDBusConnection::sessionBus(), observed.handlers(), thumbnailer, nullptr, folder);
        notifier.post({QStringLiteral("Screenshot uploaded"), QStringLiteral("Link copied"),
            NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/abc123.png"))),
            twoColourBitmap({40, 30}), false});
        notifier.post({QStringLiteral("Couldn't upload <shot>"), QStringLiteral("The request timed out.\nTry again."),
            std::nullopt, twoColourBitmap({40, 30}), true});
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
        // A recording whose first frame is red on the left and blue on the right.
        QCOMPARE(QProcess::execute(QStringLiteral("ffmpeg"),
                     QStringLiteral("-loglevel error -f lavfi -i "
                                    "color=c=blue:s=1280x720:d=0.2,drawbox=w=640:h=720:color=red:t=fill "
                                    "-c:v libx264 -pix_fmt yuv420p")
                             .split(u' ')
                         << m_dir.filePath(QStringLiteral("Recording.mp4"))),
            0);
    }

    // Every case starts with an empty screen, so dunst's menu and counts see one notification.
    void init()
    {
        dunstctl({QStringLiteral("close-all")});
        QTRY_COMPARE(displayedCount(), 0);
    }

    // Each row checks the whole Notify call and, when one is sent, the thumbnail file and its end
    // with the notifier.
    void posts_data()
    {
        QTest::addColumn<NotificationRequest>("request");
        QTest::addColumn<QString>("sentBody");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QSize>("thumbnail"); // invalid: none sent

        const auto request = [](const char *title, const char *body, std::optional<NotificationAction> action,
                                 Picture picture, bool failure = false) {
            return NotificationRequest{QString::fromUtf8(title), QString::fromUtf8(body), action, picture, failure};
        };
        const QString saved = m_dir.filePath(QStringLiteral("Saved.png"));
        QTest::newRow("uploaded, markup in the body, wide picture scaled down")
            << request("Screenshot uploaded", "Link <b>copied</b> & ready\nsecond line",
                   NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/abc123.png"))),
                   twoColourBitmap({4000, 1000}))
            << QStringLiteral("Link &lt;b&gt;copied&lt;/b&gt; &amp; ready\nsecond line")
            << QStringLiteral("default,Open Link,open,Open Link").split(u',') << QSize(512, 128);
        QTest::newRow("saved, small picture kept")
            << request(
                   "Screenshot saved", "Saved.png", NotificationAction::revealFile(saved), twoColourBitmap({300, 200}))
            << QStringLiteral("Saved.png") << QStringLiteral("default,Show in Folder,reveal,Show in Folder").split(u',')
            << QSize(300, 200);
        QTest::newRow("failure, translucent window")
            << request(
                   "Couldn't upload", "Timed out.", {}, twoColourBitmap({800, 600}, Bitmap::Alpha::premultiplied), true)
            << QStringLiteral("Timed out.") << QStringList{} << QSize(512, 384);
        QTest::newRow("recording, first frame")
            << request("Recording saved", "", {}, m_dir.filePath(QStringLiteral("Recording.mp4"))) << QString()
            << QStringList{} << QSize(512, 288);
        QTest::newRow("recording gone") << request(
            "Recording saved", "", {}, m_dir.filePath(QStringLiteral("Moved.mp4")))
                                        << QString() << QStringList{} << QSize();
    }
    void posts()
    {
        QFETCH(NotificationRequest, request);
        QFETCH(QString, sentBody);
        QFETCH(QStringList, actions);
        QFETCH(QSize, thumbnail);

        Observed observed;
        auto notifier = std::make_unique<FreedesktopNotifier>(
            QDBusConnection::sessionBus(), observed.handlers(), thumbnailer, nullptr, thumbnailFolder());
        const std::optional<NotifyCall> posted = postAndWait(*notifier, request);
        QVERIFY(posted); // dunst took it and answered with an id
        const QString path = posted->thumbnail();

        // The whole call at once, so that a hint too many fails as well as one missing.
        const auto hint = [](const char *type, const QJsonValue &value) {
            return QJsonObject{{QStringLiteral("type"), QLatin1String(type)}, {QStringLiteral("data"), value}};
        };
        QJsonObject hints{{QStringLiteral("desktop-entry"), hint("s", QStringLiteral("com.vostrink.qorvel"))},
            {QStringLiteral("urgency"), hint("y", 1)}};
        if (request.failure)
            hints.insert(QStringLiteral("sound-name"), hint("s", QStringLiteral("dialog-warning")));
        else
            hints.insert(QStringLiteral("suppress-sound"), hint("b", true));
        if (thumbnail.isValid())
            hints.insert(QStringLiteral("image-path"), hint("s", path));
        QCOMPARE(posted->arguments,
            (QJsonArray{QStringLiteral("Qorvel"), 0, QStringLiteral("com.vostrink.qorvel"), request.title, sentBody,
                QJsonArray::fromStringList(actions), hints, -1}));
        QVERIFY(observed.opened.isEmpty() && observed.revealed.isEmpty() && observed.alerts.isEmpty());
        if (!thumbnail.isValid()) {
            QVERIFY(QDir(thumbnailFolder()).isEmpty());
            return;
        }

        QCOMPARE(QFileInfo(path).path(), thumbnailFolder()); // absolute, as servers need it
        // 0600: other users on the machine may not read a picture of the screen.
        QCOMPARE(QFileInfo(path).permissions(),
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);
        const QImage image(path, "PNG");
        QCOMPARE(image.size(), thumbnail);
        QVERIFY(!image.hasAlphaChannel());
        // Sides and channels kept: red on the left, blue on the right.
        const QRgb left = image.pixel(2, thumbnail.height() / 2);
        const QRgb right = image.pixel(thumbnail.width() - 3, thumbnail.height() / 2);
        QVERIFY(qRed(left) > 247 && qBlue(left) < 8 && qRed(right) < 8 && qBlue(right) > 247);

        // Closing removes it too, which clickRunsTheAction waits for.
        notifier.reset();
        QCOMPARE(displayedCount(), 1); // still on screen, yet the file must not outlive Qorvel
        QVERIFY(QDir(thumbnailFolder()).isEmpty());
    }

    void clickRunsTheAction_data()
    {
        QTest::addColumn<NotificationAction>("action");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("runs");

        const auto link = NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/x1y2z3.png")));
        const auto saved = NotificationAction::revealFile(m_dir.filePath(QStringLiteral("Saved.png")));
        QTest::newRow("link, button") << link << QStringLiteral("open") << true;
        QTest::newRow("saved file, button") << saved << QStringLiteral("reveal") << true;
        QTest::newRow("saved file, notification clicked") << saved << QStringLiteral("default") << true;
        QTest::newRow("saved file deleted since")
            << NotificationAction::revealFile(m_dir.filePath(QStringLiteral("Deleted.png"))) << QStringLiteral("reveal")
            << false;
    }
    void clickRunsTheAction()
    {
        QFETCH(NotificationAction, action);
        QFETCH(QString, key);
        QFETCH(bool, runs);

        Observed observed;
        FreedesktopNotifier notifier(
            QDBusConnection::sessionBus(), observed.handlers(), thumbnailer, nullptr, thumbnailFolder());
        const std::optional<NotifyCall> posted
            = postAndWait(notifier, {QStringLiteral("Done"), QString(), action, twoColourBitmap({64, 48})});
        QVERIFY(posted);
        QVERIFY(QFileInfo::exists(posted->thumbnail()));

        QVERIFY(invokeThroughDunst(posted->id, key));
        QVERIFY(closeUntilRemoved(posted->thumbnail())); // the close follows the action

        const bool open = action.kind == NotificationAction::Kind::openUrl;
        QCOMPARE(observed.opened, runs && open ? QList<QUrl>{action.url} : QList<QUrl>{});
        QCOMPARE(observed.revealed, runs && !open ? QStringList{action.url.toLocalFile()} : QStringList{});
        QVERIFY(observed.alerts.isEmpty());
    }

    void withoutServer_data()
    {
        QTest::addColumn<bool>("withBus");
        QTest::newRow("bus without a notification server") << true; // ServiceUnknown
        QTest::newRow("no session bus") << false; // Disconnected
    }
    void withoutServer()
    {
        QFETCH(bool, withBus);

        const EmptySessionBus bus(withBus);
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
