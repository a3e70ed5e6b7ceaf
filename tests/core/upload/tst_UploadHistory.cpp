#include "UploadHistory.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

#include <functional>

namespace {

// In memory, because the store's failures must happen on demand and the history must not
// depend on a Secret Service daemon; the real back end has its own tests.
class MemoryStore : public SecretStore
{
public:
    Result<std::optional<QByteArray>> read(const QString &account) override
    {
        if (failReads)
            return failure(5, QStringLiteral("locked"));
        return items.contains(account) ? std::optional(items.value(account)) : std::nullopt;
    }

    Result<void> write(const std::optional<QByteArray> &value, const QString &account) override
    {
        ++writes;
        if (failWrites)
            return failure(5, QStringLiteral("locked"));
        if (value)
            items.insert(account, *value);
        else
            items.remove(account);
        return {};
    }

    QHash<QString, QByteArray> items;
    bool failReads = false;
    bool failWrites = false;
    int writes = 0;
};

const QString account = QLatin1String(SecretAccounts::uploadHistory);

using Change = std::function<void(UploadHistory &)>;
enum Failing { noFailure, failingReads, failingWrites };

UploadRecord record(int n, UploadKind kind = UploadKind::image)
{
    const QString name = QStringLiteral("f%1.png").arg(n);
    const UploadResult result{QUrl(QStringLiteral("https://files.catbox.moe/") + name), name, n % 2 == 0};
    return UploadRecord::fromResult(result, kind, QDateTime(QDate(2025, 6, 1), QTime(9, 0), Qt::UTC).addSecs(n));
}

QList<UploadRecord> records(int count, int first = 0)
{
    QList<UploadRecord> list;
    for (int n = first; n < first + count; ++n)
        list.append(record(n));
    return list;
}

QJsonObject validObject()
{
    return QJsonObject{{QStringLiteral("id"), QStringLiteral("0f8fad5b-d9cb-469f-a165-70867728950e")},
        {QStringLiteral("url"), QStringLiteral("https://files.catbox.moe/abc123.png")},
        {QStringLiteral("remoteName"), QStringLiteral("abc123.png")}, {QStringLiteral("kind"), QStringLiteral("image")},
        {QStringLiteral("date"), 0}, {QStringLiteral("deletable"), false},
        {QStringLiteral("host"), QStringLiteral("Catbox")}};
}

// A valid object first, so a rejection proves one bad record spoils the whole document.
QByteArray documentWith(const QJsonObject &second)
{
    return QJsonDocument(QJsonArray{validObject(), second}).toJson();
}

} // namespace

class tst_UploadHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The keys, raw values and date reference earlier versions wrote: seven keys, the id in upper
    // case, the date in seconds since 2001.
    void storedForm_data()
    {
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<double>("seconds");
        QTest::newRow("the reference") << QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC) << 0.0;
        QTest::newRow("1970 epoch") << QDateTime::fromMSecsSinceEpoch(0, Qt::UTC) << -978307200.0;
        QTest::newRow("with milliseconds") << QDateTime::fromMSecsSinceEpoch(1709296496789, Qt::UTC) << 730989296.789;
    }
    void storedForm()
    {
        QFETCH(QDateTime, date);
        QFETCH(double, seconds);
        UploadRecord stored = record(1, UploadKind::video);
        stored.date = date;

        const QByteArray document = encodeUploadRecords({stored});
        QCOMPARE(QJsonDocument::fromJson(document).array(),
            (QJsonArray{QJsonObject{{QStringLiteral("id"), stored.id.toString(QUuid::WithoutBraces).toUpper()},
                {QStringLiteral("url"), QStringLiteral("https://files.catbox.moe/f1.png")},
                {QStringLiteral("remoteName"), QStringLiteral("f1.png")},
                {QStringLiteral("kind"), QStringLiteral("video")}, {QStringLiteral("date"), seconds},
                {QStringLiteral("deletable"), false}, {QStringLiteral("host"), QStringLiteral("Catbox")}}}));
        QCOMPARE(decodeUploadRecords(document), QList<UploadRecord>{stored});
    }

    // The object that spoils documents below is valid on its own, its lower-case id included.
    void decodesAValidDocument()
    {
        const auto decoded = decodeUploadRecords(documentWith(validObject()));
        QVERIFY(decoded && decoded->size() == 2);
        QCOMPARE(decoded->at(0).id, QUuid::fromString(QStringLiteral("{0F8FAD5B-D9CB-469F-A165-70867728950E}")));
    }

    void decodeRejectsTheWholeDocument_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::newRow("not JSON") << QByteArray("[{\"id\":");
        QTest::newRow("not an array") << QJsonDocument(validObject()).toJson();
        QTest::newRow("element not an object") << QJsonDocument(QJsonArray{validObject(), 3}).toJson();
        const auto mutated = [](const char *key, const QJsonValue &value) {
            QJsonObject object = validObject();
            if (value.isUndefined())
                object.remove(QLatin1String(key));
            else
                object.insert(QLatin1String(key), value);
            return documentWith(object);
        };
        for (const char *key : {"id", "url", "remoteName", "kind", "date", "deletable", "host"})
            QTest::addRow("missing %s", key) << mutated(key, QJsonValue::Undefined);
        QTest::newRow("unknown kind") << mutated("kind", QStringLiteral("gif"));
        QTest::newRow("id not a UUID") << mutated("id", QStringLiteral("abc123"));
        QTest::newRow("date as text") << mutated("date", QStringLiteral("2025-06-01T09:00:00Z"));
        QTest::newRow("date out of range") << mutated("date", 1e300);
        QTest::newRow("deletable as text") << mutated("deletable", QStringLiteral("true"));
        QTest::newRow("url not a string") << mutated("url", 7);
        QTest::newRow("url unparsable") << mutated("url", QStringLiteral("http://[::1"));
    }

    void decodeRejectsTheWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!decodeUploadRecords(document));
    }

    // The list shows every change at once and signals it. The store follows, unless nothing
    // changed, since loading writes nothing, or it refused the write.
    void changes_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<Change>("change"); // none: only loaded
        QTest::addColumn<QList<UploadRecord>>("expected");
        QTest::addColumn<int>("failing");
        const auto row
            = [](const char *name, const QByteArray &stored, const Change &change, const QList<UploadRecord> &expected,
                  Failing failing = noFailure) { QTest::newRow(name) << stored << change << expected << int(failing); };

        const UploadRecord added = record(0);
        const Change add = [added](UploadHistory &history) { history.add(added); };
        const QList<UploadRecord> full = records(UploadHistory::limit, 100);
        const QList<UploadRecord> over = records(25, 100);
        const int kept = UploadHistory::limit - 1;
        row("add beyond the limit drops the oldest", encodeUploadRecords(full), add, QList{added} + full.first(kept));
        row("more than the limit stored are kept as loaded", encodeUploadRecords(over), {}, over);
        row("more than the limit stored are cut on the next add", encodeUploadRecords(over), add,
            QList{added} + over.first(kept));

        const QByteArray damaged = documentWith(QJsonObject());
        row("undecodable document is kept as loaded", damaged, {}, {});
        row("undecodable document is replaced by the next add", damaged, add, {added});

        QList<UploadRecord> twice = records(3);
        twice[2].id = twice[0].id;
        const QByteArray three = encodeUploadRecords(twice);
        row("remove takes every record with the id", three,
            [id = twice[0].id](UploadHistory &history) { history.remove(id); }, {twice[1]});
        row(
            "remove of an unknown id", three, [](UploadHistory &history) { history.remove(QUuid::createUuid()); },
            twice);
        row("clear deletes the item", three, &UploadHistory::clear, {});

        row("unreadable store", three, {}, {}, failingReads);
        row("unwritable store", three, add, QList{added} + twice, failingWrites);
    }
    void changes()
    {
        QFETCH(QByteArray, stored);
        QFETCH(Change, change);
        QFETCH(QList<UploadRecord>, expected);
        QFETCH(int, failing);
        MemoryStore store;
        store.items.insert(account, stored);
        store.failReads = failing == failingReads;
        store.failWrites = failing == failingWrites;

        UploadHistory history(store);
        QSignalSpy changed(&history, &UploadHistory::changed);
        if (change)
            change(history);
        QCOMPARE(history.records(), expected);
        QCOMPARE(changed.count(), change ? 1 : 0);
        QCOMPARE(store.writes, change ? 1 : 0);
        if (!change || failing == failingWrites)
            QCOMPARE(store.items.value(account), stored);
        else if (expected.isEmpty())
            QVERIFY(!store.items.contains(account)); // an empty history leaves no item behind
        else
            QCOMPARE(decodeUploadRecords(store.items.value(account)), expected);
    }
};

QTEST_GUILESS_MAIN(tst_UploadHistory)
#include "tst_UploadHistory.moc"
