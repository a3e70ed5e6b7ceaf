#include "EmptySessionBus.h"
#include "FreedesktopNotifier.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
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
// bus monitor (every argument and hint), what dunst made of it from `dunstctl`, and clicks go
// through dunst's own context menu, so ActionInvoked comes from the server as it would on a
// desktop.
namespace {

constexpr char probeVariable[] = "QORVEL_NOTIFIER_PROBE";

enum ActionKind { noAction, openLink, revealFile };

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

// One Notify call this process made, as the bus monitor saw it, with the id dunst answered.
struct NotifyCall
{
    QJsonArray arguments; // app_name, replaces_id, app_icon, summary, body, actions, hints, expire_timeout
    uint id = 0;

    QJsonObject hints() const { return arguments.at(6).toObject(); }
    QJsonValue hint(const QString &name) const { return hints().value(name).toObject().value(QLatin1String("data")); }
};

QList<QJsonObject> monitoredMessages()
{
    QFile log(qEnvironmentVariable("QORVEL_SESSION_NOTIFICATIONS_LOG"));
    QList<QJsonObject> messages;
    if (!log.open(QIODevice::ReadOnly))
        return messages;
    for (const QByteArray &line : log.readAll().split('\n')) {
        if (!line.trimmed().isEmpty())
            messages << QJsonDocument::fromJson(line).object();
    }
    return messages;
}

QList<NotifyCall> notifyCalls()
{
    const QString self = QDBusConnection::sessionBus().baseService();
    QList<NotifyCall> calls;
    QHash<qint64, qsizetype> byCookie;
    for (const QJsonObject &message : monitoredMessages()) {
        const QString type = message.value(QLatin1String("type")).toString();
        if (type == QLatin1String("method_call") && message.value(QLatin1String("sender")).toString() == self
            && message.value(QLatin1String("member")).toString() == QLatin1String("Notify")) {
            byCookie.insert(message.value(QLatin1String("cookie")).toInteger(), calls.size());
            calls.append({message.value(QLatin1String("payload")).toObject().value(QLatin1String("data")).toArray()});
        } else if (type == QLatin1String("method_return")
            && message.value(QLatin1String("destination")).toString() == self) {
            const auto call = byCookie.constFind(message.value(QLatin1String("reply_cookie")).toInteger());
            if (call != byCookie.cend()) {
                const QJsonArray data
                    = message.value(QLatin1String("payload")).toObject().value(QLatin1String("data")).toArray();
                calls[*call].id = uint(data.at(0).toInteger());
            }
        }
    }
    return calls;
}

// Whether the server has sent `member` (ActionInvoked, NotificationClosed) for notification `id`.
bool serverSignalled(const QString &member, uint id)
{
    for (const QJsonObject &message : monitoredMessages()) {
        if (message.value(QLatin1String("type")).toString() == QLatin1String("signal")
            && message.value(QLatin1String("member")).toString() == member
            && message.value(QLatin1String("payload"))
                    .toObject()
                    .value(QLatin1String("data"))
                    .toArray()
                    .at(0)
                    .toInteger()
                == id)
            return true;
    }
    return false;
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

// Closes what dunst shows. close-all passes over a notification that is still on its way to
// the screen, which under load it can be for a moment after Notify has answered.
bool closeAllShown()
{
    if (!QTest::qWaitFor([] { return displayedCount() > 0; }, 10000))
        return false;
    dunstctl({QStringLiteral("close-all")});
    return true;
}

// dunst's history entry for `id`: the field name → its value.
QJsonObject historyEntry(uint id)
{
    const QJsonArray entries = QJsonDocument::fromJson(dunstctl({QStringLiteral("history")}))
                                   .object()
                                   .value(QLatin1String("data"))
                                   .toArray()
                                   .at(0)
                                   .toArray();
    for (const QJsonValue &entry : entries) {
        QJsonObject fields;
        const QJsonObject object = entry.toObject();
        for (auto field = object.begin(); field != object.end(); ++field)
            fields.insert(field.key(), field.value().toObject().value(QLatin1String("data")));
        if (fields.value(QLatin1String("id")).toInteger() == id)
            return fields;
    }
    return {};
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
    return QTest::qWaitFor([id] { return serverSignalled(QStringLiteral("ActionInvoked"), id); }, 10000);
}

QString escapeForOutput(QString text)
{
    return text.replace(u'\\', QLatin1String("\\\\")).replace(u'\n', QLatin1String("\\n"));
}

// Runs in a child process whose session bus has no notification server, or is not there at
// all. Posts a success, then a failure, both with a thumbnail, and prints what reached the
// handlers and how many thumbnail files are left in the folder named by the probe variable.
int runProbe()
{
    int argc = 1;
    char name[] = "probe";
    char *argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    const QString folder = qEnvironmentVariable(probeVariable);
    Observed observed;
    QElapsedTimer timer;
    {
        FreedesktopNotifier notifier(QDBusConnection::sessionBus(), observed.handlers(), folder);
        timer.start();
        notifier.post({QStringLiteral("Screenshot uploaded"), QStringLiteral("Link copied"),
            NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/abc123.png"))),
            twoColourBitmap({40, 30}), false});
        notifier.post({QStringLiteral("Couldn't upload <shot>"), QStringLiteral("The request timed out.\nTry again."),
            std::nullopt, twoColourBitmap({40, 30}), true});
        (void)QTest::qWaitFor([&observed] { return !observed.alerts.isEmpty(); }, 30000);
        std::printf("ms\t%lld\n", static_cast<long long>(timer.elapsed()));
    }
    for (const QStringList &alert : std::as_const(observed.alerts))
        std::printf(
            "alert\t%s\t%s\n", qPrintable(escapeForOutput(alert.at(0))), qPrintable(escapeForOutput(alert.at(1))));
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
        // A recording whose first frame is red on the left and blue on the right.
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"),
            {QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                QStringLiteral("-i"),
                QStringLiteral("color=c=blue:s=1280x720:d=0.2,drawbox=w=640:h=720:color=red:t=fill"),
                QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-pix_fmt"),
                QStringLiteral("yuv420p"), m_dir.filePath(QStringLiteral("Recording.mp4"))});
        QVERIFY(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);
    }

    // Every case starts with an empty screen, so dunst's menu and counts see one notification.
    void init()
    {
        dunstctl({QStringLiteral("close-all")});
        QTRY_COMPARE(displayedCount(), 0);
    }

    void postsWhatServersRead_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::addColumn<int>("action");
        QTest::addColumn<bool>("failure");
        QTest::addColumn<QString>("sentBody");
        QTest::addColumn<QStringList>("actions");

        QTest::newRow("uploaded, with markup characters in the body")
            << QStringLiteral("Screenshot uploaded") << QStringLiteral("Link <b>copied</b> & ready\nsecond line")
            << int(openLink) << false << QStringLiteral("Link &lt;b&gt;copied&lt;/b&gt; &amp; ready\nsecond line")
            << QStringList{QStringLiteral("default"), QStringLiteral("Open Link"), QStringLiteral("open"),
                   QStringLiteral("Open Link")};
        QTest::newRow("saved") << QStringLiteral("Screenshot saved") << QStringLiteral("Screenshot 1.png")
                               << int(revealFile) << false << QStringLiteral("Screenshot 1.png")
                               << QStringList{QStringLiteral("default"), QStringLiteral("Show in Folder"),
                                      QStringLiteral("reveal"), QStringLiteral("Show in Folder")};
        QTest::newRow("failure") << QStringLiteral("Couldn't upload the screenshot")
                                 << QStringLiteral("The request timed out.") << int(noAction) << true
                                 << QStringLiteral("The request timed out.") << QStringList{};
    }
    void postsWhatServersRead()
    {
        QFETCH(QString, title);
        QFETCH(QString, body);
        QFETCH(int, action);
        QFETCH(bool, failure);
        QFETCH(QString, sentBody);
        QFETCH(QStringList, actions);

        Observed observed;
        FreedesktopNotifier notifier(QDBusConnection::sessionBus(), observed.handlers(), thumbnailFolder());
        NotificationRequest request{title, body, std::nullopt, {}, failure};
        if (action == openLink)
            request.action = NotificationAction::openUrl(QUrl(QStringLiteral("https://files.catbox.moe/abc123.png")));
        else if (action == revealFile)
            request.action = NotificationAction::revealFile(m_dir.filePath(QStringLiteral("Screenshot 1.png")));
        const std::optional<NotifyCall> posted = postAndWait(notifier, request);
        QVERIFY(posted);

        // The whole call at once, so that a hint too many fails as well as one missing.
        const auto hint = [](const char *type, const QJsonValue &value) {
            return QJsonObject{{QStringLiteral("type"), QLatin1String(type)}, {QStringLiteral("data"), value}};
        };
        QJsonObject hints{{QStringLiteral("desktop-entry"), hint("s", QStringLiteral("com.vostrink.qorvel"))},
            {QStringLiteral("urgency"), hint("y", 1)}};
        if (failure)
            hints.insert(QStringLiteral("sound-name"), hint("s", QStringLiteral("dialog-warning")));
        else
            hints.insert(QStringLiteral("suppress-sound"), hint("b", true));
        QCOMPARE(posted->arguments,
            (QJsonArray{QStringLiteral("Qorvel"), 0, QStringLiteral("com.vostrink.qorvel"), title, sentBody,
                QJsonArray::fromStringList(actions), hints, -1}));

        // dunst took all of it: history holds closed notifications only.
        QVERIFY(closeAllShown());
        QTRY_VERIFY_WITH_TIMEOUT(!historyEntry(posted->id).isEmpty(), 15000);
        const QJsonObject shown = historyEntry(posted->id);
        QCOMPARE(shown.value(QLatin1String("appname")).toString(), QStringLiteral("Qorvel"));
        QCOMPARE(shown.value(QLatin1String("summary")).toString(), title);
        QCOMPARE(shown.value(QLatin1String("body")).toString(), sentBody);
        QVERIFY(observed.opened.isEmpty() && observed.revealed.isEmpty() && observed.alerts.isEmpty());
    }

    void clickRunsTheAction_data()
    {
        QTest::addColumn<int>("action");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("fileExists");
        QTest::addColumn<bool>("handled");

        QTest::newRow("link, button") << int(openLink) << QStringLiteral("open") << true << true;
        QTest::newRow("link, notification clicked") << int(openLink) << QStringLiteral("default") << true << true;
        QTest::newRow("saved file, button") << int(revealFile) << QStringLiteral("reveal") << true << true;
        QTest::newRow("saved file, notification clicked")
            << int(revealFile) << QStringLiteral("default") << true << true;
        QTest::newRow("saved file deleted since") << int(revealFile) << QStringLiteral("reveal") << false << false;
    }
    void clickRunsTheAction()
    {
        QFETCH(int, action);
        QFETCH(QString, key);
        QFETCH(bool, fileExists);
        QFETCH(bool, handled);

        const QUrl link(QStringLiteral("https://files.catbox.moe/x1y2z3.png"));
        const QString file
            = m_dir.filePath(QStringLiteral("Screenshot %1.png").arg(QString::fromUtf8(QTest::currentDataTag())));
        if (fileExists) {
            QFile saved(file);
            QVERIFY(saved.open(QIODevice::WriteOnly));
        }
        Observed observed;
        FreedesktopNotifier notifier(QDBusConnection::sessionBus(), observed.handlers(), thumbnailFolder());
        // The thumbnail tells when the notifier has seen the notification closed, which the
        // server signals after the action.
        const std::optional<NotifyCall> posted = postAndWait(notifier,
            {QStringLiteral("Done"), QString(),
                action == openLink ? NotificationAction::openUrl(link) : NotificationAction::revealFile(file),
                twoColourBitmap({64, 48}), false});
        QVERIFY(posted);
        const QString thumbnail = posted->hint(QStringLiteral("image-path")).toString();
        QVERIFY(QFileInfo::exists(thumbnail));

        QVERIFY(invokeThroughDunst(posted->id, key));
        dunstctl({QStringLiteral("close-all")});
        QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(thumbnail), 15000);

        const QList<QUrl> opened = action == openLink && handled ? QList<QUrl>{link} : QList<QUrl>{};
        const QStringList revealed = action == revealFile && handled ? QStringList{file} : QStringList{};
        QCOMPARE(observed.opened, opened);
        QCOMPARE(observed.revealed, revealed);
        QVERIFY(observed.alerts.isEmpty());
    }

    void thumbnail_data()
    {
        QTest::addColumn<QVariant>("picture"); // Bitmap, or a recording's path
        QTest::addColumn<QSize>("expected"); // invalid: no picture sent

        QTest::newRow("wide, scaled down") << QVariant::fromValue(twoColourBitmap({4000, 1000})) << QSize(512, 128);
        QTest::newRow("small, kept") << QVariant::fromValue(twoColourBitmap({300, 200})) << QSize(300, 200);
        QTest::newRow("tall, scaled down") << QVariant::fromValue(twoColourBitmap({1000, 4000})) << QSize(128, 512);
        QTest::newRow("translucent window")
            << QVariant::fromValue(twoColourBitmap({800, 600}, Bitmap::Alpha::premultiplied)) << QSize(512, 384);
        QTest::newRow("recording, first frame")
            << QVariant(m_dir.filePath(QStringLiteral("Recording.mp4"))) << QSize(512, 288);
        QTest::newRow("recording gone") << QVariant(m_dir.filePath(QStringLiteral("Moved.mp4"))) << QSize();
    }
    void thumbnail()
    {
        QFETCH(QVariant, picture);
        QFETCH(QSize, expected);

        Observed observed;
        FreedesktopNotifier notifier(QDBusConnection::sessionBus(), observed.handlers(), thumbnailFolder());
        NotificationRequest request{QStringLiteral("Screenshot saved"), QStringLiteral("thumbnail"), std::nullopt, {}};
        if (picture.canConvert<Bitmap>())
            request.thumbnail = picture.value<Bitmap>();
        else
            request.thumbnail = picture.toString();
        const std::optional<NotifyCall> posted = postAndWait(notifier, request);
        QVERIFY(posted);

        const QString path = posted->hint(QStringLiteral("image-path")).toString();
        if (!expected.isValid()) {
            QVERIFY(!posted->hints().contains(QLatin1String("image-path")));
            QVERIFY(QDir(thumbnailFolder()).isEmpty());
            return;
        }
        const QFileInfo file(path);
        QVERIFY(file.isAbsolute());
        QCOMPARE(file.absolutePath(), QDir(thumbnailFolder()).absolutePath());
        QVERIFY(file.fileName().startsWith(QLatin1String("qorvel-thumb-")));
        QCOMPARE(file.suffix(), QStringLiteral("png"));
        // 0600: other users on the machine may not read a picture of the screen.
        const QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup
            | QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
        QCOMPARE(file.permissions() & (others | QFileDevice::ExeOwner), QFileDevice::Permissions());

        const QImage image(path, "PNG");
        QCOMPARE(image.size(), expected);
        QVERIFY(!image.hasAlphaChannel());
        // Sides and channels kept: red on the left, blue on the right; a decoded video frame
        // is a little off.
        const int tolerance = picture.canConvert<Bitmap>() ? 0 : 8;
        const auto near = [tolerance](QRgb actual, QRgb wanted) {
            return std::abs(qRed(actual) - qRed(wanted)) <= tolerance
                && std::abs(qGreen(actual) - qGreen(wanted)) <= tolerance
                && std::abs(qBlue(actual) - qBlue(wanted)) <= tolerance;
        };
        QVERIFY(near(image.pixel(2, expected.height() / 2), qRgb(255, 0, 0)));
        QVERIFY(near(image.pixel(expected.width() - 3, expected.height() / 2), qRgb(0, 0, 255)));

        QVERIFY(closeAllShown());
        QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(path), 15000);
        QVERIFY(QDir(thumbnailFolder()).isEmpty());
    }

    void thumbnailsGoWithTheNotifier()
    {
        Observed observed;
        auto notifier = std::make_unique<FreedesktopNotifier>(
            QDBusConnection::sessionBus(), observed.handlers(), thumbnailFolder());
        const std::optional<NotifyCall> posted
            = postAndWait(*notifier, {QStringLiteral("Screenshot saved"), {}, std::nullopt, twoColourBitmap({64, 48})});
        QVERIFY(posted);
        const QString path = posted->hint(QStringLiteral("image-path")).toString();
        QVERIFY(QFileInfo::exists(path));

        notifier.reset();
        QCOMPARE(displayedCount(), 1); // still on screen, yet the file must not outlive Qorvel
        QVERIFY(!QFileInfo::exists(path));
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
        const QString thumbnails = dir.filePath(QStringLiteral("thumbnails"));
        QVERIFY(QDir().mkpath(thumbnails));
        const std::optional<QByteArray> output = bus.runProbe(probeVariable, thumbnails, 60000);
        QVERIFY(output);

        QList<QByteArray> lines = output->trimmed().split('\n');
        QVERIFY(!lines.isEmpty() && lines.first().startsWith("ms\t"));
        // The bus answers at once when nothing owns the name: no waiting for a time-out.
        QCOMPARE_LT(lines.takeFirst().mid(3).toInt(), 1000);
        // The failure alone, with its texts as given; the success is dropped; no file is left.
        QCOMPARE(lines,
            (QList<QByteArray>{"alert\tCouldn't upload <shot>\tThe request timed out.\\nTry again.", "files\t0"}));
    }
};

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet(probeVariable))
        return runProbe();
    QCoreApplication app(argc, argv);
    tst_FreedesktopNotifier test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_FreedesktopNotifier.moc"
