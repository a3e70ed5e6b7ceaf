#include "EmptySessionBus.h"
#include "SecretServiceStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <cstdio>

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
    // A write replaces the account's item, and removes any other the search finds, such as one
    // another tool stored with an attribute more, which the service's own replace leaves alone.
    // The bytes need not be text (the history is stored as raw JSON), and the keyring holds them
    // as they are, not in an encoding only this class understands.
    void writeReplacesTheAccountsItem()
    {
        const QByteArray value("a\0b\xff\xfe\xc3(\0", 8);
        QVERIFY(m_store.write(QByteArray("first"), accountName()).ok());
        secretTool(QStringLiteral("store --label=stray origin secret-tool"), accountName(), "stray");
        QVERIFY(m_store.write(value, accountName()).ok());
        QCOMPARE(secretTool(QStringLiteral("search --all"), accountName()).count("label = "), 1);
        QCOMPARE(secretTool(QStringLiteral("lookup"), accountName()), value);
        SecretServiceStore another(service);
        QCOMPARE(readBack(another, accountName()), value);
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
    }

    // A desktop without a keyring daemon: the user is told why, and nothing waits for a timeout.
    void failsFastWithoutService()
    {
        const EmptySessionBus bus(true);
        QVERIFY(bus.isReady());
        const std::optional<QByteArray> output = bus.runProbe(probeVariable, QStringLiteral("1"), 20000);
        QVERIFY(output);

        const QList<QByteArray> calls = output->trimmed().split('\n');
        QCOMPARE(calls.size(), 3); // read, write, delete
        for (const QByteArray &call : calls) {
            const QList<QByteArray> fields = call.split('\t'); // status, milliseconds, message
            QCOMPARE(fields.value(0).toInt(), 2); // G_DBUS_ERROR_SERVICE_UNKNOWN
            QCOMPARE_LT(fields.value(1).toInt(), 500);
            QCOMPARE(QString::fromUtf8(fields.value(2)),
                QStringLiteral("No Secret Service is running on the session bus (org.freedesktop.secrets)."));
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
