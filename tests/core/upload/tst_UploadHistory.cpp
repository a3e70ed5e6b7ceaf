#include "UploadHistory.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

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

// The id is in lower case on purpose: it must be accepted although this program writes upper case.
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
    void dateCountsSecondsFrom2001_data()
    {
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<double>("seconds");
        QTest::newRow("the reference") << QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC) << 0.0;
        QTest::newRow("1970 epoch") << QDateTime::fromMSecsSinceEpoch(0, Qt::UTC) << -978307200.0;
        QTest::newRow("with milliseconds") << QDateTime::fromMSecsSinceEpoch(1709296496789, Qt::UTC) << 730989296.789;
    }

    void dateCountsSecondsFrom2001()
    {
        QFETCH(QDateTime, date);
        QFETCH(double, seconds);
        UploadRecord stored = record(1);
        stored.date = date;

        const QJsonObject object = QJsonDocument::fromJson(encodeUploadRecords({stored})).array().at(0).toObject();
        QVERIFY(object.value(QStringLiteral("date")).isDouble());
        QCOMPARE(object.value(QStringLiteral("date")).toDouble(), seconds);

        QJsonObject written = validObject();
        written.insert(QStringLiteral("date"), seconds);
        const auto decoded = decodeUploadRecords(QJsonDocument(QJsonArray{written}).toJson());
        QVERIFY(decoded);
        QCOMPARE(decoded->at(0).date, date);
        QCOMPARE(decoded->at(0).id, QUuid::fromString(QStringLiteral("{0F8FAD5B-D9CB-469F-A165-70867728950E}")));
    }

    void encodesEachRecordAsSevenKeysAndReadsItBack()
    {
        const QList<UploadRecord> list{record(1, UploadKind::video), record(2), record(3)};
        const QByteArray document = encodeUploadRecords(list);

        const QJsonObject first = QJsonDocument::fromJson(document).array().at(0).toObject();
        QCOMPARE(first.size(), 7);
        QCOMPARE(first.value(QStringLiteral("id")).toString(), list[0].id.toString(QUuid::WithoutBraces).toUpper());
        QCOMPARE(first.value(QStringLiteral("id")).toString().size(), 36);
        QCOMPARE(first.value(QStringLiteral("url")).toString(), QStringLiteral("https://files.catbox.moe/f1.png"));
        QCOMPARE(first.value(QStringLiteral("kind")).toString(), QStringLiteral("video"));
        QCOMPARE(first.value(QStringLiteral("deletable")), QJsonValue(false));
        QCOMPARE(first.value(QStringLiteral("host")).toString(), QStringLiteral("Catbox"));

        QCOMPARE(decodeUploadRecords(document), list);
        QVERIFY(list[0].id != list[1].id);
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

    void undecodableDocumentSurvivesUntilTheNextAdd()
    {
        MemoryStore store;
        QJsonObject noHost = validObject();
        noHost.remove(QStringLiteral("host"));
        const QByteArray damaged = documentWith(noHost);
        store.items.insert(account, damaged);

        UploadHistory history(store);
        QVERIFY(history.records().isEmpty());
        QCOMPARE(store.items.value(account), damaged);
        QCOMPARE(store.writes, 0);

        const UploadRecord added = record(1);
        history.add(added);
        QCOMPARE(decodeUploadRecords(store.items.value(account)), QList<UploadRecord>{added});
    }

    void addKeepsTheNewestWithinTheLimit_data()
    {
        QTest::addColumn<int>("stored");
        QTest::addColumn<int>("adds");
        QTest::newRow("21st add drops the oldest") << 0 << 21;
        QTest::newRow("25 stored are kept as loaded") << 25 << 0;
        QTest::newRow("25 stored are cut on the next add") << 25 << 1;
    }

    void addKeepsTheNewestWithinTheLimit()
    {
        QFETCH(int, stored);
        QFETCH(int, adds);
        MemoryStore store;
        const QList<UploadRecord> loaded = records(stored, 100);
        if (stored > 0)
            store.items.insert(account, encodeUploadRecords(loaded));

        UploadHistory history(store);
        QCOMPARE(history.records(), loaded);
        QSignalSpy changed(&history, &UploadHistory::changed);
        QList<UploadRecord> expected = loaded;
        for (const UploadRecord &added : records(adds)) {
            history.add(added);
            expected.prepend(added);
        }
        if (adds > 0)
            expected.resize(std::min<qsizetype>(expected.size(), UploadHistory::limit));

        QCOMPARE(history.records(), expected);
        QCOMPARE(changed.count(), adds);
        if (adds > 0)
            QCOMPARE(decodeUploadRecords(store.items.value(account)), expected);
    }

    void removeTakesEveryRecordWithTheId()
    {
        MemoryStore store;
        QList<UploadRecord> list = records(3);
        list[2].id = list[0].id;
        store.items.insert(account, encodeUploadRecords(list));
        UploadHistory history(store);
        QSignalSpy changed(&history, &UploadHistory::changed);

        history.remove(list[0].id);
        QCOMPARE(history.records(), QList<UploadRecord>{list[1]});
        QCOMPARE(decodeUploadRecords(store.items.value(account)), history.records());

        history.remove(QUuid::createUuid());
        QCOMPARE(history.records().size(), 1);
        QCOMPARE(store.writes, 2);
        QCOMPARE(changed.count(), 2);
    }

    void clearDeletesTheItem()
    {
        MemoryStore store;
        store.items.insert(account, encodeUploadRecords(records(3)));
        UploadHistory history(store);
        QSignalSpy changed(&history, &UploadHistory::changed);

        history.clear();
        QVERIFY(history.records().isEmpty());
        QVERIFY(!store.items.contains(account));
        QCOMPARE(changed.count(), 1);
    }

    void storeFailuresAreSurvived()
    {
        MemoryStore store;
        const QByteArray before = encodeUploadRecords(records(2));
        store.items.insert(account, before);
        store.failReads = true;
        QVERIFY(UploadHistory(store).records().isEmpty());

        store.failReads = false;
        UploadHistory history(store);
        QSignalSpy changed(&history, &UploadHistory::changed);
        store.failWrites = true;
        const UploadRecord added = record(9);
        history.add(added);
        QCOMPARE(history.records().size(), 3);
        QCOMPARE(history.records().first(), added);
        QCOMPARE(store.items.value(account), before);
        QCOMPARE(changed.count(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_UploadHistory)
#include "tst_UploadHistory.moc"
