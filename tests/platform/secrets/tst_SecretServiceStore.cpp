#include "EmptySessionBus.h"
#include "SecretServiceStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

constexpr char probeVariable[] = "QORVEL_SECRETS_PROBE";

const QString service = QStringLiteral("com.vostrink.qorvel.tests");

// An account of its own for every test and data row, so nothing one case stores reaches another.
QString accountName()
{
    const char *tag = QTest::currentDataTag();
    return QString::fromUtf8(QTest::currentTestFunction()) + u'/' + QString::fromUtf8(tag ? tag : "");
}

// What the store holds, with absence and failure spelled out so that a comparison shows them.
QByteArray readBack(SecretStore &store, const QString &account)
{
    const Result<std::optional<QByteArray>> read = store.read(account);
    if (!read)
        return "<error: " + read.error().message.toUtf8() + '>';
    return read->value_or("<none>");
}

QByteArray secretTool(const QString &command, const QString &account, const QByteArray &input = {})
{
    QProcess tool;
    tool.start(QStringLiteral("secret-tool"),
        command.split(u' ') + QStringList{QStringLiteral("service"), service, QStringLiteral("account"), account});
    tool.write(input);
    tool.closeWriteChannel();
    tool.waitForFinished(10000);
    return tool.readAllStandardOutput();
}

// The labels of every item the keyring holds for the account.
QList<QByteArray> labelsOf(const QString &account)
{
    QList<QByteArray> labels;
    for (const QByteArray &line : secretTool(QStringLiteral("search --all"), account).split('\n')) {
        if (line.startsWith("label = "))
            labels.append(line.mid(8));
    }
    return labels;
}

// Runs in a child process pointed at a bus without a Secret Service: one line per call, with the
// status, the milliseconds the call took and the message.
int runProbe()
{
    SecretServiceStore store(service);
    const QString account = QStringLiteral("probe");
    QElapsedTimer timer;
    timer.start();
    const auto report = [&timer](const auto &result) {
        const Error error = result ? Error{} : result.error();
        std::printf("%d\t%lld\t%s\n", SecretStore::status(error), static_cast<long long>(timer.restart()),
            error.message.toUtf8().constData());
    };
    report(store.read(account));
    report(store.write(QByteArray("value"), account));
    report(store.write(std::nullopt, account));
    return 0;
}

} // namespace

class tst_SecretServiceStore : public QObject
{
    Q_OBJECT

    SecretServiceStore m_store{service};

private Q_SLOTS:
    void roundTrip_data()
    {
        QTest::addColumn<QByteArray>("value");
        QByteArray history = QStringLiteral("{\"file\":\"Écran – ✓.png\",\"date\":1795000000},").toUtf8().repeated(100);
        history.prepend('[').back() = ']';

        QTest::newRow("text") << QByteArray("0123456789abcdef0123456789");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("zero bytes and invalid UTF-8") << QByteArray("a\0b\xff\xfe\xc3(\0", 8);
        QTest::newRow("4 KB JSON history") << history;
    }
    void roundTrip()
    {
        QFETCH(QByteArray, value);
        QVERIFY(m_store.write(value, accountName()).ok());
        SecretServiceStore another(service);
        QCOMPARE(readBack(another, accountName()), value);
        // The keyring holds the bytes themselves, not an encoding only this class understands.
        QCOMPARE(secretTool(QStringLiteral("lookup"), accountName()), value);
    }

    void replacesTheAccountsItem_data()
    {
        QTest::addColumn<bool>("seedWithSecretTool");
        QTest::newRow("stored by Qorvel") << false;
        QTest::newRow("stored by secret-tool") << true;
    }
    void replacesTheAccountsItem()
    {
        QFETCH(bool, seedWithSecretTool);
        const QString account = accountName();
        if (seedWithSecretTool)
            secretTool(QStringLiteral("store --label=seeded"), account, "first");
        else
            QVERIFY(m_store.write(QByteArray("first"), account).ok());
        QCOMPARE(readBack(m_store, account), QByteArray("first"));

        QVERIFY(m_store.write(QByteArray("second"), account).ok());
        QCOMPARE(readBack(m_store, account), QByteArray("second"));
        QCOMPARE(labelsOf(account), QList<QByteArray>{"Qorvel: " + account.toUtf8()});
    }

    void missingItems()
    {
        const QString account = accountName();
        QCOMPARE(readBack(m_store, account), QByteArray("<none>"));
        QVERIFY(m_store.write(std::nullopt, account).ok());

        QVERIFY(m_store.write(QByteArray("gone soon"), account).ok());
        QVERIFY(m_store.write(std::nullopt, account).ok());
        QCOMPARE(readBack(m_store, account), QByteArray("<none>"));
        QVERIFY(labelsOf(account).isEmpty());
    }

    // An empty value means anonymous uploads, as no value does.
    void userhash()
    {
        const QString account = QLatin1String(SecretAccounts::userhash);
        QVERIFY(m_store.write(QByteArray(""), account).ok());
        QCOMPARE(readUserhash(m_store).value_or(QStringLiteral("<none>")), QStringLiteral("<none>"));
        QVERIFY(m_store.write(QByteArray("3f8a1c0d9e7b"), account).ok());
        QCOMPARE(readUserhash(m_store).value_or(QStringLiteral("<none>")), QStringLiteral("3f8a1c0d9e7b"));
    }

    void survivesKeyringRestart()
    {
        const QString restart = qEnvironmentVariable("QORVEL_SESSION_KEYRING_RESTART");
        QVERIFY2(!restart.isEmpty(), "run under qorvel-session --keyring");
        QVERIFY(m_store.write(QByteArray("kept"), accountName()).ok());
        QCOMPARE(QProcess::execute(restart, {}), 0);

        // The same store goes on working: nothing in it may stay bound to the daemon that is gone.
        QCOMPARE(readBack(m_store, accountName()), QByteArray("kept"));
        QVERIFY(m_store.write(QByteArray("after"), accountName()).ok());
        QCOMPARE(labelsOf(accountName()).size(), 1);
    }

    void concurrentWriters()
    {
        const QString account = accountName();
        std::atomic<int> failures = 0;
        {
            std::vector<std::jthread> threads;
            for (int t = 0; t < 4; ++t) {
                threads.emplace_back([&, t] {
                    SecretServiceStore store(service);
                    for (int i = 0; i < 4; ++i) {
                        if (!store.write(QByteArray::number(t * 10 + i), account).ok() || !store.read(account).ok())
                            ++failures;
                    }
                });
            }
        } // joined here
        QCOMPARE(failures.load(), 0);
        QCOMPARE(labelsOf(account).size(), 1);
    }

    void failsFastWithoutService_data()
    {
        QTest::addColumn<bool>("withBus");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        // G_IO_ERROR_NOT_FOUND: the bus socket is not there.
        QTest::newRow("no session bus") << false << 1
                                        << QStringLiteral(
                                               "No Secret Service can be reached: there is no D-Bus session bus.");
        // G_DBUS_ERROR_SERVICE_UNKNOWN.
        QTest::newRow("bus without the service")
            << true << 2
            << QStringLiteral("No Secret Service is running on the session bus (org.freedesktop.secrets).");
    }
    void failsFastWithoutService()
    {
        QFETCH(bool, withBus);
        QFETCH(int, status);
        QFETCH(QString, message);

        const EmptySessionBus bus(withBus);
        QVERIFY(bus.isReady());
        const std::optional<QByteArray> output = bus.runProbe(probeVariable, QStringLiteral("1"), 20000);
        QVERIFY(output);

        const QList<QByteArray> calls = output->trimmed().split('\n');
        QCOMPARE(calls.size(), 3); // read, write, delete
        for (const QByteArray &call : calls) {
            const QList<QByteArray> fields = call.split('\t'); // status, milliseconds, message
            QCOMPARE(fields.value(0).toInt(), status);
            QCOMPARE_LT(fields.value(1).toInt(), 500);
            QCOMPARE(QString::fromUtf8(fields.value(2)), message);
        }
    }
};

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet(probeVariable))
        return runProbe();
    QCoreApplication app(argc, argv);
    tst_SecretServiceStore test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_SecretServiceStore.moc"
